#pragma once

// A change of the variable file as a row of the send history, whoever made
// it: the window, qmdvars set/import, the web console, a command off the bus.

#include "sendhistory.h"
#include "variablefile.h"

#include <optional>

namespace history {

// Kind "change": the variables that differ, the fields that changed as the
// mode ("data,color"), the new data of each whose data changed, and `account`
// (empty: the system user). Nothing when the two sets are the same.
std::optional<Entry> changeEntry(const vls::RecordSet& before, const vls::RecordSet& after,
                                 const QString& account = {});

// Records it, when there is one, as recordQuietly does: a history that cannot
// be written never stops a change.
void recordChange(const vls::RecordSet& before, const vls::RecordSet& after, const QString& account = {});

} // namespace history
