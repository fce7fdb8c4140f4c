#pragma once

// Helpers shared by the fuzz targets: the input as Qt types, and a check that
// stops the run with a message the fuzzer keeps beside the crashing input.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline QByteArray bytes(const uint8_t* data, size_t size)
{
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

// Windows-1252 files and wire texts reach the parsers as one character per byte.
inline QString latin1(const uint8_t* data, size_t size)
{
    return QString::fromLatin1(reinterpret_cast<const char*>(data), qsizetype(size));
}

inline void require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        std::abort();
    }
}

} // namespace fuzz
