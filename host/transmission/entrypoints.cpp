// The transmission library's entry points and its table of public classes.

#include "DisplayList.h"
#include "componentlibrary.h"
#include "zolDispTrans.h"

#include <array>

namespace {
const std::array<component::ClassEntry, 2> kClasses{{
    {zolDispTrans::kProgId, []() -> QObject* { return new zolDispTrans; }},
    {DisplayList::kProgId, []() -> QObject* { return new DisplayList; }},
}};
} // namespace

ZOL_COMPONENT_LIBRARY(kClasses)
