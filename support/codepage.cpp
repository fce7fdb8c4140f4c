#include "codepage.h"

#include <QStringDecoder>
#include <QStringEncoder>

#include <array>

namespace codepage {

namespace {
// Qt's own codec tables are used where present; the fixed table below keeps the
// mapping exact on builds without ICU, where "windows-1252" may be unknown.
constexpr std::array<char16_t, 32> kHigh80 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

int codeOf(char16_t u)
{
    if (u < 0x80 || (u >= 0xA0 && u <= 0xFF))
        return u;
    for (int i = 0; i < 32; ++i) {
        if (kHigh80[i] == u)
            return 0x80 + i;
    }
    return -1;
}
} // namespace

QByteArray toAnsi(const QString& text)
{
    QByteArray out;
    out.reserve(text.size());
    for (QChar c : text) {
        const int code = codeOf(c.unicode());
        out.append(char(code < 0 ? '?' : code));
    }
    return out;
}

QString fromAnsi(const QByteArray& bytes)
{
    QString out;
    out.reserve(bytes.size());
    for (char b : bytes)
        out.append(chr(static_cast<unsigned char>(b)));
    return out;
}

int asc(QChar c)
{
    const int code = codeOf(c.unicode());
    return code < 0 ? '?' : code;
}

QChar chr(int code)
{
    code &= 0xFF;
    if (code >= 0x80 && code < 0xA0)
        return QChar(kHigh80[code - 0x80]);
    return QChar(char16_t(code));
}

} // namespace codepage
