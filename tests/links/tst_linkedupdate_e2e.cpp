// Linked variables sent to an emulated display: a change to the linked document
// on disk reaches the display with the next update, with no restart.

#include "classregistry.h"
#include "clsVariableAccess.h"
#include "dlgVariableUpdate.h"
#include "emulatorprocess.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "settingsstore.h"
#include "spreadsheetlinks.h"
#include "testenvironment.h"
#include "updaterun.h"

#include <QFile>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
// What the display holds in text variable 0 and cell variable 0.
QString readBack(quint16 port)
{
    return readFromLoopbackDisplay(port, [](disptrans::IDispTrans& d) -> QString {
        disptrans::VarReadRequest first{0};
        return d.ReadTextVariable(first).Data + u" / " + d.ReadCellVariable(first).Data;
    });
}
} // namespace

class tst_LinkedUpdateEndToEnd final : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { links::installSpreadsheetLinks(); }

    void documentChangesReachTheDisplay()
    {
        EmulatorProcess display(QStringLiteral(EMULATOR_PATH));
        QVERIFY2(display.start({u"--tcp"_s, u"127.0.0.1:0"_s}, 1, 10000), qPrintable(display.error()));
        TestEnvironment env; // the class registry lives in its settings
        for (const char* library : {TRANSMISSION_LIBRARY, PLUGINMASTER_LIBRARY, BADWORD_LIBRARY})
            QCOMPARE(ComponentLoader::registerLibrary(QString::fromLocal8Bit(library)), 0);
        settings::write(settings::kAppPath, env.folder());
        QFile list(env.path(u"Displays.dat"_s));
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write(u"1|Display 1|3|127.0.0.1||%1||1\n"_s.arg(display.tcpPort()).toLatin1());
        list.close();

        // Text variable 1 and cell variable 257 linked to a workbook in both item forms.
        const QString book = env.path(u"live values.csv"_s);
        clsVariableAccess vars;
        vars.setVariableOLELink(1, book + u"!live values!R1C2"_s);
        vars.setVariableOLELink(257, book + u"!live values.$B$2"_s);
        vars.setVariableMaxLength(257, u"6"_s);

        const auto update = [&] {
            dlgVariableUpdate dlg;
            int passes = 0;
            connect(&dlg.run(), &UpdateRun::passFinished, &dlg, [&] { ++passes; });
            dlg.setVariableSet(&vars);
            dlg.setSelectedVars({{true, 1}, {false, 257}});
            dlg.setDisplayList(u"1"_s);
            QTimer::singleShot(0, &dlg, [&] {
                QTRY_VERIFY_WITH_TIMEOUT(passes >= 1 && !dlg.run().passRunning(), 30000);
                dlg.done(QDialog::Rejected);
            });
            dlg.SendVarData();
            return readBack(display.tcpPort());
        };
        const auto write = [&](const QByteArray& bytes) {
            QFile file(book);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(bytes);
        };

        write("text,FIRST VALUE\ncell,ONE 123456\n");
        QCOMPARE(update(), u"FIRST VALUE / ONE 12"_s);
        write("text,SECOND VALUE\r\ncell,TWO\r\n");
        QCOMPARE(update(), u"SECOND VALUE / TWO"_s);
        QVERIFY(QFile::remove(book)); // a missing document sends empty texts
        QCOMPARE(update(), u" / "_s);
    }
};

QTEST_MAIN(tst_LinkedUpdateEndToEnd)
#include "tst_linkedupdate_e2e.moc"
