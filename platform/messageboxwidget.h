#pragma once

// Message boxes as real windows. A program with a window system calls this once;
// until then (and in programs without windows) message texts go to the log.

#include "messagebox.h"

namespace msgbox {

void useWindows();

} // namespace msgbox
