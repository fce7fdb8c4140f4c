#include "clsVariableAccess.h"

#include "legacy.h"
#include "linkcontainer.h"
#include "messagebox.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "variablefile.h"
#include "variablestore.h"

#include <QBuffer>
#include <QFile>

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

clsVariableAccess::clsVariableAccess(const std::array<Record, kVariableCount>& records, QObject* parent)
    : QObject(parent), m_records(records), m_fieldSeparator(QChar(VariableFile::kFieldSeparator)), m_detached(true)
{
    for (Record& record : m_records)
        for (QString& field : record)
            field = VariableFile::carriable(field);
}

clsVariableAccess::~clsVariableAccess()
{
    if (m_detached)
        return;
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
    const links::LinkReading reading = DisplayableReading(n, container);
    return reading.hasValue() ? reading.value : QString();
}

links::LinkReading clsVariableAccess::DisplayableReading(int16_t n, ILinkContainer* container) const
{
    // Every failure, a bad number included, ends here with an empty text and
    // its reason: GetDisplayableData's caller sends what it gets.
    try {
        const QString link = VariableOLELink(n);
        links::LinkReading reading;
        if (!link.isEmpty()) {
            if (!container)
                return links::LinkReading::failed(QStringLiteral("no link container to read %1").arg(link));
            container->setDataFormat(QStringLiteral("CF_TEXT"));
            if (container->sourceDoc() != link)
                container->createLink(link);
            reading = container->reading();
            reading.value.remove(QStringLiteral("\r\n"));
        } else {
            reading.value = VariableData(n);
        }
        const int32_t maxLength = legacy::textToInt32(VariableMaxLength(n));
        if (maxLength < 0)
            return links::LinkReading::failed(QStringLiteral("variable %1 has a negative maximum length").arg(n));
        reading.value = reading.value.left(maxLength);
        return reading;
    } catch (const std::exception& e) {
        return links::LinkReading::failed(QString::fromUtf8(e.what()));
    } catch (...) {
        return links::LinkReading::failed(QStringLiteral("variable %1 cannot be read").arg(n));
    }
}

void clsVariableAccess::LoadVariables(const QString& path)
{
    ResetVariables();
    const QString used = path.isEmpty() ? settings::read(settings::kVarFileLoc, defaultFilePath()) : path;
    // Read once, so that what is remembered of the file is what was read.
    QFile file(VariableFile::nativePath(used));
    const bool opened = !used.isEmpty() && file.open(QIODevice::ReadOnly);
    const QByteArray bytes = opened ? file.readAll() : QByteArray();
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    const VariableFile::ReadResult result = opened ? VariableFile::read(buffer, m_records) : VariableFile::ReadResult{};
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
    m_knownPath = used;
    m_knownFingerprint = VariableStore::fingerprintOf(&bytes);
    m_knownRecords = m_records;
}

void clsVariableAccess::NewConfiguration(const QString& path)
{
    ResetVariables();
    recordFileLocation(path);
    m_currentPath = path;
    // What is there now is meant to be replaced by the new set.
    m_knownPath = path;
    m_knownFingerprint = VariableStore::fingerprintOnDisk(path);
    m_knownRecords = m_records;
}

void clsVariableAccess::SaveVariables()
{
    if (m_detached)
        return;
    const QString path = settings::read(settings::kVarFileLoc, defaultFilePath());
    recordFileLocation(path); // so that the value exists after the first save
    // A set that never read this file writes over it as the original did (a
    // failed load keeps the previous file current); one that did keeps what
    // another program wrote there since.
    const bool known = path == m_knownPath;
    VariableStore store(path);
    const VariableStore::SaveOutcome saved = store.save(
        m_records, known ? m_knownFingerprint : VariableStore::fingerprintOnDisk(path),
        known ? m_knownRecords : std::array<Record, kVariableCount>{});
    if (!saved.written)
        return;
    if (known && m_saveObserver)
        m_saveObserver(m_knownRecords, m_records);
    m_knownPath = path;
    m_knownFingerprint = saved.fingerprint;
    m_knownRecords = m_records;
}

QString clsVariableAccess::CurrFileName() const
{
    const qsizetype cut = std::max(m_currentPath.lastIndexOf(u'\\'), m_currentPath.lastIndexOf(u'/'));
    return m_currentPath.mid(cut + 1);
}
