// A link session with its injected faults, and the emulated modem, over a
// fake byte link.

#include "datarow.h"
#include "commands.h"
#include "emulatorcore.h"
#include "links.h"
#include "testenvironment.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

using namespace emulator;
using namespace wire;

namespace {
class FakeLink final : public ByteLink {
public:
    explicit FakeLink(bool canDrop = true) : m_canDrop(canDrop) {}
    void send(const QByteArray& bytes) override { sent += bytes; }
    bool drop() override
    {
        ++drops;
        return m_canDrop;
    }
    // Nothing sent is ever read by the other end.
    qint64 backlog() const override { return sent.size(); }
    void discardBacklog() override
    {
        sent.clear();
        ++discards;
    }
    QString name() const override { return QStringLiteral("fake"); }
    void feed(const QByteArray& bytes) { emit received(bytes); }

    QByteArray sent;
    int drops = 0;
    int discards = 0;

private:
    bool m_canDrop;
};

QByteArray request(uint8_t seq, int dataSize = 4)
{
    return encodeFrame(Frame{1, seq, WriteTextData, writeDataPayload(0, QByteArray(dataSize, 'd'))});
}

// The answers on the line as "A<seq>" (ACK), "N<seq>/<code>" (NAK) or "D" (damaged).
QStringList answers(const QByteArray& bytes)
{
    QStringList out;
    FrameDecoder decoder;
    for (const Decoded& d : decoder.feed(bytes)) {
        const auto a = parseAnswer(d.frame);
        out.append(d.kind != Decoded::Kind::Frame ? QStringLiteral("D")
                   : a->ack                       ? QStringLiteral("A%1").arg(d.frame.sequence)
                                                  : QStringLiteral("N%1/%2").arg(d.frame.sequence).arg(a->nakCode));
    }
    return out;
}
} // namespace

