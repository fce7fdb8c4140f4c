#include "undostore.h"

namespace manager {

void UndoStore::save(const QString& text)
{
    if (!m_states.isEmpty() && m_states.last() == text)
        return;
    m_states.append(text);
}

std::optional<QString> UndoStore::undo()
{
    if (m_states.isEmpty())
        return std::nullopt;
    return m_states.takeLast();
}

} // namespace manager
