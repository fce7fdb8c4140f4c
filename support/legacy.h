#pragma once

#include <QString>
#include <cstdint>

// Number handling with the exact semantics that stored settings, files and
// dialogs of the original system rely on.
namespace legacy {

// The leading number of a text: optional blanks, an optional sign, digits with
// an optional decimal point and exponent. Text that does not start with a number
// is 0 ("12abc" -> 12, "1.5" -> 1.5, "abc" -> 0, " 7" -> 7, "" -> 0).
double val(const QString& text);

// Round to the nearest whole number, halves to the even neighbour (2.5 -> 2, 3.5 -> 4).
double roundHalfEven(double value);

// Conversion to a 16-bit integer: rounds half to even and raises the Overflow
// run-time error outside -32768 ... 32767.
int16_t toInt16(double value);
// The same for 32-bit integers.
int32_t toInt32(double value);

// Conversion of a text to a 16-bit integer as the locale's number parsing does:
// blanks are trimmed, "," digit-group separators are ignored, a decimal part is
// rounded half to even. Text that is not a number raises Type mismatch; a value
// out of range raises Overflow.
int16_t textToInt16(const QString& text);
int32_t textToInt32(const QString& text);

// Checked 16-bit arithmetic: the Overflow run-time error instead of wrapping.
int16_t add16(int32_t a, int32_t b);
int16_t sub16(int32_t a, int32_t b);
int16_t mul16(int32_t a, int32_t b);

// A whole number written with at least `digits` digits and leading zeros, as the
// "000" and "00000" formats do (format(7, 3) -> "007", format(1234, 3) -> "1234",
// negative numbers keep their sign in front: format(-5, 3) -> "-005").
QString formatZeros(long long value, int digits);

// The text form of a Boolean as the platform writes it ("True" / "False") and its
// reading back: "True"/"False" in any case, or a number (non-zero is True). Other
// text raises Type mismatch.
QString boolText(bool value);
bool textToBool(const QString& text);

} // namespace legacy
