// The library's four exported entry points and its table of public classes.

#include "PluginData.h"
#include "clsFrm_Var_Editor.h"
#include "componentlibrary.h"
#include "messageboxwidget.h"
#include "spreadsheetlinks.h"
#include "zolQMDVariables.h"

#include <array>

namespace {
const std::array<component::ClassEntry, 3> kClasses{{
    {zolQMDVariables::kProgId, []() -> QObject* { return new zolQMDVariables; }},
    {PluginData::kProgId, []() -> QObject* { return new PluginData; }},
    {clsFrm_Var_Editor::kProgId, []() -> QObject* { return new clsFrm_Var_Editor; }},
}};

// The plug-in runs inside a windowed host: its messages are message boxes.
const bool kWindows = (msgbox::useWindows(), true);
// Variables link to spreadsheet cells on disk.
const bool kLinks = (links::installSpreadsheetLinks(), true);
} // namespace

ZOL_COMPONENT_LIBRARY(kClasses)
