#include "codepage.h"

#include <QHash>
#include <QStringDecoder>
#include <QStringEncoder>

#include <array>

namespace codepage {

namespace {
constexpr const char* kCodec = "windows-1252";

// The 256 characters of the code page, as Qt's codec decodes them. Built once;
// used for single characters and for text the encoder cannot map.
struct Table {
    std::array<char16_t, 256> chars{};
    QHash<char16_t, int> codes;
    Table()
    {
        QByteArray all(256, Qt::Uninitialized);
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        QStringDecoder decoder(kCodec);
        const QString decoded = decoder.isValid() ? decoder.decode(all) : QString();
        for (int i = 0; i < 256; ++i) {
            chars[i] = decoded.size() == 256 ? decoded[i].unicode() : char16_t(i);
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
    QStringEncoder encoder(kCodec);
    if (encoder.isValid()) {
        QByteArray out = encoder.encode(text);
        if (!encoder.hasError())
            return out;
    }
    // Some character is not in the code page: map one by one, '?' for the missing.
    QByteArray out;
    out.reserve(text.size());
    for (QChar c : text)
        out.append(char(asc(c)));
    return out;
}

QString fromAnsi(const QByteArray& bytes)
{
    QStringDecoder decoder(kCodec);
    if (decoder.isValid())
        return decoder.decode(bytes);
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
