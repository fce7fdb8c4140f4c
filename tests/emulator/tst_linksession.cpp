// A link session with its injected faults, and the emulated modem, over a
// fake byte link.

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
    QString name() const override { return QStringLiteral("fake"); }
    void feed(const QByteArray& bytes) { emit received(bytes); }

    QByteArray sent;
    int drops = 0;

private:
    bool m_canDrop;
};

QByteArray request(uint8_t seq, int index = 0)
{
    return encodeFrame(Frame{1, seq, WriteTextData, writeDataPayload(uint16_t(index), "data")});
}

QList<Decoded> decodeAll(const QByteArray& bytes)
{
    FrameDecoder d;
    return d.feed(bytes);
}

// The answers on the line as "A<seq>" (ACK), "N<seq>" (NAK) or "D" (damaged).
QStringList answers(const QByteArray& bytes)
{
    QStringList out;
    for (const Decoded& d : decodeAll(bytes)) {
        if (d.kind != Decoded::Kind::Frame)
            out.append(QStringLiteral("D"));
        else
            out.append((d.frame.command == Ack ? QStringLiteral("A") : QStringLiteral("N")) + QString::number(d.frame.sequence));
    }
    return out;
}
} // namespace

class TestLinkSession final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void answersEveryFrameInOrder();
    void dropAfterFrames_data();
    void dropAfterFrames();
    void injectedNaksFollowTheSeed_data();
    void injectedNaksFollowTheSeed();
    void garbledAnswersFailTheirChecksum();
    void damagedRequestIsNaked();
    void silentDisplayNeverAnswers();
    void lateAnswers();
    void pacedLineTakesTheBytesTime();
    void modemCommands_data();
    void modemCommands();
    void modemCallCarriesFramesAndHangsUp();
    void plusesWithoutGuardAreData();
};

void TestLinkSession::answersEveryFrameInOrder()
{
    EmulatorCore core;
    FakeLink link;
    LinkSession session(core, &link);
    link.feed(request(1) + request(2) + "noise" + request(3));
    QCOMPARE(answers(link.sent), (QStringList{"A1", "A2", "A3"}));
    QCOMPARE(core.model().unit(1)->variable(VarKind::Text, 0)->data, QStringLiteral("data"));
}

void TestLinkSession::dropAfterFrames_data()
{
    QTest::addColumn<bool>("canDrop");
    QTest::addColumn<QStringList>("afterDrop");
    QTest::newRow("tcp hangs up, a new conversation starts afresh") << true << QStringList{"A5"};
    QTest::newRow("bare line goes deaf") << false << QStringList{};
}

void TestLinkSession::dropAfterFrames()
{
    QFETCH(bool, canDrop);
    QFETCH(QStringList, afterDrop);
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
    QCOMPARE(answers(link.sent), afterDrop);
}

void TestLinkSession::injectedNaksFollowTheSeed_data()
{
    QTest::addColumn<double>("fraction");
    QTest::addColumn<int>("low");
    QTest::addColumn<int>("high");
    QTest::newRow("none") << 0.0 << 0 << 0;
    QTest::newRow("a third") << 0.33 << 40 << 95;
    QTest::newRow("all") << 1.0 << 200 << 200;
}

void TestLinkSession::injectedNaksFollowTheSeed()
{
    QFETCH(double, fraction);
    QFETCH(int, low);
    QFETCH(int, high);
    QStringList first;
    for (int run = 0; run < 2; ++run) {
        EmulatorCore core;
        core.faults().nakFraction = fraction;
        core.faults().seed = 99;
        FakeLink link;
        LinkSession session(core, &link);
        for (int i = 0; i < 200; ++i)
            link.feed(request(uint8_t(i)));
        const QStringList got = answers(link.sent);
        QCOMPARE(got.size(), 200);
        const int naks = int(got.filter(QRegularExpression(QStringLiteral("^N"))).size());
        QVERIFY2(naks >= low && naks <= high, qPrintable(QString::number(naks)));
        QCOMPARE(core.naksInjected, quint64(naks));
        if (run == 0)
            first = got;
        else
            QCOMPARE(got, first);   // same seed, same faults
    }
}

void TestLinkSession::garbledAnswersFailTheirChecksum()
{
    EmulatorCore core;
    core.faults().garbleFraction = 1.0;
    FakeLink link;
    LinkSession session(core, &link);
    for (int i = 0; i < 50; ++i)
        link.feed(request(uint8_t(i)));
    const QList<Decoded> found = decodeAll(link.sent);
    QCOMPARE(found.size(), 50);
    for (const Decoded& d : found)
        QCOMPARE(d.kind, Decoded::Kind::BadChecksum);
}

void TestLinkSession::damagedRequestIsNaked()
{
    EmulatorCore core;
    FakeLink link;
    LinkSession session(core, &link);
    QByteArray bad = request(8);
    bad[bad.size() - 4] = char(bad[bad.size() - 4] ^ 0x04);
    link.feed(bad);
    const QList<Decoded> found = decodeAll(link.sent);
    QCOMPARE(found.size(), 1);
    const auto a = parseAnswer(found[0].frame);
    QVERIFY(a && !a->ack);
    QCOMPARE(a->nakCode, uint8_t(Damaged));
    QCOMPARE(found[0].frame.sequence, uint8_t(8));
    // Nothing was written.
    QCOMPARE(core.model().unit(1)->variable(VarKind::Text, 0)->data, QString());
}

void TestLinkSession::silentDisplayNeverAnswers()
{
    EmulatorCore core;
    core.faults().silent = true;
    FakeLink link;
    LinkSession session(core, &link);
    link.feed(request(1));
    QTest::qWait(20);
    QVERIFY(link.sent.isEmpty());
}

