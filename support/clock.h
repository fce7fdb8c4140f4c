#pragma once

#include <QDateTime>

// The system's notion of "now". Schedules, countdowns and dated file names ask
// it, so tests can set the time.
namespace Clock {
QDateTime now();
void setFixed(const QDateTime& when); // tests: stop the clock at `when`
void advance(qint64 seconds);         // tests: move a fixed clock on
void reset();                         // back to the real clock
} // namespace Clock
