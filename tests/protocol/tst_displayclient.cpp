// DisplayClient against a real emulator process, over loopback TCP, over a
// pty as a serial line and over a pty with an emulated modem.

#include "displayclient.h"
#include "emulatorprocess.h"
#include "frame.h"
#include "codepage.h"
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
    switch (link) {
    case Link::Tcp: return {QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")};
    case Link::Pty: return {QStringLiteral("--pty")};
    case Link::Modem: return {QStringLiteral("--modem-pty")};
    }
    return {};
}

ConnectionSettings settingsFor(Link link, const EmulatorProcess& emu, int16_t address = 1)
{
    ConnectionSettings s;
    s.ConnAddress = address;
    switch (link) {
    case Link::Tcp:
        s.ConnKind = Network;
        s.ConnTarget = QStringLiteral("127.0.0.1");
        s.ConnParam3 = QString::number(emu.tcpPort());
        break;
    case Link::Pty:
        s.ConnKind = SerialPort;
        s.ConnTarget = emu.ptyPath();
        s.ConnParam1 = QStringLiteral("9600,N,8,1");
        break;
    case Link::Modem:
        s.ConnKind = 4;   // any kind but 1 and 3 is a modem
        s.ConnTarget = emu.modemPath();
        s.ConnParam2 = QStringLiteral("5551234");
        break;
    }
    return s;
}

void addLinkRows()
{
    QTest::addColumn<int>("link");
    QTest::newRow("tcp") << int(Link::Tcp);
    QTest::newRow("pty") << int(Link::Pty);
    QTest::newRow("modem") << int(Link::Modem);
}

// An attribute list of up to `count` entries starting at `first`, in a pattern
// that gives every colour and flag combination.
VarAttributeList attributeBatch(int first, int count)
{
    VarAttributeList list;
    list.setEntryCount(int16_t(count));
    for (int i = 0; i < count; ++i) {
        const int index = first + i;
        list.setEntryVarIndex(int16_t(i + 1), int16_t(index));
        list.setEntryColor(int16_t(i + 1), int16_t(1 + index % 7));
        list.setEntryBlink(int16_t(i + 1), int16_t(index % 2 ? 1 : 2));
        list.setEntryInverse(int16_t(i + 1), int16_t(index % 3 ? 2 : 1));
    }
    return list;
}
} // namespace

class TestDisplayClient final : public QObject {
    Q_OBJECT
    TestEnvironment env;
    const QString program = QStringLiteral(LUMAREX_EMULATOR_PATH);

    bool startEmulator(EmulatorProcess& emu, Link link, const QStringList& extra = {})
    {
        if (emu.start(linkArgs(link) + extra))
            return true;
        qWarning() << emu.error();
        return false;
    }

private slots:
    void writesAndReadsBackData_data();
    void writesAndReadsBackData();
    void attributesInBatches_data() { addLinkRows(); }
    void attributesInBatches();
    void groupsAnswerForEveryUnit();
    void downloadTimeFollowsWrites();
    void showMessageSubstitutesVariables_data() { addLinkRows(); }
    void showMessageSubstitutesVariables();
    void countsBytesOnTheWire();
    void refusesBadArgumentsWithoutSending_data();
    void refusesBadArgumentsWithoutSending();
    void faultsEndInFalseWithoutHanging_data();
    void faultsEndInFalseWithoutHanging();
    void openFailures_data();
    void openFailures();
    void openRefusesBadSettings_data();
    void openRefusesBadSettings();
    void resendsOnceAfterDamage_data();
    void resendsOnceAfterDamage();
    void lateAnswerIsNotTakenForTheNextOne();
    void modemHangsUpOnClose();
};

