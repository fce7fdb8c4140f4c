#include "clock.h"

namespace {
QDateTime g_fixed;
qint64 g_stepMs = 0;
} // namespace

QDateTime Clock::now()
{
    if (!g_fixed.isValid())
        return QDateTime::currentDateTime();
    const QDateTime reading = g_fixed;
    g_fixed = g_fixed.addMSecs(g_stepMs);
    return reading;
}

QDateTime Clock::nowWholeSeconds()
{
    QDateTime t = now();
    t.setTime(QTime(t.time().hour(), t.time().minute(), t.time().second()));
    return t;
}

void Clock::setFixed(const QDateTime& when, qint64 stepMs)
{
    g_fixed = when;
    g_stepMs = stepMs;
}
void Clock::advance(qint64 seconds)
{
    if (g_fixed.isValid())
        g_fixed = g_fixed.addSecs(seconds);
}
void Clock::reset()
{
    g_fixed = QDateTime();
    g_stepMs = 0;
}
