#pragma once

#include "progids.h"
#include <QIcon>
#include <QObject>
#include <QString>
#include <QVariant>

// What the library offers the host: one plug-in, with its name, description,
// descriptive name and picture at index 0.
class PluginData final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PluginData)
    Q_PROPERTY(short TotalPlugins READ TotalPlugins)
public:
    static inline const char* kProgId = progid::kVariablePluginData;

    explicit PluginData(QObject* parent = nullptr);

    short TotalPlugins() const { return 1; }
    // Any index but 0 raises "Subscript out of range".
    Q_INVOKABLE QString PluginNames(short iIndex) const;
    Q_INVOKABLE QString PluginDescription(short iIndex) const;
    Q_INVOKABLE QString PluginDescriptiveName(short iIndex) const;
    // Icon resource 101 + iIndex; an empty value when there is none.
    Q_INVOKABLE QVariant PluginPic(short iIndex) const;
};

// The library's name tables, filled once at start-up, and its icons.
namespace plugintables {
const QString& pluginName();
const QString& pluginDescription();
const QString& pluginDescriptiveName();
// Icon resource `id` (101 is the plug-in's picture); null when missing.
QIcon iconResource(int id);
} // namespace plugintables
