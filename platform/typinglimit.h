#pragma once

// What a text box with a typing limit lets through: the limit holds back what
// the user types or pastes, never the text the program puts in the box.

#include <QKeyEvent>
#include <QString>

#include <algorithm>
#include <limits>

namespace typinglimit {

// How many characters may still be typed in place of the selection of a box
// holding `length` characters, `selected` of them selected (`limit` 0: none).
inline int room(int limit, qsizetype length, qsizetype selected)
{
    if (limit <= 0)
        return std::numeric_limits<int>::max();
    return std::max(0, limit - int(length - selected));
}

// The key types printable text into the box.
inline bool typesText(const QKeyEvent* event)
{
    const QString text = event->text();
    return !text.isEmpty() && text.front() >= u' ' && text.front() != QChar(0x7F);
}

} // namespace typinglimit
