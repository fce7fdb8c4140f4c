#include "datarow.h"
#include "dialogcontrols.h"
#include "dlgVariableUpdate.h"
#include "clsVariableAccess.h"
#include "fakedisptrans.h"
#include "fakehostobjects.h"
#include "richtextdocument.h"
#include "updaterun.h"

#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

namespace {
struct Rig : FakeWorld {
    dlgVariableUpdate dlg;

    explicit Rig(int count = 1, const QString& selection = QStringLiteral("T1")) : FakeWorld(count)
    {
        dlg.setVariableSet(vars.get());
        dlg.setSelectedVars(pick(selection));
        dlg.setDisplayList(displays);
    }
    template <class T = QPushButton> T* child(const char* name) const { return dlg.findChild<T*>(QLatin1String(name)); }
    // Clicks the button after checking its caption.
    void click(const char* name, const char* caption) { ::click(&dlg, QLatin1String(name), QLatin1String(caption)); }
    QString text(const char* label) const { return child<QLabel>(label)->text(); }
    QString row(int r) const
    {
        const QTreeWidgetItem* item = child<QTreeWidget>("lstvDisplayStatus")->topLevelItem(r);
        return item->text(0) + u'|' + item->text(1) + u'|' + item->text(2) + u'|' + item->text(3);
    }
    QTextEdit* report() const { return child<QTextEdit>("rtxtUpdateReport"); }
    // How many of the countdown's label and its Stop Retry button are shown.
    int countdownShown() const { return child<QLabel>("lblRetry")->isVisible() + child("cmdStopRetry")->isVisible(); }

    // Runs modally; once the first pass has ended runs `whileOpen`, then closes the dialog.
    void open(void (dlgVariableUpdate::*send)(), const std::function<void()>& whileOpen)
    {
        runFirstPass(dlg, send, whileOpen, 10000);
    }
    // Clicks `name` (or presses Esc) from the event loop while the first variable goes out; the run sees
    // it at the next.
    void clickAtFirstSend(const char* name, const char* caption)
    {
        fake.onCall = [=, this](const QString& call) {
            if (call.startsWith(u"data") && fake.texts.size() == 1)
                QTimer::singleShot(
                    0, &dlg, [=, this] { *caption ? click(name, caption) : QTest::keyClick(&dlg, Qt::Key_Escape); });
        };
    }
};

// The text and colour of every fragment of the document.
QStringList fragments(const QTextDocument* document)
{
    QStringList out;
    for (QTextBlock b = document->begin(); b.isValid(); b = b.next()) {
        for (auto it = b.begin(); !it.atEnd(); ++it)
            out << it.fragment().text() + u' ' + it.fragment().charFormat().foreground().color().name();
    }
    return out;
}
} // namespace

class TestDlgVariableUpdate final : public QObject {
    Q_OBJECT
private slots:
    // Every control as the dialog opens, by objectName ("" = the dialog's title).
    void defaultState_data()
    {
        addControlRows({
            {"", "Variable Update"},
            {"cmdCancel", "Cancel (disabled)"}, // nothing is being sent yet
            {"cmdCancelAll", "Cancel All (disabled)"},
            {"cmdRetry", "Retry Now (disabled)"},
            {"cmdStopRetry", "Stop Retry"},
            {"cmdDetails", ">> Show Details"},
            {"cmdSaveToFile", "Save To File (disabled)"},
            {"cmdClose", "Close"},
        });
    }
    void defaultState()
    {
        QFETCH(QString, name);
        Rig rig;
        QTEST(shownState(&rig.dlg, name), "shown");
    }

