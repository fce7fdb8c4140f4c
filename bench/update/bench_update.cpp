// The update engine's own cost per variable, with the tests' transmission
// control and plug-in master recording nothing.

#include "classregistry.h"
#include "clsVarUpdater.h"
#include "clsVariableAccess.h"
#include "fakedisptrans.h"
#include "fakepluginmaster.h"
#include "settingsstore.h"
#include "updaterun.h"

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <vector>

#include <sys/resource.h>

namespace {
VarSelection allVariables()
{
    VarSelection vars;
    for (int n = 1; n <= 416; ++n)
        vars.append(clsVarSetupInfo{n <= 256, int16_t(n)});
    return vars;
}

// The shared fakes with `displays` display records, recording nothing, and data
// in all 416 variables.
struct World : FakeWorld {
    explicit World(int displays = 1) : FakeWorld(displays)
    {
        fake.keepCalls = false;
        for (int n = 1; n <= 416; ++n)
            vars->setVariableData(int16_t(n), QStringLiteral("Variable text number %1, 0123456789").arg(n));
    }
};

// One updater over all 416 variables and a transport that does nothing, timing
// one of its send operations.
void runUpdater(benchmark::State& state, bool (clsVarUpdater::*send)(int16_t))
{
    World world;
    FakeDispTrans control;
    FakePluginMaster master;
    clsVarUpdater updater;
    updater.TransControl = &control;
    updater.PluginMaster = &master;
    updater.Variables = world.vars.get();
    updater.SelectedVars = allVariables();
    for (auto _ : state)
        benchmark::DoNotOptimize((updater.*send)(1));
    state.SetItemsProcessed(state.iterations() * 416);
}

void BM_UpdaterData(benchmark::State& state) { runUpdater(state, &clsVarUpdater::UpdateVariableDataOnDisplay); }
BENCHMARK(BM_UpdaterData)->Unit(benchmark::kMicrosecond);

void BM_UpdaterAttributes(benchmark::State& state)
{
    runUpdater(state, &clsVarUpdater::UpdateVariableAttributesOnDisplay);
}
BENCHMARK(BM_UpdaterAttributes)->Unit(benchmark::kMicrosecond);

// A whole pass (open, data and attributes of all 416 variables, close) over
// displays that take everything at once, progress handling and event pumping included.
void BM_RunPass(benchmark::State& state)
{
    const int displays = int(state.range(0));
    World world(displays);
    for (auto _ : state) {
        UpdateRun run;
        run.setVariableSet(world.vars.get());
        run.setSelection(allVariables());
        run.setDisplayList(world.displays);
        run.start();
        benchmark::DoNotOptimize(run.rows().size());
    }
    state.SetItemsProcessed(state.iterations() * 416 * displays);
}
BENCHMARK(BM_RunPass)->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

#ifdef EMULATOR_PATH
// Emulated displays on loopback for a run with the real transmission control,
// plug-in master and bad-word checker: one emulator process listening on one
// port per display, and a "Displays.dat" naming them 1 ... count.
// The displays are spread over several emulator processes, at most
// kPortsPerEmulator each: one process polls every one of its sockets at every
// wake-up, so one process for 500 ports would measure the emulator, not the run.
struct EmulatedDisplays {
    static constexpr int kPortsPerEmulator = 20;
    std::vector<std::unique_ptr<QProcess>> emulators;
    QString numbers; // "1,2,...", the run's display list
    QString error;

