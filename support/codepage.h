#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>

// The Windows-1252 code page ("ANSI"), in which files of the original system
// and text on the wire are written. Qt's converter does the work when the Qt
// build offers it, the code page table otherwise; the two agree.
namespace codepage {

QByteArray toAnsi(const QString& text); // characters outside the code page become '?'
QString fromAnsi(QByteArrayView bytes);

// Decodes many pieces with one converter (opening one costs more than decoding
// a line), as fromAnsi does.
class Decoder final {
public:
    Decoder();
    QString operator()(QByteArrayView bytes);

private:
    QStringDecoder m_decoder; // invalid when the table does the work
};

// The character's code in the code page, as the platform's Asc gives it
// ('?' = 63 for characters the code page lacks).
int asc(QChar c);
// The character with a code 0 ... 255 of the code page.
QChar chr(int code);

} // namespace codepage
