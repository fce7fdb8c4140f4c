#pragma once

// The host's own machine-wide values: where it is installed, and the displays
// the operator opened last. Plug-ins read some of them; the host writes them.

#include "machinesettings.h"

namespace hostsettings {

inline constexpr settings::Key kAppPath{"Lumarex3", "Settings", "AppPath", nullptr}; // default: the library's folder
inline constexpr settings::Key kRecentDisplays{"LumarexLite", "Display", "Recent", ""};
inline constexpr settings::Key kLastOpenedDisplay{"LumarexLite", "RecentDisplay", "LastOpened", ""};

} // namespace hostsettings