void TestDisplayClient::writesAndReadsBackData_data()
{
    QTest::addColumn<int>("link");
    QTest::addColumn<bool>("cell");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("text");
    const QString marks = QStringLiteral("a\x02" "b\x03" "c\x10" "d");
    const QString western = QStringLiteral("Gr\u00F6\u00DFe \u20AC5 caf\u00E9");
    const QString longest(1024, QLatin1Char('x'));
    for (Link link : {Link::Tcp, Link::Pty, Link::Modem}) {
        const char* name = link == Link::Tcp ? "tcp" : link == Link::Pty ? "pty" : "modem";
        QTest::addRow("%s first text", name) << int(link) << false << 0 << QStringLiteral("Hello");
        QTest::addRow("%s last text", name) << int(link) << false << 255 << western;
        QTest::addRow("%s frame marks", name) << int(link) << false << 17 << marks;
        QTest::addRow("%s first cell", name) << int(link) << true << 0 << QStringLiteral("12.5");
        QTest::addRow("%s last cell", name) << int(link) << true << 159 << longest;
    }
    QTest::addRow("tcp empty text") << int(Link::Tcp) << false << 3 << QString();
    QTest::addRow("tcp crlf") << int(Link::Tcp) << true << 7 << QStringLiteral("two\r\nlines");
}

void TestDisplayClient::writesAndReadsBackData()
{
    QFETCH(int, link);
    QFETCH(bool, cell);
    QFETCH(int, index);
    QFETCH(QString, text);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link(link)));
    DisplayClient client;
    client.setTimeoutMs(400);   // also shortens the modem's hang-up guard times
    QVERIFY2(client.open(settingsFor(Link(link), emu)), qPrintable(client.errorText()));
    QVERIFY(client.isOpen());
    // A neighbour keeps its own value.
    const int16_t other = int16_t(index == 0 ? 1 : index - 1);
    QVERIFY(cell ? client.writeCellData(other, QStringLiteral("neighbour")) : client.writeTextData(other, QStringLiteral("neighbour")));
    QVERIFY2(cell ? client.writeCellData(int16_t(index), text) : client.writeTextData(int16_t(index), text),
             qPrintable(client.errorText()));
    const auto reply = cell ? client.readCellVariable(int16_t(index)) : client.readTextVariable(int16_t(index));
    QVERIFY2(reply, qPrintable(client.errorText()));
    QCOMPARE(reply->Data, text);
    QCOMPARE(reply->Color, int16_t(1));   // untouched attributes: red, no blink, no inverse
    QCOMPARE(reply->Blink, int16_t(2));
    QCOMPARE(reply->Inverse, int16_t(2));
    // The other kind of variable with the same index is a different variable.
    if (index < 160) {
        const auto otherKind = cell ? client.readTextVariable(int16_t(index)) : client.readCellVariable(int16_t(index));
        QVERIFY2(otherKind, qPrintable(client.errorText()));
        QCOMPARE(otherKind->Data, QString());
    }
    const auto neighbour = cell ? client.readCellVariable(other) : client.readTextVariable(other);
    QVERIFY(neighbour);
    QCOMPARE(neighbour->Data, QStringLiteral("neighbour"));
    client.close();
    QVERIFY(!client.isOpen());
}

void TestDisplayClient::attributesInBatches()
{
    QFETCH(int, link);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link(link)));
    DisplayClient client;
    client.setTimeoutMs(400);   // also shortens the modem's hang-up guard times
    QVERIFY2(client.open(settingsFor(Link(link), emu)), qPrintable(client.errorText()));
    // Batches as the updater makes them: CommandText under 1000 characters.
    for (int first = 0; first < 256; first += 199) {
        const VarAttributeList batch = attributeBatch(first, std::min(199, 256 - first));
        QVERIFY(batch.CommandText().size() < 1000);
        QVERIFY2(client.writeTextAttributes(batch), qPrintable(client.errorText()));
    }
    QVERIFY2(client.writeCellAttributes(attributeBatch(0, 160)), qPrintable(client.errorText()));
    for (int index = 0; index < 256; index += 5) {
        const auto r = client.readTextVariable(int16_t(index));
        QVERIFY2(r, qPrintable(client.errorText()));
        QCOMPARE(r->Color, int16_t(1 + index % 7));
        QCOMPARE(r->Blink, int16_t(index % 2 ? 1 : 2));
        QCOMPARE(r->Inverse, int16_t(index % 3 ? 2 : 1));
    }
    for (int index : {0, 1, 2, 158, 159}) {
        const auto r = client.readCellVariable(int16_t(index));
        QVERIFY2(r, qPrintable(client.errorText()));
        QCOMPARE(r->Color, int16_t(1 + index % 7));
        QCOMPARE(r->Blink, int16_t(index % 2 ? 1 : 2));
        QCOMPARE(r->Inverse, int16_t(index % 3 ? 2 : 1));
    }
    // A batch with one index beyond the variables is refused whole.
    VarAttributeList bad = attributeBatch(150, 12);   // 150 ... 161
    QVERIFY(!client.writeCellAttributes(bad));
    QVERIFY2(client.errorText().contains(QStringLiteral("display 1 refused: cell variable 160 does not exist")),
             qPrintable(client.errorText()));
    const auto unchanged = client.readCellVariable(150);
    QVERIFY(unchanged);
    QCOMPARE(unchanged->Color, int16_t(1 + 150 % 7));
}

