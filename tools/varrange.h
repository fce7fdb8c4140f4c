#pragma once

#include "clsVarSetupInfo.h"

#include <QList>
#include <QString>
#include <QStringList>

// The chooser's text rules, free of widgets: the range text typed by the user,
// the remembered selection ("LastUsed") and the selection built from ticked rows.
namespace varrange {

// The rows (1 ... count) that a range text ticks, ascending and each once.
// The text is split at ","; an element is a number, "a-b", "-b" (from 1), "a-"
// (to the last row) or "-" (every row). Numbers are leading numbers converted to
// a 16-bit integer, so text that is not a number counts 0 and a number beyond
// 32767 raises Overflow (rows ticked by earlier elements are then in *partial).
// A single number outside 1 ... count is ignored; a range is clamped to 1 ... count.
QList<int> parse(const QString& text, int count, QList<int>* partial = nullptr);

// Whether the text is not empty and every element is a number, "a-b", "-b", "a-"
// or "-", with blanks around the numbers allowed: a command line reports a
// mistyped range, where the chooser quietly ignores what is not a number.
bool wellFormed(const QString& text);

// "1;2;257" -> {"1", "2", "257"}; "" -> {}.
QStringList splitLastUsed(const QString& lastUsed);
// The numbers joined by ";" without a trailing separator.
QString joinLastUsed(const QList<int>& numbers);

// One selector per number, in the given order; text variables are those below 257.
VarSelection selectionOf(const QList<int>& numbers);

} // namespace varrange
