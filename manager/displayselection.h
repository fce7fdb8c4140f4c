#pragma once

#include <QString>

namespace manager {

// The displays an update goes to, as the host writes display lists (names joined
// by ","), chosen by the setting "PromptForDisplay":
//   0   the host's last opened display ("LumarexLite"\"RecentDisplay"\"LastOpened");
//   1   the host's recent display list ("LumarexLite"\"Display"\"Recent"), whose
//       character 255 separators become ",";
//   any other number: the host's display chooser, which asks the user.
// A setting that is not a number raises Type mismatch. "" means no display.
QString selectDisplays();

} // namespace manager
