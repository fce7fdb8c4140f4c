// The library's four exported entry points and its table of public classes.

#include "PluginData.h"
#include "componentserver.h"
#include "zolQMDVariables.h"

#include <array>

namespace {
const std::array<component::ClassEntry, 2> kClasses{{
    {zolQMDVariables::kProgId, []() -> QObject* { return new zolQMDVariables; }},
    {PluginData::kProgId, []() -> QObject* { return new PluginData; }},
}};

QString libraryPath() { return component::modulePath(reinterpret_cast<const void*>(&libraryPath)); }
} // namespace

ZOL_COMPONENT_EXPORT int DllGetClassObject(const char* progId, QObject** object)
{
    return component::getClassObject(kClasses, progId, object);
}

ZOL_COMPONENT_EXPORT int DllCanUnloadNow() { return component::canUnloadNow(); }

ZOL_COMPONENT_EXPORT int DllRegisterServer() { return component::registerServer(kClasses, libraryPath()); }

ZOL_COMPONENT_EXPORT int DllUnregisterServer() { return component::unregisterServer(kClasses, libraryPath()); }
