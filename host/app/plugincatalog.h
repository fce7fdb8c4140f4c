#pragma once

#include <QIcon>
#include <QList>
#include <QString>
#include <QStringList>

// The host's plug-ins: the component libraries it registers from its folder,
// and the plug-ins that registered libraries offer through their "PluginData"
// classes.
namespace plugincatalog {

// The component libraries the host registers when it starts.
QStringList libraryFileNames();

// Registers every one of those libraries found in `folder`; the texts of the
// problems (missing or failing libraries).
QStringList registerLibraries(const QString& folder);

struct PluginInfo {
    QString progId;          // of the plug-in's main class
    QString descriptiveName; // for the menu
    QString description;
    QIcon icon;
};

// Every plug-in that the registered "*.PluginData" classes list. Problems are
// added to `problems` when given.
QList<PluginInfo> discover(QStringList* problems = nullptr);

} // namespace plugincatalog