void TestDisplayClient::groupsAnswerForEveryUnit()
{
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Tcp,
                          {QStringLiteral("--units"), QStringLiteral("1"), QStringLiteral("--group"), QStringLiteral("5:1,1"),
                           QStringLiteral("--group"), QStringLiteral("20:2,1,b")}));
    DisplayClient client;
    client.setTimeoutMs(250);
    QVERIFY(client.open(settingsFor(Link::Tcp, emu)));

    struct Expect { int16_t address; bool group; bool flagB; int16_t a; int16_t b; };
    for (const Expect& e : {Expect{1, false, false, 0, 0}, Expect{5, true, false, 1, 1}, Expect{20, true, true, 2, 1}}) {
        client.setAddress(e.address);
        const auto config = client.readConfiguration();
        QVERIFY2(config, qPrintable(client.errorText()));
        QCOMPARE(config->IsDisplayGroup, e.group);
        QCOMPARE(config->GroupFlagB, e.flagB);
        QCOMPARE(config->GroupSpanA, e.a);
        QCOMPARE(config->GroupSpanB, e.b);
    }
    // (A+1) x (B+1) units, each with variables of its own.
    const QList<int16_t> group5 = {5, 6, 7, 8};
    QList<int16_t> group20;
    for (int16_t a = 20; a < 26; ++a)
        group20.append(a);
    for (int16_t a : group5 + group20) {
        client.setAddress(a);
        QVERIFY2(client.writeTextData(0, QStringLiteral("unit %1").arg(a)), qPrintable(client.errorText()));
    }
    for (int16_t a : group5 + group20) {
        client.setAddress(a);
        const auto r = client.readTextVariable(0);
        QVERIFY2(r, qPrintable(client.errorText()));
        QCOMPARE(r->Data, QStringLiteral("unit %1").arg(a));
    }
    // Addresses beyond the groups and the listed units stay silent.
    for (int16_t a : {int16_t(4), int16_t(9), int16_t(26), int16_t(2)}) {
        client.setAddress(a);
        QVERIFY(!client.readConfiguration());
        QCOMPARE(client.errorText(), QStringLiteral("no answer from display %1 within 0.25 s").arg(a));
    }
}

void TestDisplayClient::downloadTimeFollowsWrites()
{
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Tcp));
    DisplayClient client;
    QVERIFY(client.open(settingsFor(Link::Tcp, emu, 3)));
    auto never = client.readDownloadTime();
    QVERIFY2(never, qPrintable(client.errorText()));
    QCOMPARE(never->Year, int16_t(0));
    QCOMPARE(never->Month, int16_t(0));

    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    QVERIFY(client.writeCellData(4, QStringLiteral("x")));
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);
    const auto t = client.readDownloadTime();
    QVERIFY2(t, qPrintable(client.errorText()));
    const QDateTime when(QDate(t->Year, t->Month, t->Day), QTime(t->Hour, t->Minute, t->Second));
    QVERIFY2(when.isValid(), qPrintable(when.toString()));
    QVERIFY2(when >= before.addMSecs(-before.time().msec()) && when <= after, qPrintable(when.toString(Qt::ISODate)));
    // Another unit was not downloaded to.
    client.setAddress(4);
    const auto other = client.readDownloadTime();
    QVERIFY(other);
    QCOMPARE(other->Year, int16_t(0));
}

