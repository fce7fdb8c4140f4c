// The transmission control against a real emulated display over loopback:
// opening and closing, writing variables and reading them back, attributes,
// the unit's configuration and download time, messages, and the error texts of
// a closed connection, a refused connection and a display that does not answer.

#include "emulatorprocess.h"
#include "latebound.h"
#include "runtimeerror.h"
#include "testenvironment.h"
#include "zolDispTrans.h"

#include <QTcpServer>
#include <QTest>

#include <memory>

namespace {

// The emulator of this build.
class Emulator final {
public:
    explicit Emulator(const QStringList& options = {}) : m_process(QStringLiteral(LUMAREX_EMULATOR), options) {}
    quint16 port() const { return m_process.port(); }
    bool waitForOutput(const QString& text, int ms = 5000) { return m_process.waitForOutput(text, ms); }
    QStringList lines() const { return m_process.lines(); }

private:
    EmulatorProcess m_process;
};

disptrans::ConnectionSettings tcpTo(quint16 port, int16_t address = 1)
{
    disptrans::ConnectionSettings s;
    s.ConnKind = disptrans::Network;
    s.ConnTarget = QStringLiteral("127.0.0.1");
    s.ConnParam3 = QString::number(port);
    s.ConnAddress = address;
    return s;
}

disptrans::VarAttributeList attributes(const QList<disptrans::VarAttributeList::Entry>& entries)
{
    disptrans::VarAttributeList list;
    list.setEntryCount(int16_t(entries.size()));
    for (int i = 0; i < entries.size(); ++i) {
        const int16_t n = int16_t(i + 1);
        list.setEntryVarIndex(n, entries[i].varIndex);
        list.setEntryColor(n, entries[i].color);
        list.setEntryBlink(n, entries[i].blink);
        list.setEntryInverse(n, entries[i].inverse);
    }
    return list;
}

// A loopback port on which nobody listens.
quint16 closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    const quint16 port = server.serverPort();
    server.close();
    return port;
}

} // namespace

class TestDispTransEmulator final : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void openAndClose();
    void dataReadsBack_data();
    void dataReadsBack();
    void attributesReadBack();
    void downloadTimeAndConfiguration();
    void groupConfiguration();
    void messageIsShown();
    void addressAsTextOrNumber();
    void notOpen_data();
    void notOpen();
    void refusedConnection();
    void noAnswerFromAddress();
    void lateBoundRoundTrip();

private:
    std::unique_ptr<TestEnvironment> m_env;
    std::unique_ptr<Emulator> m_emulator;  // shared by the tests that need a plain display
};

void TestDispTransEmulator::initTestCase()
{
    m_env = std::make_unique<TestEnvironment>();
    m_emulator = std::make_unique<Emulator>();
    QVERIFY2(m_emulator->port() != 0, qPrintable(m_emulator->lines().join(u'\n')));
}

void TestDispTransEmulator::openAndClose()
{
    zolDispTrans control;
    auto settings = tcpTo(m_emulator->port(), 3);
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    QVERIFY(control.IsOpen());
    QVERIFY(control.LastCommandSucceeded());
    QCOMPARE(control.LastErrorText(), QString());
    QCOMPARE(int(control.DisplayAddress()), 3);  // the address of the settings
    // Opening again replaces the connection.
    QVERIFY(control.OpenConnection(settings));
    QVERIFY(control.IsOpen());
    control.CloseConnection();
    QVERIFY(!control.IsOpen());
    disptrans::TextVarDataItem item{0, QStringLiteral("x")};
    QVERIFY(!control.SendTextVarData(item));
    QCOMPARE(control.LastErrorText(), zolDispTrans::kNotOpenText);
    control.CloseConnection();  // closing a closed connection is harmless
    QVERIFY(control.LastCommandSucceeded());
}

