#pragma once

// Small helpers the host tests share.

#include "runtimeerror.h"
#include "testenvironment.h" // writeFile

#include <QTest>

// The error `f` raises; number 0 when it raises none.
template <class F> RuntimeError errorOf(F&& f)
{
    try {
        f();
    } catch (const RuntimeError& e) {
        return e;
    }
    return RuntimeError(0, QStringLiteral("no error raised"));
}
