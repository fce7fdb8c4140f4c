// The plug-in master library's entry points and its table of public classes.

#include "componentlibrary.h"
#include "zolPluginMaster.h"

#include <array>

namespace {
const std::array<component::ClassEntry, 1> kClasses{{
    {zolPluginMaster::kProgId, []() -> QObject* { return new zolPluginMaster; }},
}};
} // namespace

ZOL_COMPONENT_LIBRARY(kClasses)
