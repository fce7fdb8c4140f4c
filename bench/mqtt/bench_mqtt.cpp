// The message bus side of `qmdvars watch`, on a Mosquitto broker of the
// bench's own and an emulated display over loopback:
//  - BM_PublishToSign: from a publish on a linked topic to the sign's answer to
//    the last frame of the send that carries the value, one variable, debounce
//    0 (a watch adds its debounce; target: under 50 ms plus the debounce);
//  - BM_FloodCoalesced: 1,000 messages a second on one linked topic for a few
//    seconds, debounce 100 ms: how many sends they became, whether the last
//    value arrived, and how much the resident memory grew after the first second.

#include "classregistry.h"
#include "clsVariableAccess.h"
#include "components.h"
#include "brokerrig.h"
#include "displays.h"
#include "emulatorprocess.h"
#include "mqttclient.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "watch.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>

namespace {

double residentMb()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word)
        if (word == "VmRSS:") {
            double kb = 0;
            status >> kb;
            return kb / 1024.0;
        }
    return 0;
}

// Everything a measurement needs: a broker, a sign, a watcher of variable 1
// linked to feeds/value, and a publisher.
struct Rig {
    TestEnvironment env;
    BrokerRig broker;
    EmulatorProcess sign{QStringLiteral(EMULATOR_PATH)};
    std::unique_ptr<clsVariableAccess> vars;
    QString log;
    QTextStream logStream{&log};
    std::unique_ptr<watch::Watcher> watcher;
    std::unique_ptr<mqtt::Client> publisher;
    QString error;

    explicit Rig(int debounceMs)
    {
        broker.addUser(QStringLiteral("bench"), QStringLiteral("bench-pw"));
        qputenv("QMDVARS_MQTT_PASSWORD", "bench-pw");
        if (!broker.start() || !sign.start({QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")}, 1, 10000)) {
            error = broker.error() + sign.error();
            return;
        }
        settings::write(settings::kVarFileLoc, env.path(QStringLiteral("bench.vls")));
        const QString list = env.path(QStringLiteral("Displays.dat"));
        writeFile(list, QStringLiteral("1|Sign|3|127.0.0.1||%1||1\n").arg(sign.tcpPort()).toLatin1());
        displays::useListFile(list);
        mqtt::ClientOptions o;
        o.broker = {QStringLiteral("127.0.0.1"), broker.port(), QStringLiteral("bench")};
        o.credentials = {QStringLiteral("bench"), QStringLiteral("bench-pw")};
        publisher = std::make_unique<mqtt::Client>(o);
        publisher->start();
        publish("0");
        vars = std::make_unique<clsVariableAccess>();
        vars->setVariableOLELink(1, broker.url(QStringLiteral("bench")) + QStringLiteral("/feeds/value"));
        watch::Options options;
        options.selection = {{true, 1}};
        options.debounceMs = debounceMs;
        watcher = std::make_unique<watch::Watcher>(
            vars.get(), QList<displays::Entry>{{QStringLiteral("1"), QStringLiteral("Sign")}}, options, logStream);
        if (!waitForSend([this] { watcher->start(); }))
            error = QStringLiteral("no first send: ") + log;
    }
    void publish(const QByteArray& value) { publisher->publish(QStringLiteral("feeds/value"), value, true); }
    // Runs `act`, then the event loop until the watcher's next send ends; false after 10 s.
    bool waitForSend(const std::function<void()>& act)
    {
        QEventLoop loop;
        bool ok = false;
        const auto c = QObject::connect(watcher.get(), &watch::Watcher::sendFinished, &loop,
                                        [&](const QString&, bool sent) {
                                            ok = sent;
                                            loop.quit();
                                        });
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        act();
        loop.exec();
        QObject::disconnect(c);
        return ok;
    }
};

void BM_PublishToSign(benchmark::State& state)
{
    Rig rig(0);
    if (!rig.error.isEmpty()) {
        state.SkipWithError(qPrintable(rig.error));
        return;
    }
    int value = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const bool sent = rig.waitForSend([&] { rig.publish(QByteArray::number(++value)); });
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
        if (!sent) {
            state.SkipWithError(qPrintable(QStringLiteral("no send after a publish: ") + rig.log));
            return;
        }
    }
}
BENCHMARK(BM_PublishToSign)->Iterations(50)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_FloodCoalesced(benchmark::State& state)
{
    const int seconds = int(state.range(0));
    Rig rig(100);
    if (!rig.error.isEmpty()) {
        state.SkipWithError(qPrintable(rig.error));
        return;
    }
    int sends = 0;
    QString lastSent;
    QObject::connect(rig.watcher.get(), &watch::Watcher::sent, [&](const agent::SendReport& report) {
        ++sends;
        if (report.ok)
            lastSent = report.variables.value(1);
    });
    for (auto _ : state) {
        int published = 0;
        double afterFirstSecond = 0;
        QElapsedTimer clock;
        clock.start();
        QEventLoop loop;
        QTimer pace;
        // 1,000 a second: each tick catches up with the clock.
        QObject::connect(&pace, &QTimer::timeout, &loop, [&] {
            const qint64 due = std::min<qint64>(clock.elapsed(), seconds * 1000);
            while (published < due)
                rig.publish(QByteArray::number(++published));
            if (afterFirstSecond == 0 && clock.elapsed() >= 1000)
                afterFirstSecond = residentMb();
            if (published >= seconds * 1000) {
                pace.stop();
                QTimer::singleShot(1500, &loop, &QEventLoop::quit); // the last debounce and send
            }
        });
        pace.start(1);
        loop.exec();
        state.counters["messages"] = published;
        state.counters["sends"] = sends;
        state.counters["rss_after_1s_mb"] = afterFirstSecond;
        state.counters["rss_growth_mb"] = residentMb() - afterFirstSecond;
        state.counters["last_value_sent"] = lastSent.toInt();
    }
}
BENCHMARK(BM_FloodCoalesced)->Arg(4)->Arg(12)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    components::install();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
