#include "updateflow.h"

#include "clsVariableAccess.h"
#include "settingsstore.h"

#include <QStringList>

namespace manager {

namespace {
UpdateDialogs* g_dialogs = nullptr;
const QString kTrue = QStringLiteral("TRUE");
} // namespace

UpdateOption updateOptionOf(bool dataOnly, bool attributesOnly)
{
    if (dataOnly)
        return UpdateOption::DataOnly;
    if (attributesOnly)
        return UpdateOption::AttributesOnly;
    return UpdateOption::DataAndAttributes;
}

UpdateDialogs& updateDialogs() { return g_dialogs ? *g_dialogs : realUpdateDialogs(); }
void setUpdateDialogs(UpdateDialogs* dialogs) { g_dialogs = dialogs; }

VarSelection chooseVariables(clsVariableAccess& set, bool prompt, QWidget* parent)
{
    const std::unique_ptr<VariableChooser> chooser = updateDialogs().createChooser(parent);
    chooser->setVariableSet(&set);
    return prompt ? chooser->GetChosenVars() : chooser->GetLastVars();
}

UpdateFlow::UpdateFlow(std::function<QString()> displaySelection) : m_displaySelection(std::move(displaySelection)) {}

QString UpdateFlow::noDelays(const QString& displays)
{
    // One "0" per display; an empty list has no display.
    const qsizetype count = displays.isEmpty() ? 0 : displays.count(u',') + 1;
    return QStringList(count, QStringLiteral("0")).join(u',');
}

bool UpdateFlow::run(clsVariableAccess& set, UpdateOption option, QWidget* parent)
{
    set.SaveVariables();

    const VarSelection vars = chooseVariables(set, settings::read(settings::kPromptForVariable) == kTrue, parent);
    if (vars.isEmpty())
        return false;

    const std::unique_ptr<UpdateSender> update = updateDialogs().createUpdateSender(parent);
    update->setVariableSet(&set);

    // The delay dialog stays until the update is over, as the display list it
    // answered belongs to this update.
    std::unique_ptr<DelayPrompt> delayPrompt;
    QString displays, delays;
    if (settings::read(settings::kPromptForDelay) == kTrue) {
        delayPrompt = updateDialogs().createDelayPrompt(m_displaySelection, parent);
        delayPrompt->exec();
        if (delayPrompt->Cancelled() || delayPrompt->DisplayList().isEmpty())
            return false;
        displays = delayPrompt->DisplayList();
        delays = delayPrompt->DelayList();
    } else {
        displays = m_displaySelection();
        if (displays.isEmpty())
            return false;
        delays = noDelays(displays);
    }

    update->start({displays, delays, vars, option});
    return true;
}

} // namespace manager
