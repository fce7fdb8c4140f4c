#pragma once

#include <QString>

// Maps every character of ANSI code 128 and above to its code in the host's
// extended 6x8 font ("Extended\6X8L.IDX" and "6X8L.CFF" in the host's folder).
// Without both font files the text comes back unchanged; characters missing from
// the font are dropped. The index file is read afresh on every call.
QString MapExtendedCharacters(const QString& text);

// The extended character table read from an index file: one UTF-16 code unit per
// two bytes, high byte first. Raises Overflow for a high byte of 128 or more.
QString readExtendedCharacterTable(const QString& indexPath);
