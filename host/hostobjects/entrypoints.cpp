// The host objects library's entry points and its table of public classes.

#include "DisplayChooser.h"
#include "componentlibrary.h"

#include <array>

namespace {
const std::array<component::ClassEntry, 1> kClasses{{
    {DisplayChooser::kProgId, []() -> QObject* { return new DisplayChooser; }},
}};
} // namespace

ZOL_COMPONENT_LIBRARY(kClasses)
