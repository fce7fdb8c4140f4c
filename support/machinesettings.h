#pragma once

// Machine-wide settings: string values in the machine-wide hive under
// "Software\Morvel\" application "\" section, shared by the host and its
// plug-ins. Each side keeps its own table of keys, and the keys both sides use
// are declared here; this is how any of them is read and written.

#include <QList>
#include <QString>

#include <utility>

namespace settings {

struct Key {
    const char* application;
    const char* section;
    const char* name;
    const char* defaultValue; // nullptr: the default is computed (see the key)
};

// Reads a machine-wide value; `defaultValue` when the key or the value is missing.
QString ReadMachineSetting(const QString& application, const QString& section, const QString& valueName,
                           const QString& defaultValue);
// Writes a machine-wide value, creating the section's key when needed. Failures
// are not reported.
void WriteMachineSetting(const QString& application, const QString& section, const QString& valueName,
                         const QString& text);
// Writes many values of one section at once, with one write to the store.
void WriteMachineSettings(const QString& application, const QString& section,
                          const QList<std::pair<QString, QString>>& values);

// The host's values that its plug-ins read too: where the host is installed
// (default: the reading library's own folder) and the displays opened last.
inline constexpr Key kAppPath{"Lumarex3", "Settings", "AppPath", nullptr};
inline constexpr Key kRecentDisplays{"LumarexLite", "Display", "Recent", ""};
inline constexpr Key kLastOpenedDisplay{"LumarexLite", "RecentDisplay", "LastOpened", ""};

// The keyed forms, with the table's defaults.
QString read(const Key& key);
QString read(const Key& key, const QString& defaultValue);
void write(const Key& key, const QString& text);

// Joins a folder (which may end in "\" or "/") and a relative path that may use
// "\" into a native path. An empty folder leaves the path relative.
QString joinPath(const QString& folder, const QString& relative);

// The full path of the loaded library (or program) that holds `address`, and its
// folder without a trailing separator: a library's "own folder".
QString modulePath(const void* address);
QString moduleFolder(const void* address);
// Tests: every module's folder is `folder` ("" restores the real ones).
void setModuleFolderForTesting(const QString& folder);

} // namespace settings
