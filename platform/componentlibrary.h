#pragma once

// The four entry points of a component library, over its table of public
// classes. A library's entrypoints.cpp defines its table and uses the macro once.

#include "componentserver.h"
#include "machinesettings.h"

#define ZOL_COMPONENT_LIBRARY(classTable)                                                                              \
    namespace {                                                                                                        \
    QString componentLibraryPath()                                                                                     \
    {                                                                                                                  \
        return settings::modulePath(reinterpret_cast<const void*>(&componentLibraryPath));                             \
    }                                                                                                                  \
    }                                                                                                                  \
    ZOL_COMPONENT_EXPORT int DllGetClassObject(const char* progId, QObject** object)                                   \
    {                                                                                                                  \
        return component::getClassObject(classTable, progId, object);                                                  \
    }                                                                                                                  \
    ZOL_COMPONENT_EXPORT int DllCanUnloadNow() { return component::canUnloadNow(); }                                   \
    ZOL_COMPONENT_EXPORT int DllRegisterServer()                                                                       \
    {                                                                                                                  \
        return component::registerServer(classTable, componentLibraryPath());                                          \
    }                                                                                                                  \
    ZOL_COMPONENT_EXPORT int DllUnregisterServer()                                                                     \
    {                                                                                                                  \
        return component::unregisterServer(classTable, componentLibraryPath());                                        \
    }
