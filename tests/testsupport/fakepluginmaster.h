#pragma once

#include "pluginmaster.h"

#include <QHash>
#include <QObject>
#include <QStringList>

#include <functional>

// An in-memory plug-in master: a token table, call counting, failure injection
// and a text cleaner standing in for the bad-word checker.
class FakePluginMaster final : public QObject, public pluginmaster::IPluginMaster {
    Q_OBJECT
    Q_INTERFACES(pluginmaster::IPluginMaster)
public:
    QVariant Status() override;
    QString GetTokenText(const QString& key) override;
    void SetTokenText(const QString& key, const QString& text) override;
    void RunPluginMethod(const QString& progId, const QString& method, QString& param1, const QString& param2,
                         bool& status) override;

    // Shared by every instance, since the code under test creates its own.
    static QHash<QString, QString> tokens;
    static int statusReads;
    static int setCalls;
    static bool failEveryCall;                             // every call raises a run-time error
    static QStringList failingKeys;                        // SetTokenText of these keys raises
    static std::function<QString(const QString&)> cleaner; // RunPluginMethod's effect on param1
    static QStringList methodsRun;                         // "progId.method" per RunPluginMethod call
    static void reset();
};