void TestDispTransEmulator::dataReadsBack_data()
{
    QTest::addColumn<bool>("text");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("data");
    QTest::newRow("first text variable") << true << 0 << "HELLO";
    QTest::newRow("last text variable") << true << 255 << "LAST";
    QTest::newRow("first cell variable") << false << 0 << "$4.99";
    QTest::newRow("last cell variable") << false << 159 << "END";
    QTest::newRow("empty text") << true << 7 << "";
    QTest::newRow("code page characters") << true << 8 << QStringLiteral("21\u00b0C \u20ac");
    QTest::newRow("blanks kept") << false << 9 << "  padded  ";
}

void TestDispTransEmulator::dataReadsBack()
{
    QFETCH(bool, text);
    QFETCH(int, index);
    QFETCH(QString, data);
    zolDispTrans control;
    auto settings = tcpTo(m_emulator->port());
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    disptrans::VarReadRequest request{int16_t(index)};
    disptrans::VarReadReply reply;
    if (text) {
        disptrans::TextVarDataItem item{int16_t(index), data};
        QVERIFY2(control.SendTextVarData(item), qPrintable(control.LastErrorText()));
        reply = control.ReadTextVariable(request);
    } else {
        disptrans::CellVarDataItem item{int16_t(index), data};
        QVERIFY2(control.SendCellVarData(item), qPrintable(control.LastErrorText()));
        reply = control.ReadCellVariable(request);
    }
    QVERIFY2(control.LastCommandSucceeded(), qPrintable(control.LastErrorText()));
    QCOMPARE(reply.Data, data);
    QVERIFY(control.BytesSent() > 0);
    QVERIFY(control.BytesReceived() > 0);
}

void TestDispTransEmulator::attributesReadBack()
{
    zolDispTrans control;
    auto settings = tcpTo(m_emulator->port(), 2);
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    auto text = attributes({{10, 3, 1, 2}, {11, 7, 2, 1}});
    QVERIFY2(control.SendTextVarAttributes(text), qPrintable(control.LastErrorText()));
    auto cell = attributes({{20, 5, 1, 1}});
    QVERIFY2(control.SendCellVarAttributes(cell), qPrintable(control.LastErrorText()));

    disptrans::VarReadRequest request{10};
    auto reply = control.ReadTextVariable(request);
    QVERIFY(control.LastCommandSucceeded());
    QCOMPARE(int(reply.Color), 3);
    QCOMPARE(int(reply.Blink), 1);
    QCOMPARE(int(reply.Inverse) == 1, false);
    request.VariableIndex = 11;
    reply = control.ReadTextVariable(request);
    QCOMPARE(int(reply.Color), 7);
    QCOMPARE(int(reply.Blink) == 1, false);
    QCOMPARE(int(reply.Inverse), 1);
    request.VariableIndex = 20;
    reply = control.ReadCellVariable(request);
    QCOMPARE(int(reply.Color), 5);
    QCOMPARE(int(reply.Blink), 1);
    QCOMPARE(int(reply.Inverse), 1);

}

void TestDispTransEmulator::downloadTimeAndConfiguration()
{
    zolDispTrans control;
    auto settings = tcpTo(m_emulator->port(), 4);
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    disptrans::TextVarDataItem item{1, QStringLiteral("now")};
    QVERIFY(control.SendTextVarData(item));
    const disptrans::DownloadTime t = control.ReadDownloadTime();
    QVERIFY2(control.LastCommandSucceeded(), qPrintable(control.LastErrorText()));
    QVERIFY(t.Month >= 1 && t.Month <= 12);
    QVERIFY(t.Day >= 1 && t.Day <= 31);
    QVERIFY(t.Hour >= 0 && t.Hour <= 23);
    const disptrans::DisplayConfiguration c = control.ReadDisplayConfiguration();
    QVERIFY(control.LastCommandSucceeded());
    QVERIFY(!c.IsDisplayGroup);
}

