#pragma once

// The commands `serve`, `user` and `token` of qmdvars, added to the tool's
// command table by the program.

namespace serve {

void addCommands();

} // namespace serve
