#pragma once

// How the tool spells a variable's attributes for people and in its CSV files,
// and the checks a value must pass before it may go into the set.

#include "variablefile.h"

#include <QString>

#include <array>
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

// One variable's change: a text for each field given, nothing for a field left
// as it is, in the record's order (clsVariableAccess::Field).
using Fields = std::array<std::optional<QString>, vls::kFieldCount>;

// How the user names the fields: each one in the record's order ("--max-length"
// for the tool, "max_length" for the API), and all of them ("options", "fields").
struct Spelling {
    std::array<QString, vls::kFieldCount> names;
    QString all;
};

// The values given for variable `number`, as typed, checked as `qmdvars set`
// checks them and made what the file stores (colour and yes/no codes, the
// length as a number, the link trimmed). Nothing when a value is refused or
// none is given, with the reason in `error` naming the field as `spelling` does.
std::optional<Fields> checkedFields(int number, const Fields& given, const Spelling& spelling, QString* error);

} // namespace varfields
