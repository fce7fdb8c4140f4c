#include "machinesettings.h"

#include "registryroutines.h"

#include <QDir>
#include <QFileInfo>

#include <dlfcn.h>

namespace settings {

namespace {
QString keyPath(const QString& application, const QString& section)
{
    return QStringLiteral("Software\\Morvel\\") + application + u'\\' + section;
}
} // namespace

QString ReadMachineSetting(const QString& application, const QString& section, const QString& valueName,
                           const QString& defaultValue)
{
    const QString value = RegistryRoutines(RegistryRoutines::LocalMachine)
                              .readValue(keyPath(application, section), valueName, defaultValue);
    return value == RegistryRoutines::kError ? defaultValue : value;
}

void WriteMachineSetting(const QString& application, const QString& section, const QString& valueName,
                         const QString& text)
{
    RegistryRoutines registry(RegistryRoutines::LocalMachine);
    registry.createKey(keyPath(application, section));
    registry.writeValue(keyPath(application, section), valueName, text);
}

void WriteMachineSettings(const QString& application, const QString& section,
                          const QList<std::pair<QString, QString>>& values)
{
    RegistryRoutines(RegistryRoutines::LocalMachine).writeValues(keyPath(application, section), values);
}

QString read(const Key& key) { return read(key, key.defaultValue ? QString::fromLatin1(key.defaultValue) : QString()); }

QString read(const Key& key, const QString& defaultValue)
{
    return ReadMachineSetting(QString::fromLatin1(key.application), QString::fromLatin1(key.section),
                              QString::fromLatin1(key.name), defaultValue);
}

void write(const Key& key, const QString& text)
{
    WriteMachineSetting(QString::fromLatin1(key.application), QString::fromLatin1(key.section),
                        QString::fromLatin1(key.name), text);
}

QString joinPath(const QString& folder, const QString& relative)
{
    QString f = folder;
    f.replace(u'\\', u'/');
    QString r = relative;
    r.replace(u'\\', u'/');
    if (!f.isEmpty() && !f.endsWith(u'/'))
        f += u'/';
    return QDir::toNativeSeparators(f + r);
}

QString modulePath(const void* address)
{
    Dl_info info{};
    if (dladdr(address, &info) && info.dli_fname)
        return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absoluteFilePath();
    return {};
}

namespace {
QString g_moduleFolderOverride;
}

void setModuleFolderForTesting(const QString& folder) { g_moduleFolderOverride = folder; }

QString moduleFolder(const void* address)
{
    if (!g_moduleFolderOverride.isEmpty())
        return g_moduleFolderOverride;
    return QDir::toNativeSeparators(QFileInfo(modulePath(address)).absolutePath());
}

} // namespace settings
