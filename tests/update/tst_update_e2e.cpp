// A real update run: the transmission, plug-in master and bad-word checker
// libraries, the host's display list, and emulated displays on loopback.

#include "classregistry.h"
#include "clsVariableAccess.h"
#include "dlgVariableUpdate.h"
#include "emulatorprocess.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "updaterun.h"

#include <QLabel>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

#include <memory>

namespace {
// A display system on a loopback port (0: any free one).
std::unique_ptr<EmulatorProcess> emulator(quint16 port = 0)
{
    return startEmulator(QStringLiteral(EMULATOR_PATH),
                         {QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:%1").arg(port)});
}

int connections(EmulatorProcess& e)
{
    return int(e.log().filter(QRegularExpression(QStringLiteral("^CONNECTED"))).size());
}

quint16 freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

// The libraries registered, text variable 1 and cell variable 257 chosen, and
// displays 1, 2, ... listening on the given ports at address 1.
struct World {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars = std::make_unique<clsVariableAccess>();
    dlgVariableUpdate dlg;
    int passes = 0;

    explicit World(const QList<quint16>& ports)
    {
        for (const char* library : {TRANSMISSION_LIBRARY, PLUGINMASTER_LIBRARY, BADWORD_LIBRARY})
            QCOMPARE(ComponentLoader::registerLibrary(QString::fromLocal8Bit(library)), 0);
        settings::write(settings::kAppPath, env.folder());
        settings::write(settings::kRetryInterval, QStringLiteral("1"));
        QList<LoopbackDisplay> list;
        QStringList numbers;
        for (const quint16 port : ports) {
            numbers << QString::number(numbers.size() + 1);
            list.append({"Display " + numbers.last(), port});
        }
        QVERIFY(writeDisplayList(env.folder(), list));
        vars->setVariableData(1, QStringLiteral("HELLO LOOPBACK"));
        vars->setVariableColor(1, QStringLiteral("3"));
        vars->setVariableData(257, QStringLiteral("CELL ONE"));
        dlg.setVariableSet(vars.get());
        dlg.setSelectedVars({{true, 1}, {false, 257}});
        dlg.setDisplayList(numbers.join(u','));
        QObject::connect(&dlg.run(), &UpdateRun::passFinished, &dlg, [this] { ++passes; });
    }

    // Runs the dialog; `whileOpen` runs from its event loop once the first pass has ended.
    void run(const std::function<void()>& whileOpen)
    {
        QTimer::singleShot(0, &dlg, [&] {
            [&] {
                QTRY_VERIFY_WITH_TIMEOUT(passes >= 1 && !dlg.run().passRunning(), 30000);
                whileOpen();
            }();
            dlg.done(QDialog::Rejected);
        });
        dlg.SendAllVarInfo();
    }
    QString cell(int row, int column) const
    {
        return dlg.findChild<QTreeWidget*>(QStringLiteral("lstvDisplayStatus"))->topLevelItem(row)->text(column);
    }
    bool countdownShown() const { return dlg.findChild<QLabel*>(QStringLiteral("lblRetry"))->isVisible(); }
};

// What the display on `port` holds in text variable 0 and cell variable 0, read through the control.
QString readBack(quint16 port)
{
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    disptrans::ConnectionSettings s{3, QStringLiteral("127.0.0.1"), {}, {}, QString::number(port), 1};
    disptrans::VarReadRequest first{0};
    if (!control->OpenConnection(s))
        return control->LastErrorText();
    const disptrans::VarReadReply text = control->ReadTextVariable(first), cell = control->ReadCellVariable(first);
    control->CloseConnection();
    return QStringLiteral("%1 (colour %2), %3").arg(text.Data).arg(text.Color).arg(cell.Data);
}
} // namespace

class TestUpdateEndToEnd final : public QObject {
    Q_OBJECT
private slots:
    // Display 1 is up, display 2 is down until the countdown finds it back.
    void updateAndRetry()
    {
        const auto up = emulator();
        QVERIFY(up->tcpPort());
        const quint16 downPort = freePort();
        World world({up->tcpPort(), downPort});
        std::unique_ptr<EmulatorProcess> back;
        world.run([&] {
            QCOMPARE(world.cell(0, 1), QStringLiteral("Updated"));
            QCOMPARE(world.cell(1, 1), QStringLiteral("FAILED"));
            const QString error = world.cell(1, 2); // the control's own reason
            QVERIFY(!error.isEmpty());
            const QString report = world.dlg.findChild<QTextEdit*>(QStringLiteral("rtxtUpdateReport"))->toPlainText();
            QVERIFY2(report.contains("Location/Display=2\nStatus= Failed " + error + u'\n'), qPrintable(report));
            QVERIFY(world.countdownShown());

            // The display comes back; the countdown sends to it, and only to it.
            back = emulator(downPort);
            QTRY_COMPARE_WITH_TIMEOUT(world.cell(1, 1), QStringLiteral("Updated"), 30000);
            QVERIFY(!world.countdownShown());
            QCOMPARE(connections(*up), 1); // the updated display is not sent to again
        });
        QVERIFY(back);
        for (quint16 port : {up->tcpPort(), downPort})
            QCOMPARE(readBack(port), QStringLiteral("HELLO LOOPBACK (colour 3), CELL ONE"));
    }
};

QTEST_MAIN(TestUpdateEndToEnd)
#include "tst_update_e2e.moc"
