#include "settingsstore.h"

#include "componentserver.h"
#include "legacy.h"
#include "registryroutines.h"
#include "runtimeerror.h"

#include <QDir>
#include <QFileInfo>

namespace settings {

namespace {
QString keyPath(const QString& application, const QString& section)
{
    return QStringLiteral("Software\\Morvel\\") + application + u'\\' + section;
}

QString g_pluginFolderOverride;

const QString kUserApplication = QStringLiteral("LumarexLite");
const QString kUserSection = QStringLiteral("zolQMDVariablePlugin");
const QString kUserKey = QStringLiteral("UpdateOnTransmit");
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

bool GetUpdateOnTransmit()
{
    const QString text = RegistryRoutines(RegistryRoutines::CurrentUser)
                             .readValue(keyPath(kUserApplication, kUserSection), kUserKey, legacy::boolText(false));
    try {
        return legacy::textToBool(text);
    } catch (const RuntimeError&) {
        return false;
    }
}

void SetUpdateOnTransmit(bool flag)
{
    RegistryRoutines(RegistryRoutines::CurrentUser)
        .writeValue(keyPath(kUserApplication, kUserSection), kUserKey, legacy::boolText(flag));
}

QString pluginFolder()
{
    if (!g_pluginFolderOverride.isEmpty())
        return g_pluginFolderOverride;
    static const QString folder = QDir::toNativeSeparators(
        QFileInfo(component::modulePath(reinterpret_cast<const void*>(&pluginFolder))).absolutePath());
    return folder;
}

void setPluginFolderForTesting(const QString& folder) { g_pluginFolderOverride = folder; }

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

} // namespace settings
