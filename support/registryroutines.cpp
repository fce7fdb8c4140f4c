#include "registryroutines.h"

#include "installlayout.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QStandardPaths>

namespace {
// INI groups nest with "/"; key paths arrive with "\".
QString groupOf(const QString& keyPath)
{
    QString g = keyPath;
    g.replace(u'\\', u'/');
    while (g.endsWith(u'/'))
        g.chop(1);
    while (g.startsWith(u'/'))
        g.remove(0, 1);
    return g;
}

// A marker value that lets an empty key exist in an INI file, which has no
// notion of a key without values.
const QString kKeyMarker = QStringLiteral(".key");

// Qt parses an INI file once and shares it between the QSettings objects open on
// it, but forgets a large file as soon as the last of them goes (the machine-wide
// file holds the host's copy of all 416 values), so every read would parse it
// again. One object kept open per file keeps the parsed file; each new object
// still reloads it when the file changed on disk.
void pinParsedFile(const QString& where)
{
    // Never destroyed: at exit Qt's own cache of parsed files may already be gone.
    static auto* pinned = new QHash<QString, QSettings*>;
    static QMutex mutex;
    const QMutexLocker lock(&mutex);
    if (!pinned->contains(where) && QFileInfo::exists(where))
        pinned->insert(where, new QSettings(where, QSettings::IniFormat));
}
} // namespace

RegistryRoutines::RegistryRoutines(Hive hive) : m_hive(hive) {}

QString RegistryRoutines::location(Hive hive)
{
#ifdef Q_OS_WIN
    if (hive == LocalMachine && qEnvironmentVariableIsEmpty("ZOL_MACHINE_STORE"))
        return QStringLiteral("HKEY_LOCAL_MACHINE");
    if (hive == CurrentUser && qEnvironmentVariableIsEmpty("ZOL_USER_STORE"))
        return QStringLiteral("HKEY_CURRENT_USER");
#endif
    if (hive == LocalMachine) {
        const QString env = qEnvironmentVariable("ZOL_MACHINE_STORE");
        if (!env.isEmpty())
            return env;
        return install::sharedFolder() + QStringLiteral("/machine.ini");
    }
    const QString env = qEnvironmentVariable("ZOL_USER_STORE");
    if (!env.isEmpty())
        return env;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/Morvel/user.ini");
}

std::unique_ptr<QSettings> RegistryRoutines::open(Access access) const
{
    const QString where = location(m_hive);
#ifdef Q_OS_WIN
    if (where.startsWith(u"HKEY_"))
        return std::make_unique<QSettings>(where, QSettings::NativeFormat);
#endif
    pinParsedFile(where);
    // Only a write needs the folder, and only a write may create a file that the
    // other operators must be able to change; reads are frequent (every variable
    // sent reads the host's folder) and must not touch the file system more than once.
    if (access == Access::Write) {
        const QString folder = QFileInfo(where).absolutePath();
        QDir().mkpath(folder);
        if (m_hive == LocalMachine)
            install::shareNewFilesIn(folder);
    }
    return std::make_unique<QSettings>(where, QSettings::IniFormat);
}

bool RegistryRoutines::keyExists(const QString& keyPath) const
{
    auto s = open();
    s->beginGroup(groupOf(keyPath));
    return !s->childKeys().isEmpty() || !s->childGroups().isEmpty();
}

bool RegistryRoutines::createKey(const QString& keyPath)
{
    if (keyExists(keyPath))
        return true;
    auto s = open(Access::Write);
    s->setValue(groupOf(keyPath) + u'/' + kKeyMarker, QString());
    s->sync();
    return s->status() == QSettings::NoError;
}

bool RegistryRoutines::deleteKey(const QString& keyPath)
{
    auto s = open(Access::Write);
    s->remove(groupOf(keyPath));
    s->sync();
    return s->status() == QSettings::NoError;
}

QStringList RegistryRoutines::valueNames(const QString& keyPath) const
{
    auto s = open();
    s->beginGroup(groupOf(keyPath));
    QStringList names = s->childKeys();
    names.removeAll(kKeyMarker);
    return names;
}

QStringList RegistryRoutines::subkeyNames(const QString& keyPath) const
{
    auto s = open();
    s->beginGroup(groupOf(keyPath));
    return s->childGroups();
}

QString RegistryRoutines::readValue(const QString& keyPath, const QString& name, const QString& defaultValue) const
{
    auto s = open();
    if (s->status() == QSettings::AccessError)
        return kError;
    const QVariant v = s->value(groupOf(keyPath) + u'/' + name);
    if (!v.isValid())
        return defaultValue;
    return v.toString();
}

bool RegistryRoutines::valueExists(const QString& keyPath, const QString& name) const
{
    return open()->contains(groupOf(keyPath) + u'/' + name);
}

bool RegistryRoutines::writeValue(const QString& keyPath, const QString& name, const QString& text)
{
    return writeValues(keyPath, {{name, text}});
}

bool RegistryRoutines::writeValues(const QString& keyPath, const QList<std::pair<QString, QString>>& values)
{
    auto s = open(Access::Write);
    const QString group = groupOf(keyPath);
    // Rewriting the whole file (and waiting for the disk) only when a value
    // really changes keeps the frequent unchanged writes cheap.
    bool changed = s->contains(group + u'/' + kKeyMarker);
    for (const auto& [name, text] : values) {
        const QVariant old = s->value(group + u'/' + name);
        if (!old.isValid() || old.toString() != text) {
            s->setValue(group + u'/' + name, text);
            changed = true;
        }
    }
    if (!changed)
        return s->status() == QSettings::NoError;
    s->remove(group + u'/' + kKeyMarker);
    s->sync();
    return s->status() == QSettings::NoError;
}

bool RegistryRoutines::deleteValue(const QString& keyPath, const QString& name)
{
    auto s = open(Access::Write);
    s->remove(groupOf(keyPath) + u'/' + name);
    s->sync();
    return s->status() == QSettings::NoError;
}
