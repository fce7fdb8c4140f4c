// What an operator does in the first minutes, through the host's own window
// and the plug-in loaded from its library: a variable token is put into the
// playfile with the inserter, the variable is typed in the manager and sent
// with "Update Display", and the transmitted playfile shows on the emulated
// sign with the variable's text in place of the token.

#include "datarow.h"
#include "dialogcontrols.h"
#include "frmMain.h"
#include "hostsettings.h"
#include "loopbackrig.h"
#include "settingsstore.h"

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>
#include <QTreeWidget>

namespace {
const QString kPlugin = QStringLiteral("zolQMDVariablePlugin.zolQMDVariables");

template <class T = QAbstractButton> T* control(QWidget* dialog, const char* name)
{
    T* found = dialog->findChild<T*>(QString::fromLatin1(name));
    if (!found)
        qWarning("no control %s in %s", name, qPrintable(dialog->objectName()));
    return found;
}
} // namespace

class TestPlayfileEndToEnd final : public QObject {
    Q_OBJECT
private slots:
    void tokenTypedVariableShownOnSign_data()
    {
        QTest::addColumn<int>("variable");      // the one inserted, typed and sent
        QTest::addColumn<QString>("typed");     // its data, typed in the manager
        QTest::addColumn<QString>("addresses"); // the display's address list
        QTest::addColumn<QStringList>("shown"); // the emulator's SHOW lines, one per unit
        addRow("text variable on one unit", 7, "GATE 12", "1", QStringList{"SHOW 1 BOARDING AT GATE 12|NEXT VBL999"});
        addRow("cell variable on two units", 258, "$3.75", "5,6",
               QStringList{"SHOW 5 BOARDING AT $3.75", "SHOW 6 BOARDING AT $3.75"});
    }
    void tokenTypedVariableShownOnSign()
    {
        QFETCH(int, variable);
        QFETCH(QString, typed);
        QFETCH(QString, addresses);
        LoopbackRig rig(0); // the host registers the libraries of its folder itself
        EmulatorProcess* emulator = rig.start();
        QVERIFY(emulator && rig.list({{"Departures", emulator->tcpPort(), addresses}}));
        // The manager's update without questions: the chosen variable, the display
        // the host opened last, no delay.
        settings::write(settings::kVarFileLoc, rig.path(QStringLiteral("QMDvarinfo.vls")));
        settings::write(settings::kPromptForVariable, QStringLiteral("FALSE"));
        settings::write(settings::kLastUsed, QString::number(variable));
        settings::write(settings::kPromptForDisplay, QStringLiteral("0"));
        settings::write(hostsettings::kLastOpenedDisplay, QStringLiteral("1"));

        frmMain host;
        host.loadPlugins(QStringLiteral(LUMAREX_FOLDER));
        host.show();
        auto* playfile = host.findChild<QPlainTextEdit*>(QStringLiteral("txtPlayfile"));
        host.setPlayfileText(QStringLiteral("BOARDING AT "));

        // The inserter adds the variable's token at the end of the current line.
        whenModal(QStringLiteral("dlgVarCmdInserter"), [&](QWidget* inserter) {
            auto* list = control<QComboBox>(inserter, "cmbVar");
            list->setCurrentIndex(list->findData(variable));
            QTest::mouseClick(control(inserter, "cmdVarInserter"), Qt::LeftButton);
            QTest::mouseClick(control(inserter, "cmdClose"), Qt::LeftButton);
        });
        host.startFrameFeature(kPlugin);
        const QString token = QStringLiteral("VBL%1").arg(variable, 3, 10, QLatin1Char('0'));
        QCOMPARE(playfile->toPlainText(), QStringLiteral("BOARDING AT ") + token);
        if (variable < 257) // a token the table does not hold goes out as typed
            playfile->appendPlainText(QStringLiteral("NEXT VBL999"));

        // The manager: the variable's data typed in and sent with "Update Display".
        bool updated = false;
        whenModal(QStringLiteral("dlgVariables"), [&](QWidget* manager) {
            const bool text = variable < 257;
            if (!text)
                control<QTabWidget>(manager, "tabVariables")->setCurrentIndex(1);
            control<QComboBox>(manager, text ? "cmbTextVars" : "cmbCellVars")
                ->setCurrentIndex(text ? variable - 1 : variable - 257);
            auto* data = control<QLineEdit>(manager, text ? "txtTextVarData" : "txtCellVarData");
            data->clear();
            QTest::keyClicks(data, typed);
            whenModal(QStringLiteral("dlgVariableUpdate"), [&](QWidget* update) {
                auto* rows = control<QTreeWidget>(update, "lstvDisplayStatus");
                QTRY_VERIFY_WITH_TIMEOUT(rows->topLevelItemCount() == 1 && rows->topLevelItem(0)->text(1) == "Updated",
                                         30000);
                QCOMPARE(rows->topLevelItem(0)->toolTip(0), QStringLiteral("Departures"));
                updated = true;
            });
            QTest::mouseClick(control(manager, "cmdUpdateVariable"), Qt::LeftButton);
            QTest::mouseClick(control(manager, "OKButton"), Qt::LeftButton);
        });
        host.startPlugin(kPlugin);
        QVERIFY(updated);

        QVERIFY(host.transmit());
        QFETCH(QStringList, shown);
        for (const QString& line : shown)
            QVERIFY2(!emulator->waitForLine(line, 10000).isEmpty(), qPrintable(emulator->log().join(u'\n')));
    }
    void lineEditedInVariableTextEditor()
    {
        TestEnvironment env;
        settings::write(hostsettings::kAppPath, env.folder());
        frmMain host;
        host.loadPlugins(QStringLiteral(LUMAREX_FOLDER));
        host.setPlayfileText(QStringLiteral("FIRST\nSALE VBL001")); // the cursor on the last line
        QString shown;
        whenModal(QStringLiteral("dlgVarEdit"), [&](QWidget* editor) {
            auto* box = control<QTextEdit>(editor, "rtxtTextBox");
            shown = box->toPlainText();
            box->selectAll();
            QTest::keyClicks(box, QStringLiteral("NOW VBL002"));
            QTest::mouseClick(control(editor, "OKButton"), Qt::LeftButton);
        });
        host.findChild<QAction*>(QStringLiteral("mnuEditLineText"))->trigger();
        QCOMPARE(shown, QStringLiteral("SALE VBL001"));
        QCOMPARE(host.findChild<QPlainTextEdit*>(QStringLiteral("txtPlayfile"))->toPlainText(),
                 QStringLiteral("FIRST\nNOW VBL002"));
    }
};

QTEST_MAIN(TestPlayfileEndToEnd)
#include "tst_playfile_e2e.moc"
