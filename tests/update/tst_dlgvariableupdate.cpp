#include "dlgVariableUpdate.h"
#include "rtf.h"
#include "runrig.h"
#include "statusicons.h"
#include "updaterun.h"

#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>

#include <functional>

namespace {
struct Rig : FakeWorld {
    dlgVariableUpdate dlg;
    int passes = 0;

    explicit Rig(int displays = 1, int variables = 1)
    {
        addDisplays(displays);
        QStringList list;
        for (int i = 1; i <= displays; ++i)
            list << QString::number(i);
        dlg.setVariableSet(vars.get());
        dlg.setSelectedVars(textVars(variables));
        dlg.setDisplayList(list.join(u','));
        QObject::connect(&dlg.run(), &UpdateRun::passFinished, &dlg, [this] { ++passes; });
    }

    template <class T>
    T* child(const char* name) const
    {
        T* w = dlg.findChild<T*>(QString::fromLatin1(name));
        if (!w)
            qFatal("no child %s", name);
        return w;
    }
    QPushButton* button(const char* name) const { return child<QPushButton>(name); }
    void click(const char* name) const { QTest::mouseClick(button(name), Qt::LeftButton); }
    QTreeWidget* list() const { return child<QTreeWidget>("lstvDisplayStatus"); }
    QString cell(int row, int column) const { return list()->topLevelItem(row)->text(column); }

    // Starts the run modally in `mode`; once the first pass has ended runs
    // `whileOpen`, then closes the dialog whatever happened.
    void open(void (dlgVariableUpdate::*send)(), const std::function<void()>& whileOpen)
    {
        QTimer::singleShot(0, &dlg, [this, whileOpen] {
            [&] {
                QTRY_VERIFY_WITH_TIMEOUT(passes >= 1 && !dlg.run().passRunning(), 10000);
                whileOpen();
            }();
            if (dlg.isVisible())
                dlg.done(QDialog::Rejected);
        });
        (dlg.*send)();
    }
};

// The colour of the first fragment that contains (or, when `whole`, is) the text.
QColor colourOf(const QTextDocument* document, const QString& text, bool whole = false)
{
    for (QTextBlock b = document->begin(); b.isValid(); b = b.next()) {
        for (auto it = b.begin(); !it.atEnd(); ++it) {
            if (whole ? it.fragment().text() == text : it.fragment().text().contains(text))
                return it.fragment().charFormat().foreground().color();
        }
    }
    return QColor();
}
} // namespace

class TestDlgVariableUpdate final : public QObject {
    Q_OBJECT
private slots:
    void initialState()
    {
        Rig rig;
        QCOMPARE(rig.dlg.objectName(), QStringLiteral("dlgVariableUpdate"));
        QTreeWidgetItem* header = rig.list()->headerItem();
        QCOMPARE(header->text(0), QStringLiteral("Display"));
        QCOMPARE(header->text(1), QStringLiteral("Status"));
        QCOMPARE(header->text(2), QStringLiteral("When"));
        QCOMPARE(header->text(3), QStringLiteral("Delay"));
        QCOMPARE(rig.button("cmdDetails")->text(), QStringLiteral(">> Show Details"));
        QVERIFY(rig.child<QTextEdit>("rtxtUpdateReport")->isHidden());
        QVERIFY(rig.child<QLabel>("lblRetry")->isHidden());
        QVERIFY(rig.button("cmdStopRetry")->isHidden());
        QVERIFY(!rig.button("cmdSaveToFile")->isEnabled());
        QVERIFY(!rig.button("cmdRetry")->isEnabled());
        for (const char* name : {"cmdCancel", "cmdCancelAll", "cmdClose"})
            QVERIFY2(rig.button(name)->isEnabled(), name);
        rig.child<QLabel>("lblTransmitionstatus");
        rig.child<QLabel>("lblConnectionStatus");
        QCOMPARE(rig.child<QProgressBar>("prgTransmitionStatus")->value(), 0);
        QVERIFY(rig.dlg.findChild<QTimer*>(QStringLiteral("timerRetry")));
        QVERIFY(rig.dlg.findChild<QTimer*>(QStringLiteral("TimerSched")) == nullptr
                || !rig.dlg.findChild<QTimer*>(QStringLiteral("TimerSched"))->isActive());
    }