void TestDisplayClient::showMessageSubstitutesVariables()
{
    QFETCH(int, link);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link(link)));
    DisplayClient client;
    client.setTimeoutMs(400);   // also shortens the modem's hang-up guard times
    QVERIFY2(client.open(settingsFor(Link(link), emu, 2)), qPrintable(client.errorText()));
    QVERIFY(client.writeTextData(0, QStringLiteral("21\u00B0C")));
    QVERIFY(client.writeTextData(41, QStringLiteral("OPEN")));
    QVERIFY(client.writeCellData(159, QStringLiteral("$4.99")));
    const QString rs = QString(QChar(30));
    const QString message = QStringLiteral("Temp ") + rs + QStringLiteral("A000 shop ") + rs + QStringLiteral("A041\r\nCoffee ")
        + rs + QStringLiteral("V159") + rs + QStringLiteral("V160!");
    QVERIFY2(client.showMessage(message), qPrintable(client.errorText()));
    const QString line = emu.waitForLine(QStringLiteral("SHOW 2 "));
    QCOMPARE(line, QStringLiteral("SHOW 2 Temp 21\u00B0C shop OPEN|Coffee $4.99!"));
}

void TestDisplayClient::countsBytesOnTheWire()
{
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Tcp));
    DisplayClient client;
    QVERIFY(client.open(settingsFor(Link::Tcp, emu, 7)));
    QCOMPARE(client.bytesSent(), quint64(0));
    QVERIFY(client.writeTextData(2, QStringLiteral("abc")));
    // One request frame out, one ACK frame back, nothing else.
    const wire::Frame request{7, 1, wire::WriteTextData, wire::writeDataPayload(2, "abc")};
    QCOMPARE(client.bytesSent(), quint64(wire::encodeFrame(request).size()));
    QCOMPARE(client.bytesReceived(), quint64(wire::encodeFrame(wire::ackFrame(request)).size()));
}

void TestDisplayClient::refusesBadArgumentsWithoutSending_data()
{
    QTest::addColumn<int>("call");
    QTest::addColumn<QString>("error");
    QTest::newRow("text index -1") << 0 << QStringLiteral("text variable index -1 is out of range 0 ... 255");
    QTest::newRow("text index 256") << 1 << QStringLiteral("text variable index 256 is out of range 0 ... 255");
    QTest::newRow("cell index 160") << 2 << QStringLiteral("cell variable index 160 is out of range 0 ... 159");
    QTest::newRow("read cell 160") << 3 << QStringLiteral("cell variable index 160 is out of range 0 ... 159");
    QTest::newRow("too long") << 4 << QStringLiteral("text variable data is too long: 1025 bytes, at most 1024");
    QTest::newRow("empty attributes") << 5 << QStringLiteral("the attribute list is empty");
    QTest::newRow("message too long") << 6 << QStringLiteral("the message is too long: 2001 bytes, at most 2000");
}

void TestDisplayClient::refusesBadArgumentsWithoutSending()
{
    QFETCH(int, call);
    QFETCH(QString, error);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Tcp));
    DisplayClient client;
    QVERIFY(client.open(settingsFor(Link::Tcp, emu)));
    bool ok = true;
    switch (call) {
    case 0: ok = client.writeTextData(-1, QStringLiteral("x")); break;
    case 1: ok = client.writeTextData(256, QStringLiteral("x")); break;
    case 2: ok = client.writeCellData(160, QStringLiteral("x")); break;
    case 3: ok = client.readCellVariable(160).has_value(); break;
    case 4: ok = client.writeTextData(0, QString(1025, QLatin1Char('y'))); break;
    case 5: ok = client.writeTextAttributes(VarAttributeList()); break;
    case 6: ok = client.showMessage(QString(2001, QLatin1Char('m'))); break;
    }
    QVERIFY(!ok);
    QCOMPARE(client.errorText(), error);
    QCOMPARE(client.bytesSent(), quint64(0));
    // The connection stays usable.
    QVERIFY(client.writeTextData(0, QStringLiteral("fine")));
    QCOMPARE(client.errorText(), QString());
}

