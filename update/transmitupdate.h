#pragma once

#include "classregistry.h"
#include "clsVarSetupInfo.h"

#include <QString>

#include <memory>

class clsVarUpdater;
class clsVariableAccess;
class ILinkContainer;
namespace disptrans {
class IDispTrans;
}
namespace pluginmaster {
class IPluginMaster;
}

// Update on transmit: the attributes and then the data of all 416 variables,
// through the host's transmission control on the connection and display address
// the host has already set up for its own transmission.
//
// The plug-in master is created by ProgID on first use unless one is given.
class TransmitUpdate final {
public:
    static const QString kSuccessful; // "Successful"
    static const QString kFailed;     // "FAILED!"

    TransmitUpdate();
    ~TransmitUpdate();
    TransmitUpdate(const TransmitUpdate&) = delete;
    TransmitUpdate& operator=(const TransmitUpdate&) = delete;

    // Every variable number in ascending order: 1 ... 256 text, 257 ... 416 cell.
    static VarSelection allVariables();

    // Sets up the updater (created on first use and kept) for the host's control.
    void prepare(disptrans::IDispTrans* transmission, clsVariableAccess* variables, ILinkContainer* linkSource);
    void setPluginMaster(pluginmaster::IPluginMaster* master) { m_givenMaster = master; }

    // Attributes first; data only when the attributes went through. True when
    // both did. A run-time error on the way is a failed update, since nothing
    // may escape the host's pre-transmit call.
    bool run();
    // "Successful" or "FAILED!" after run(), "" before.
    QString statusText() const { return m_status; }

    clsVarUpdater* updater() const { return m_updater.get(); }

private:
    pluginmaster::IPluginMaster* pluginMaster();

    std::unique_ptr<clsVarUpdater> m_updater;
    pluginmaster::IPluginMaster* m_givenMaster = nullptr;
    Component<pluginmaster::IPluginMaster> m_master;
    QString m_status;
};
