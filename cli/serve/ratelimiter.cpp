#include "ratelimiter.h"

#include <algorithm>

namespace serve {

namespace {
constexpr qint64 kFirstDelayMs = 2000;
constexpr qint64 kLongestDelayMs = 15 * 60 * 1000;
} // namespace

RateLimiter::RateLimiter(int freeFailures, qint64 windowMs, Clock clock)
    : m_free(freeFailures), m_window(windowMs),
      m_clock(clock ? std::move(clock) : Clock([] { return QDateTime::currentMSecsSinceEpoch(); }))
{}

void RateLimiter::expire(Record& r, qint64 now) const
{
    r.failures.removeIf([&](qint64 t) { return now - t >= m_window; });
    // A quiet window forgives the penalties.
    if (r.failures.isEmpty() && now >= r.blockedUntil)
        r.penalties = 0;
}

qint64 RateLimiter::waitMs(const QString& address)
{
    const auto it = m_records.find(address);
    if (it == m_records.end())
        return 0;
    const qint64 now = m_clock();
    expire(*it, now);
    return std::max<qint64>(0, it->blockedUntil - now);
}

void RateLimiter::failed(const QString& address)
{
    const qint64 now = m_clock();
    Record& r = m_records[address];
    expire(r, now);
    r.failures.append(now);
    if (r.failures.size() >= m_free) {
        const qint64 delay = std::min(kLongestDelayMs, kFirstDelayMs << std::min(r.penalties, 20));
        ++r.penalties;
        r.blockedUntil = now + delay;
    }
    // Bounded memory under a flood of addresses: forget the quiet ones.
    if (m_records.size() > 10000)
        m_records.removeIf([&](auto i) { return now - i.value().blockedUntil > m_window; });
}

void RateLimiter::succeeded(const QString& address) { m_records.remove(address); }

} // namespace serve
