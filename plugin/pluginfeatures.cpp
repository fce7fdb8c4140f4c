#include "pluginfeatures.h"

#include "dlgVariables.h"
#include "messagebox.h"

// The command inserter and the update-on-transmit dialog are not part of this
// build yet: their entry points say so instead.
namespace features {

void showVariableManager() { manager::showVariableManager(); }

void showCommandInserter(QObject*)
{
    msgbox::show(QStringLiteral("The variable command inserter is not available in this version."));
}

void updateOnTransmit(QObject*)
{
    msgbox::show(QStringLiteral("Update on transmit is not available in this version."));
}

} // namespace features
