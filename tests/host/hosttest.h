#pragma once

// Small helpers the host tests share.

#include "runtimeerror.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

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
