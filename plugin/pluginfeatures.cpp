#include "pluginfeatures.h"

#include "dlgTransmitVars.h"
#include "dlgVarCmdInserter.h"
#include "dlgVariables.h"

namespace features {

void showVariableManager() { manager::showVariableManager(); }

void showCommandInserter(QObject* frameEditor)
{
    dlgVarCmdInserter dialog;
    dialog.setFrame(frameEditor);
    dialog.exec();
}

void updateOnTransmit(QObject* transmissionContext)
{
    dlgTransmitVars dialog;
    dialog.UpdateVars(transmissionContext);
}

} // namespace features
