#include "pluginfeatures.h"

#include "dlgTransmitVars.h"
#include "dlgVariables.h"
#include "messagebox.h"

// The command inserter is not part of this build yet: its entry point says so.
namespace features {

void showVariableManager() { manager::showVariableManager(); }

void showCommandInserter(QObject*)
{
    msgbox::show(QStringLiteral("The variable command inserter is not available in this version."));
}

void updateOnTransmit(QObject* transmissionContext)
{
    dlgTransmitVars dialog;
    dialog.UpdateVars(transmissionContext);
}

} // namespace features