    void runShowsRowsReportAndCountdown()
    {
        Rig rig(2);
        FakeDisplays::refusedTargets << QStringLiteral("host2");
        rig.open(&dlgVariableUpdate::SendAllVarInfo, [&] {
            QCOMPARE(rig.list()->topLevelItemCount(), 2);
            QCOMPARE(rig.cell(0, 0), QStringLiteral("1"));
            QCOMPARE(rig.cell(0, 1), QStringLiteral("Updated"));
            QCOMPARE(rig.cell(0, 2), QString());
            QCOMPARE(rig.cell(0, 3), QString());  // no delay list given
            QCOMPARE(rig.cell(1, 1), QStringLiteral("FAILED"));
            QCOMPARE(rig.cell(1, 2), QStringLiteral("connection refused"));
            QCOMPARE(rig.list()->topLevelItem(0)->data(0, Qt::UserRole).toString(), QStringLiteral("1"));
            QCOMPARE(rig.list()->topLevelItem(0)->icon(0).cacheKey(), statusIcon(QStringLiteral("Updated")).cacheKey());
            QCOMPARE(rig.list()->topLevelItem(1)->icon(0).cacheKey(), statusIcon(QStringLiteral("FAILED")).cacheKey());

            const QTextEdit* report = rig.child<QTextEdit>("rtxtUpdateReport");
            QCOMPARE(report->toPlainText(),
                     QStringLiteral("Variables Data & Attributes Updated on 03/05/2010 02:07:09 PM\n"
                                    "Location/Display=1\nStatus= Updated\n\n"
                                    "Location/Display=2\nStatus= Failed connection refused\n\n"));
            QCOMPARE(colourOf(report->document(), QStringLiteral("Variables Data")), QColor(0, 0, 255));
            QCOMPARE(colourOf(report->document(), QStringLiteral("Failed connection refused")), QColor(255, 0, 0));
            QCOMPARE(colourOf(report->document(), QStringLiteral("Status= ")), QColor(0, 0, 0));
            QCOMPARE(colourOf(report->document(), QStringLiteral("Location/Display=1")), QColor(0, 0, 0));
            QCOMPARE(colourOf(report->document(), QStringLiteral("Updated"), true), QColor(0, 255, 0));

            QCOMPARE(rig.child<QLabel>("lblConnectionStatus")->text(), QStringLiteral("Connection Problem"));
            const QLabel* retry = rig.child<QLabel>("lblRetry");
            QVERIFY(retry->isVisible());
            QCOMPARE(retry->text(), UpdateRun::retryText(rig.dlg.run().secondsToRetry()));
            QVERIFY(retry->text().startsWith(QStringLiteral("Retrying Failed Connections in ")));
            QVERIFY(rig.button("cmdStopRetry")->isVisible());
            QVERIFY(rig.button("cmdRetry")->isEnabled());
            QVERIFY(rig.button("cmdSaveToFile")->isEnabled());
        });
    }

    void progressShowsDuringSend()
    {
        Rig rig(1, 4);
        QStringList captions;
        QList<int> values;
        int sends = 0;
        FakeDisplays::onCall = [&](const QString& call) {
            if (call.startsWith(QStringLiteral("data")) || call.startsWith(QStringLiteral("attrs"))) {
                captions << rig.child<QLabel>("lblTransmitionstatus")->text();
                values << rig.child<QProgressBar>("prgTransmitionStatus")->value();
                ++sends;
            }
        };
        rig.open(&dlgVariableUpdate::SendAllVarInfo, [&] {
            QCOMPARE(sends, 5);
            // Before each data send: the status of the open, then the percentages so far.
            QCOMPARE(captions.mid(1, 3), QStringList(3, QStringLiteral("Data Transmission")));
            QCOMPARE(values.mid(0, 4), (QList<int>{0, 25, 50, 75}));
            QCOMPARE(captions.last(), QStringLiteral("Attributes Transmission"));
            QCOMPARE(rig.child<QLabel>("lblConnectionStatus")->text(), QStringLiteral("Connection Opened"));
        });
    }

