#include "clock.h"

namespace {
QDateTime g_fixed;
}

QDateTime Clock::now() { return g_fixed.isValid() ? g_fixed : QDateTime::currentDateTime(); }
void Clock::setFixed(const QDateTime& when) { g_fixed = when; }
void Clock::advance(qint64 seconds)
{
    if (g_fixed.isValid())
        g_fixed = g_fixed.addSecs(seconds);
}
void Clock::reset() { g_fixed = QDateTime(); }