    EmulatedDisplays(World& world, int count, const QStringList& extra = {})
    {
        ComponentLoader::clearFactories(); // the real libraries, not the fakes
        for (const char* library : {TRANSMISSION_LIBRARY, PLUGINMASTER_LIBRARY, BADWORD_LIBRARY})
            ComponentLoader::registerLibrary(QString::fromLocal8Bit(library));
        settings::write(settings::kAppPath, world.env.folder());
        QList<quint16> ports;
        for (int first = 0; first < count; first += kPortsPerEmulator) {
            const int here = std::min(kPortsPerEmulator, count - first);
            QStringList args{QStringLiteral("--headless")};
            for (int i = 0; i < here; ++i)
                args << QStringLiteral("--tcp") << QStringLiteral("127.0.0.1:0");
            auto& emulator = *emulators.emplace_back(std::make_unique<QProcess>());
            emulator.start(QStringLiteral(EMULATOR_PATH), args + extra);
            const qsizetype wanted = ports.size() + here;
            while (ports.size() < wanted && emulator.waitForReadyRead(10000)) {
                while (emulator.canReadLine()) {
                    const QString line = QString::fromLocal8Bit(emulator.readLine()).trimmed();
                    if (line.startsWith(QStringLiteral("LISTENING tcp ")))
                        ports << quint16(line.section(u':', -1).toUInt());
                }
            }
            if (ports.size() < wanted) {
                error = QStringLiteral("an emulator did not start");
                return;
            }
            // The emulator's output is not read during the run; keep it from filling the pipe.
            emulator.setStandardOutputFile(QProcess::nullDevice());
        }
        QFile list(world.env.path(QStringLiteral("Displays.dat")));
        list.open(QIODevice::WriteOnly);
        QStringList all;
        for (int i = 0; i < count; ++i) {
            list.write(QStringLiteral("%1|D%1|3|127.0.0.1||%2||1\n").arg(i + 1).arg(ports[i]).toLatin1());
            all << QString::number(i + 1);
        }
        numbers = all.join(u',');
    }
    ~EmulatedDisplays()
    {
        for (auto& emulator : emulators) {
            emulator->kill();
            emulator->waitForFinished();
        }
    }
};

// Runs one update of all 416 variables; false with the first failed row's reason.
bool runAll(World& world, const QString& displays, QString* error)
{
    UpdateRun run;
    run.setVariableSet(world.vars.get());
    run.setSelection(allVariables());
    run.setDisplayList(displays);
    run.start();
    for (const DisplayRow& row : run.rows()) {
        if (row.status != UpdateRun::kUpdated) {
            *error = QStringLiteral("display ") + row.display + QStringLiteral(": ") + row.when;
            return false;
        }
    }
    return true;
}

double peakRssMb()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

// The whole run over `displays` emulated displays, data and attributes of all
// 416 variables. Run each size in its own process for its peak memory:
//   bench_update --benchmark_filter='EmulatedRun/500'
void BM_EmulatedRun(benchmark::State& state)
{
    const int displays = int(state.range(0));
    World world;
    EmulatedDisplays emulated(world, displays);
    if (!emulated.error.isEmpty()) {
        state.SkipWithError(qPrintable(emulated.error));
        return;
    }
    for (auto _ : state) {
        QString error;
        if (!runAll(world, emulated.numbers, &error))
            state.SkipWithError(qPrintable(error));
    }
    state.counters["s_per_display"] = benchmark::Counter(double(displays), benchmark::Counter::kIsIterationInvariantRate
                                                                               | benchmark::Counter::kInvert);
    state.counters["peak_rss_mb"] = peakRssMb();
    state.SetItemsProcessed(state.iterations() * 416 * displays);
}
BENCHMARK(BM_EmulatedRun)->Arg(100)->Arg(500)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// The longest time the event loop waits during an update run on a line paced
// to 9600 baud, against the longest single send of that run (the gap cannot be
// shorter: a send is not interrupted). A zero-interval timer stamps every
// turn of the event loop.
void BM_EventGapAt9600(benchmark::State& state)
{
    World world;
    EmulatedDisplays emulated(world, 1, {QStringLiteral("--baud"), QStringLiteral("9600")});
    if (!emulated.error.isEmpty()) {
        state.SkipWithError(qPrintable(emulated.error));
        return;
    }
    using Clock = std::chrono::steady_clock;
    double longestGap = 0;
    Clock::time_point last = Clock::now();
    QTimer stamp;
    QObject::connect(&stamp, &QTimer::timeout, [&] {
        const Clock::time_point now = Clock::now();
        longestGap = std::max(longestGap, std::chrono::duration<double, std::milli>(now - last).count());
        last = now;
    });
    stamp.start(0);
    for (auto _ : state) {
        last = Clock::now();
        QString error;
        if (!runAll(world, emulated.numbers, &error))
            state.SkipWithError(qPrintable(error));
    }
    stamp.stop();
    // The longest send: one attribute batch of 199 entries (5 characters each)
    // in a frame, and its answer, at 10 bits a byte.
    const double batchBytes = 199 * 5 + 8 + 2 + 10;
    state.counters["longest_gap_ms"] = longestGap;
    state.counters["longest_send_ms"] = batchBytes * 10.0 / 9600.0 * 1000.0;
    state.counters["gap_per_send"] = longestGap / (batchBytes * 10.0 / 9600.0 * 1000.0);
}
BENCHMARK(BM_EventGapAt9600)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
#endif
} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
