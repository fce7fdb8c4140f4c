#pragma once

// The update run without a window: every chosen display is sent by a display
// sender of its own, up to `jobs` displays at once, each over its own connection
// and with its own transmission objects, so a display's send sequence is exactly
// what the update dialog would send it.

#include "displays.h"
#include "displaysender.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <functional>
#include <mutex>

class clsVariableAccess;

namespace updatejobs {

struct Options {
    UpdateOption option = UpdateOption::DataAndAttributes;
    VarSelection selection;
    double delayMinutes = 0; // before the first pass
    int retries = 0;         // further passes over the displays that failed
    int retryIntervalSeconds = 0;
    int jobs = 1;
    QString account; // who asked for the run, for the history; empty: the system user
};

// Where one display's update stands.
struct State {
    enum Phase { Queued, Waiting, Sending, RetryWait, Done };
    Phase phase = Queued;
    int attempt = 0;
    QString caption; // what the run is doing: "Data Transmission", ...
    int percent = 0;
    bool updated = false;
    QString error;           // the last error of a failed display
    QList<UnitResult> units; // each unit's result of the last try
    QDateTime nextTry;       // while waiting to retry: when the next pass starts
};

// A change of a display's phase, as it happened.
struct Event {
    int index = 0;
    State state;
};

class Jobs final {
public:
    Jobs(clsVariableAccess* set, const QList<displays::Entry>& displays, const Options& options);

    // Runs every display; `watch` is called on this thread about ten times a
    // second with the states so far and the phase changes since the last call,
    // and once more at the end.
    using Watch = std::function<void(const QList<State>&, const QList<Event>&)>;
    void run(const Watch& watch);
    QList<State> states() const;

private:
    void updateOne(int index, int attempt);
    template <class Change> void change(int index, Change&& change);

    clsVariableAccess* m_set;
    QList<displays::Entry> m_displays;
    Options m_options;
    mutable std::mutex m_mutex;
    QList<State> m_states;
    QList<Event> m_events;
};

} // namespace updatejobs
