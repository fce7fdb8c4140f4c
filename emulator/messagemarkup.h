#pragma once

// How a display shows a message: fixed text, line breaks, and variables
// substituted with their own colour, blink and inverse.
//
//   Chr(30) "A" nnn   text variable nnn (zero-based, three digits)
//   Chr(30) "V" nnn   cell variable nnn
//   Chr(28) d         fixed text from here on in colour d (1 ... 7)
//   CR, LF, CR LF     a new line

#include "displaymodel.h"

#include <QList>
#include <QString>

namespace emulator {

struct MessageRun {
    QString text;
    int16_t color = 1;
    bool blink = false;
    bool inverse = false;
    friend bool operator==(const MessageRun&, const MessageRun&) = default;
};
using MessageLine = QList<MessageRun>;

inline constexpr QChar kVariableMark = QChar(30);
inline constexpr QChar kColorMark = QChar(28);

// The lines of a message as the unit shows it now. A null unit substitutes
// empty text.
QList<MessageLine> layoutMessage(const QString& message, const DisplayUnit* unit);
// The same as plain text, lines joined by "\n" (for logs and tests).
QString plainText(const QList<MessageLine>& lines);

} // namespace emulator
