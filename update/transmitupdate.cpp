#include "transmitupdate.h"

#include "clsVarUpdater.h"
#include "clsVariableAccess.h"
#include "pluginmaster.h"
#include "runtimeerror.h"

const QString TransmitUpdate::kSuccessful = QStringLiteral("Successful");
const QString TransmitUpdate::kFailed = QStringLiteral("FAILED!");

namespace {
// The updater leaves the address the host's control already talks to.
constexpr int16_t kKeepAddress = -1;
} // namespace

TransmitUpdate::TransmitUpdate() = default;
TransmitUpdate::~TransmitUpdate() = default;

VarSelection TransmitUpdate::allVariables()
{
    VarSelection all;
    all.reserve(clsVariableAccess::kVariableCount);
    for (int16_t n = 1; n <= clsVariableAccess::kVariableCount; ++n)
        all.append({clsVariableAccess::isTextVariable(n), n});
    return all;
}

pluginmaster::IPluginMaster* TransmitUpdate::pluginMaster()
{
    if (m_givenMaster)
        return m_givenMaster;
    if (!m_master)
        m_master = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
    return m_master.get();
}

void TransmitUpdate::prepare(disptrans::IDispTrans* transmission, clsVariableAccess* variables,
                             ILinkContainer* linkSource)
{
    if (!m_updater)
        m_updater = std::make_unique<clsVarUpdater>();
    m_updater->TransControl = transmission;
    m_updater->Variables = variables;
    m_updater->SelectedVars = allVariables();
    m_updater->TotalVariables = clsVariableAccess::kVariableCount;
    m_updater->LinkSource = linkSource;
}

bool TransmitUpdate::run()
{
    bool ok = false;
    try {
        if (!m_updater)
            RuntimeError::raise(RuntimeError::ObjectRequired);
        m_updater->PluginMaster = pluginMaster();
        ok = m_updater->UpdateVariableAttributesOnDisplay(kKeepAddress)
             && m_updater->UpdateVariableDataOnDisplay(kKeepAddress);
    } catch (const RuntimeError&) {
        ok = false;
    }
    m_status = ok ? kSuccessful : kFailed;
    return ok;
}
