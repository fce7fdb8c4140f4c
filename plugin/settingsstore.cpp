#include "settingsstore.h"

#include "legacy.h"
#include "registryroutines.h"
#include "runtimeerror.h"

namespace settings {

namespace {
QString userKeyPath(const QString& application, const QString& section)
{
    return QStringLiteral("Software\\Morvel\\") + application + u'\\' + section;
}

const QString kUserApplication = QStringLiteral("LumarexLite");
const QString kUserSection = QStringLiteral("zolQMDVariablePlugin");
const QString kUserKey = QStringLiteral("UpdateOnTransmit");
} // namespace

bool GetUpdateOnTransmit()
{
    const QString text = RegistryRoutines(RegistryRoutines::CurrentUser)
                             .readValue(userKeyPath(kUserApplication, kUserSection), kUserKey, legacy::boolText(false));
    try {
        return legacy::textToBool(text);
    } catch (const RuntimeError&) {
        return false;
    }
}

void SetUpdateOnTransmit(bool flag)
{
    RegistryRoutines(RegistryRoutines::CurrentUser)
        .writeValue(userKeyPath(kUserApplication, kUserSection), kUserKey, legacy::boolText(flag));
}

QString pluginFolder() { return moduleFolder(reinterpret_cast<const void*>(&pluginFolder)); }

} // namespace settings
