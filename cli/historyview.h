#pragma once

// The send history as `qmdvars history` prints it: a text listing (one line per
// send, then one indented line per variable with the text sent) or CSV rows
// (one per variable sent), and the --since argument understood.

#include "sendhistory.h"

#include <QDateTime>
#include <QList>
#include <QStringList>

#include <optional>

namespace historyview {

// "2026-11-25", "2026-11-25T10:30[:00]", "2026-11-25 10:30", or an age: "3d",
// "12h", "30m" before `now`. Nothing for anything else.
std::optional<QDateTime> parseSince(const QString& text, const QDateTime& now = QDateTime::currentDateTime());

QString text(const QList<history::Entry>& entries);

// A header, then one row per variable of each send (a send without variables: one row).
QList<QStringList> csvRows(const QList<history::Entry>& entries);

} // namespace historyview
