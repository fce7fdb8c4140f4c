#pragma once

// Sessions of the web console: a random id in an HttpOnly cookie, the account
// behind it, and a token the page sends back with every change (CSRF). A
// session ends at logout or after the idle time.

#include "accounts.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <optional>

namespace serve {

struct Session {
    QString id;
    QString csrf;
    accounts::Identity who;
    qint64 lastUsedMs = 0;
};

class Sessions final {
public:
    explicit Sessions(qint64 idleMs) : m_idleMs(idleMs) {}
    Session start(const accounts::Identity& who);
    // The live session of that id, its idle time restarted.
    std::optional<Session> touch(const QString& id);
    void end(const QString& id);
    // Sessions of an account that was removed or changed.
    void endAllOf(const QString& name);

private:
    qint64 m_idleMs;
    QHash<QString, Session> m_sessions;
};

} // namespace serve
