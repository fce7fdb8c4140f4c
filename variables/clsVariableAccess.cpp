#include "clsVariableAccess.h"

#include "legacy.h"
#include "linkcontainer.h"
#include "messagebox.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "variablefile.h"

#include <algorithm>
#include <type_traits>

static_assert(std::is_same_v<clsVariableAccess::Record, vls::Record>);
static_assert(clsVariableAccess::kVariableCount == vls::kRecordCount);

namespace {
void checkNumber(int n)
{
    if (n < 1 || n > clsVariableAccess::kVariableCount)
        RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
}

// Every write to the machine-wide store rewrites and syncs all of it, so the
// path is written only when the store does not hold it already.
void recordFileLocation(const QString& path)
{
    if (path.isEmpty() || settings::read(settings::kVarFileLoc, QString()) != path)
        settings::write(settings::kVarFileLoc, path);
}
} // namespace

clsVariableAccess::clsVariableAccess(QObject* parent)
    : QObject(parent), m_fieldSeparator(QChar(VariableFile::kFieldSeparator))
{
    LoadVariables(QString());
}

clsVariableAccess::~clsVariableAccess()
{
    try {
        SaveVariables();
    } catch (...) {
        // Nothing may leave a destructor; a failed save is silent anyway.
    }
}

QString clsVariableAccess::defaultName(int n)
{
    return isTextVariable(n) ? QStringLiteral("Text Var %1").arg(n)
                             : QStringLiteral("Cell Var %1").arg(n - kTextVariableCount);
}

QString clsVariableAccess::defaultMaxLength(int n)
{
    return isTextVariable(n) ? QStringLiteral("250") : QStringLiteral("58");
}

QString clsVariableAccess::defaultFilePath() { return VariableFile::defaultPathIn(settings::pluginFolder()); }

void clsVariableAccess::ResetVariables()
{
    for (int n = 1; n <= kVariableCount; ++n) {
        m_records[n - 1] = Record{defaultName(n), QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("2"),
                                  QString(),      QString(),           defaultMaxLength(n)};
    }
}

const clsVariableAccess::Record& clsVariableAccess::record(int16_t n) const
{
    checkNumber(n);
    return m_records[n - 1];
}

QString clsVariableAccess::field(int16_t n, Field f) const { return record(n)[f]; }

void clsVariableAccess::setField(int16_t n, Field f, const QString& value)
{
    checkNumber(n);
    m_records[n - 1][f] = VariableFile::carriable(value);
}

QString clsVariableAccess::VariableName(int16_t n) const { return field(n, Name); }
void clsVariableAccess::setVariableName(int16_t n, const QString& value) { setField(n, Name, value); }
QString clsVariableAccess::VariableColor(int16_t n) const { return field(n, Color); }
void clsVariableAccess::setVariableColor(int16_t n, const QString& value) { setField(n, Color, value); }
QString clsVariableAccess::VariableBlink(int16_t n) const { return field(n, Blink); }
void clsVariableAccess::setVariableBlink(int16_t n, const QString& value) { setField(n, Blink, value); }
QString clsVariableAccess::VariableInverse(int16_t n) const { return field(n, Inverse); }
void clsVariableAccess::setVariableInverse(int16_t n, const QString& value) { setField(n, Inverse, value); }
QString clsVariableAccess::VariableData(int16_t n) const { return field(n, Data); }
void clsVariableAccess::setVariableData(int16_t n, const QString& value) { setField(n, Data, value); }
QString clsVariableAccess::VariableOLELink(int16_t n) const { return field(n, OLELink); }
void clsVariableAccess::setVariableOLELink(int16_t n, const QString& value) { setField(n, OLELink, value); }

QString clsVariableAccess::VariableMaxLength(int16_t n) const
{
    const QString stored = field(n, MaxLength);
    return stored.isEmpty() ? defaultMaxLength(n) : stored;
}

void clsVariableAccess::setVariableMaxLength(int16_t n, const QString& value) { setField(n, MaxLength, value); }

QString clsVariableAccess::GetDisplayableData(int16_t n, ILinkContainer* container) const
{
    // Every failure, a bad number included, ends here with an empty text: the
    // caller sends what it gets.
    try {
        const QString link = VariableOLELink(n);
        QString text;
        if (!link.isEmpty()) {
            if (!container)
                return QString();
            container->setDataFormat(QStringLiteral("CF_TEXT"));
            if (container->sourceDoc() != link)
                container->createLink(link);
            text = container->dataText();
            text.remove(QStringLiteral("\r\n"));
        } else {
            text = VariableData(n);
        }
        const int32_t maxLength = legacy::textToInt32(VariableMaxLength(n));
        if (maxLength < 0)
            return QString(); // the platform rejects a negative length
        return text.left(maxLength);
    } catch (...) {
        return QString();
    }
}

void clsVariableAccess::LoadVariables(const QString& path)
{
    ResetVariables();
    const QString used = path.isEmpty() ? settings::read(settings::kVarFileLoc, defaultFilePath()) : path;
    const VariableFile::ReadResult result = VariableFile::read(used, m_records);
    // A file whose first line could not be read is not taken as the current
    // one; a file with a readable header is, even a wrong or cut-short one,
    // so that the next save completes the file that was read.
    if (!result.headerRead)
        return;
    if (!result.compatible)
        msgbox::show(QStringLiteral("Error, this file version is not compatible with this plugin!"), msgbox::OKOnly,
                     msgbox::NoIcon);
    recordFileLocation(used);
    m_currentPath = used;
}

void clsVariableAccess::NewConfiguration(const QString& path)
{
    ResetVariables();
    recordFileLocation(path);
    m_currentPath = path;
}

void clsVariableAccess::SaveVariables()
{
    const QString path = settings::read(settings::kVarFileLoc, defaultFilePath());
    recordFileLocation(path); // so that the value exists after the first save
    if (!VariableFile::write(path, m_records))
        return;
    // The host reads the data by token; copied only once the file is safe, so
    // both always hold the same set.
    QList<std::pair<QString, QString>> values;
    values.reserve(kVariableCount);
    for (int n = 1; n <= kVariableCount; ++n)
        values.append({QStringLiteral("VBL") + legacy::formatZeros(n, 3), m_records[n - 1][Data]});
    settings::WriteMachineSettings(QString::fromLatin1(settings::kVariablesApplication),
                                   QString::fromLatin1(settings::kVariablesSection), values);
}

QString clsVariableAccess::CurrFileName() const
{
    const qsizetype cut = std::max(m_currentPath.lastIndexOf(u'\\'), m_currentPath.lastIndexOf(u'/'));
    return m_currentPath.mid(cut + 1);
}
