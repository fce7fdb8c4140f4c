// Linked variables sent to an emulated display: a change to the linked document
// on disk reaches the display with the next update, with no restart.

#include "clsVariableAccess.h"
#include "dlgVariableUpdate.h"
#include "dialogcontrols.h"
#include "loopbackrig.h"
#include "spreadsheetlinks.h"
#include "updaterun.h"

#include <QFile>

using namespace Qt::StringLiterals;

class tst_LinkedUpdateEndToEnd final : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { links::installSpreadsheetLinks(); }

    void documentChangesReachTheDisplay()
    {
        LoopbackRig rig;
        const EmulatorProcess* display = rig.start();
        QVERIFY(display && rig.list({{"Display 1", display->tcpPort()}}));

        // Text variable 1 and cell variable 257 linked to a workbook in both item forms.
        const QString book = rig.path(u"live values.csv"_s);
        clsVariableAccess vars;
        vars.setVariableOLELink(1, book + u"!live values!R1C2"_s);
        vars.setVariableOLELink(257, book + u"!live values.$B$2"_s);
        vars.setVariableMaxLength(257, u"6"_s);
        const auto update = [&] {
            dlgVariableUpdate dlg;
            dlg.setVariableSet(&vars);
            dlg.setSelectedVars({{true, 1}, {false, 257}});
            dlg.setDisplayList(u"1"_s);
            runFirstPass(dlg, &dlgVariableUpdate::SendVarData);
            return readVariables(display->tcpPort(), {1, 257}, false).join(u" / ");
        };

        writeFile(book, "text,FIRST VALUE\ncell,ONE 123456\n");
        QCOMPARE(update(), u"FIRST VALUE / ONE 12"_s);
        writeFile(book, "text,SECOND VALUE\r\ncell,TWO\r\n");
        QCOMPARE(update(), u"SECOND VALUE / TWO"_s);
        QVERIFY(QFile::remove(book)); // a missing document sends empty texts
        QCOMPARE(update(), u" / "_s);
    }
};

QTEST_MAIN(tst_LinkedUpdateEndToEnd)
#include "tst_linkedupdate_e2e.moc"