    void detailsToggle()
    {
        Rig rig;
        rig.dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&rig.dlg));
        const int closedHeight = rig.dlg.height();
        rig.click("cmdDetails");
        QCOMPARE(rig.button("cmdDetails")->text(), QStringLiteral("<< Hide Details"));
        QVERIFY(rig.child<QTextEdit>("rtxtUpdateReport")->isVisible());
        QVERIFY(rig.dlg.height() > closedHeight + 100);
        rig.click("cmdDetails");
        QCOMPARE(rig.button("cmdDetails")->text(), QStringLiteral(">> Show Details"));
        QVERIFY(!rig.child<QTextEdit>("rtxtUpdateReport")->isVisible());
        QVERIFY(qAbs(rig.dlg.height() - closedHeight) <= 8);
        rig.dlg.hide();
    }

    void cancelButtons_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("statuses");
        QTest::addColumn<int>("sends");
        QTest::addColumn<bool>("countdown");
        QTest::newRow("cancel one display") << "cmdCancel" << QStringList{"FAILED", "Updated"} << 2 + 4 << true;
        QTest::newRow("cancel all") << "cmdCancelAll" << QStringList{"FAILED", "Not Updated"} << 2 << false;
    }
    void cancelButtons()
    {
        QFETCH(QString, button);
        QFETCH(QStringList, statuses);
        QFETCH(int, sends);
        QFETCH(bool, countdown);
        Rig rig(2, 4);
        bool clicked = false;
        FakeDisplays::onCall = [&](const QString& call) {
            if (!clicked && call.startsWith(QStringLiteral("data"))) {
                clicked = true;
                // Clicked while the first variable goes out; seen at the next variable.
                QTimer::singleShot(0, &rig.dlg, [&] { rig.click(qPrintable(button)); });
            }
        };
        rig.open(&dlgVariableUpdate::SendVarData, [&] {
            QCOMPARE(rig.cell(0, 1), statuses[0]);
            QCOMPARE(rig.cell(1, 1), statuses[1]);
            QCOMPARE(FakeDisplays::dataSends.size(), sends);
            QCOMPARE(rig.child<QLabel>("lblRetry")->isVisible(), countdown);
            QCOMPARE(rig.child<QTextEdit>("rtxtUpdateReport")->toPlainText().contains(QStringLiteral("User Canceled")),
                     !countdown);
        });
    }

    void retryAndStopRetry()
    {
        Rig rig(2);
        FakeDisplays::refusedTargets << QStringLiteral("host2");
        rig.open(&dlgVariableUpdate::SendVarAttributes, [&] {
            rig.click("cmdStopRetry");
            QVERIFY(!rig.child<QLabel>("lblRetry")->isVisible());
            QVERIFY(!rig.button("cmdStopRetry")->isVisible());
            QVERIFY(!rig.dlg.run().timerRetry().isActive());
            QVERIFY(rig.button("cmdRetry")->isEnabled());

            FakeDisplays::calls.clear();
            FakeDisplays::refusedTargets.clear();
            rig.click("cmdRetry");
            QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("open")), QStringList{"open host2"});
            QCOMPARE(rig.cell(1, 1), QStringLiteral("Updated"));
            QVERIFY(!rig.button("cmdRetry")->isEnabled());
            QVERIFY(!rig.child<QLabel>("lblRetry")->isVisible());
            QVERIFY(rig.child<QTextEdit>("rtxtUpdateReport")->toPlainText().contains(
                QStringLiteral("Variables Attributes Updated on ")));
        });
    }

    void unknownDisplayFailsItsRow()
    {
        Rig rig;
        rig.dlg.setDisplayList(QStringLiteral("1,99"));
        rig.open(&dlgVariableUpdate::SendVarData, [&] {
            QCOMPARE(rig.cell(0, 1), QStringLiteral("Updated"));
            QCOMPARE(rig.cell(1, 1), QStringLiteral("FAILED"));
            QCOMPARE(rig.cell(1, 2), QStringLiteral("Display 99 is not in the display list"));
        });
    }

    void saveReport_data()
    {
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("answer");  // to the overwrite question
        QTest::addColumn<bool>("cancelDialog");
        QTest::addColumn<bool>("written");
        QTest::newRow("new file") << false << "" << false << true;
        QTest::newRow("overwrite yes") << true << "yes" << false << true;
        QTest::newRow("overwrite no") << true << "no" << false << false;
        QTest::newRow("overwrite cancel") << true << "cancel" << false << false;
        QTest::newRow("dialog cancelled") << false << "" << true << false;
    }
    void saveReport()
    {
        QFETCH(bool, exists);
        QFETCH(QString, answer);
        QFETCH(bool, cancelDialog);
        QFETCH(bool, written);
        Rig rig(2);
        FakeDisplays::refusedTargets << QStringLiteral("host2");
        ScriptedFileDialog files;
        ScriptedMessageBox boxes;
        const QString path = rig.env.path(QStringLiteral("log.doc"));
        if (exists) {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("old");
        }
        files.answerNext(cancelDialog ? QString() : path);
        if (answer == QLatin1String("yes"))
            boxes.answerNext(msgbox::Yes);
        else if (answer == QLatin1String("no"))
            boxes.answerNext(msgbox::No);
        else if (answer == QLatin1String("cancel"))
            boxes.answerNext(msgbox::Cancel);

        rig.open(&dlgVariableUpdate::SendAllVarInfo, [&] { rig.click("cmdSaveToFile"); });

        QCOMPARE(files.shown().size(), 1);
        const filedialog::Request& request = files.shown()[0];
        QCOMPARE(request.kind, filedialog::Request::Save);
        QCOMPARE(request.fileName, QStringLiteral("Var Log 3-5-2010.doc"));
        QCOMPARE(request.filter, QStringLiteral("Log Files (*.doc)|*.doc"));
        QCOMPARE(request.title, QStringLiteral("Choose where to save log file - This File is viewable in WordPad!"));
        if (exists) {
            QCOMPARE(boxes.texts(), QStringList{"File already exists, Do You Wish to Overwrite it?"});
            QCOMPARE(boxes.shown()[0].buttons, msgbox::YesNoCancel);
        } else {
            QVERIFY(boxes.shown().isEmpty());
        }

        QFile f(path);
        if (!written) {
            QVERIFY(!f.exists() || (f.open(QIODevice::ReadOnly) && f.readAll() == "old"));
            return;
        }
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray data = f.readAll();
        QVERIFY(data.startsWith("{\\rtf1"));
        QString text;
        QColor failedColour;
        for (const rtf::Run& run : rtf::read(data)) {
            text += run.text;
            if (run.text.contains(QStringLiteral("Failed connection refused")))
                failedColour = run.format.color;
        }
        QVERIFY(text.contains(QStringLiteral("Location/Display=2\nStatus= Failed connection refused\n")));
        QCOMPARE(failedColour, QColor(255, 0, 0));
    }

    void closeGuard_data()
    {
        QTest::addColumn<QString>("delays");
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<int>("questions");
        QTest::addColumn<bool>("closed");
        QTest::newRow("nothing scheduled asks nothing") << "0" << QList<int>{} << 0 << true;
        QTest::newRow("scheduled, answer no") << "30" << QList<int>{msgbox::No} << 1 << false;
        QTest::newRow("scheduled, answer yes") << "30" << QList<int>{msgbox::Yes} << 1 << true;
    }
    void closeGuard()
    {
        QFETCH(QString, delays);
        QFETCH(QList<int>, answers);
        QFETCH(int, questions);
        QFETCH(bool, closed);
        Rig rig;
        ScriptedMessageBox boxes;
        for (int a : answers)
            boxes.answerNext(msgbox::Answer(a));
        rig.dlg.setDelayList(delays);
        rig.open(&dlgVariableUpdate::SendVarData, [&] {
            rig.click("cmdClose");
            QCOMPARE(rig.dlg.isVisible(), !closed);
            QCOMPARE(boxes.shown().size(), questions);
            if (questions) {
                const msgbox::Request& r = boxes.shown()[0];
                QCOMPARE(r.title, QStringLiteral("Confirm Cancel"));
                QCOMPARE(r.buttons, msgbox::YesNo);
                QCOMPARE(r.text, QStringLiteral("Variables will not be updated if Variable Plug-In is closed.\r\n"
                                                "Are you sure you want to close this Plug-In and terminate this "
                                                "process?"));
            }
        });
        QVERIFY(!rig.dlg.isVisible());
        QVERIFY(!rig.dlg.run().timerSched().isActive());
    }

    void closingDuringAPassCancelsIt()
    {
        Rig rig(3, 4);
        bool clicked = false;
        FakeDisplays::onCall = [&](const QString& call) {
            if (!clicked && call.startsWith(QStringLiteral("data"))) {
                clicked = true;
                QTimer::singleShot(0, &rig.dlg, [&] { rig.click("cmdClose"); });
            }
        };
        QTimer failSafe;
        failSafe.setSingleShot(true);
        QObject::connect(&failSafe, &QTimer::timeout, &rig.dlg, [&] { rig.dlg.done(QDialog::Rejected); });
        failSafe.start(10000);
        rig.dlg.SendVarData();  // comes back once the pass has stopped
        QVERIFY(failSafe.isActive());
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("open")).size(), 1);
        QCOMPARE(FakeDisplays::dataSends.size(), 2);
        QCOMPARE(rig.cell(0, 1), QStringLiteral("FAILED"));
    }
};

QTEST_MAIN(TestDlgVariableUpdate)
#include "tst_dlgvariableupdate.moc"
