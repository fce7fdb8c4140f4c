#pragma once

// How the tool spells a variable's attributes for people and in its CSV files,
// and the checks a value must pass before it may go into the set.

#include <QString>

#include <optional>

namespace varfields {

// "red" ... "white" (any case) or "1" ... "7" -> the colour code "1" ... "7".
std::optional<QString> colourCode(const QString& text);
// "1" ... "7" -> "Red" ... "White"; any other code as it is stored.
QString colourName(const QString& code);
// "yes" / "no" (any case), or the stored codes "1" / "2" -> "1" / "2".
std::optional<QString> yesNoCode(const QString& text);
// "1" -> "yes", anything else "no", as the updater sends it.
QString yesNoName(const QString& code);
// A whole number from 1 to the kind's longest (250 text, 58 cell), as decimal text.
std::optional<QString> maxLength(const QString& text, int varNum);
int longestLength(int varNum);
// A variable number 1 ... 416 written as digits only.
std::optional<int> varNumber(const QString& text);
// A field the variable file can hold as typed: no line ends nor the file's own
// separator characters.
bool storable(const QString& text);

} // namespace varfields