void TestDisplayClient::faultsEndInFalseWithoutHanging_data()
{
    QTest::addColumn<int>("link");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("goodCommands");   // commands that succeed before the fault
    QTest::addColumn<QString>("error");
    QTest::newRow("tcp drop after 3") << int(Link::Tcp) << QStringList{QStringLiteral("--drop-after"), QStringLiteral("3")} << 3
                                      << QStringLiteral("the connection to display 1 was lost: the display closed the connection");
    QTest::newRow("modem drop after 2") << int(Link::Modem) << QStringList{QStringLiteral("--drop-after"), QStringLiteral("2")} << 2
                                        << QStringLiteral("the connection to display 1 was lost: the modem reported NO CARRIER");
    QTest::newRow("pty drop after 2 goes deaf") << int(Link::Pty) << QStringList{QStringLiteral("--drop-after"), QStringLiteral("2")} << 2
                                                << QStringLiteral("no answer from display 1 within 0.3 s");
    QTest::newRow("tcp nak all") << int(Link::Tcp) << QStringList{QStringLiteral("--nak"), QStringLiteral("1")} << 0
                                 << QStringLiteral("display 1 refused: bad checksum");
    QTest::newRow("pty nak all") << int(Link::Pty) << QStringList{QStringLiteral("--nak"), QStringLiteral("1")} << 0
                                 << QStringLiteral("display 1 refused: bad checksum");
    QTest::newRow("tcp garble all") << int(Link::Tcp) << QStringList{QStringLiteral("--garble"), QStringLiteral("1")} << 0
                                    << QStringLiteral("damaged answer from display 1 (bad checksum)");
    QTest::newRow("tcp late") << int(Link::Tcp) << QStringList{QStringLiteral("--delay"), QStringLiteral("1000")} << 0
                              << QStringLiteral("no answer from display 1 within 0.3 s");
    QTest::newRow("pty late") << int(Link::Pty) << QStringList{QStringLiteral("--delay"), QStringLiteral("1000")} << 0
                              << QStringLiteral("no answer from display 1 within 0.3 s");
    QTest::newRow("tcp silent") << int(Link::Tcp) << QStringList{QStringLiteral("--silent")} << 0
                                << QStringLiteral("no answer from display 1 within 0.3 s");
    QTest::newRow("tcp absent unit") << int(Link::Tcp) << QStringList{QStringLiteral("--units"), QStringLiteral("2,3")} << 0
                                     << QStringLiteral("no answer from display 1 within 0.3 s");
    QTest::newRow("tcp too slow a line") << int(Link::Tcp) << QStringList{QStringLiteral("--baud"), QStringLiteral("300")} << 0
                                         << QStringLiteral("no answer from display 1 within 0.3 s");
}

void TestDisplayClient::faultsEndInFalseWithoutHanging()
{
    QFETCH(int, link);
    QFETCH(QStringList, args);
    QFETCH(int, goodCommands);
    QFETCH(QString, error);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link(link), args));
    DisplayClient client;
    client.setTimeoutMs(300);
    QVERIFY2(client.open(settingsFor(Link(link), emu)), qPrintable(client.errorText()));
    for (int i = 0; i < goodCommands; ++i)
        QVERIFY2(client.writeTextData(int16_t(i), QStringLiteral("v%1").arg(i)), qPrintable(client.errorText()));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!client.writeTextData(int16_t(goodCommands), QStringLiteral("lost")));
    QCOMPARE(client.errorText(), error);
    // Bounded by the timeout (at most one resend), whatever the fault.
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    // Later calls fail as clearly and as quickly.
    timer.restart();
    QVERIFY(!client.readTextVariable(0));
    QVERIFY(!client.errorText().isEmpty());
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
}

