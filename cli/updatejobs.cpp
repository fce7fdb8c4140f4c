#include "updatejobs.h"

#include "linkcontainer.h"
#include "runtimeerror.h"

#include <algorithm>

#include <QDeadlineTimer>
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
    // Waits while the watcher keeps being told where things stand.
    auto wait = [&](qint64 ms) {
        QDeadlineTimer deadline(ms);
        while (!deadline.hasExpired()) {
            report();
            QThread::msleep(static_cast<unsigned long>(std::clamp<qint64>(deadline.remainingTime(), 0, 100)));
        }
    };

    QList<int> pending;
    for (int i = 0; i < m_displays.size(); ++i)
        pending.append(i);
    if (m_options.delayMinutes > 0) {
        for (int i : std::as_const(pending))
            change(i, [](State& s) { s.phase = State::Waiting; });
        wait(qint64(m_options.delayMinutes * 60000));
    }
    // As the update dialog does: a pass over every display, then, after the
    // retry interval, a pass over those that failed, and so on.
    for (int attempt = 1; attempt <= m_options.retries + 1 && !pending.isEmpty(); ++attempt) {
        if (attempt > 1) {
            const QDateTime nextTry = QDateTime::currentDateTime().addSecs(m_options.retryIntervalSeconds);
            for (int i : std::as_const(pending))
                change(i, [&nextTry](State& s) {
                    s.phase = State::RetryWait;
                    s.nextTry = nextTry;
                });
            wait(qint64(m_options.retryIntervalSeconds) * 1000);
        }
        QThreadPool pool;
        pool.setMaxThreadCount(std::max(1, m_options.jobs));
        for (int i : std::as_const(pending))
            pool.start([this, i, attempt] { updateOne(i, attempt); });
        while (!pool.waitForDone(100))
            report();
        const QList<State> now = states();
        pending.removeIf([&now](int i) { return now[i].updated; });
    }
    for (int i : std::as_const(pending))
        change(i, [](State& s) { s.phase = State::Done; });
    report();
}

void Jobs::updateOne(int index, int attempt)
{
    change(index, [attempt](State& s) {
        s.phase = State::Sending;
        s.attempt = attempt;
        s.caption.clear();
        s.percent = 0;
    });
    bool updated = false;
    QString error;
    QList<UnitResult> units;
    try {
        // Everything that talks to the display belongs to this thread: the sender
        // creates its own transmission control, display list and plug-in master.
        const std::unique_ptr<ILinkContainer> link = links::create();
        DisplaySender sender(m_set, link.get());
        sender.setAccount(m_options.account);
        sender.setProgress([this, index](const QString& caption, int percent) {
            change(index, [&](State& s) {
                s.caption = caption;
                if (percent != DisplaySender::kSamePercent)
                    s.percent = percent;
            });
        });
        const SendResult result = sender.send(m_displays.at(index).number, {m_options.selection, m_options.option});
        // Every unit of the display took every step; the first reason when one did not.
        updated = result.ok && result.allUnitsSent;
        error = result.failureText();
        units = result.unitResults;
    } catch (const RuntimeError& e) {
        error = e.description();
    } catch (const std::exception& e) {
        error = QString::fromLocal8Bit(e.what());
    }
    // A display that failed stays in its phase until the next pass or the end.
    change(index, [&](State& s) {
        s.updated = updated;
        s.error = updated ? QString() : error;
        s.units = units;
        if (updated)
            s.phase = State::Done;
    });
}

} // namespace updatejobs
