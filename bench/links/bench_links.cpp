// Reading linked variables: all 416 of an auto-configured set from one
// workbook, the document parsed once; and the readers on their own.

#include "benchmain.h"
#include "clsVariableAccess.h"
#include "settingsstore.h"
#include "spreadsheetlinks.h"
#include "spreadsheetreader.h"
#include "workbookcache.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

QByteArray bytesOf(const char* path)
{
    QFile file(QString::fromLocal8Bit(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The whole set linked to the filled-in workbook, read as the update run reads
// it; the cache starts empty each time, so every iteration parses the file once.
void BM_Read416LinkedValues(benchmark::State& state)
{
    QTemporaryDir dir;
    qputenv("ZOL_MACHINE_STORE", dir.filePath(QStringLiteral("machine.ini")).toLocal8Bit());
    qputenv("ZOL_USER_STORE", dir.filePath(QStringLiteral("user.ini")).toLocal8Bit());
    settings::setModuleFolderForTesting(dir.path());
    clsVariableAccess set;
    const QString book = QString::fromLocal8Bit(FILLED_WORKBOOK);
    for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n)
        set.setVariableOLELink(int16_t(n), book + QStringLiteral("!Variables!R%1C2").arg(n + 1));
    links::WorkbookCache cache;
    links::SpreadsheetLinkContainer container(&cache);
    for (auto _ : state) {
        cache.clear();
        qsizetype total = 0;
        for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n)
            total += set.GetDisplayableData(int16_t(n), &container).size();
        benchmark::DoNotOptimize(total);
        if (cache.parseCount() != 1 || total == 0)
            state.SkipWithError("the workbook was not read exactly once");
    }
}
BENCHMARK(BM_Read416LinkedValues)->Unit(benchmark::kMillisecond);

void BM_ReadXls(benchmark::State& state)
{
    const QByteArray bytes = bytesOf(FILLED_WORKBOOK);
    for (auto _ : state)
        benchmark::DoNotOptimize(links::readXls(bytes).sheets.size());
}
BENCHMARK(BM_ReadXls)->Unit(benchmark::kMillisecond);

void BM_ReadXlsx(benchmark::State& state)
{
    const QByteArray bytes = bytesOf(CELLS_XLSX);
    for (auto _ : state)
        benchmark::DoNotOptimize(links::readXlsx(bytes).sheets.size());
}
BENCHMARK(BM_ReadXlsx)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) { return bench::runBenchmarks(argc, argv); }
