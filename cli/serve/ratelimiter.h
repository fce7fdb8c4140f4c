#pragma once

// Failed logins per client address: a few within a minute are allowed, then
// the address must wait, longer after every further failure. A success
// forgets the address. The clock can be set, for tests.

#include <QDateTime>
#include <QHash>
#include <QHostAddress>
#include <QList>

#include <functional>

namespace serve {

class RateLimiter final {
public:
    using Clock = std::function<qint64()>; // milliseconds
    explicit RateLimiter(int freeFailures = 5, qint64 windowMs = 60000, Clock clock = {});

    // 0 when the address may try now, else the milliseconds it must still wait.
    qint64 waitMs(const QString& address);
    void failed(const QString& address);
    void succeeded(const QString& address);

private:
    struct Record {
        QList<qint64> failures; // within the window
        int penalties = 0;
        qint64 blockedUntil = 0;
    };
    void expire(Record& r, qint64 now) const;

    int m_free;
    qint64 m_window;
    Clock m_clock;
    QHash<QString, Record> m_records;
};

} // namespace serve
