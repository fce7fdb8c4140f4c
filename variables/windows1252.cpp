#include "windows1252.h"

#include "codepage.h"

#include <QStringDecoder>
#include <QStringEncoder>

namespace windows1252 {

namespace {
constexpr const char* kName = "windows-1252";
constexpr auto kStateless = QStringConverter::Flag::Stateless;
} // namespace

bool usesQtConverter()
{
    static const bool valid = QStringEncoder(kName).isValid() && QStringDecoder(kName).isValid();
    return valid;
}

QByteArray encode(QStringView text)
{
    if (usesQtConverter()) {
        // A fresh encoder each time: its error flag never resets.
        QStringEncoder encoder(kName, kStateless);
        QByteArray bytes = encoder.encode(text);
        if (!encoder.hasError())
            return bytes;
        // Qt writes 0x1A for a missing character, the code page table '?'.
    }
    return codepage::toAnsi(text.toString());
}

QString decode(QByteArrayView bytes) { return Decoder()(bytes); }

Decoder::Decoder()
{
    if (usesQtConverter())
        m_decoder = QStringDecoder(kName, kStateless);
}

QString Decoder::operator()(QByteArrayView bytes)
{
    if (m_decoder.isValid()) {
        QString text = m_decoder.decode(bytes);
        if (!m_decoder.hasError())
            return text;  // every byte has a character, so this is the rule
    }
    return codepage::fromAnsi(bytes.toByteArray());
}

} // namespace windows1252
