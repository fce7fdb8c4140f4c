#pragma once

// The host's own machine-wide values: where it is installed, and the displays
// the operator opened last. Plug-ins read some of them; the host writes them.

#include "machinesettings.h"

namespace hostsettings {

// Declared with the settings access, as plug-ins read them too.
using settings::kAppPath;
using settings::kLastOpenedDisplay;
using settings::kRecentDisplays;

} // namespace hostsettings