void TestLinkSession::lateAnswers()
{
    EmulatorCore core;
    core.faults().delayMs = 150;
    FakeLink link;
    LinkSession session(core, &link);
    QElapsedTimer timer;
    timer.start();
    link.feed(request(1));
    QVERIFY(link.sent.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(!link.sent.isEmpty(), 2000);
    QVERIFY2(timer.elapsed() >= 145, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(answers(link.sent), QStringList{"A1"});
}

void TestLinkSession::pacedLineTakesTheBytesTime()
{
    EmulatorCore core;
    core.faults().baud = 9600;
    FakeLink link;
    LinkSession session(core, &link);
    const QByteArray frame = encodeFrame(Frame{1, 1, WriteTextData, writeDataPayload(0, QByteArray(200, 'p'))});
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

void TestLinkSession::modemCommands_data()
{
    QTest::addColumn<QString>("dialResult");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<bool>("connects");
    QTest::newRow("reset") << "CONNECT 9600" << QByteArray("ATZ\r") << QByteArray("ATZ\r\r\nOK\r\n") << false;
    QTest::newRow("lower case, no echo") << "CONNECT 9600" << QByteArray("ate0\ratz\r") << QByteArray("ate0\r\r\nOK\r\n\r\nOK\r\n")
                                         << false;
    QTest::newRow("unknown command") << "CONNECT 9600" << QByteArray("ATE0\rAT+FOO\r") << QByteArray("ATE0\r\r\nOK\r\n\r\nERROR\r\n")
                                     << false;
    QTest::newRow("not a command") << "CONNECT 9600" << QByteArray("ATE0\rhello\r") << QByteArray("ATE0\r\r\nOK\r\n") << false;
    QTest::newRow("dial connects") << "CONNECT 9600" << QByteArray("ATE0\rATDT123\r") << QByteArray("ATE0\r\r\nOK\r\n\r\nCONNECT 9600\r\n")
                                   << true;
    QTest::newRow("dial busy") << "BUSY" << QByteArray("ATE0\rATDT123\r") << QByteArray("ATE0\r\r\nOK\r\n\r\nBUSY\r\n") << false;
    QTest::newRow("no dial tone") << "NO DIALTONE" << QByteArray("ATE0\rATD5\r") << QByteArray("ATE0\r\r\nOK\r\n\r\nNO DIALTONE\r\n")
                                  << false;
    QTest::newRow("nobody answers") << "" << QByteArray("ATE0\rATDT123\r") << QByteArray("ATE0\r\r\nOK\r\n") << false;
}

void TestLinkSession::modemCommands()
{
    QFETCH(QString, dialResult);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, output);
    QFETCH(bool, connects);
    FakeLink line;
    ModemOptions options;
    options.dialResult = dialResult;
    options.dialDelayMs = 10;
    ModemLink modem(&line, options);
    QSignalSpy connected(&modem, &ByteLink::connected);
    line.feed(input);
    QTest::qWait(60);
    QCOMPARE(line.sent, output);
    QCOMPARE(connected.count(), connects ? 1 : 0);
    QCOMPARE(modem.inDataMode(), connects);
}

void TestLinkSession::modemCallCarriesFramesAndHangsUp()
{
    EmulatorCore core;
    FakeLink line;
    ModemOptions options;
    options.dialDelayMs = 5;
    options.guardMs = 40;
    options.echo = false;
    ModemLink modem(&line, options);
    LinkSession session(core, &modem);
    QSignalSpy events(&modem, &ModemLink::modemEvent);
    line.feed("ATDT5551234\r");
    QTRY_VERIFY(modem.inDataMode());
    line.sent.clear();
    line.feed(request(1));
    QCOMPARE(answers(line.sent), QStringList{"A1"});
    // Guard, "+++", guard: back in command mode with OK; the call stays up.
    QTest::qWait(60);
    line.sent.clear();
    line.feed("+++");
    QVERIFY(line.sent.isEmpty());
    QTRY_COMPARE(line.sent, QByteArray("\r\nOK\r\n"));
    QVERIFY(!modem.inDataMode());
    line.sent.clear();
    line.feed("ATH\r");
    QCOMPARE(line.sent, QByteArray("\r\nOK\r\n"));
    QStringList seen;
    for (const auto& e : events)
        seen.append(e.at(0).toString());
    QCOMPARE(seen, (QStringList{"DIAL 5551234", "CONNECT", "ESCAPE", "HANGUP"}));
    // Dropping a call in data mode reports NO CARRIER.
    line.feed("ATD1\r");
    QTRY_VERIFY(modem.inDataMode());
    line.sent.clear();
    QVERIFY(modem.drop());
    QCOMPARE(line.sent, QByteArray("\r\nNO CARRIER\r\n"));
    QVERIFY(!modem.inDataMode());
    QVERIFY(!modem.drop());
}

void TestLinkSession::plusesWithoutGuardAreData()
{
    FakeLink line;
    ModemOptions options;
    options.dialDelayMs = 1;
    options.guardMs = 200;
    options.echo = false;
    ModemLink modem(&line, options);
    QByteArray data;
    connect(&modem, &ByteLink::received, this, [&](const QByteArray& b) { data += b; });
    line.feed("ATD1\r");
    QTRY_VERIFY(modem.inDataMode());
    line.feed("x");
    line.feed("+++");      // right after data: no guard time before it
    line.feed("y");
    QCOMPARE(data, QByteArray("x+++y"));
    QVERIFY(modem.inDataMode());
}

QTEST_GUILESS_MAIN(TestLinkSession)
#include "tst_linksession.moc"
