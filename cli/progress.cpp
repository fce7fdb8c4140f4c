#include "progress.h"

#include <QDateTime>

#include <algorithm>

ProgressView::ProgressView(QTextStream& out, bool terminal, const QList<displays::Entry>& displays)
    : m_out(out), m_terminal(terminal), m_displays(displays)
{}

// "37 s, at 16:40:12": how long until the next pass, and when.
static QString waitText(const updatejobs::State& state)
{
    const qint64 left = std::max<qint64>(0, (QDateTime::currentDateTime().msecsTo(state.nextTry) + 999) / 1000);
    return QStringLiteral("%1 s, at %2").arg(left).arg(state.nextTry.toString(QStringLiteral("HH:mm:ss")));
}

QString ProgressView::phaseText(const updatejobs::State& state, int retries)
{
    using updatejobs::State;
    switch (state.phase) {
    case State::Queued: return QString();
    case State::Waiting: return QStringLiteral("waiting for its delay");
    case State::Sending:
        return state.attempt > 1 ? QStringLiteral("sending, retry %1 of %2").arg(state.attempt - 1).arg(retries)
                                 : QStringLiteral("sending");
    case State::RetryWait: return QStringLiteral("FAILED %1; next try in %2").arg(state.error, waitText(state));
    case State::Done: return state.updated ? QStringLiteral("Updated") : QStringLiteral("FAILED ") + state.error;
    }
    return QString();
}

QString ProgressView::barLine(const QList<updatejobs::State>& states, const QList<displays::Entry>& displays, int width)
{
    int done = 0;
    QString current;
    for (int i = 0; i < states.size(); ++i) {
        if (states[i].phase == updatejobs::State::Done)
            ++done;
        else if (current.isEmpty() && states[i].phase == updatejobs::State::RetryWait)
            current = QStringLiteral("display %1 failed; next try in %2").arg(displays[i].number, waitText(states[i]));
        else if (current.isEmpty() && states[i].phase == updatejobs::State::Sending)
            current = QStringLiteral("display %1: %2 %3%")
                          .arg(displays[i].number,
                               states[i].caption.isEmpty() ? QStringLiteral("sending") : states[i].caption)
                          .arg(states[i].percent);
    }
    const int filled = states.isEmpty() ? width : int(qint64(done) * width / states.size());
    return u'[' + QString(filled, u'#') + QString(width - filled, u'-') + u']'
           + QStringLiteral(" %1/%2 displays").arg(done).arg(states.size())
           + (current.isEmpty() ? QString() : QStringLiteral("  ") + current);
}

void ProgressView::show(const QList<updatejobs::State>& states, const QList<updatejobs::Event>& events)
{
    if (m_terminal) {
        // Carriage return and "erase to end of line": the bar is redrawn in place.
        m_out << "\r\x1b[K" << barLine(states, m_displays) << Qt::flush;
        m_barDrawn = true;
        return;
    }
    for (const updatejobs::Event& e : events)
        m_out << "display " << m_displays[e.index].number << ": " << phaseText(e.state, retries) << '\n';
    m_out.flush();
}

void ProgressView::finish()
{
    if (m_barDrawn)
        m_out << '\n' << Qt::flush;
}