void TestDisplayClient::openFailures_data()
{
    QTest::addColumn<int>("link");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("error");   // %1 = the port or device
    QTest::newRow("tcp refused") << int(Link::Tcp) << QStringList{QStringLiteral("--refuse")}
                                 << QStringLiteral("cannot connect to 127.0.0.1:%1: connection refused");
    QTest::newRow("modem busy") << int(Link::Modem) << QStringList{QStringLiteral("--dial-result"), QStringLiteral("BUSY")}
                                << QStringLiteral("dialling 5551234: BUSY");
    QTest::newRow("modem refusing") << int(Link::Modem) << QStringList{QStringLiteral("--refuse")}
                                    << QStringLiteral("dialling 5551234: BUSY");
    QTest::newRow("modem no carrier") << int(Link::Modem) << QStringList{QStringLiteral("--dial-result"), QStringLiteral("NO CARRIER")}
                                      << QStringLiteral("dialling 5551234: NO CARRIER");
    QTest::newRow("modem no dialtone") << int(Link::Modem) << QStringList{QStringLiteral("--dial-result"), QStringLiteral("NO DIALTONE")}
                                       << QStringLiteral("dialling 5551234: NO DIALTONE");
    QTest::newRow("modem never answers the call") << int(Link::Modem) << QStringList{QStringLiteral("--dial-result"), QStringLiteral("none")}
                                                  << QStringLiteral("dialling 5551234: no answer from the modem on %1 to ATDT5551234 within 1500 ms");
    QTest::newRow("no modem on a bare line") << int(Link::Pty) << QStringList{}
                                             << QStringLiteral("no answer from the modem on %1 to ATZ within 100 ms");
}

void TestDisplayClient::openFailures()
{
    QFETCH(int, link);
    QFETCH(QStringList, args);
    QFETCH(QString, error);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link(link), args));
    DisplayClient client;
    client.setTimeoutMs(100);
    ConnectionSettings settings = settingsFor(Link(link), emu);
    QString where = QString::number(emu.tcpPort());
    if (Link(link) == Link::Pty) {
        // A modem record whose device is a bare line: ATZ gets no answer.
        settings.ConnKind = Modem;
        settings.ConnParam2 = QStringLiteral("5551234");
        where = emu.ptyPath();
    } else if (Link(link) == Link::Modem) {
        where = emu.modemPath();
    }
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!client.open(settings));
    QCOMPARE(client.errorText(), error.contains(u"%1") ? error.arg(where) : error);
    QVERIFY(!client.isOpen());
    QVERIFY(timer.elapsed() < 4000);
    QVERIFY(!client.writeTextData(0, QStringLiteral("x")));
    QCOMPARE(client.errorText(), QStringLiteral("no connection is open"));
}

void TestDisplayClient::openRefusesBadSettings_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("param");
    QTest::addColumn<QString>("error");
    QTest::newRow("serial bad settings") << 1 << QStringLiteral("/dev/null") << QStringLiteral("9600,X,8,1")
                                         << QStringLiteral("bad serial settings \"9600,X,8,1\" (expected e.g. 9600,N,8,1)");
    QTest::newRow("serial without device") << 1 << QStringLiteral(" ") << QStringLiteral("9600,N,8,1")
                                           << QStringLiteral("no serial port given");
    QTest::newRow("serial device missing") << 1 << QStringLiteral("/dev/lumarex-no-such-port") << QString()
                                           << QStringLiteral("cannot open serial port /dev/lumarex-no-such-port: No such file or directory");
    QTest::newRow("tcp port not a number") << 3 << QStringLiteral("127.0.0.1") << QStringLiteral("http")
                                           << QStringLiteral("bad TCP port \"http\"");
    QTest::newRow("tcp port 0") << 3 << QStringLiteral("127.0.0.1") << QStringLiteral("0") << QStringLiteral("bad TCP port \"0\"");
    QTest::newRow("tcp port too big") << 3 << QStringLiteral("127.0.0.1") << QStringLiteral("65536")
                                      << QStringLiteral("bad TCP port \"65536\"");
    QTest::newRow("tcp without host") << 3 << QString() << QStringLiteral("3001") << QStringLiteral("no host given");
    QTest::newRow("modem without device") << 2 << QString() << QStringLiteral("555") << QStringLiteral("no serial port given for the modem");
    QTest::newRow("modem without number") << 0 << QStringLiteral("/dev/null") << QString() << QStringLiteral("no number to dial");
}

