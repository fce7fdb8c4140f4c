#pragma once

// The host's plug-in master control (ProgID "zolPluginCtl4.zolPluginMaster"):
// the table of variable command tokens and running a method of another plug-in.

#include "progids.h"
#include <QObject>
#include <QString>
#include <QVariant>

namespace pluginmaster {

inline const QString kPluginMasterProgId = QString::fromLatin1(progid::kPluginMaster);
inline const QString kBadWordCheckerProgId = QString::fromLatin1(progid::kBadWordChecker);

class IPluginMaster {
public:
    virtual ~IPluginMaster() = default;
    // The first status read, made before any other call.
    virtual QVariant Status() = 0;
    virtual QString GetTokenText(const QString& key) = 0;
    virtual void SetTokenText(const QString& key, const QString& text) = 0;
    // Creates the plug-in `progId` and calls its `method` late-bound with
    // (param1 by reference, param2, status by reference). A plug-in that is not
    // installed leaves param1 unchanged.
    virtual void RunPluginMethod(const QString& progId, const QString& method, QString& param1, const QString& param2,
                                 bool& status) = 0;
};

} // namespace pluginmaster

Q_DECLARE_INTERFACE(pluginmaster::IPluginMaster, "zol.PluginMaster/4")
