// From a linked CSV file changing on disk to the sign's answer to the last
// frame of the send that carries the new value, for one variable, through the
// watcher of `qmdvars watch` on an emulated display over loopback. The
// debounce is 0 here: a watch adds its debounce to this (target: under 100 ms
// plus the debounce).

#include "benchmain.h"
#include "classregistry.h"
#include "clsVariableAccess.h"
#include "components.h"
#include "displays.h"
#include "emulatorprocess.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "watch.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

void writeValue(const QString& path, int value)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write("temp," + QByteArray::number(value) + "\n");
}

void BM_FileChangeToSign(benchmark::State& state)
{
    TestEnvironment env;
    EmulatorProcess emulator{QStringLiteral(EMULATOR_PATH)};
    if (!emulator.start({QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")}, 1, 10000)) {
        state.SkipWithError(qPrintable(emulator.error()));
        return;
    }
    settings::write(settings::kVarFileLoc, env.path(QStringLiteral("bench.vls")));
    const QString list = env.path(QStringLiteral("Displays.dat"));
    QFile listFile(list);
    if (!listFile.open(QIODevice::WriteOnly)
        || listFile.write(QStringLiteral("1|Sign|3|127.0.0.1||%1||1\n").arg(emulator.tcpPort()).toLatin1()) <= 0) {
        state.SkipWithError("cannot write the display list");
        return;
    }
    listFile.close();
    displays::useListFile(list);
    const QString csv = env.path(QStringLiteral("live.csv"));
    writeValue(csv, 0);

    clsVariableAccess vars;
    vars.setVariableOLELink(1, csv + QStringLiteral("!live!R1C2"));
    watch::Options options;
    options.selection = {{true, 1}};
    options.debounceMs = 0;
    QString log;
    QTextStream logStream(&log);
    watch::Watcher watcher(&vars, {{QStringLiteral("1"), QStringLiteral("Sign")}}, options, logStream);

    QEventLoop loop;
    bool ok = false;
    QObject::connect(&watcher, &watch::Watcher::sendFinished, &loop, [&](const QString&, bool sent) {
        ok = sent;
        loop.quit();
    });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    watcher.start(); // the first, full send
    int value = 0;
    for (auto _ : state) {
        ok = false;
        QElapsedTimer timer;
        timer.start();
        writeValue(csv, ++value);
        limit.start(10000);
        loop.exec();
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
        if (!ok) {
            state.SkipWithError(qPrintable(QStringLiteral("no send after a change: ") + log));
            return;
        }
    }
}
BENCHMARK(BM_FileChangeToSign)->Iterations(30)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) { return bench::runBenchmarks(argc, argv, components::install); }