void TestDisplayClient::openRefusesBadSettings()
{
    QFETCH(int, kind);
    QFETCH(QString, target);
    QFETCH(QString, param);
    QFETCH(QString, error);
    ConnectionSettings s;
    s.ConnKind = int16_t(kind);
    s.ConnTarget = target;
    (kind == 1 ? s.ConnParam1 : kind == 3 ? s.ConnParam3 : s.ConnParam2) = param;
    DisplayClient client;
    QVERIFY(!client.open(s));
    QCOMPARE(client.errorText(), error);
    QVERIFY(!client.isOpen());
}

void TestDisplayClient::resendsOnceAfterDamage_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("nak half") << QStringLiteral("--nak");
    QTest::newRow("garble half") << QStringLiteral("--garble");
}

void TestDisplayClient::resendsOnceAfterDamage()
{
    QFETCH(QString, fault);
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Tcp, {fault, QStringLiteral("0.5"), QStringLiteral("--seed"), QStringLiteral("7")}));
    DisplayClient client;
    client.setTimeoutMs(500);
    QVERIFY(client.open(settingsFor(Link::Tcp, emu)));
    int ok = 0;
    int failed = 0;
    const int commands = 40;
    quint64 sentBefore = 0;
    int resends = 0;
    for (int i = 0; i < commands; ++i) {
        const QString text = QStringLiteral("value %1").arg(i);
        // Every command takes the next sequence number; a resend repeats it.
        const quint64 frameSize = quint64(wire::encodeFrame(wire::Frame{1, uint8_t(i + 1), wire::WriteTextData,
                                                                         wire::writeDataPayload(uint16_t(i), codepage::toAnsi(text))}).size());
        if (client.writeTextData(int16_t(i), text)) {
            ++ok;
        } else {
            ++failed;
            // Only after the one resend was damaged too.
            QVERIFY2(client.errorText() == u"display 1 refused: bad checksum"
                         || client.errorText() == u"damaged answer from display 1 (bad checksum)",
                     qPrintable(client.errorText()));
        }
        const quint64 sent = client.bytesSent() - sentBefore;
        QVERIFY(sent == frameSize || sent == 2 * frameSize);   // never more than one resend
        resends += sent == 2 * frameSize;
        sentBefore = client.bytesSent();
    }
    // With half of all frames damaged, most commands still get through on the resend.
    QVERIFY2(ok > commands / 2, qPrintable(QStringLiteral("%1 ok, %2 failed").arg(ok).arg(failed)));
    QVERIFY(resends > 0);
    QVERIFY(failed > 0);
}

void TestDisplayClient::lateAnswerIsNotTakenForTheNextOne()
{
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Tcp, {QStringLiteral("--delay"), QStringLiteral("300")}));
    DisplayClient client;
    QVERIFY(client.open(settingsFor(Link::Tcp, emu)));
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

void TestDisplayClient::modemHangsUpOnClose()
{
    EmulatorProcess emu(program);
    QVERIFY(startEmulator(emu, Link::Modem));
    DisplayClient client;
    client.setTimeoutMs(300);
    QVERIFY2(client.open(settingsFor(Link::Modem, emu)), qPrintable(client.errorText()));
    QVERIFY(!emu.waitForLine(QStringLiteral("DIAL 5551234")).isEmpty());
    QVERIFY(client.writeTextData(0, QStringLiteral("on line")));
    client.close();
    QVERIFY(!emu.waitForLine(QStringLiteral("ESCAPE")).isEmpty());
    QVERIFY(!emu.waitForLine(QStringLiteral("HANGUP")).isEmpty());
    // And a new call works on the same line.
    QVERIFY2(client.open(settingsFor(Link::Modem, emu)), qPrintable(client.errorText()));
    const auto r = client.readTextVariable(0);
    QVERIFY2(r, qPrintable(client.errorText()));
    QCOMPARE(r->Data, QStringLiteral("on line"));
}

QTEST_GUILESS_MAIN(TestDisplayClient)
#include "tst_displayclient.moc"
