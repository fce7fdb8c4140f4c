#pragma once

// Attribute texts for text variables as a display receives them, each written
// once for both ends: what the protocol's parser makes of it (index/colour, b
// blink, i inverse; "bad N": entry N is malformed) and what an emulated unit answers.

#include <QByteArray>

#include <tuple>

#define LUMAREX_BAD_ENTRY(n) "bad payload: attribute entry " #n " is malformed"
#define LUMAREX_BAD_COLOUR(c) "bad payload: attribute entry 2 has colour " #c "; colours are 1 to 7"
// tag, text, parsed, answer
inline const std::tuple<const char*, QByteArray, const char*, const char*> kAttributeCases[] = {
    {"plain", "0001A", "0/1", "ACK"},
    {"blink", "0072B", "7/2b", "ACK"},
    {"inverse", "0427C", "42/7i", "ACK"},
    {"text 255", "2551A", "255/1", "ACK"},
    {"both, then colour 0", "2555D1590A", "255/5bi 159/0", LUMAREX_BAD_COLOUR(0)},
    {"colour 8", "0017A0028B", "1/7 2/8b", LUMAREX_BAD_COLOUR(8)},
    {"colour 9", "0017A0029B", "1/7 2/9b", LUMAREX_BAD_COLOUR(9)},
    {"empty", "", "bad 1", LUMAREX_BAD_ENTRY(1)},
    {"short entry", "0001", "bad 1", LUMAREX_BAD_ENTRY(1)},
    {"second entry cut", "0001A0002", "bad 2", LUMAREX_BAD_ENTRY(2)},
    {"letter in index", "0001A00x1A", "bad 2", LUMAREX_BAD_ENTRY(2)},
    {"colour not a digit", "000XA", "bad 1", LUMAREX_BAD_ENTRY(1)},
    {"flags beyond D", "0001A0001E", "bad 2", LUMAREX_BAD_ENTRY(2)},
    {"flags lower case", "0001a", "bad 1", LUMAREX_BAD_ENTRY(1)},
    {"minus sign", "-011A", "bad 1", LUMAREX_BAD_ENTRY(1)},
};
#undef LUMAREX_BAD_ENTRY
#undef LUMAREX_BAD_COLOUR