    void detailsButton()
    {
        Rig rig;
        rig.dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&rig.dlg));
        QCOMPARE(rig.countdownShown(), 0);
        const int closedHeight = rig.dlg.height();
        rig.click("cmdDetails", ">> Show Details");
        QVERIFY(rig.report()->isVisible() && rig.dlg.height() > closedHeight + 100);
        rig.click("cmdDetails", "<< Hide Details");
        QCOMPARE(rig.child("cmdDetails")->text(), QStringLiteral(">> Show Details"));
        QVERIFY(!rig.report()->isVisible() && qAbs(rig.dlg.height() - closedHeight) <= 8);
    }

    void runShowsRowsProgressReportAndCountdown()
    {
        Rig rig(2, QStringLiteral("T1 T2"));
        fake.refusedTargets << QStringLiteral("host2");
        QStringList progress; // what the dialog shows as each variable goes out
        fake.onCall = [&](const QString& call) {
            if (call.startsWith(u"data") || call.startsWith(u"attrs"))
                progress << rig.text("lblTransmitionstatus") + u' '
                                + QString::number(rig.child<QProgressBar>("prgTransmitionStatus")->value());
            if (call.startsWith(u"attrs"))
                progress << rig.text("lblConnectionStatus");
        };
        rig.open(&dlgVariableUpdate::SendAllVarInfo, [&] {
            QCOMPARE(progress, (QStringList{"Preparing to Open Connection to Display! 0", "Data Transmission 50",
                                            "Attributes Transmission 100", "Connection Opened"}));
            QCOMPARE(rig.row(0) + u' ' + rig.row(1), QStringLiteral("1|Updated|| 2|FAILED|connection refused|"));
            QCOMPARE(rig.text("lblConnectionStatus"), QStringLiteral("Connection Problem"));
            QCOMPARE(
                fragments(rig.report()->document()),
                (QStringList{"Variables Data & Attributes Updated on 03/05/2010 02:07:09 PM #0000ff",
                             "Location/Display=1 #000000", "Status=  #000000", "Updated #00ff00",
                             "Location/Display=2 #000000", "Status=  #000000", "Failed connection refused #ff0000"}));
            QCOMPARE(rig.countdownShown(), 2);
            QCOMPARE(rig.text("lblRetry"), UpdateRun::retryText(rig.dlg.run().secondsToRetry()));
            QVERIFY(rig.child("cmdRetry")->isEnabled() && rig.child("cmdSaveToFile")->isEnabled());
        });
    }

    // Only the two cancel buttons stop a pass: Close and Esc are refused while it runs.
    void buttonsDuringAPass_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QByteArray>("caption"); // "" presses Esc
        QTest::addColumn<QString>("delays");
        QTest::addColumn<QString>("rows");
        QTest::addColumn<int>("sends");
        QTest::addColumn<int>("countdown");
        QTest::addColumn<bool>("userCanceled");
        addRow("Cancel: that display", QByteArray("cmdCancel"), QByteArray("Cancel"), "0,0", "FAILED Updated", 2 + 4, 2,
               false);
        addRow("Cancel All", QByteArray("cmdCancelAll"), QByteArray("Cancel All"), "0,0", "FAILED Not Updated", 2, 0,
               true);
        addRow("Close: the schedule stays", QByteArray("cmdClose"), QByteArray("Close"), "0,30", "Updated Scheduled", 4,
               0, false);
        addRow("Esc", QByteArray(), QByteArray(), "0,0", "Updated Updated", 8, 0, false);
    }
    void buttonsDuringAPass()
    {
        QFETCH(QByteArray, button);
        QFETCH(QByteArray, caption);
        QFETCH(QString, delays);
        Rig rig(2, QStringLiteral("T1..4"));
        rig.dlg.setDelayList(delays);
        rig.clickAtFirstSend(button.constData(), caption.constData());
        rig.open(&dlgVariableUpdate::SendVarData, [&] {
            QTEST(QString(rig.row(0).section(u'|', 1, 1) + u' ' + rig.row(1).section(u'|', 1, 1)), "rows");
            QTEST(int(fake.texts.size()), "sends");
            QTEST(rig.countdownShown(), "countdown");
            QTEST(rig.report()->toPlainText().contains(QStringLiteral("User Canceled")), "userCanceled");
            QTest::qWait(50); // nothing closes it later either
            QVERIFY(rig.dlg.isVisible() && rig.dlg.run().timerSched().isActive() == delays.contains(u"30"));
        });
    }

    // The right-button menu sends the chosen display again at once, whatever its
    // status, through a pass like a retry's; a finished pass says so.
    void reTransmitAndFinishedState_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("rowsAfter");
        QTest::addColumn<int>("opensAfter");
        QTest::addColumn<QString>("status");
        addRow("an updated display again", 0, "Updated FAILED", 2 + 2, "Update pass finished: 1 Updated, 1 FAILED");
        addRow("a failed one: the pass takes both", 1, "Updated FAILED", 2 + 1,
               "Update pass finished: 1 Updated, 1 FAILED");
    }
    void reTransmitAndFinishedState()
    {
        QFETCH(int, row);
        Rig rig(2);
        fake.refusedTargets << QStringLiteral("host2");
        rig.open(&dlgVariableUpdate::SendVarData, [&] {
            QCOMPARE(rig.text("lblTransmitionstatus"), QStringLiteral("Update pass finished: 1 Updated, 1 FAILED"));
            QCOMPARE(rig.child<QProgressBar>("prgTransmitionStatus")->value(), 100);
            QVERIFY(!rig.child("cmdCancel")->isEnabled() && !rig.child("cmdCancelAll")->isEnabled());
            auto* list = rig.child<QTreeWidget>("lstvDisplayStatus");
            list->setCurrentItem(list->topLevelItem(row));
            auto* menu = rig.dlg.findChild<QMenu*>(QStringLiteral("mnuPopupReTransmit"));
            QVERIFY(menu);
            menu->findChild<QAction*>(QStringLiteral("mnuReTransmit"))->trigger();
            QTEST(QString(rig.row(0).section(u'|', 1, 1) + u' ' + rig.row(1).section(u'|', 1, 1)), "rowsAfter");
            QTEST(int(fake.opens.size()), "opensAfter");
            QTEST(rig.text("lblTransmitionstatus"), "status");
        });
    }

    // A linked variable goes out as the value of the dialog's own link container.
    void linkedVariableSendsItsLinkedValue()
    {
        links::setFactory([] {
            auto links = std::make_unique<FakeLinkContainer>();
            links->value = QStringLiteral("from the workbook");
            return links;
        });
        Rig rig(1, QStringLiteral("T3"));
        links::setFactory({});
        rig.vars->setVariableOLELink(3, QStringLiteral("book.xls!Variables!R4C2"));
        rig.open(&dlgVariableUpdate::SendVarData,
                 [&] { QCOMPARE(fake.texts, QStringList{QStringLiteral("from the workbook")}); });
    }

    void retryAndStopRetry()
    {
        Rig rig(2);
        fake.refusedTargets << QStringLiteral("host2");
        rig.open(&dlgVariableUpdate::SendVarAttributes, [&] {
            rig.click("cmdStopRetry", "Stop Retry");
            QCOMPARE(rig.countdownShown(), 0);
            QVERIFY(!rig.dlg.run().timerRetry().isActive());
            QVERIFY(rig.child("cmdRetry")->isEnabled());
            fake.calls.clear();
            fake.refusedTargets.clear();
            rig.click("cmdRetry", "Retry Now");
            QCOMPARE(fake.calls.filter(QStringLiteral("open")), QStringList{"open host2"});
            QCOMPARE(rig.row(1), QStringLiteral("2|Updated||"));
            QVERIFY(!rig.child("cmdRetry")->isEnabled());
            QVERIFY(rig.report()->toPlainText().contains(QStringLiteral("\nVariables Attributes Updated on ")));
        });
    }

    void saveReport_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("chosen"); // in the file dialog
        QTest::addColumn<int>("answer");     // to the overwrite question
        QTest::addColumn<bool>("written");
        addRow("new file", false, "log.doc", -1, true);
        addRow("overwrite: Yes", true, "log.doc", int(msgbox::Yes), true);
        addRow("overwrite: No", true, "log.doc", int(msgbox::No), false);
        addRow("overwrite: Cancel", true, "log.doc", int(msgbox::Cancel), false);
        addRow("file dialog cancelled", false, "", -1, false);
    }
    void saveReport()
    {
        QFETCH(bool, exists);
        QFETCH(QString, chosen);
        QFETCH(int, answer);
        QFETCH(bool, written);
        Rig rig(2);
        fake.refusedTargets << QStringLiteral("host2");
        ScriptedFileDialog files;
        ScriptedMessageBox boxes;
        QFile file(rig.env.path(QStringLiteral("log.doc")));
        QVERIFY(!exists || (file.open(QIODevice::WriteOnly) && file.write("old") == 3));
        file.close();
        files.answerNext(chosen.isEmpty() ? chosen : file.fileName());
        if (answer >= 0)
            boxes.answerNext(msgbox::Answer(answer));
        rig.open(&dlgVariableUpdate::SendAllVarInfo, [&] { rig.click("cmdSaveToFile", "Save To File"); });

        const filedialog::Request request = files.shown().value(0);
        QCOMPARE(request.kind, filedialog::Request::Save);
        QCOMPARE(request.fileName + u'|' + request.filter,
                 QStringLiteral("Var Log 3-5-2010.doc|Log Files (*.doc)|*.doc"));
        QCOMPARE(request.title, QStringLiteral("Choose where to save log file - This File is viewable in WordPad!"));
        QCOMPARE(boxes.texts(),
                 exists ? QStringList{"File already exists, Do You Wish to Overwrite it?"} : QStringList());
        QVERIFY(!exists || boxes.shown()[0].buttons == msgbox::YesNoCancel);
        const QByteArray data = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        QCOMPARE(data.isEmpty() || data == "old", !written);
        if (!written)
            return;
        QTextDocument saved;
        rtf::read(data, saved);
        QCOMPARE(fragments(&saved), fragments(rig.report()->document()));
        // scripts/check-report-in-office.sh opens this file in a word processor.
        if (const QString keep = qEnvironmentVariable("LUMAREX_KEEP_REPORT"); !keep.isEmpty()) {
            QFile::remove(keep);
            QVERIFY(QFile::copy(file.fileName(), keep));
        }
    }

    void closeGuard_data()
    {
        QTest::addColumn<QString>("delays");
        QTest::addColumn<int>("answer"); // to the question, -1 when none is asked
        addRow("nothing scheduled: no question", "0", -1);
        addRow("scheduled, answer No", "30", int(msgbox::No));
        addRow("scheduled, answer Yes", "30", int(msgbox::Yes));
    }
    void closeGuard()
    {
        QFETCH(QString, delays);
        QFETCH(int, answer);
        Rig rig;
        ScriptedMessageBox boxes;
        if (answer >= 0)
            boxes.answerNext(msgbox::Answer(answer));
        rig.dlg.setDelayList(delays);
        rig.open(&dlgVariableUpdate::SendVarData, [&] {
            rig.click("cmdClose", "Close");
            QCOMPARE(rig.dlg.isVisible(), answer == msgbox::No);
            QCOMPARE(boxes.shown().size(), answer < 0 ? 0 : 1);
            for (const msgbox::Request& r : boxes.shown()) {
                QCOMPARE(r.title + u'|' + r.text, QStringLiteral("Confirm Cancel|Variables will not be updated if "
                                                                 "Variable Plug-In is closed.\r\nAre you sure you want "
                                                                 "to close this Plug-In and terminate this process?"));
                QCOMPARE(r.buttons, msgbox::YesNo);
            }
        });
        QVERIFY(!rig.dlg.run().timerSched().isActive());
    }
};

QTEST_MAIN(TestDlgVariableUpdate)
#include "tst_dlgvariableupdate.moc"
