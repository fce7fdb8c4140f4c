#pragma once

// The plug-in's settings: the machine-wide values it reads and writes, each
// listed here with its default in one place, and one per-user flag.

#include "machinesettings.h"

namespace settings {

// kAppPath, kRecentDisplays and kLastOpenedDisplay, the host's values the plug-in
// reads, are declared with the settings access (machinesettings.h).
// "Lumarex3" / "VariablePlugin"
inline constexpr Key kVarFileLoc{"Lumarex3", "VariablePlugin", "QMDVarFileLoc", nullptr}; // default: see variables/
inline constexpr Key kRetryInterval{"Lumarex3", "VariablePlugin", "RetryInterval", "3600"};
inline constexpr Key kPromptForDisplay{"Lumarex3", "VariablePlugin", "PromptForDisplay", "2"};
inline constexpr Key kPromptForVariable{"Lumarex3", "VariablePlugin", "PromptForVariable", "TRUE"};
inline constexpr Key kPromptForDelay{"Lumarex3", "VariablePlugin", "PromptForDelay", "FALSE"};
inline constexpr Key kLastUsed{"Lumarex3", "VariablePlugin", "LastUsed", ""};
inline constexpr Key kUpdateAll{"Lumarex3", "VariablePlugin", "UpdateAll", "True"};
inline constexpr Key kUpdateData{"Lumarex3", "VariablePlugin", "UpdateData", "False"};
inline constexpr Key kUpdateAttribute{"Lumarex3", "VariablePlugin", "UpdateAttribute", "False"};
// "Lumarex3" / "Variables": VBL001 ... VBL416, written by every save.
inline constexpr const char* kVariablesApplication = "Lumarex3";
inline constexpr const char* kVariablesSection = "Variables";

// The per-user "UpdateOnTransmit" flag ("LumarexLite" / "zolQMDVariablePlugin").
bool GetUpdateOnTransmit();
void SetUpdateOnTransmit(bool flag);

// The folder of the loaded plug-in library, without a trailing separator.
QString pluginFolder();

} // namespace settings
