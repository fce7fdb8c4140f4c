#pragma once

// The tool's commands, one file each in this folder. A new command is a file
// that defines `Command commands::NAME()` (see show.cpp for a small one), its
// declaration here, one row in table() (commandtable.cpp) and its file in
// cli/CMakeLists.txt. The table's order is the order of the general help.

#include "options.h"

namespace qmdvars::commands {

Command show();
Command set();
Command exportCsv();
Command importCsv();
Command update();
Command audit();
Command watch();
Command history();

// Every command, in the order the general help lists them.
QList<Command> table();

// A command of a library above the tool's core (serve, user, token), added to
// the table by the program before it runs a command line.
void add(const Command& command);

} // namespace qmdvars::commands
