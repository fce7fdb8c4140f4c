// `qmdvars update --jobs N` over 100 emulated displays whose every answer comes
// 10 ms late, as a slow link would: the time is spent waiting on the displays,
// which several links at once overlap. The --jobs 8 run also reports its
// speed-up over the --jobs 1 run before it (target: at least 6).

#include "benchmain.h"
#include "emulatorprocess.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QCoreApplication>
#include <QFile>
#include <QElapsedTimer>
#include <QProcess>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

namespace {
constexpr int kDisplays = 100;
constexpr int kFrameDelayMs = 10;

struct World {
    TestEnvironment env;
    EmulatorProcess emulator{QStringLiteral(EMULATOR_PATH)};
    QString displays;
    bool ready = false;

    World()
    {
        if (!emulator.start({QStringLiteral("--delay"), QString::number(kFrameDelayMs)}, 1, 10000)) {
            std::fprintf(stderr, "%s\n", qPrintable(emulator.error()));
            return;
        }
        // Every display its own link to its own unit.
        QString list;
        for (int n = 1; n <= kDisplays; ++n)
            list += QStringLiteral("%1|Sign %1|3|127.0.0.1||%2||%1\n").arg(n).arg(emulator.tcpPort());
        displays = env.path(QStringLiteral("Displays.dat"));
        QFile file(displays);
        ready = file.open(QIODevice::WriteOnly) && file.write(list.toUtf8()) > 0;
        settings::write(settings::kVarFileLoc, env.path(QStringLiteral("bench.vls")));
    }
};

World& world()
{
    static World w;
    return w;
}

double g_oneAtATimeSeconds = 0;

void BM_UpdateDisplays(benchmark::State& state)
{
    World& w = world();
    if (!w.ready) {
        state.SkipWithError("the emulator did not start");
        return;
    }
    const QString jobs = QString::number(state.range(0));
    double seconds = 0;
    for (auto _ : state) {
        QProcess tool;
        QElapsedTimer timer;
        timer.start();
        tool.start(QStringLiteral(QMDVARS_PATH),
                   {QStringLiteral("--displays-file"), w.displays, QStringLiteral("update"),
                    QStringLiteral("--displays"), QStringLiteral("-"), QStringLiteral("--vars"), QStringLiteral("1-4"),
                    QStringLiteral("--jobs"), jobs});
        if (!tool.waitForFinished(600000) || tool.exitCode() != 0) {
            state.SkipWithError(qPrintable(QString::fromUtf8(tool.readAllStandardOutput())));
            return;
        }
        seconds = timer.elapsed() / 1000.0;
        state.SetIterationTime(seconds);
    }
    state.counters["displays"] = kDisplays;
    if (state.range(0) == 1)
        g_oneAtATimeSeconds = seconds;
    else if (g_oneAtATimeSeconds > 0)
        state.counters["speedup"] = g_oneAtATimeSeconds / seconds;
}
BENCHMARK(BM_UpdateDisplays)
    ->ArgName("jobs")
    ->Arg(1)
    ->Arg(8)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char** argv) { return bench::runBenchmarks(argc, argv); }
