// DisplayClient against a real emulator process, over loopback TCP, over a
// pty as a serial line and over a pty with an emulated modem.

#include "datarow.h"
#include "displayclient.h"
#include "emulatorprocess.h"
#include "commands.h"
#include "testenvironment.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QTest>

using namespace disptrans;

namespace {
enum class Link { Tcp, Pty, Modem };

QStringList linkArgs(Link link)
{
    return link == Link::Tcp ? QStringList{"--tcp", "127.0.0.1:0"}
                             : QStringList{link == Link::Pty ? "--pty" : "--modem-pty"};
}

// Settings for every kind of link; each kind reads only its own fields.
ConnectionSettings settingsFor(Link link, const EmulatorProcess& emu)
{
    ConnectionSettings s;
    s.ConnAddress = 1;
    s.ConnKind = int16_t(link == Link::Tcp   ? Network
                         : link == Link::Pty ? SerialPort
                                             : 4); // any kind but 1 and 3 is a modem
    s.ConnTarget = link == Link::Tcp   ? QStringLiteral("127.0.0.1")
                   : link == Link::Pty ? emu.ptyPath()
                                       : emu.modemPath();
    s.ConnParam1 = QStringLiteral("9600,N,8,1");
    s.ConnParam2 = QStringLiteral("5551234");
    s.ConnParam3 = QString::number(emu.tcpPort());
    return s;
}

// An attribute list of `count` entries from `first`, giving every colour and flag combination.
VarAttributeList attributeBatch(int first, int count)
{
    VarAttributeList list;
    list.setEntryCount(int16_t(count));
    for (int16_t i = 1; i <= count; ++i) {
        const int index = first + i - 1;
        list.setEntryVarIndex(i, int16_t(index));
        list.setEntryColor(i, int16_t(1 + index % 7));
        list.setEntryBlink(i, int16_t(index % 2 ? 1 : 2));
        list.setEntryInverse(i, int16_t(index % 3 ? 2 : 1));
    }
    return list;
}
} // namespace

class TestDisplayClient final : public QObject {
    Q_OBJECT
    TestEnvironment env;
    const QString program = QStringLiteral(EMULATOR_PATH);