void TestDispTransEmulator::groupConfiguration()
{
    Emulator grouped({QStringLiteral("--group"), QStringLiteral("3:1,2")});
    QVERIFY(grouped.port() != 0);
    zolDispTrans control;
    auto settings = tcpTo(grouped.port(), 3);
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    const auto c = latebound::getProperty(&control, "DisplayConfiguration").value<disptrans::DisplayConfiguration>();
    QVERIFY2(control.LastCommandSucceeded(), qPrintable(control.LastErrorText()));
    QVERIFY(c.IsDisplayGroup);
    QCOMPARE(int(c.GroupSpanA), 1);
    QCOMPARE(int(c.GroupSpanB), 2);
}

void TestDispTransEmulator::messageIsShown()
{
    zolDispTrans control;
    auto settings = tcpTo(m_emulator->port(), 6);
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    disptrans::TextVarDataItem item{4, QStringLiteral("SUNNY")};
    QVERIFY(control.SendTextVarData(item));
    QVERIFY2(control.SendMessage(QStringLiteral("TODAY ") + QChar(30) + QStringLiteral("A004") + QStringLiteral("\r\nBYE")),
             qPrintable(control.LastErrorText()));
    QVERIFY2(m_emulator->waitForOutput(QStringLiteral("SHOW 6 TODAY SUNNY|BYE")), qPrintable(m_emulator->lines().join(u'\n')));
}

void TestDispTransEmulator::addressAsTextOrNumber()
{
    zolDispTrans control;
    auto settings = tcpTo(m_emulator->port(), 1);
    QVERIFY(control.OpenConnection(settings));
    latebound::setProperty(&control, "DisplayAddress", QStringLiteral("12"));
    QCOMPARE(int(control.DisplayAddress()), 12);
    latebound::setProperty(&control, "DisplayAddress", QVariant::fromValue(short(13)));
    QCOMPARE(latebound::getProperty(&control, "DisplayAddress").toInt(), 13);
    control.setDisplayAddress(QStringLiteral(" 14 "));
    QCOMPARE(int(control.DisplayAddress()), 14);

    // Commands go to the address last written.
    disptrans::TextVarDataItem item{30, QStringLiteral("fourteen")};
    QVERIFY(control.SendTextVarData(item));
    control.setDisplayAddress(int16_t(15));
    disptrans::VarReadRequest request{30};
    QVERIFY(control.ReadTextVariable(request).Data != QStringLiteral("fourteen"));
    control.setDisplayAddress(int16_t(14));
    QCOMPARE(control.ReadTextVariable(request).Data, QStringLiteral("fourteen"));

    for (const QString& bad : {QStringLiteral("abc"), QStringLiteral("")}) {
        try {
            control.setDisplayAddress(bad);
            QFAIL("a text that is not a number must raise");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), int(RuntimeError::TypeMismatch));
        }
    }
    try {
        control.setDisplayAddress(QStringLiteral("40000"));
        QFAIL("an address beyond 16 bits must raise");
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), int(RuntimeError::Overflow));
    }
    QCOMPARE(int(control.DisplayAddress()), 14);
}

void TestDispTransEmulator::notOpen_data()
{
    QTest::addColumn<QString>("command");
    for (const char* c : {"SendTextVarData", "SendCellVarData", "SendTextVarAttributes", "SendCellVarAttributes",
                          "ReadTextVariable", "ReadCellVariable", "ReadDownloadTime", "ReadDisplayConfiguration",
                          "SendMessage"})
        QTest::newRow(c) << QString::fromLatin1(c);
}

