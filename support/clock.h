#pragma once

#include <QDateTime>

// The system's notion of "now". Schedules, countdowns and dated file names ask
// it, so tests can set the time.
namespace Clock {
QDateTime now();
// Now in whole seconds, as the run's date/time values hold it: delays and
// schedules are counted between such moments.
QDateTime nowWholeSeconds();
// Tests: stop the clock at `when`; each reading then moves it on by `stepMs`
// (time passing while the code runs).
void setFixed(const QDateTime& when, qint64 stepMs = 0);
void advance(qint64 seconds); // tests: move a fixed clock on
void reset();                 // back to the real clock
} // namespace Clock
