#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>
#include <QStringView>

// Text of the variable file in the Windows-1252 code page. Qt's own converter is
// used when the Qt build offers it; the code page table in support/codepage.h is
// the reference both must agree with (characters the code page lacks become '?').
namespace windows1252 {

QByteArray encode(QStringView text);
QString decode(QByteArrayView bytes);

// Decodes many pieces with one converter: opening one costs more than
// decoding a line.
class Decoder final {
public:
    Decoder();
    QString operator()(QByteArrayView bytes);

private:
    QStringDecoder m_decoder;  // invalid when the code page table does the work
};

// Whether Qt's converter is in use (false: the code page table does the work).
bool usesQtConverter();

} // namespace windows1252
