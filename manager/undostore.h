#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace manager {

// The undo store of one data box: the texts the box held before each change,
// the newest last. A text equal to the newest one kept is not kept again, so
// commands that change nothing (Copy) add nothing. There is no depth limit.
class UndoStore final {
public:
    // Keeps `text` unless it equals the newest text kept (case-sensitive).
    void save(const QString& text);
    bool canUndo() const { return !m_states.isEmpty(); }
    // The newest text, removed from the store; nothing when the store is empty.
    std::optional<QString> undo();
    void clear() { m_states.clear(); }
    qsizetype size() const { return m_states.size(); }

private:
    QStringList m_states;
};

} // namespace manager
