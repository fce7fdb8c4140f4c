#pragma once

#include <QByteArray>
#include <QString>

// The Windows-1252 code page ("ANSI"), in which files of the original system
// and text on the wire are written.
namespace codepage {

QByteArray toAnsi(const QString& text);   // characters outside the code page become '?'
QString fromAnsi(const QByteArray& bytes);

// The character's code in the code page, as the platform's Asc gives it
// ('?' = 63 for characters the code page lacks).
int asc(QChar c);
// The character with a code 0 ... 255 of the code page.
QChar chr(int code);

} // namespace codepage
