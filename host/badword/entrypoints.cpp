// The bad-word checker library's entry points and its table of public classes.

#include "componentlibrary.h"
#include "zolBadWordChecker.h"

#include <array>

namespace {
const std::array<component::ClassEntry, 1> kClasses{{
    {zolBadWordChecker::kProgId, []() -> QObject* { return new zolBadWordChecker; }},
}};
} // namespace

ZOL_COMPONENT_LIBRARY(kClasses)