class TestLinkSession final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void answersEveryFrameInOrder()
    {
        EmulatorCore core;
        FakeLink link;
        LinkSession session(core, &link);
        QByteArray damaged = request(3, 9);
        damaged[damaged.size() - 4] = char(damaged[damaged.size() - 4] ^ 0x04);
        link.feed(request(1) + request(2) + "noise" + damaged);
        QCOMPARE(answers(link.sent), (QStringList{"A1", "A2", "N3/1"})); // NAK: damaged
        QCOMPARE(core.model().unit(1)->variable(VarKind::Text, 0)->data,
                 QStringLiteral("dddd")); // the damaged one wrote nothing
    }
    void dropAfterFrames_data()
    {
        QTest::addColumn<bool>("canDrop");
        QTest::addColumn<QStringList>("afterDrop");
        addRow("tcp hangs up, a new conversation starts afresh", true, QStringList{"A5"});
        addRow("bare line goes deaf", false, QStringList{});
    }
    void dropAfterFrames()
    {
        QFETCH(bool, canDrop);
        EmulatorCore core;
        core.faults().dropAfterFrames = 2;
        FakeLink link(canDrop);
        LinkSession session(core, &link);
        QSignalSpy log(&core, &EmulatorCore::logLine);
        link.feed(request(1) + request(2) + request(3) + request(4));
        QCOMPARE(answers(link.sent), (QStringList{"A1", "A2"}));
        QCOMPARE(link.drops, 1);
        QCOMPARE(log.count(), 1);
        QCOMPARE(log.at(0).at(0).toString(), QStringLiteral("DROP fake after 2 frames"));
        link.sent.clear();
        link.feed(request(5));
        QTEST(answers(link.sent), "afterDrop");
    }
    void injectedFaultsFollowTheSeed()
    {
        QStringList first;
        for (int run = 0; run < 2; ++run) {
            EmulatorCore core;
            core.faults().nakFraction = 0.3;
            core.faults().garbleFraction = 0.3;
            core.faults().seed = 99;
            FakeLink link;
            LinkSession session(core, &link);
            for (int i = 0; i < 100; ++i)
                link.feed(request(uint8_t(i)));
            const QStringList got = answers(link.sent);
            QCOMPARE(got.size(), 100);
            // A NAK may be garbled too.
            const qsizetype naks = got.filter(QRegularExpression(QStringLiteral("^N"))).size();
            const qsizetype garbled = got.count(QStringLiteral("D"));
            QVERIFY2(naks >= 15 && naks <= 45 && garbled >= 15 && garbled <= 45,
                     qPrintable(got.join(QLatin1Char(' '))));
            QVERIFY(quint64(naks) <= core.naksInjected && core.naksInjected <= quint64(naks + garbled));
            if (run == 1)
                QCOMPARE(got, first); // same seed, same faults
            first = got;
        }
    }
    void pacedLineTakesTheBytesTime()
    {
        EmulatorCore core;
        core.faults().baud = 9600;
        FakeLink link;
        LinkSession session(core, &link);
        const QByteArray frame = request(1, 200);
        const QByteArray ack = encodeFrame(ackFrame(Frame{1, 1, WriteTextData, {}}));
        QElapsedTimer timer;
        timer.start();
        link.feed(frame);
        QVERIFY(link.sent.isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(!link.sent.isEmpty(), 3000);
        // 10 bits a byte, both ways.
        const qint64 lineMs = (frame.size() + ack.size()) * 10 * 1000 / 9600;
        QVERIFY2(timer.elapsed() >= lineMs - 2, qPrintable(QStringLiteral("%1 < %2").arg(timer.elapsed()).arg(lineMs)));
        QCOMPARE(link.sent, ack);
    }
    void linkEndsOnAbuseOrCut_data()
    {
        QTest::addColumn<bool>("canDrop");
        QTest::addColumn<double>("cut");
        QTest::addColumn<QString>("log");
        QTest::addColumn<QStringList>("afterwards"); // answers to a request after the end
        // Ten requests, each answered with 1,038 bytes; the fourth passes the limit.
        const QString overLimit = QStringLiteral("DROP fake backlog of 4154 bytes over the limit of 4096");
        addRow("client never reads: tcp hangs up", true, 0.0, overLimit, QStringList{"A11"});
        addRow("client never reads: bare line goes deaf", false, 0.0, overLimit, QStringList{});
        addRow("answer cut mid-frame", true, 1.0, "DROP fake mid-frame", QStringList{});
    }
    void linkEndsOnAbuseOrCut()
    {
        QFETCH(bool, canDrop);
        QFETCH(double, cut);
        EmulatorCore core;
        core.faults().backlogLimit = 4096;
        core.faults().cutFraction = cut;
        core.model().unit(1)->variable(VarKind::Text, 0)->data = QString(1024, u'v');
        FakeLink link(canDrop);
        LinkSession session(core, &link);
        QSignalSpy lines(&core, &EmulatorCore::logLine);
        QByteArray requests;
        for (int i = 1; i <= 10; ++i)
            requests += encodeFrame(Frame{1, uint8_t(i), ReadTextVariable, indexPayload(0)});
        link.feed(requests);
        // The link ended once, at the first answer over the limit or the first cut,
        // and nothing went out on it after that.
        QTEST(lines.last().at(0).toString(), "log");
        QCOMPARE(lines.count(), cut > 0 ? 2 : 1); // a cut also logs the answer it cut
        QCOMPARE(link.drops, 1);
        QCOMPARE(link.discards, cut > 0 ? 0 : 1);
        const QByteArray whole = encodeFrame(*core.handler().handle(Frame{1, 1, ReadTextVariable, indexPayload(0)}));
        QCOMPARE(link.sent, cut > 0 ? whole.left(whole.size() / 2) : QByteArray());
        link.sent.clear();
        link.feed(encodeFrame(Frame{1, 11, ReadTextVariable, indexPayload(0)}));
        QTEST(answers(link.sent), "afterwards");
    }
    void modemCommands_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("output");
        addRow("reset, echoed", QByteArray("ATZ\r"), QByteArray("ATZ\r\r\nOK\r\n"));
        addRow("lower case, no echo", QByteArray("ate0\ratz\r"), QByteArray("ate0\r\r\nOK\r\n\r\nOK\r\n"));
        addRow("unknown command", QByteArray("ATE0\rAT+FOO\r"), QByteArray("ATE0\r\r\nOK\r\n\r\nERROR\r\n"));
        addRow("not a command", QByteArray("ATE0\rhello\r"), QByteArray("ATE0\r\r\nOK\r\n"));
    }
    void modemCommands()
    {
        QFETCH(QByteArray, input);
        FakeLink line;
        ModemLink modem(&line, ModemOptions());
        line.feed(input);
        QTEST(line.sent, "output");
        QVERIFY(!modem.inDataMode());
    }
    void escapeNeedsGuardTimes()
    {
        EmulatorCore core;
        FakeLink line;
        ModemLink modem(&line, ModemOptions{.dialDelayMs = 5, .guardMs = 60, .echo = false});
        LinkSession session(core, &modem);
        line.feed("ATDT5551234\r");
        QTRY_VERIFY(modem.inDataMode());
        line.sent.clear();
        // "+++" right after data is data: a frame may hold it.
        line.feed(request(1));
        line.feed("+++");
        QCOMPARE(answers(line.sent), QStringList{"A1"});
        QTest::qWait(100);
        QVERIFY(modem.inDataMode());
        // Guard, "+++", guard: back in command mode with OK.
        line.sent.clear();
        line.feed("+++");
        QVERIFY(line.sent.isEmpty());
        QTRY_COMPARE(line.sent, QByteArray("\r\nOK\r\n"));
        QVERIFY(!modem.inDataMode());
    }
};

QTEST_GUILESS_MAIN(TestLinkSession)
#include "tst_linksession.moc"
