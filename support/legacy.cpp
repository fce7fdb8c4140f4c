#include "legacy.h"

#include "runtimeerror.h"

#include <cmath>
#include <limits>

namespace legacy {

double val(const QString& text)
{
    int i = 0;
    const int n = text.size();
    auto skipBlanks = [&] {
        while (i < n && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n' || text[i] == u'\r'))
            ++i;
    };
    skipBlanks();
    // Appends the ASCII digits from `at` on to `into`; true when there was one.
    auto takeDigits = [&](int& at, QString& into) {
        const int from = at;
        while (at < n && text[at].isDigit() && text[at].unicode() < 128)
            into += text[at++];
        return at > from;
    };
    QString number;
    if (i < n && (text[i] == u'+' || text[i] == u'-'))
        number += text[i++];
    bool digits = takeDigits(i, number);
    if (i < n && text[i] == u'.') {
        number += text[i++];
        digits = takeDigits(i, number) || digits;
    }
    if (!digits)
        return 0.0;
    if (i < n && (text[i] == u'e' || text[i] == u'E' || text[i] == u'd' || text[i] == u'D')) {
        QString exponent = QStringLiteral("e");
        int j = i + 1;
        if (j < n && (text[j] == u'+' || text[j] == u'-'))
            exponent += text[j++];
        if (takeDigits(j, exponent))
            number += exponent;
    }
    bool ok = false;
    const double value = number.toDouble(&ok);
    return ok ? value : 0.0;
}

double roundHalfEven(double value)
{
    if (!std::isfinite(value))
        return value;
    const double floor = std::floor(value);
    const double diff = value - floor;
    if (diff < 0.5)
        return floor;
    if (diff > 0.5)
        return floor + 1.0;
    return std::fmod(floor, 2.0) == 0.0 ? floor : floor + 1.0;
}

namespace {
template <typename T> T checkedConvert(double value)
{
    const double rounded = roundHalfEven(value);
    if (!std::isfinite(rounded) || rounded < double(std::numeric_limits<T>::min())
        || rounded > double(std::numeric_limits<T>::max()))
        RuntimeError::raise(RuntimeError::Overflow);
    return static_cast<T>(rounded);
}

double parseLocaleNumber(const QString& text)
{
    QString trimmed = text.trimmed();
    trimmed.remove(u',');
    bool ok = false;
    const double value = trimmed.toDouble(&ok);
    if (trimmed.isEmpty() || !ok)
        RuntimeError::raise(RuntimeError::TypeMismatch);
    return value;
}
} // namespace

int16_t toInt16(double value) { return checkedConvert<int16_t>(value); }
int32_t toInt32(double value) { return checkedConvert<int32_t>(value); }
int16_t textToInt16(const QString& text) { return toInt16(parseLocaleNumber(text)); }
int32_t textToInt32(const QString& text) { return toInt32(parseLocaleNumber(text)); }

namespace {
int16_t checked16(long long v)
{
    if (v < std::numeric_limits<int16_t>::min() || v > std::numeric_limits<int16_t>::max())
        RuntimeError::raise(RuntimeError::Overflow);
    return static_cast<int16_t>(v);
}
} // namespace

int16_t add16(int32_t a, int32_t b) { return checked16(static_cast<long long>(a) + b); }
int16_t sub16(int32_t a, int32_t b) { return checked16(static_cast<long long>(a) - b); }
int16_t mul16(int32_t a, int32_t b) { return checked16(static_cast<long long>(a) * b); }

QString formatZeros(long long value, int digits)
{
    const QString body = QString::number(value < 0 ? -value : value).rightJustified(digits, u'0');
    return value < 0 ? u'-' + body : body;
}

QString boolText(bool value) { return value ? QStringLiteral("True") : QStringLiteral("False"); }

bool textToBool(const QString& text)
{
    const QString t = text.trimmed();
    if (t.compare(u"True", Qt::CaseInsensitive) == 0)
        return true;
    if (t.compare(u"False", Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double number = t.toDouble(&ok);
    if (!ok)
        RuntimeError::raise(RuntimeError::TypeMismatch);
    return number != 0.0;
}

} // namespace legacy
