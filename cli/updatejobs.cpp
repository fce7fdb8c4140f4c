#include "updatejobs.h"

#include "linkcontainer.h"

#include <QThread>
#include <QThreadPool>

namespace updatejobs {

Jobs::Jobs(clsVariableAccess* set, const QList<displays::Entry>& displays, const Options& options)
    : m_set(set), m_displays(displays), m_options(options), m_states(displays.size())
{}

QList<State> Jobs::states() const
{
    std::lock_guard lock(m_mutex);
    return m_states;
}

template <class Change> void Jobs::change(int index, Change&& change)
{
    std::lock_guard lock(m_mutex);
    State& s = m_states[index];
    const State::Phase phase = s.phase;
    const int attempt = s.attempt;
    change(s);
    if (s.phase != phase || s.attempt != attempt)
        m_events.append({index, s});
}

void Jobs::run(const Watch& watch)
{
    auto report = [&] {
        QList<Event> events;
        {
            std::lock_guard lock(m_mutex);
            events.swap(m_events);
        }
        watch(states(), events);
    };
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, m_options.jobs));
    pool.setExpiryTimeout(-1);
    for (int i = 0; i < m_displays.size(); ++i)
        pool.start([this, i] { updateOne(i); });
    while (!pool.waitForDone(100))
        report();
    report();
}

void Jobs::updateOne(int index)
{
    // Everything that talks to the display belongs to this thread: the run
    // creates its own transmission control, display list and plug-in master.
    const std::unique_ptr<ILinkContainer> link = links::create();
    UpdateRun run;
    run.setVariableSet(m_set);
    run.setLinkSource(link.get());
    run.setRequest({m_displays[index].number, QString(), m_options.selection, m_options.option});
    QObject::connect(&run, &UpdateRun::statusChanged, [this, index](const QString& caption, int percent) {
        change(index, [&](State& s) {
            s.caption = caption;
            s.percent = percent;
        });
    });

    if (m_options.delayMinutes > 0) {
        change(index, [](State& s) { s.phase = State::Waiting; });
        QThread::msleep(static_cast<unsigned long>(m_options.delayMinutes * 60000));
    }
    auto attempt = [&](int number) {
        change(index, [number](State& s) {
            s.phase = State::Sending;
            s.attempt = number;
        });
        if (number == 1) {
            run.start();
            run.stopRetry(); // the tool counts its own retries
        } else {
            run.UpdatePass();
        }
        return run.rows().constFirst().status == UpdateRun::kUpdated;
    };
    bool updated = attempt(1);
    for (int retry = 1; !updated && retry <= m_options.retries; ++retry) {
        change(index, [](State& s) { s.phase = State::RetryWait; });
        QThread::sleep(static_cast<unsigned long>(m_options.retryIntervalSeconds));
        updated = attempt(retry + 1);
    }
    const QString error = run.rows().constFirst().when;
    change(index, [&](State& s) {
        s.phase = State::Done;
        s.updated = updated;
        s.error = updated ? QString() : error;
    });
}

} // namespace updatejobs
