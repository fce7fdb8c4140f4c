#include "sessions.h"

namespace serve {

Session Sessions::start(const accounts::Identity& who)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    m_sessions.removeIf([&](auto i) { return now - i.value().lastUsedMs > m_idleMs; });
    Session s{accounts::randomText(32), accounts::randomText(32), who, now};
    m_sessions.insert(s.id, s);
    return s;
}

std::optional<Session> Sessions::touch(const QString& id)
{
    const auto it = m_sessions.find(id);
    if (it == m_sessions.end())
        return std::nullopt;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (now - it->lastUsedMs > m_idleMs) {
        m_sessions.erase(it);
        return std::nullopt;
    }
    it->lastUsedMs = now;
    return *it;
}

void Sessions::end(const QString& id) { m_sessions.remove(id); }

void Sessions::endAllOf(const QString& name)
{
    m_sessions.removeIf([&](auto i) { return i.value().who.name == name && !i.value().who.token; });
}

} // namespace serve
