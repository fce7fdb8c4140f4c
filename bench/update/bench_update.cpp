// The update engine's own cost per variable, with a transmission control and a
// plug-in master that do nothing.

#include "classregistry.h"
#include "clsVarUpdater.h"
#include "clsVariableAccess.h"
#include "disptrans.h"
#include "pluginmaster.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "updaterun.h"

#include <QApplication>
#include <QFile>
#include <QProcess>

#include <benchmark/benchmark.h>

#include <memory>

namespace {
class NullDispTrans final : public QObject, public disptrans::IDispTrans {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDispTrans)
public:
    bool OpenConnection(disptrans::ConnectionSettings&) override { return true; }
    void CloseConnection() override {}
    void setDisplayAddress(const QString&) override {}
    void setDisplayAddress(int16_t) override {}
    int16_t DisplayAddress() override { return 1; }
    bool SendTextVarData(disptrans::TextVarDataItem& item) override { return benchmark::DoNotOptimize(item), true; }
    bool SendCellVarData(disptrans::CellVarDataItem& item) override { return benchmark::DoNotOptimize(item), true; }
    bool SendTextVarAttributes(disptrans::VarAttributeList&) override { return true; }
    bool SendCellVarAttributes(disptrans::VarAttributeList&) override { return true; }
    disptrans::DisplayConfiguration ReadDisplayConfiguration() override { return {}; }
    disptrans::DownloadTime ReadDownloadTime() override { return {}; }
    disptrans::VarReadReply ReadTextVariable(disptrans::VarReadRequest&) override { return {}; }
    disptrans::VarReadReply ReadCellVariable(disptrans::VarReadRequest&) override { return {}; }
    bool SendMessage(const QString&) override { return true; }
    bool LastCommandSucceeded() override { return true; }
    QString LastErrorText() override { return {}; }
};

class NullDisplayList final : public QObject, public disptrans::IDisplayList {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDisplayList)
public:
    void setListFile(const QString&) override {}
    int16_t FindDisplay(const QString&) override { return 1; }
    int16_t FindDisplayByName(const QString&) override { return 1; }
    int16_t RecordCount() override { return 1; }
    void setCurrentRecord(int16_t) override {}
    QString DisplayNumber() override { return QStringLiteral("1"); }
    QString DisplayName() override { return QStringLiteral("1"); }
    int16_t ConnectionKind() override { return 3; }
    QString LinkTarget() override { return QStringLiteral("127.0.0.1"); }
    QString Kind1Param() override { return {}; }
    QString Kind3Param() override { return QStringLiteral("7000"); }
    QString OtherKindParam() override { return {}; }
    QString AddressList() override { return QStringLiteral("1"); }
};

class NullPluginMaster final : public QObject, public pluginmaster::IPluginMaster {
    Q_OBJECT
    Q_INTERFACES(pluginmaster::IPluginMaster)
public:
    QVariant Status() override { return 0; }
    QString GetTokenText(const QString&) override { return {}; }
    void SetTokenText(const QString&, const QString&) override {}
    void RunPluginMethod(const QString&, const QString&, QString&, const QString&, bool& status) override
    {
        status = true;
    }
};

VarSelection allVariables()
{
    VarSelection vars;
    for (int n = 1; n <= 416; ++n)
        vars.append(clsVarSetupInfo{n <= 256, int16_t(n)});
    return vars;
}

struct World {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars = std::make_unique<clsVariableAccess>();
    World()
    {
        for (int n = 1; n <= 416; ++n)
            vars->setVariableData(int16_t(n), QStringLiteral("Variable text number %1, 0123456789").arg(n));
    }
};

// One updater over all 416 variables and a transport that does nothing, timing
// one of its send operations.
void runUpdater(benchmark::State& state, bool (clsVarUpdater::*send)(int16_t))
{
    World world;
    NullDispTrans control;
    NullPluginMaster master;
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
    World world;
    ComponentLoader::setFactory(disptrans::kDispTransProgId, [] { return new NullDispTrans; });
    ComponentLoader::setFactory(disptrans::kDisplayListProgId, [] { return new NullDisplayList; });
    ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new NullPluginMaster; });
    const int displays = int(state.range(0));
    QStringList list;
    for (int i = 1; i <= displays; ++i)
        list << QString::number(i);
    for (auto _ : state) {
        UpdateRun run;
        run.setVariableSet(world.vars.get());
        run.setSelection(allVariables());
        run.setDisplayList(list.join(u','));
        run.start();
        benchmark::DoNotOptimize(run.rows().size());
    }
    state.SetItemsProcessed(state.iterations() * 416 * displays);
    ComponentLoader::clearFactories();
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

#include "bench_update.moc"
