#pragma once

// The plug-in's settings: string values in the machine-wide hive under
// "Software\Morvel\" application "\" section, shared with the host, and one
// per-user flag. Every value the plug-in reads or writes is listed here with its
// default, in one place.

#include <QString>

namespace settings {

struct Key {
    const char* application;
    const char* section;
    const char* name;
    const char* defaultValue; // nullptr: the default is computed (see the key)
};

// "Lumarex3" / "Settings"
inline constexpr Key kAppPath{"Lumarex3", "Settings", "AppPath", nullptr}; // default: the plug-in's folder
// "Lumarex3" / "VariablePlugin"
inline constexpr Key kVarFileLoc{"Lumarex3", "VariablePlugin", "QMDVarFileLoc", nullptr}; // default: Part of variables/
inline constexpr Key kRetryInterval{"Lumarex3", "VariablePlugin", "RetryInterval", "3600"};
inline constexpr Key kPromptForDisplay{"Lumarex3", "VariablePlugin", "PromptForDisplay", "2"};
inline constexpr Key kPromptForVariable{"Lumarex3", "VariablePlugin", "PromptForVariable", "TRUE"};
inline constexpr Key kPromptForDelay{"Lumarex3", "VariablePlugin", "PromptForDelay", "FALSE"};
inline constexpr Key kLastUsed{"Lumarex3", "VariablePlugin", "LastUsed", ""};
inline constexpr Key kUpdateAll{"Lumarex3", "VariablePlugin", "UpdateAll", "True"};
inline constexpr Key kUpdateData{"Lumarex3", "VariablePlugin", "UpdateData", "False"};
inline constexpr Key kUpdateAttribute{"Lumarex3", "VariablePlugin", "UpdateAttribute", "False"};
// The host's own values, read only.
inline constexpr Key kRecentDisplays{"LumarexLite", "Display", "Recent", ""};
inline constexpr Key kLastOpenedDisplay{"LumarexLite", "RecentDisplay", "LastOpened", ""};
// "Lumarex3" / "Variables": VBL001 ... VBL416, written by every save.
inline constexpr const char* kVariablesApplication = "Lumarex3";
inline constexpr const char* kVariablesSection = "Variables";

// Reads a machine-wide value; `defaultValue` when the key or the value is missing.
QString ReadMachineSetting(const QString& application, const QString& section, const QString& valueName,
                           const QString& defaultValue);
// Writes a machine-wide value, creating the section's key when needed. Failures
// are not reported.
void WriteMachineSetting(const QString& application, const QString& section, const QString& valueName,
                         const QString& text);
// Writes many values of one section at once (the variable data of every save).
void WriteMachineSettings(const QString& application, const QString& section,
                          const QList<std::pair<QString, QString>>& values);

// The keyed forms, with the table's defaults.
QString read(const Key& key);
QString read(const Key& key, const QString& defaultValue);
void write(const Key& key, const QString& text);

// The per-user "UpdateOnTransmit" flag ("LumarexLite" / "zolQMDVariablePlugin").
bool GetUpdateOnTransmit();
void SetUpdateOnTransmit(bool flag);

// The folder of the loaded plug-in library, without a trailing separator.
QString pluginFolder();
// Tests: pretend the library was loaded from `folder` ("" restores the real one).
void setPluginFolderForTesting(const QString& folder);

// Joins a folder (which may end in "\" or "/") and a relative path that may use
// "\" into a native path.
QString joinPath(const QString& folder, const QString& relative);

} // namespace settings
