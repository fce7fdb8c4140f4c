#include "pluginfeatures.h"

#include "messagebox.h"

// The variable manager, the command inserter and the update-on-transmit dialog
// are not part of this build yet: each entry point says so instead.
namespace features {

void showVariableManager()
{
    msgbox::show(QStringLiteral("The Variable Manager is not available in this version."));
}

void showCommandInserter(QObject*)
{
    msgbox::show(QStringLiteral("The variable command inserter is not available in this version."));
}

void updateOnTransmit(QObject*)
{
    msgbox::show(QStringLiteral("Update on transmit is not available in this version."));
}

} // namespace features