    // Starts `emu` on `link` with `extra` options and opens `client` on it.
    static bool connectTo(EmulatorProcess& emu, DisplayClient& client, Link link, const QStringList& extra = {})
    {
        const bool ok = emu.start(linkArgs(link) + extra) && client.open(settingsFor(link, emu));
        if (!ok)
            qWarning() << emu.error() << client.errorText();
        return ok;
    }

private slots:
    void readBackOverEveryLink_data()
    {
        QTest::addColumn<int>("link");
        addRow("tcp", int(Link::Tcp));
        addRow("pty", int(Link::Pty));
        addRow("modem", int(Link::Modem));
    }
    void readBackOverEveryLink()
    {
        QFETCH(int, link);
        EmulatorProcess emu(program);
        DisplayClient client;
        client.setTimeoutMs(400); // also shortens the modem's hang-up guard times
        QVERIFY(connectTo(emu, client, Link(link)));
        // Text and cell variables of the same index are different variables.
        struct Value {
            bool cell;
            int16_t index;
            QString text;
        };
        const QList<Value> values = {{false, 0, QStringLiteral("Hello")},
                                     {true, 0, QStringLiteral("12.5")},
                                     {false, 159, QStringLiteral("Gr\u00F6\u00DFe \u20AC5 caf\u00E9")},
                                     {true, 159, QString(1024, QLatin1Char('x'))},
                                     {false, 255,
                                      QStringLiteral("a\x02"
                                                     "b\x03"
                                                     "c\x10"
                                                     "d")},
                                     {false, 3, QString()},
                                     {true, 7, QStringLiteral("two\r\nlines")}};
        const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
        for (const Value& v : values)
            QVERIFY2(v.cell ? client.writeCellData(v.index, v.text) : client.writeTextData(v.index, v.text),
                     qPrintable(client.errorText()));
        // The display notes when it was last downloaded to.
        const auto t = client.readDownloadTime();
        QVERIFY2(t, qPrintable(client.errorText()));
        const QDateTime when(QDate(t->Year, t->Month, t->Day), QTime(t->Hour, t->Minute, t->Second));
        QVERIFY2(when >= before.addMSecs(-before.time().msec()) && when <= QDateTime::currentDateTime(),
                 qPrintable(when.toString()));
        // Attributes in batches as the updater makes them (CommandText under 1000 characters).
        for (int first = 0; first < 256; first += 199)
            QVERIFY2(client.writeTextAttributes(attributeBatch(first, std::min(199, 256 - first))),
                     qPrintable(client.errorText()));
        QVERIFY2(client.writeCellAttributes(attributeBatch(0, 160)), qPrintable(client.errorText()));
        for (const bool cell : {false, true}) {
            for (int16_t i = 0; i < (cell ? 160 : 256); i += 3) {
                const auto r = cell ? client.readCellVariable(i) : client.readTextVariable(i);
                QVERIFY2(r, qPrintable(client.errorText()));
                QCOMPARE((QList<int16_t>{r->Color, r->Blink, r->Inverse}),
                         (QList<int16_t>{int16_t(1 + i % 7), int16_t(i % 2 ? 1 : 2), int16_t(i % 3 ? 2 : 1)}));
            }
        }
        // The data, untouched by the attributes.
        for (const Value& v : values) {
            const auto r = v.cell ? client.readCellVariable(v.index) : client.readTextVariable(v.index);
            QCOMPARE(r ? r->Data : client.errorText(), v.text);
        }
        // A batch with one index beyond the variables is refused, with the display's reason.
        QVERIFY(!client.writeCellAttributes(attributeBatch(150, 12))); // 150 ... 161
        QCOMPARE(client.errorText(), QStringLiteral("display 1 refused: cell variable 160 does not exist"));
        // A shown message names variables; a missing one shows as nothing.
        const QString rs(QChar(30));
        QVERIFY2(client.showMessage(QStringLiteral("Temp 21\u00B0C ") + rs + "A000\r\n" + rs + "V000" + rs + "V160!"),
                 qPrintable(client.errorText()));
        QCOMPARE(emu.waitForLine(QStringLiteral("SHOW 1 ")), QStringLiteral("SHOW 1 Temp 21\u00B0C Hello|12.5!"));
        // A variable the shown message reads changes what the sign shows.
        QVERIFY2(client.writeCellData(0, QStringLiteral("13.0")), qPrintable(client.errorText()));
        QVERIFY(!emu.waitForLine(QStringLiteral("SHOW 1 Temp 21\u00B0C Hello|13.0!")).isEmpty());
        client.close();
        QVERIFY(!client.isOpen());
        if (Link(link) == Link::Modem) { // the call was made, and ended with escape and hang-up
            for (const char* event : {"DIAL 5551234", "ESCAPE", "HANGUP"})
                QVERIFY2(!emu.waitForLine(QLatin1String(event)).isEmpty(), event);
        }
        // A new connection finds the display as it was left.
        QVERIFY2(client.open(settingsFor(Link(link), emu)), qPrintable(client.errorText()));
        const auto again = client.readTextVariable(0);
        QVERIFY2(again, qPrintable(client.errorText()));
        QCOMPARE(again->Data, QStringLiteral("Hello"));
    }
    void groupsAnswerForEveryUnit()
    {
        EmulatorProcess emu(program);
        DisplayClient client;
        client.setTimeoutMs(250);
        QVERIFY(connectTo(emu, client, Link::Tcp, {"--units", "1", "--group", "5:1,1", "--group", "20:2,1,b"}));
        auto configuration = [&](int16_t address) {
            client.setAddress(address);
            const auto c = client.readConfiguration();
            return !c ? client.errorText()
                      : QStringLiteral("%1%2 %3,%4")
                            .arg(c->IsDisplayGroup ? "group" : "unit", c->GroupFlagB ? " b" : "")
                            .arg(c->GroupSpanA)
                            .arg(c->GroupSpanB);
        };
        QCOMPARE(configuration(1), QStringLiteral("unit 0,0"));
        QCOMPARE(configuration(5), QStringLiteral("group 1,1"));
        QCOMPARE(configuration(8), QStringLiteral("unit 0,0")); // in a group, but not its base
        QCOMPARE(configuration(20), QStringLiteral("group b 2,1"));
        // (A+1) x (B+1) units, each with variables of its own.
        const QList<int16_t> units = {5, 6, 7, 8, 20, 21, 22, 23, 24, 25};
        for (int16_t a : units) {
            client.setAddress(a);
            QVERIFY2(client.writeTextData(0, QStringLiteral("unit %1").arg(a)), qPrintable(client.errorText()));
        }
        for (int16_t a : units) {
            client.setAddress(a);
            const auto r = client.readTextVariable(0);
            QCOMPARE(r ? r->Data : client.errorText(), QStringLiteral("unit %1").arg(a));
        }
        // Addresses beyond the groups and the listed units stay silent.
        for (int16_t a : {4, 9, 26, 2})
            QCOMPARE(configuration(a), QStringLiteral("no answer from display %1 within 0.25 s").arg(a));
    }
    void refusesBadArgumentsWithoutSending_data()
    {
        QTest::addColumn<int>("call");
        QTest::addColumn<QString>("error");
        addRow("text index -1", 0, QStringLiteral("text variable index -1 is out of range 0 ... 255"));
        addRow("text index 256", 1, QStringLiteral("text variable index 256 is out of range 0 ... 255"));
        addRow("cell index 160", 2, QStringLiteral("cell variable index 160 is out of range 0 ... 159"));
        addRow("read cell 160", 3, QStringLiteral("cell variable index 160 is out of range 0 ... 159"));
        addRow("too long", 4, QStringLiteral("text variable data is too long: 1025 bytes, at most 1024"));
        addRow("empty attributes", 5, QStringLiteral("the attribute list is empty"));
        addRow("message too long", 6, QStringLiteral("the message is too long: 2001 bytes, at most 2000"));
    }
    void refusesBadArgumentsWithoutSending()
    {
        QFETCH(int, call);
        EmulatorProcess emu(program);
        DisplayClient client;
        QVERIFY(connectTo(emu, client, Link::Tcp));
        const bool ok = call == 0   ? client.writeTextData(-1, QStringLiteral("x"))
                        : call == 1 ? client.writeTextData(256, QStringLiteral("x"))
                        : call == 2 ? client.writeCellData(160, QStringLiteral("x"))
                        : call == 3 ? client.readCellVariable(160).has_value()
                        : call == 4 ? client.writeTextData(0, QString(1025, QLatin1Char('y')))
                        : call == 5 ? client.writeTextAttributes(VarAttributeList())
                                    : client.showMessage(QString(2001, QLatin1Char('m')));
        QVERIFY(!ok);
        QTEST(client.errorText(), "error");
        QCOMPARE(client.bytesSent(), quint64(0));
        // The connection stays usable: one request frame out, one ACK frame back, nothing else.
        QVERIFY(client.writeTextData(2, QStringLiteral("abc")));
        QCOMPARE(client.errorText(), QString());
        const wire::Frame request{1, 1, wire::WriteTextData, wire::writeDataPayload(2, "abc")};
        QCOMPARE(client.bytesSent(), quint64(wire::encodeFrame(request).size()));
        QCOMPARE(client.bytesReceived(), quint64(wire::encodeFrame(wire::ackFrame(request)).size()));
    }
    void faultsEndInFalseWithoutHanging_data()
    {
        QTest::addColumn<int>("link");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("goodCommands"); // commands that succeed before the fault; -1: open fails
        QTest::addColumn<QString>("error");    // %1 = the port or device
        const int tcp = int(Link::Tcp), pty = int(Link::Pty), modem = int(Link::Modem);
        const QString late = QStringLiteral("no answer from display 1 within 0.3 s");
        const QString nak = QStringLiteral("display 1 refused: bad checksum");
        addRow("tcp drop after 3", tcp, QStringList{"--drop-after", "3"}, 3,
               "the connection to display 1 was lost: the display closed the connection");
        addRow("modem drop after 2", modem, QStringList{"--drop-after", "2"}, 2,
               "the connection to display 1 was lost: the modem reported NO CARRIER");
        addRow("pty drop after 2 goes deaf", pty, QStringList{"--drop-after", "2"}, 2, late);
        addRow("tcp nak all", tcp, QStringList{"--nak", "1"}, 0, nak);
        addRow("pty nak all", pty, QStringList{"--nak", "1"}, 0, nak);
        addRow("tcp garble all", tcp, QStringList{"--garble", "1"}, 0, "damaged answer from display 1 (bad checksum)");
        addRow("pty late", pty, QStringList{"--delay", "1000"}, 0, late);
        addRow("tcp silent", tcp, QStringList{"--silent"}, 0, late);
        addRow("tcp too slow a line", tcp, QStringList{"--baud", "300"}, 0, late);
        addRow("tcp refused", tcp, QStringList{"--refuse"}, -1, "cannot connect to 127.0.0.1:%1: connection refused");
        addRow("modem busy", modem, QStringList{"--dial-result", "BUSY"}, -1, "dialling 5551234: BUSY");
        addRow("modem refusing", modem, QStringList{"--refuse"}, -1, "dialling 5551234: BUSY");
        addRow("modem no carrier", modem, QStringList{"--dial-result", "NO CARRIER"}, -1,
               "dialling 5551234: NO CARRIER");
        addRow("modem no dialtone", modem, QStringList{"--dial-result", "NO DIALTONE"}, -1,
               "dialling 5551234: NO DIALTONE");
        addRow("modem never answers the call", modem, QStringList{"--dial-result", "none"}, -1,
               "dialling 5551234: no answer from the modem on %1 to ATDT5551234 within 1500 ms");
        addRow("no modem on a bare line", pty, QStringList(), -1,
               "no answer from the modem on %1 to ATZ within 100 ms");
        // Without an emulator: the settings' kind, target and parameter.
        addRow("serial bad settings", -1, QStringList{"1", "/dev/null", "9600,X,8,1"}, -1,
               "bad serial settings \"9600,X,8,1\" (expected e.g. 9600,N,8,1)");
        addRow("serial without device", -1, QStringList{"1", " ", "9600,N,8,1"}, -1, "no serial port given");
        addRow("serial device missing", -1, QStringList{"1", "/dev/lumarex-no-such-port", ""}, -1,
               "cannot open serial port /dev/lumarex-no-such-port: No such file or directory");
        addRow("tcp port not a number", -1, QStringList{"3", "127.0.0.1", "http"}, -1, "bad TCP port \"http\"");
        addRow("tcp port 0", -1, QStringList{"3", "127.0.0.1", "0"}, -1, "bad TCP port \"0\"");
        addRow("tcp port too big", -1, QStringList{"3", "127.0.0.1", "65536"}, -1, "bad TCP port \"65536\"");
        addRow("tcp without host", -1, QStringList{"3", "", "3001"}, -1, "no host given");
        addRow("modem without device", -1, QStringList{"2", "", "555"}, -1, "no serial port given for the modem");
        addRow("modem without number", -1, QStringList{"0", "/dev/null", ""}, -1, "no number to dial");
    }
    void faultsEndInFalseWithoutHanging()
    {
        QFETCH(int, link);
        QFETCH(QStringList, args);
        QFETCH(int, goodCommands);
        QFETCH(QString, error);
        EmulatorProcess emu(program);
        ConnectionSettings settings;
        if (link < 0) {
            settings.ConnKind = int16_t(args[0].toInt());
            settings.ConnTarget = args[1];
            const int kind = settings.ConnKind;
            (kind == 1 ? settings.ConnParam1 : kind == 3 ? settings.ConnParam3 : settings.ConnParam2) = args[2];
        } else {
            QVERIFY2(emu.start(linkArgs(Link(link)) + args), qPrintable(emu.error()));
            settings = settingsFor(Link(link), emu);
        }
        if (Link(link) == Link::Pty && goodCommands < 0)
            settings.ConnKind = Modem; // a modem record whose device is a bare line: ATZ gets no answer
        if (error.contains(u"%1"))
            error = error.arg(settings.ConnKind == Network ? QString::number(emu.tcpPort()) : settings.ConnTarget);
        DisplayClient client;
        client.setTimeoutMs(goodCommands < 0 ? 100 : 300); // a modem waits 15 times as long for its dial result
        QElapsedTimer timer;
        timer.start();
        if (goodCommands < 0) {
            QVERIFY(!client.open(settings));
            QVERIFY(!client.isOpen());
        } else {
            QVERIFY2(client.open(settings), qPrintable(client.errorText()));
            for (int i = 0; i < goodCommands; ++i)
                QVERIFY2(client.writeTextData(int16_t(i), QStringLiteral("v%1").arg(i)),
                         qPrintable(client.errorText()));
            timer.restart();
            QVERIFY(!client.writeTextData(int16_t(goodCommands), QStringLiteral("lost")));
        }
        QCOMPARE(client.errorText(), error);
        // Bounded by the timeout (at most one resend, or the modem's dial wait), whatever the fault.
        QVERIFY2(timer.elapsed() < 2500, qPrintable(QString::number(timer.elapsed())));
        // Later calls fail as clearly and as quickly.
        timer.restart();
        QVERIFY(!client.readTextVariable(0));
        QVERIFY(goodCommands >= 0 ? !client.errorText().isEmpty() : client.errorText() == u"no connection is open");
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    }
    void resendsOnceAfterDamage_data()
    {
        QTest::addColumn<QString>("fault");
        addRow("nak half", QStringLiteral("--nak"));
        addRow("garble half", QStringLiteral("--garble"));
    }
    void resendsOnceAfterDamage()
    {
        QFETCH(QString, fault);
        EmulatorProcess emu(program);
        DisplayClient client;
        client.setTimeoutMs(500);
        QVERIFY(connectTo(emu, client, Link::Tcp, {fault, "0.5", "--seed", "7"}));
        int ok = 0, resends = 0;
        for (int16_t i = 0; i < 40; ++i) {
            // Every command takes the next sequence number; a resend repeats the frame.
            const QByteArray text = "value " + QByteArray::number(i);
            const wire::Frame frame{1, uint8_t(i + 1), wire::WriteTextData, wire::writeDataPayload(i, text)};
            const quint64 frameSize = quint64(wire::encodeFrame(frame).size());
            const quint64 sentBefore = client.bytesSent();
            const bool done = client.writeTextData(i, QString::fromLatin1(text));
            ok += done;
            // Failed only after the one resend was damaged too.
            QVERIFY2(done || client.errorText() == u"display 1 refused: bad checksum"
                         || client.errorText() == u"damaged answer from display 1 (bad checksum)",
                     qPrintable(client.errorText()));
            const quint64 sent = client.bytesSent() - sentBefore;
            QVERIFY(sent == frameSize || sent == 2 * frameSize); // never more than one resend
            resends += sent == 2 * frameSize;
        }
        // With half of all frames damaged, most commands still get through on the resend.
        QVERIFY2(ok > 20 && ok < 40 && resends > 0, qPrintable(QStringLiteral("%1 ok").arg(ok)));
    }
    void lateAnswerIsNotTakenForTheNextOne()
    {
        EmulatorProcess emu(program);
        DisplayClient client;
        QVERIFY(connectTo(emu, client, Link::Tcp, {"--delay", "300"}));
        QVERIFY(client.writeTextData(0, QStringLiteral("zero")));
        QVERIFY(client.writeTextData(1, QStringLiteral("one")));
        client.setTimeoutMs(100);
        QVERIFY(!client.readTextVariable(0));
        QVERIFY(client.errorText().startsWith(u"no answer"));
        // The answer to the abandoned read of variable 0 arrives while the read of
        // variable 1 waits; it answers the same command, but not this one.
        client.setTimeoutMs(2000);
        const auto r = client.readTextVariable(1);
        QVERIFY2(r, qPrintable(client.errorText()));
        QCOMPARE(r->Data, QStringLiteral("one"));
    }
};

QTEST_GUILESS_MAIN(TestDisplayClient)
#include "tst_displayclient.moc"
