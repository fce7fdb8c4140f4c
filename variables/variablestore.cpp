#include "variablestore.h"

#include "clock.h"
#include "clsVariableAccess.h"
#include "legacy.h"
#include "machinesettings.h"
#include "settingsstore.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QLoggingCategory>
#include <QSaveFile>

namespace {
Q_LOGGING_CATEGORY(lcStore, "lumarex.variables")

QString absolute(const QString& path) { return QFileInfo(VariableFile::nativePath(path)).absoluteFilePath(); }

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

// The file's bytes; nothing when there is no file, an error when it cannot be read.
std::optional<QByteArray> fileBytes(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.exists())
        return std::nullopt;
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return QByteArray();
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        setError(error, QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    return bytes;
}

// Why bytes that should be a whole variable file are not, or nothing.
QString problemOf(const QString& path, const VariableFile::ReadResult& read)
{
    if (!read.compatible)
        return QStringLiteral("%1 is not a variable file (its first line is not \"%2\")")
            .arg(path, VariableFile::kHeader);
    if (!read.complete())
        return QStringLiteral("%1 holds only %2 of the 416 variables (%3)")
            .arg(path)
            .arg(read.recordsRead)
            .arg(read.problem);
    return {};
}

// Each variable's data where the host reads it by token, as every save of the
// current file does.
void publishTokens(const vls::RecordSet& records)
{
    QList<std::pair<QString, QString>> values;
    values.reserve(vls::kRecordCount);
    for (int n = 1; n <= vls::kRecordCount; ++n)
        values.append({QStringLiteral("VBL") + legacy::formatZeros(n, 3), records[n - 1][clsVariableAccess::Data]});
    settings::WriteMachineSettings(QString::fromLatin1(settings::kVariablesApplication),
                                   QString::fromLatin1(settings::kVariablesSection), values);
}
} // namespace

// The lock beside the file. A folder that takes no new files (a writable file
// in a read-only folder) cannot hold one: the file is then written without it,
// as the only writer that folder allows.
class VariableStore::Lock final {
public:
    Lock(const QString& path, int timeoutMs)
        : m_path(path), m_file(path + QStringLiteral(".lock")), m_timeoutMs(timeoutMs)
    {
        // Writers hold it for a read and a write; a lock this old is left over.
        m_file.setStaleLockTime(60000);
    }

    bool acquire(QString* error)
    {
        if (m_file.tryLock(m_timeoutMs))
            return true;
        if (m_file.error() != QLockFile::LockFailedError) {
            qCDebug(lcStore, "no lock beside %s; written without one", qUtf8Printable(m_path));
            return true;
        }
        qint64 pid = 0;
        QString host, app;
        const QString holder = m_file.getLockInfo(&pid, &host, &app)
                                   ? QStringLiteral("%1 (process %2 on %3)")
                                         .arg(app.isEmpty() ? QStringLiteral("a program") : app)
                                         .arg(pid)
                                         .arg(host)
                                   : QStringLiteral("another program");
        setError(error, QStringLiteral("the variable file %1 is in use by %2, which did not let it go within %3 s "
                                       "(its lock is %4)")
                            .arg(m_path, holder)
                            .arg(m_timeoutMs / 1000.0)
                            .arg(m_file.fileName()));
        return false;
    }

private:
    QString m_path;
    QLockFile m_file;
    int m_timeoutMs;
};

VariableStore::VariableStore(const QString& path)
{
    const QString current = currentPath();
    m_path = path.isEmpty() ? current : absolute(path);
    m_current = m_path == current;
}

QString VariableStore::currentPath()
{
    return absolute(settings::read(settings::kVarFileLoc, clsVariableAccess::defaultFilePath()));
}

bool VariableStore::exists() const { return QFileInfo::exists(m_path); }

vls::RecordSet VariableStore::defaults()
{
    vls::RecordSet records;
    for (int n = 1; n <= vls::kRecordCount; ++n)
        records[n - 1] = vls::Record{clsVariableAccess::defaultName(n),
                                     QStringLiteral("1"),
                                     QStringLiteral("2"),
                                     QStringLiteral("2"),
                                     QString(),
                                     QString(),
                                     clsVariableAccess::defaultMaxLength(n)};
    return records;
}

QString VariableStore::conflictCopyPath(const QString& path, const QDateTime& when)
{
    return VariableFile::nativePath(path) + QStringLiteral(".conflict-")
           + when.toString(QStringLiteral("yyyyMMdd-hhmmss"));
}

