#pragma once

#include <QString>

// Seeds the host's table of variable command tokens: VBL001 ... VBL256 name text
// variables (Chr(30) "A" 000 ... 255), VBL257 ... VBL417 cell variables
// (Chr(30) "V" 000 ... 160). The table reaches VBL417 on purpose.
//
// A table whose VBL001 and VBL416 already hold their texts counts as seeded and
// is left alone. Every failing call of the plug-in master is skipped and the
// routine goes on with the next one.
void InitVariables();

// The command text stored for token number n (1 ... 417).
QString tokenCommandText(int n);
QString tokenKey(int n); // "VBL" + "000"
