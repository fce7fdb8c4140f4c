#include "workspace.h"

#include "clsVariableAccess.h"
#include "httperror.h"
#include "runtimeerror.h"
#include "variablefile.h"
#include "varfields.h"
#include "options.h"
#include "changerecord.h"
#include "recorder.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

namespace serve {

namespace {
QByteArray etagOf(const QByteArray& bytes)
{
    return '"' + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().left(32) + '"';
}

QByteArray fileBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<none>");
}

} // namespace

Workspace::~Workspace() = default;

void Workspace::record(const history::Entry& entry)
{
    // One connection kept open: closing the last one folds its log back into
    // the file, with a few disk syncs each time.
    if (!m_history) {
        m_history = std::make_unique<history::SendHistory>();
        if (!m_history->open())
            m_history.reset();
    }
    if (m_history && m_history->record(entry))
        return;
    m_history.reset();
    history::recordQuietly(entry); // says why on the log
}

Workspace::Workspace(const QString& fileOption, const QString& displaysFile)
    : m_fileOption(fileOption), m_path(VarStore(fileOption).path()), m_displaysFile(displaysFile)
{}

Snapshot Workspace::load()
{
    // The hash and the records come from the same file: a file replaced
    // between the two reads is read again.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const QByteArray before = fileBytes(m_path);
        VarStore store(m_fileOption);
        QString error;
        if (!store.load(&error))
            throw HttpError{500, QStringLiteral("the variable file cannot be read: ") + error};
        if (fileBytes(m_path) == before)
            return Snapshot{store.records(), etagOf(before)};
    }
    throw HttpError{503, QStringLiteral("the variable file keeps changing; try again")};
}

Snapshot Workspace::read()
{
    QMutexLocker lock(&m_mutex);
    const QFileInfo info(m_path);
    if (!m_cached || info.lastModified() != m_cachedModified || info.size() != m_cachedSize) {
        m_cachedModified = info.lastModified();
        m_cachedSize = info.size();
        m_cached = load();
    }
    return *m_cached;
}

Snapshot Workspace::change(int number, const Fields& fields, const QByteArray& ifMatch, const QString& account)
{
    QMutexLocker lock(&m_mutex);
    VariableStore store(m_path);
    vls::RecordSet before, written;
    QString error;
    const bool changed = store.modifyRecords(
        [&](vls::RecordSet& records) {
            // Under the lock, before anything is written: the file must still be the one the client read.
            if (!ifMatch.isEmpty() && ifMatch != "*" && ifMatch != etagOf(fileBytes(m_path)))
                throw HttpError{412, QStringLiteral("the variables were changed since you read them: reload and "
                                                    "apply your change again")};
            before = records;
            vls::Record& record = records[number - 1];
            for (int f = 0; f < vls::kFieldCount; ++f)
                if (fields[f])
                    record[f] = *fields[f];
            written = records;
        },
        &error);
    if (!changed && store.lockTimedOut())
        throw HttpError{503, QStringLiteral("the variable file is locked by another program; try again")};
    if (!changed)
        throw HttpError{500, error};
    m_cached.reset();
    m_cachedSize = -1;
    if (const auto entry = history::changeEntry(before, written, account))
        record(*entry);
    return Snapshot{written, etagOf(VariableFile::encode(written))};
}

QList<displays::Entry> Workspace::displays(const QString& range) const
{
    QList<displays::Entry> chosen;
    QString error;
    switch (displays::select(range, displays::listFile(m_displaysFile), &chosen, &error)) {
    case displays::Problem::None: return chosen;
    case displays::Problem::BadArgument: throw HttpError{400, error};
    case displays::Problem::BadFile: throw HttpError{500, error};
    }
    return chosen;
}

QJsonObject variableJson(const vls::RecordSet& records, int number)
{
    const vls::Record& r = records[number - 1];
    const bool text = number <= 256;
    return QJsonObject{
        {QStringLiteral("number"), number},
        {QStringLiteral("kind"), text ? QStringLiteral("text") : QStringLiteral("cell")},
        {QStringLiteral("label"),
         (text ? QStringLiteral("Text Var %1") : QStringLiteral("Cell Var %1")).arg(text ? number : number - 256)},
        {QStringLiteral("name"), r[clsVariableAccess::Name]},
        {QStringLiteral("data"), r[clsVariableAccess::Data]},
        {QStringLiteral("color"), varfields::colourName(r[clsVariableAccess::Color])},
        {QStringLiteral("blink"), varfields::yesNoName(r[clsVariableAccess::Blink])},
        {QStringLiteral("inverse"), varfields::yesNoName(r[clsVariableAccess::Inverse])},
        {QStringLiteral("max_length"), r[clsVariableAccess::MaxLength].toInt()},
        {QStringLiteral("link"), r[clsVariableAccess::OLELink]},
    };
}

QList<int> variablesOf(const QString& range)
{
    try {
        return qmdvars::variablesOf(range);
    } catch (const qmdvars::Failure& f) {
        throw HttpError{400, f.message};
    }
}

namespace {
// The fields as the API names them, in the record's order.
const varfields::Spelling kSpelling{{QStringLiteral("name"), QStringLiteral("color"), QStringLiteral("blink"),
                                     QStringLiteral("inverse"), QStringLiteral("data"), QStringLiteral("link"),
                                     QStringLiteral("max_length")},
                                    QStringLiteral("fields")};
} // namespace

Fields fieldsOf(const QJsonObject& change, int number)
{
    static const QStringList known{QStringLiteral("name"),  QStringLiteral("data"),    QStringLiteral("color"),
                                   QStringLiteral("blink"), QStringLiteral("inverse"), QStringLiteral("max_length"),
                                   QStringLiteral("link")};
    for (auto it = change.begin(); it != change.end(); ++it)
        if (!known.contains(it.key()) && it.key() != u"number")
            throw HttpError{400, QStringLiteral("unknown field \"%1\" (the fields are %2)")
                                     .arg(it.key(), known.join(QStringLiteral(", ")))};
    // Every value as text: numbers and true/false are taken as `set` takes their spelling.
    Fields given;
    for (int f = 0; f < vls::kFieldCount; ++f) {
        const QString& key = kSpelling.names[f];
        if (!change.contains(key))
            continue;
        const QJsonValue v = change.value(key);
        if (v.isString())
            given[f] = v.toString();
        else if (v.isDouble() && v.toDouble() == double(v.toInteger()))
            given[f] = QString::number(v.toInteger());
        else if (v.isBool())
            given[f] = v.toBool() ? QStringLiteral("yes") : QStringLiteral("no");
        else
            throw HttpError{400, QStringLiteral("\"%1\" takes a text, not %2")
                                     .arg(key, v.isNull() ? QStringLiteral("null") : QStringLiteral("that value"))};
    }
    QString error;
    const std::optional<Fields> fields = varfields::checkedFields(number, given, kSpelling, &error);
    if (!fields)
        throw HttpError{400, error};
    return *fields;
}

QStringList fieldNames(const Fields& fields)
{
    QStringList given;
    for (int f = 0; f < vls::kFieldCount; ++f)
        if (fields[f])
            given.append(kSpelling.names[f]);
    return given;
}

} // namespace serve
