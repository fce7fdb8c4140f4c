// The transmission control against a real emulated display over loopback:
// commands go to the address last set (as text or as a number), and the error
// texts of a closed or refused connection and of a display that does not answer.

#include "emulatorprocess.h"
#include "latebound.h"
#include "testenvironment.h"
#include "zolDispTrans.h"

#include <QTest>
#include <QTcpServer>

#include <functional>

namespace {
disptrans::ConnectionSettings tcpTo(quint16 port, int16_t address = 1)
{
    return {disptrans::Network, QStringLiteral("127.0.0.1"), {}, {}, QString::number(port), address};
}

disptrans::VarAttributeList attribute(int16_t index, int16_t color, int16_t blink, int16_t inverse)
{
    disptrans::VarAttributeList list;
    list.setEntryCount(1);
    list.setEntryVarIndex(1, index);
    list.setEntryColor(1, color);
    list.setEntryBlink(1, blink);
    list.setEntryInverse(1, inverse);
    return list;
}
} // namespace

class TestDispTransEmulator final : public QObject {
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY2(m_emulator.start({"--tcp", "127.0.0.1:0", "--units", "1,6,9", "--group", "20:1,2"}),
                 qPrintable(m_emulator.error()));
    }
    void notOpen()
    {
        // Every command of a control without a connection: a false or empty
        // answer, and the same reason whatever happened before.
        disptrans::TextVarDataItem text{1, QStringLiteral("x")};
        disptrans::CellVarDataItem cell{1, QStringLiteral("x")};
        auto list = attribute(1, 1, 2, 2);
        disptrans::VarReadRequest request{1};
        const QList<std::function<bool(zolDispTrans&)>> commands{
            [&](zolDispTrans& c) { return c.SendTextVarData(text); },
            [&](zolDispTrans& c) { return c.SendCellVarData(cell); },
            [&](zolDispTrans& c) { return c.SendTextVarAttributes(list); },
            [&](zolDispTrans& c) { return c.SendCellVarAttributes(list); },
            [&](zolDispTrans& c) { return c.ReadTextVariable(request).Color != 0; },
            [&](zolDispTrans& c) { return c.ReadCellVariable(request).Color != 0; },
            [&](zolDispTrans& c) { return c.ReadDownloadTime().Year != 0; },
            [&](zolDispTrans& c) { return c.ReadDisplayConfiguration().IsDisplayGroup; },
            [&](zolDispTrans& c) { return c.SendMessage(QStringLiteral("x")); }};
        zolDispTrans control;
        QTcpServer server; // a loopback port on which nobody listens once closed
        server.listen(QHostAddress::LocalHost, 0);
        auto refused = tcpTo(server.serverPort());
        server.close();
        for (const QString before : {"nothing", "refused", "closed"}) {
            if (before == u"refused") {
                QVERIFY(!control.OpenConnection(refused));
                QVERIFY2(control.LastErrorText().contains(QStringLiteral("connection refused")),
                         qPrintable(control.LastErrorText()));
            } else if (before == u"closed") {
                auto open = tcpTo(m_emulator.tcpPort());
                QVERIFY(control.OpenConnection(open));
                control.CloseConnection();
                QVERIFY(!control.IsOpen() && control.LastCommandSucceeded());
            }
            for (const auto& command : commands) {
                QVERIFY2(!command(control), qPrintable(before));
                QVERIFY(!control.LastCommandSucceeded());
                QCOMPARE(control.LastErrorText(), QStringLiteral("no connection to a display is open"));
            }
        }
    }
    void addressAndSilentUnit()
    {
        zolDispTrans control;
        latebound::setProperty(&control, "TimeoutMs", 400);
        auto settings = tcpTo(m_emulator.tcpPort(), 6);
        QVERIFY(control.OpenConnection(settings));
        QCOMPARE(latebound::getProperty(&control, "DisplayAddress").toInt(), 6); // the address of the settings
        // Written as text or as a number; a bad text leaves the address as it was.
        latebound::setProperty(&control, "DisplayAddress", QStringLiteral(" 12 "));
        QCOMPARE(int(control.DisplayAddress()), 12);
        latebound::setProperty(&control, "DisplayAddress", QVariant::fromValue(short(20)));
        for (const auto& [bad, error] :
             {std::pair{"abc", RuntimeError::TypeMismatch}, {"40000", RuntimeError::Overflow}})
            QCOMPARE(errorOf([&] { control.setDisplayAddress(QString::fromLatin1(bad)); }).number(), int(error));
        QCOMPARE(latebound::getProperty(&control, "DisplayAddress").toInt(), 20);

        // Commands go to the address last written: a group there, nobody at 10.
        const auto c =
            latebound::getProperty(&control, "DisplayConfiguration").value<disptrans::DisplayConfiguration>();
        QVERIFY2(control.LastCommandSucceeded(), qPrintable(control.LastErrorText()));
        QVERIFY(c.IsDisplayGroup && c.GroupSpanA == 1 && c.GroupSpanB == 2);
        disptrans::TextVarDataItem item{0, QStringLiteral("x")};
        control.setDisplayAddress(int16_t(10));
        QVERIFY(!control.SendTextVarData(item));
        QCOMPARE(control.LastErrorText(), QStringLiteral("no answer from display 10 within 0.4 s"));
        // The unit that exists still answers on the same connection.
        control.setDisplayAddress(QStringLiteral("9"));
        QVERIFY2(control.SendTextVarData(item), qPrintable(control.LastErrorText()));
        QVERIFY(control.LastCommandSucceeded() && control.LastErrorText().isEmpty());
        QVERIFY(!control.ReadDisplayConfiguration().IsDisplayGroup);
    }

private:
    TestEnvironment m_env;
    EmulatorProcess m_emulator{QStringLiteral(EMULATOR_PATH)};
};

QTEST_GUILESS_MAIN(TestDispTransEmulator)
#include "tst_disptrans_emulator.moc"
