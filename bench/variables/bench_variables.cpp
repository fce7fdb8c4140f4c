// Loading and saving the full set of 416 variables with realistic data.

#include "clsVariableAccess.h"
#include "codepage.h"
#include "settingsstore.h"
#include "variablefile.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

// Settings and files in a folder of their own, never the machine's.
class Sandbox {
public:
    Sandbox()
    {
        qputenv("ZOL_MACHINE_STORE", m_dir.filePath(QStringLiteral("machine.ini")).toLocal8Bit());
        qputenv("ZOL_USER_STORE", m_dir.filePath(QStringLiteral("user.ini")).toLocal8Bit());
        settings::setModuleFolderForTesting(m_dir.path());
    }
    QString path(const QString& name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
};

Sandbox& sandbox()
{
    static Sandbox box;
    return box;
}

// Names, prices and messages as an operator keeps them, some of them linked.
vls::RecordSet realisticSet()
{
    vls::RecordSet set;
    for (int n = 1; n <= vls::kRecordCount; ++n) {
        const bool text = n <= 256;
        QString data = text ? QStringLiteral("Café special n°%1: \"Crème brûlée\", 4,50 € – today only").arg(n)
                            : QStringLiteral("%1.95 €").arg(n);
        set[n - 1] = {text ? QStringLiteral("Menu line %1").arg(n) : QStringLiteral("Price %1").arg(n - 256),
                      QString::number(1 + n % 7),
                      QStringLiteral("2"),
                      QString::number(1 + n % 2),
                      data,
                      n % 5 == 0 ? QStringLiteral("C:\\Data\\Prices.xls!Variables!R%1C2").arg(n) : QString(),
                      text ? QStringLiteral("250") : QStringLiteral("58")};
    }
    return set;
}

void BM_EncodeFile(benchmark::State& state)
{
    const vls::RecordSet set = realisticSet();
    for (auto _ : state)
        benchmark::DoNotOptimize(VariableFile::encode(set));
    state.SetBytesProcessed(state.iterations() * VariableFile::encode(set).size());
}
BENCHMARK(BM_EncodeFile);

void BM_CodePageEncode(benchmark::State& state)
{
    const QString text = codepage::fromAnsi(VariableFile::encode(realisticSet()));
    for (auto _ : state)
        benchmark::DoNotOptimize(codepage::toAnsi(text));
}
BENCHMARK(BM_CodePageEncode);

// The lines of a file decoded one by one: with one decoder for all of them,
// as a read does, and with a fresh one for each.
void BM_CodePageDecodeLines(benchmark::State& state)
{
    const QList<QByteArray> lines = VariableFile::encode(realisticSet()).split('\n');
    const bool reused = state.range(0) != 0;
    for (auto _ : state) {
        codepage::Decoder decoder;
        for (const QByteArray& line : lines)
            benchmark::DoNotOptimize(reused ? decoder(line) : codepage::fromAnsi(line));
    }
}
BENCHMARK(BM_CodePageDecodeLines)->ArgName("reused")->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

void BM_WriteFile(benchmark::State& state)
{
    const vls::RecordSet set = realisticSet();
    const QString path = sandbox().path(QStringLiteral("write.vls"));
    for (auto _ : state) {
        if (!VariableFile::write(path, set))
            state.SkipWithError("write failed");
    }
}
BENCHMARK(BM_WriteFile);

void BM_ReadFile(benchmark::State& state)
{
    const QString path = sandbox().path(QStringLiteral("read.vls"));
    VariableFile::write(path, realisticSet());
    vls::RecordSet set;
    for (auto _ : state) {
        if (VariableFile::read(path, set).recordsRead != vls::kRecordCount)
            state.SkipWithError("read failed");
    }
}
BENCHMARK(BM_ReadFile);

// The whole of LoadVariables: reset, the current path from the settings store,
// the file, the path written back.
void BM_LoadVariables(benchmark::State& state)
{
    const QString path = sandbox().path(QStringLiteral("current.vls"));
    VariableFile::write(path, realisticSet());
    settings::write(settings::kVarFileLoc, path);
    clsVariableAccess set;
    for (auto _ : state)
        set.LoadVariables(QString());
    if (set.VariableData(1).isEmpty())
        state.SkipWithError("nothing loaded");
}
BENCHMARK(BM_LoadVariables)->Unit(benchmark::kMicrosecond);

// The whole of SaveVariables: the file and the 416 values for the host.
// changed:1 edits one variable before each save, so the host's copy is written
// too; changed:0 saves the set as loaded.
void BM_SaveVariables(benchmark::State& state)
{
    const QString path = sandbox().path(QStringLiteral("current.vls"));
    VariableFile::write(path, realisticSet());
    settings::write(settings::kVarFileLoc, path);
    clsVariableAccess set;
    int edits = 0;
    for (auto _ : state) {
        if (state.range(0))
            set.setVariableData(1, QStringLiteral("edit %1").arg(++edits));
        set.SaveVariables();
    }
}
BENCHMARK(BM_SaveVariables)->ArgName("changed")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The settings store's share of a load and a save.
void BM_SettingsReadPath(benchmark::State& state)
{
    settings::write(settings::kVarFileLoc, sandbox().path(QStringLiteral("current.vls")));
    for (auto _ : state)
        benchmark::DoNotOptimize(settings::read(settings::kVarFileLoc, QString()));
}
BENCHMARK(BM_SettingsReadPath)->Unit(benchmark::kMicrosecond);

void BM_SettingsWritePath(benchmark::State& state)
{
    const QString path = sandbox().path(QStringLiteral("current.vls"));
    for (auto _ : state)
        settings::write(settings::kVarFileLoc, path);
}
BENCHMARK(BM_SettingsWritePath)->Unit(benchmark::kMicrosecond);

void BM_SettingsWriteHostCopy(benchmark::State& state)
{
    const vls::RecordSet set = realisticSet();
    QList<std::pair<QString, QString>> values;
    for (int n = 1; n <= vls::kRecordCount; ++n)
        values.append({QStringLiteral("VBL%1").arg(n, 3, 10, QChar(u'0')), set[n - 1][4]});
    for (auto _ : state)
        settings::WriteMachineSettings(QStringLiteral("Lumarex3"), QStringLiteral("Variables"), values);
}
BENCHMARK(BM_SettingsWriteHostCopy)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    sandbox();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
