#pragma once

// What the sending programs call: one entry into the history beside the
// machine-wide store, without ever holding up or failing a send. A history
// that cannot be opened or written is reported once on the log and otherwise
// left alone.

#include "machinesettings.h"
#include "sendhistory.h"

namespace history {

// Rows older than this many days go when a program first records.
inline constexpr settings::Key kKeepDays{"Lumarex3", "VariablePlugin", "HistoryKeepDays", "90"};

// The configured age in days; the default for a value that is not a positive number.
int keepDays();

// Records `entry` in the history at SendHistory::defaultPath(); false when it
// could not (the reason went to the log). Safe from any thread: each thread
// keeps its own connection.
bool recordQuietly(const Entry& entry);

// The text of a mode as the history stores it.
QString modeText(bool data, bool attributes);

} // namespace history
