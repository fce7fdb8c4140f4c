// A real update run: the transmission, plug-in master and bad-word checker
// libraries, the host's "Displays.dat", and emulated displays on loopback.

#include "classregistry.h"
#include "clock.h"
#include "clsVariableAccess.h"
#include "dlgVariableUpdate.h"
#include "runtimeerror.h"
#include "disptrans.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "updaterun.h"

#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTcpServer>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

#include <functional>
#include <memory>

namespace {
// One emulated display system, listening on a loopback port.
class Emulator final {
public:
    explicit Emulator(quint16 port = 0)
    {
        m_process.setProgram(QStringLiteral(EMULATOR_PATH));
        m_process.setArguments({QStringLiteral("--headless"), QStringLiteral("--tcp"),
                                QStringLiteral("127.0.0.1:%1").arg(port)});
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, [this] {
            while (m_process.canReadLine())
                m_lines << QString::fromLocal8Bit(m_process.readLine()).trimmed();
        });
        m_process.start();
    }
    ~Emulator()
    {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;

    // The port from "LISTENING tcp 127.0.0.1:PORT", 0 until it is there.
    quint16 port() const
    {
        for (const QString& line : m_lines) {
            if (line.startsWith(QStringLiteral("LISTENING tcp ")))
                return quint16(line.section(u':', -1).section(u' ', 0, 0).toUInt());
        }
        return 0;
    }
    int connections() const
    {
        int n = 0;
        for (const QString& line : m_lines)
            n += line.startsWith(QStringLiteral("CONNECTED")) ? 1 : 0;
        return n;
    }

private:
    QProcess m_process;
    QStringList m_lines;
};

quint16 freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

void writeDisplayList(const QString& folder, const QList<std::pair<int, quint16>>& displays)
{
    QFile file(folder + QStringLiteral("/Displays.dat"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("# number|name|kind|target|serial|port|dial|addresses\n");
    for (const auto& [number, port] : displays)
        file.write(QStringLiteral("%1|Display %1|3|127.0.0.1||%2||1\n").arg(number).arg(port).toLatin1());
}

struct World {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars;

    World()
    {
        for (const char* library : {TRANSMISSION_LIBRARY, PLUGINMASTER_LIBRARY, BADWORD_LIBRARY})
            QCOMPARE(ComponentLoader::registerLibrary(QString::fromLocal8Bit(library)), 0);
        settings::write(settings::kAppPath, env.folder());
        settings::write(settings::kRetryInterval, QStringLiteral("1"));
        vars = std::make_unique<clsVariableAccess>();
        vars->setVariableData(1, QStringLiteral("HELLO LOOPBACK"));
        vars->setVariableColor(1, QStringLiteral("3"));
        vars->setVariableData(257, QStringLiteral("CELL ONE"));
    }
    ~World() { Clock::reset(); }
};

// Runs the dialog modally; `whileOpen` runs from its event loop once the first
// pass has ended, and the dialog is closed afterwards whatever happened.
void runDialog(dlgVariableUpdate& dlg, const std::function<void()>& whileOpen)
{
    int passes = 0;
    QObject::connect(&dlg.run(), &UpdateRun::passFinished, &dlg, [&passes] { ++passes; });
    QTimer::singleShot(0, &dlg, [&] {
        [&] {
            QTRY_VERIFY_WITH_TIMEOUT(passes >= 1 && !dlg.run().passRunning(), 30000);
            whileOpen();
        }();
        dlg.done(QDialog::Rejected);
    });
    dlg.SendAllVarInfo();
}

QString cell(const dlgVariableUpdate& dlg, int row, int column)
{
    return dlg.findChild<QTreeWidget*>(QStringLiteral("lstvDisplayStatus"))->topLevelItem(row)->text(column);
}

// What display `port` holds now, read back through the transmission control.
std::pair<disptrans::VarReadReply, disptrans::VarReadReply> readBack(quint16 port)
{
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    disptrans::ConnectionSettings s;
    s.ConnKind = 3;
    s.ConnTarget = QStringLiteral("127.0.0.1");
    s.ConnParam3 = QString::number(port);
    s.ConnAddress = 1;
    if (!control->OpenConnection(s))
        return {};
    disptrans::VarReadRequest text{0};
    disptrans::VarReadRequest cellRequest{0};
    const auto result = std::make_pair(control->ReadTextVariable(text), control->ReadCellVariable(cellRequest));
    control->CloseConnection();
    return result;
}
} // namespace

class TestUpdateEndToEnd final : public QObject {
    Q_OBJECT
private slots:
    void downDisplayIsRetriedUntilItIsBack()
    {
        World world;
        Emulator up;
        QTRY_VERIFY_WITH_TIMEOUT(up.port() != 0, 10000);
        const quint16 downPort = freePort();
        writeDisplayList(world.env.folder(), {{1, up.port()}, {2, downPort}});

        dlgVariableUpdate dlg;
        dlg.setVariableSet(world.vars.get());
        dlg.setSelectedVars({clsVarSetupInfo{true, 1}, clsVarSetupInfo{false, 257}});
        dlg.setDisplayList(QStringLiteral("1,2"));
        dlg.setDelayList(QStringLiteral("0,0"));
        std::unique_ptr<Emulator> back;
        runDialog(dlg, [&] {
            QCOMPARE(cell(dlg, 0, 1), QStringLiteral("Updated"));
            QCOMPARE(cell(dlg, 1, 1), QStringLiteral("FAILED"));
            const QString error = cell(dlg, 1, 2);
            QVERIFY(!error.isEmpty());
            const QString report = dlg.findChild<QTextEdit*>(QStringLiteral("rtxtUpdateReport"))->toPlainText();
            QVERIFY2(report.contains(QStringLiteral("Location/Display=2\nStatus= Failed ") + error + u'\n'),
                     qPrintable(report));
            QVERIFY(dlg.findChild<QLabel*>(QStringLiteral("lblRetry"))->isVisible());
            QCOMPARE(up.connections(), 1);

            // The display comes back; the countdown sends to it, and only to it.
            back = std::make_unique<Emulator>(downPort);
            QTRY_COMPARE_WITH_TIMEOUT(cell(dlg, 1, 1), QStringLiteral("Updated"), 30000);
            QCOMPARE(cell(dlg, 0, 1), QStringLiteral("Updated"));
            QVERIFY(!dlg.findChild<QLabel*>(QStringLiteral("lblRetry"))->isVisible());
            QVERIFY(!dlg.run().timerRetry().isActive());
            QCOMPARE(up.connections(), 1);
            QCOMPARE(back->connections(), 1);
        });
        QVERIFY(back);

        for (quint16 port : {up.port(), downPort}) {
            const auto [text, cellReply] = readBack(port);
            QCOMPARE(text.Data, QStringLiteral("HELLO LOOPBACK"));
            QCOMPARE(int(text.Color), 3);
            QCOMPARE(cellReply.Data, QStringLiteral("CELL ONE"));
        }
    }

    void scheduledDisplayIsSentWhenDue()
    {
        World world;
        Clock::setFixed(QDateTime(QDate(2010, 3, 5), QTime(9, 0, 0)));
        Emulator display;
        QTRY_VERIFY_WITH_TIMEOUT(display.port() != 0, 10000);
        writeDisplayList(world.env.folder(), {{4, display.port()}});

        dlgVariableUpdate dlg;
        dlg.setVariableSet(world.vars.get());
        dlg.setSelectedVars({clsVarSetupInfo{true, 1}});
        dlg.setDisplayList(QStringLiteral("4"));
        dlg.setDelayList(QStringLiteral("2"));
        runDialog(dlg, [&] {
            QCOMPARE(cell(dlg, 0, 1), QStringLiteral("Scheduled"));
            QCOMPARE(cell(dlg, 0, 2), QStringLiteral("in 2min."));
            QVERIFY(dlg.run().timerSched().isActive());
            QTest::qWait(1500);
            QCOMPARE(display.connections(), 0);

            Clock::advance(2 * 60 + 1);
            QTRY_COMPARE_WITH_TIMEOUT(cell(dlg, 0, 1), QStringLiteral("Updated"), 10000);
            QCOMPARE(display.connections(), 1);
            QVERIFY(!dlg.run().timerSched().isActive());
        });
        QCOMPARE(readBack(display.port()).first.Data, QStringLiteral("HELLO LOOPBACK"));
    }
};

QTEST_MAIN(TestUpdateEndToEnd)
#include "tst_update_e2e.moc"
