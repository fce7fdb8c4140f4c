#pragma once

#include "progids.h"
#include "pluginmaster.h"

#include <QObject>
#include <QVariant>

// The host's plug-in master (ProgID "zolPluginCtl4.zolPluginMaster"): the table
// of command tokens, kept in the machine-wide settings hive so that every
// instance and every program sees the same table (tokenstore.h), and running a
// method of another plug-in by its ProgID.
class zolPluginMaster final : public QObject, public pluginmaster::IPluginMaster {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(zolPluginMaster)
    Q_INTERFACES(pluginmaster::IPluginMaster)
public:
    static inline const char* kProgId = progid::kPluginMaster;
    // Key of the token table; token names are its value names.
    static inline const QString kTokenKey = QStringLiteral("Software\\Morvel\\Lumarex3\\Tokens");

    // Answers of Status().
    enum StatusCode : short { Ready = 0, StoreUnreadable = 1 };

    explicit zolPluginMaster(QObject* parent = nullptr);
    // Writes the tokens still gathered (see tokenstore.h).
    ~zolPluginMaster() override;

    // Ready when the token table can be read.
    Q_INVOKABLE QVariant Status() override;
    // Token names are not case-sensitive ("vbl001" is "VBL001"); an unknown
    // token has the text "".
    Q_INVOKABLE QString GetTokenText(const QString& key) override;
    Q_INVOKABLE void SetTokenText(const QString& key, const QString& text) override;
    // Every token in the table, by name (upper case).
    Q_INVOKABLE QStringList TokenNames() const;

    // A plug-in that is not installed leaves param1 as it is and status False.
    // Errors of the plug-in's method reach the caller.
    Q_INVOKABLE void RunPluginMethod(const QString& progId, const QString& method, QString& param1,
                                     const QString& param2, bool& status) override;
};
