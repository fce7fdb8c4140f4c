#pragma once

// The commands `serve`, `user` and `token` of qmdvars.

#include "app.h"

namespace serve {

// Whether the command line (the program's name first, global options before
// the command) names one of these commands.
bool isServeCommand(const QStringList& arguments);
// Runs it; the exit codes are the tool's.
int run(const QStringList& arguments, qmdvars::Console& console);

} // namespace serve
