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

#include <benchmark/benchmark.h>

#include <memory>

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
// The whole run over emulated displays on loopback: one emulator process
// listening on one port per display, the real transmission control, plug-in
// master and bad-word checker, data and attributes of all 416 variables.
void BM_EmulatedRun(benchmark::State& state)
{
    const int displays = int(state.range(0));
    World world;
    ComponentLoader::clearFactories(); // the real libraries, not the fakes
    for (const char* library : {TRANSMISSION_LIBRARY, PLUGINMASTER_LIBRARY, BADWORD_LIBRARY})
        ComponentLoader::registerLibrary(QString::fromLocal8Bit(library));
    settings::write(settings::kAppPath, world.env.folder());

    QProcess emulator;
    QStringList args{QStringLiteral("--headless")};
    for (int i = 0; i < displays; ++i)
        args << QStringLiteral("--tcp") << QStringLiteral("127.0.0.1:0");
    emulator.start(QStringLiteral(EMULATOR_PATH), args);
    QList<quint16> ports;
    while (ports.size() < displays && emulator.waitForReadyRead(10000)) {
        while (emulator.canReadLine()) {
            const QString line = QString::fromLocal8Bit(emulator.readLine()).trimmed();
            if (line.startsWith(QStringLiteral("LISTENING tcp ")))
                ports << quint16(line.section(u':', -1).toUInt());
        }
    }
    if (ports.size() < displays) {
        state.SkipWithError("the emulator did not start");
        return;
    }
    QFile list(world.env.path(QStringLiteral("Displays.dat")));
    list.open(QIODevice::WriteOnly);
    QStringList numbers;
    for (int i = 0; i < displays; ++i) {
        list.write(QStringLiteral("%1|D%1|3|127.0.0.1||%2||1\n").arg(i + 1).arg(ports[i]).toLatin1());
        numbers << QString::number(i + 1);
    }
    list.close();
    // The emulator's output is not read during the run; keep it from filling the pipe.
    emulator.setStandardOutputFile(QProcess::nullDevice());

    for (auto _ : state) {
        UpdateRun run;
        run.setVariableSet(world.vars.get());
        run.setSelection(allVariables());
        run.setDisplayList(numbers.join(u','));
        run.start();
        for (const DisplayRow& row : run.rows()) {
            if (row.status != UpdateRun::kUpdated)
                state.SkipWithError(
                    qPrintable(QStringLiteral("display ") + row.display + QStringLiteral(": ") + row.when));
        }
    }
    state.counters["s_per_display"] = benchmark::Counter(double(displays), benchmark::Counter::kIsIterationInvariantRate
                                                                               | benchmark::Counter::kInvert);
    state.SetItemsProcessed(state.iterations() * 416 * displays);
    emulator.kill();
    emulator.waitForFinished();
}
BENCHMARK(BM_EmulatedRun)->Arg(100)->Iterations(2)->Unit(benchmark::kSecond)->UseRealTime();
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
