// What a full update of one display costs: the data of all 416 variables, one
// frame each, and their attributes in batches of at most 1000 characters of
// CommandText, against the emulator on a line paced to 9600 baud and on plain
// TCP. Reports the bytes on the wire and the ratio of the time taken to the
// time the bytes alone need at 9600 baud (10 bits a byte).
//
// Also the codec alone: encoding and decoding frames.

#include "benchmain.h"
#include "commands.h"
#include "displayclient.h"
#include "emulatorprocess.h"
#include "frame.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>

namespace {

constexpr double kReferenceBaud = 9600.0;

disptrans::VarAttributeList freshList() { return disptrans::VarAttributeList(); }

// Sends everything once; false (with the client's reason) on the first failure.
bool updateAll(DisplayClient& client, QString* error)
{
    for (int16_t i = 0; i < 256; ++i)
        if (!client.writeTextData(i, QStringLiteral("Text variable %1 data").arg(i, 3, 10, QLatin1Char('0')))) {
            *error = client.errorText();
            return false;
        }
    for (int16_t i = 0; i < 160; ++i)
        if (!client.writeCellData(i, QStringLiteral("%1.%2").arg(100 + i).arg(i % 100, 2, 10, QLatin1Char('0')))) {
            *error = client.errorText();
            return false;
        }
    // Batches as the updater builds them: flush when the next entry would take
    // the command text past 1000 characters.
    for (const bool text : {true, false}) {
        disptrans::VarAttributeList list = freshList();
        const int count = text ? 256 : 160;
        auto flush = [&] {
            const bool ok = text ? client.writeTextAttributes(list) : client.writeCellAttributes(list);
            if (!ok)
                *error = client.errorText();
            list.setEntryCount(0);
            return ok;
        };
        for (int i = 0; i < count; ++i) {
            if (list.CommandText().size() + 5 > 1000 && !flush())
                return false;
            const int16_t n = int16_t(list.EntryCount() + 1);
            list.setEntryCount(n);
            list.setEntryVarIndex(n, int16_t(i));
            list.setEntryColor(n, int16_t(1 + i % 7));
            list.setEntryBlink(n, int16_t(i % 5 == 0 ? 1 : 2));
            list.setEntryInverse(n, 2);
        }
        if (list.EntryCount() > 0 && !flush())
            return false;
    }
    return true;
}

void BM_UpdateAllVariables(benchmark::State& state)
{
    const int baud = int(state.range(0));
    const bool pty = state.range(1) != 0; // a serial line (a pty) instead of TCP
    EmulatorProcess emulator(QStringLiteral(LUMAREX_EMULATOR_PATH));
    QStringList args = pty ? QStringList{QStringLiteral("--pty")}
                           : QStringList{QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")};
    if (baud > 0)
        args << QStringLiteral("--baud") << QString::number(baud);
    if (!emulator.start(args)) {
        state.SkipWithError(qPrintable(emulator.error()));
        return;
    }
    disptrans::ConnectionSettings settings;
    settings.ConnKind = pty ? disptrans::SerialPort : disptrans::Network;
    settings.ConnTarget = pty ? emulator.ptyPath() : QStringLiteral("127.0.0.1");
    settings.ConnParam1 = QStringLiteral("9600,N,8,1");
    settings.ConnParam3 = QString::number(emulator.tcpPort());
    settings.ConnAddress = 1;
    DisplayClient client;
    if (!client.open(settings)) {
        state.SkipWithError(qPrintable(client.errorText()));
        return;
    }
    quint64 bytes = 0;
    double seconds = 0;
    for (auto _ : state) {
        const quint64 before = client.bytesSent() + client.bytesReceived();
        const auto start = std::chrono::steady_clock::now();
        QString error;
        if (!updateAll(client, &error)) {
            state.SkipWithError(qPrintable(error));
            return;
        }
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        bytes += client.bytesSent() + client.bytesReceived() - before;
    }
    const double perRun = double(bytes) / double(state.iterations());
    const double lineSeconds = perRun * 10.0 / (baud > 0 ? baud : kReferenceBaud);
    state.counters["bytes_sent"] = double(client.bytesSent()) / double(state.iterations());
    state.counters["bytes_received"] = double(client.bytesReceived()) / double(state.iterations());
    state.counters["bytes_on_wire"] = perRun;
    state.counters["wire_s_at_9600"] = perRun * 10.0 / kReferenceBaud;
    state.counters["time_per_wire_time"] = seconds / double(state.iterations()) / lineSeconds;
}

void BM_EncodeFrame(benchmark::State& state)
{
    wire::Frame f{5, 1, wire::WriteTextData, wire::writeDataPayload(7, QByteArray(state.range(0), 'x'))};
    for (auto _ : state)
        benchmark::DoNotOptimize(wire::encodeFrame(f));
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}

void BM_DecodeStream(benchmark::State& state)
{
    QByteArray stream;
    for (int i = 0; i < 100; ++i)
        stream += wire::encodeFrame(
            wire::Frame{5, uint8_t(i), wire::WriteTextData,
                        wire::writeDataPayload(uint16_t(i), QByteArray(state.range(0), char(i)))});
    for (auto _ : state) {
        wire::FrameDecoder decoder;
        benchmark::DoNotOptimize(decoder.feed(stream));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * stream.size());
}

} // namespace

BENCHMARK(BM_UpdateAllVariables)
    ->ArgNames({"baud", "pty"})
    ->Args({9600, 1})
    ->Args({9600, 0})
    ->Args({0, 0})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_EncodeFrame)->Arg(20)->Arg(1000);
BENCHMARK(BM_DecodeStream)->Arg(20)->Arg(1000);

int main(int argc, char** argv) { return bench::runBenchmarks(argc, argv); }
