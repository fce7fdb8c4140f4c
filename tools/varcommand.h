#pragma once

#include <QString>

#include <cstdint>

// The variable command tokens a playfile names variables by, and how the
// command inserter lists the variables.
namespace varcommand {

// "VBL" and the number as three digits: VBL001 ... VBL416.
QString token(int16_t n);
// "Text Var" n ": " name for 1 ... 256, "Cell Var" (n - 256) ": " name for 257 ... 416;
// the number follows "Var" without a space.
QString entryText(int16_t n, const QString& name);

} // namespace varcommand