void TestDispTransEmulator::notOpen()
{
    QFETCH(QString, command);
    zolDispTrans control;
    disptrans::TextVarDataItem text{1, QStringLiteral("x")};
    disptrans::CellVarDataItem cell{1, QStringLiteral("x")};
    auto list = attributes({{1, 1, 2, 2}});
    disptrans::VarReadRequest request{1};
    bool answer = true;
    if (command == u"SendTextVarData")
        answer = control.SendTextVarData(text);
    else if (command == u"SendCellVarData")
        answer = control.SendCellVarData(cell);
    else if (command == u"SendTextVarAttributes")
        answer = control.SendTextVarAttributes(list);
    else if (command == u"SendCellVarAttributes")
        answer = control.SendCellVarAttributes(list);
    else if (command == u"ReadTextVariable")
        QCOMPARE(control.ReadTextVariable(request).Data, QString());
    else if (command == u"ReadCellVariable")
        QCOMPARE(control.ReadCellVariable(request).Data, QString());
    else if (command == u"ReadDownloadTime")
        QCOMPARE(int(control.ReadDownloadTime().Year), 0);
    else if (command == u"ReadDisplayConfiguration")
        QVERIFY(!control.ReadDisplayConfiguration().IsDisplayGroup);
    else
        answer = control.SendMessage(QStringLiteral("x"));
    if (command.startsWith(u"Send"))
        QVERIFY(!answer);
    QVERIFY(!control.LastCommandSucceeded());
    QCOMPARE(control.LastErrorText(), QStringLiteral("no connection to a display is open"));
}

void TestDispTransEmulator::refusedConnection()
{
    zolDispTrans control;
    auto settings = tcpTo(closedPort());
    QVERIFY(!control.OpenConnection(settings));
    QVERIFY(!control.IsOpen());
    QVERIFY(!control.LastCommandSucceeded());
    QVERIFY2(control.LastErrorText().contains(QStringLiteral("connection refused")), qPrintable(control.LastErrorText()));
    // A later command says there is no connection, not the old reason.
    QVERIFY(!control.SendMessage(QStringLiteral("x")));
    QCOMPARE(control.LastErrorText(), zolDispTrans::kNotOpenText);
}

void TestDispTransEmulator::noAnswerFromAddress()
{
    Emulator oneUnit({QStringLiteral("--units"), QStringLiteral("1")});
    QVERIFY(oneUnit.port() != 0);
    zolDispTrans control;
    latebound::setProperty(&control, "TimeoutMs", 400);
    auto settings = tcpTo(oneUnit.port(), 5);
    QVERIFY2(control.OpenConnection(settings), qPrintable(control.LastErrorText()));
    disptrans::TextVarDataItem item{0, QStringLiteral("x")};
    QVERIFY(!control.SendTextVarData(item));
    QCOMPARE(control.LastErrorText(), QStringLiteral("no answer from display 5 within 0.4 s"));
    // The unit that exists still answers on the same connection.
    control.setDisplayAddress(int16_t(1));
    QVERIFY2(control.SendTextVarData(item), qPrintable(control.LastErrorText()));
    QVERIFY(control.LastCommandSucceeded());
    QCOMPARE(control.LastErrorText(), QString());
}

void TestDispTransEmulator::lateBoundRoundTrip()
{
    // The plug-in's way: every operation by name, objects by reference.
    zolDispTrans control;
    QVariantList open{QVariant::fromValue(tcpTo(m_emulator->port(), 8))};
    QVERIFY(latebound::callMethod(&control, "OpenConnection", open).toBool());
    QVariantList send{QVariant::fromValue(disptrans::TextVarDataItem{40, QStringLiteral("late")})};
    QVERIFY(latebound::callMethod(&control, "SendTextVarData", send).toBool());
    QVariantList read{QVariant::fromValue(disptrans::VarReadRequest{40})};
    const auto reply = latebound::callMethod(&control, "ReadTextVariable", read).value<disptrans::VarReadReply>();
    QVERIFY(latebound::getProperty(&control, "LastCommandSucceeded").toBool());
    QCOMPARE(reply.Data, QStringLiteral("late"));
    latebound::callMethod(&control, "CloseConnection");
    QVERIFY(!latebound::getProperty(&control, "IsOpen").toBool());
}

QTEST_GUILESS_MAIN(TestDispTransEmulator)
#include "tst_disptrans_emulator.moc"