bool VariableStore::read(vls::RecordSet& records, QString* error) const
{
    records = defaults();
    if (!exists()) {
        if (m_current)
            return true;
        setError(error, QStringLiteral("no such file: %1").arg(m_path));
        return false;
    }
    const VariableFile::ReadResult result = VariableFile::read(m_path, records);
    if (!result.opened) {
        setError(error, QStringLiteral("cannot read %1: %2").arg(m_path, result.problem));
        return false;
    }
    if (const QString problem = problemOf(m_path, result); !problem.isEmpty()) {
        setError(error, problem);
        return false;
    }
    return true;
}

std::unique_ptr<clsVariableAccess> VariableStore::load(QString* error) const
{
    vls::RecordSet records;
    if (!read(records, error))
        return nullptr;
    return std::make_unique<clsVariableAccess>(records);
}

bool VariableStore::readForChange(vls::RecordSet& records, QString* error)
{
    m_created = !exists();
    if (m_created) {
        records = defaults();
        return true;
    }
    return read(records, error);
}

bool VariableStore::writeLocked(const vls::RecordSet& records, QString* error)
{
    QString reason;
    if (!VariableFile::write(m_path, records, &reason)) {
        setError(error, QStringLiteral("cannot write %1: %2").arg(m_path, reason));
        return false;
    }
    if (m_current) {
        if (settings::read(settings::kVarFileLoc, QString()).isEmpty())
            settings::write(settings::kVarFileLoc, m_path);
        publishTokens(records);
    }
    return true;
}

bool VariableStore::modify(const Change& change, QString* error)
{
    return modifyRecords(
        [&change](vls::RecordSet& records) {
            clsVariableAccess set(records);
            change(set);
            for (int16_t n = 1; n <= vls::kRecordCount; ++n)
                records[n - 1] = set.record(n);
        },
        error);
}

bool VariableStore::modifyRecords(const RecordChange& change, QString* error)
{
    Lock lock(m_path, m_lockTimeoutMs);
    m_lockTimedOut = !lock.acquire(error);
    if (m_lockTimedOut)
        return false;
    vls::RecordSet records;
    if (!readForChange(records, error))
        return false;
    change(records);
    return writeLocked(records, error);
}

VariableStore::Fingerprint VariableStore::fingerprintOf(const QByteArray* bytes)
{
    if (!bytes)
        return std::nullopt;
    return QCryptographicHash::hash(*bytes, QCryptographicHash::Sha256);
}

VariableStore::Fingerprint VariableStore::fingerprintOnDisk(const QString& path)
{
    const std::optional<QByteArray> bytes = fileBytes(absolute(path), nullptr);
    return fingerprintOf(bytes ? &*bytes : nullptr);
}

VariableStore::SaveOutcome VariableStore::save(const vls::RecordSet& records, const Fingerprint& loaded,
                                               const vls::RecordSet& loadedRecords)
{
    SaveOutcome out;
    out.fingerprint = loaded;
    Lock lock(m_path, m_lockTimeoutMs);
    if (!lock.acquire(&out.error)) {
        qCWarning(lcStore, "%s: not saved", qUtf8Printable(out.error));
        return out;
    }
    QString readError;
    const std::optional<QByteArray> onDisk = fileBytes(m_path, &readError);
    const Fingerprint now = fingerprintOf(onDisk ? &*onDisk : nullptr);
    if (now != loaded && readError.isEmpty()) {
        if (onDisk && records == loadedRecords) {
            // Nothing of this writer's own to save: the newer file stays.
            out.ok = true;
            return out;
        }
        if (onDisk) {
            const QString base = conflictCopyPath(m_path, Clock::now());
            QString copy = base;
            for (int i = 2; QFileInfo::exists(copy); ++i)
                copy = base + u'-' + QString::number(i);
            QSaveFile keep(copy);
            if (!keep.open(QIODevice::WriteOnly) || keep.write(*onDisk) != onDisk->size() || !keep.commit()) {
                out.error = QStringLiteral("the variable file %1 was changed by another program, and its version "
                                           "could not be kept as %2: %3")
                                .arg(m_path, copy, keep.errorString());
                qCWarning(lcStore, "%s; not saved", qUtf8Printable(out.error));
                return out;
            }
            out.conflictCopy = copy;
            qCWarning(lcStore,
                      "The variable file %s was changed by another program since this one loaded it: that version "
                      "is kept as %s, and this program's version is now in %s",
                      qUtf8Printable(m_path), qUtf8Printable(copy), qUtf8Printable(m_path));
        }
    }
    if (!writeLocked(records, &out.error))
        return out;
    const QByteArray written = VariableFile::encode(records);
    out.ok = out.written = true;
    out.fingerprint = fingerprintOf(&written);
    return out;
}
