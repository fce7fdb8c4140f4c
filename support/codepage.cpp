#include "codepage.h"

#include <QHash>
#include <QStringEncoder>

#include <array>

namespace codepage {

namespace {
constexpr const char* kCodec = "windows-1252";
constexpr auto kStateless = QStringConverter::Flag::Stateless;

// The 256 characters of the code page: Latin-1 but for 0x80 ... 0x9F. The five
// codes the code page leaves unassigned stand for the C1 control of that code.
struct Table {
    std::array<char16_t, 256> chars{};
    QHash<char16_t, int> codes;
    Table()
    {
        static constexpr char16_t k80to9F[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
        for (int i = 0; i < 256; ++i) {
            chars[i] = i >= 0x80 && i < 0xA0 ? k80to9F[i - 0x80] : char16_t(i);
            codes.insert(chars[i], i);
        }
    }
};

const Table& table()
{
    static const Table t;
    return t;
}
} // namespace

QByteArray toAnsi(const QString& text)
{
    // A fresh encoder each time: its error flag never resets.
    QStringEncoder encoder(kCodec);
    if (encoder.isValid()) {
        QByteArray out = encoder.encode(text);
        if (!encoder.hasError())
            return out;
        // Qt writes 0x1A for a missing character, the platform '?'.
    }
    QByteArray out;
    out.reserve(text.size());
    for (QChar c : text)
        out.append(char(asc(c)));
    return out;
}

QString fromAnsi(QByteArrayView bytes) { return Decoder()(bytes); }

Decoder::Decoder() : m_decoder(kCodec, kStateless) {}

QString Decoder::operator()(QByteArrayView bytes)
{
    if (m_decoder.isValid()) {
        QString text = m_decoder.decode(bytes);
        if (!m_decoder.hasError())
            return text; // every byte has a character, so this is the rule
    }
    QString out;
    out.reserve(bytes.size());
    for (char b : bytes)
        out.append(chr(static_cast<unsigned char>(b)));
    return out;
}

int asc(QChar c)
{
    const auto& codes = table().codes;
    const auto it = codes.constFind(c.unicode());
    return it == codes.constEnd() ? '?' : *it;
}

QChar chr(int code) { return QChar(table().chars[code & 0xFF]); }

} // namespace codepage
