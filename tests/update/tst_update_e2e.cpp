// A real update run: the transmission, plug-in master and bad-word checker
// libraries, the host's display list, and emulated displays on loopback.
// Display 1 is up, display 2 is down until the countdown finds it back.

#include "clsVariableAccess.h"
#include "dlgVariableUpdate.h"
#include "dialogcontrols.h"
#include "loopbackrig.h"
#include "settingsstore.h"
#include "updaterun.h"

#include <QLabel>
#include <QRegularExpression>
#include <QTextEdit>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

class TestUpdateEndToEnd final : public QObject {
    Q_OBJECT
private slots:
    void updateAndRetry()
    {
        LoopbackRig rig;
        settings::write(settings::kRetryInterval, u"1"_s);
        EmulatorProcess* up = rig.start();
        QVERIFY(up);
        const quint16 downPort = LoopbackRig::freePort();
        QVERIFY(rig.list({{"Display 1", up->tcpPort()}, {"Display 2", downPort}}));
        clsVariableAccess vars;
        vars.setVariableData(1, u"HELLO LOOPBACK"_s);
        vars.setVariableColor(1, u"3"_s);
        vars.setVariableData(257, u"CELL ONE"_s);
        dlgVariableUpdate dlg;
        dlg.setVariableSet(&vars);
        dlg.setSelectedVars({{true, 1}, {false, 257}});
        dlg.setDisplayList(u"1,2"_s);
        const auto cell = [&](int row, int column) {
            return dlg.findChild<QTreeWidget*>(u"lstvDisplayStatus"_s)->topLevelItem(row)->text(column);
        };
        const auto countdownShown = [&] { return dlg.findChild<QLabel*>(u"lblRetry"_s)->isVisible(); };
        runFirstPass(dlg, &dlgVariableUpdate::SendAllVarInfo, [&] {
            QCOMPARE(cell(0, 1), u"Updated"_s);
            QCOMPARE(cell(1, 1), u"FAILED"_s);
            const QString error = cell(1, 2); // the control's own reason
            QVERIFY(!error.isEmpty());
            const QString report = dlg.findChild<QTextEdit*>(u"rtxtUpdateReport"_s)->toPlainText();
            QVERIFY2(report.contains("Location/Display=2\nStatus= Failed " + error + u'\n'), qPrintable(report));
            QVERIFY(countdownShown());

            // The display comes back; the countdown sends to it, and only to it.
            QVERIFY(rig.start({}, downPort));
            QTRY_COMPARE_WITH_TIMEOUT(cell(1, 1), u"Updated"_s, 30000);
            QVERIFY(!countdownShown());
            QCOMPARE(up->log().filter(QRegularExpression(u"^CONNECTED"_s)).size(), 1); // not sent to again
        });
        for (quint16 port : {up->tcpPort(), downPort})
            QCOMPARE(readVariables(port, {1, 257}), (QStringList{"3 2 2 [HELLO LOOPBACK]", "1 2 2 [CELL ONE]"}));
    }
};

QTEST_MAIN(TestUpdateEndToEnd)
#include "tst_update_e2e.moc"
