#include "runrig.h"
#include "settingsstore.h"
#include "updaterun.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {
struct Rig : FakeWorld {
    UpdateRun run;
    explicit Rig(int displays = 1, int variables = 1)
    {
        addDisplays(displays);
        run.setVariableSet(vars.get());
        run.setSelection(textVars(variables));
        QStringList list;
        for (int i = 1; i <= displays; ++i)
            list << QString::number(i);
        run.setDisplayList(list.join(u','));
    }
    QStringList statuses() const
    {
        QStringList out;
        for (const DisplayRow& r : run.rows())
            out << r.status;
        return out;
    }
};

QList<int> sentAddresses()
{
    QList<int> out;
    for (const DataSend& s : FakeDisplays::dataSends)
        out << s.address;
    return out;
}
} // namespace

class TestUpdateRun final : public QObject {
    Q_OBJECT
private slots:
    void modes_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("dataRefused");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QString>("heading");
        const QStringList open{"open host1"};
        const QStringList data{"address 1", "config @1", "address 1", "data T 0 @1"};
        const QStringList attrs{"address 1", "config @1", "address 1", "attrs T 1 @1"};
        QTest::newRow("1: data, then attributes") << 1 << false << open + data + attrs + QStringList{"close"}
                                                  << "Variables Data & Attributes Updated on ";
        QTest::newRow("1: no attributes after refused data") << 1 << true << open + data + QStringList{"close"}
                                                             << "Variables Data & Attributes Updated on ";
        QTest::newRow("2: data only") << 2 << false << open + data + QStringList{"close"}
                                      << "Variables Data Updated on ";
        QTest::newRow("3: attributes only") << 3 << false << open + attrs + QStringList{"close"}
                                            << "Variables Attributes Updated on ";
    }
    void modes()
    {
        QFETCH(int, mode);
        QFETCH(bool, dataRefused);
        QFETCH(QStringList, calls);
        QFETCH(QString, heading);
        Rig rig;
        if (dataRefused) {
            FakeDisplays::onCall = [](const QString& call) {
                if (call.startsWith(QStringLiteral("data")))
                    FakeDisplays::deadAddresses.insert(1);
                else
                    FakeDisplays::deadAddresses.clear();
            };
        }
        rig.run.setMode(UpdateRun::Mode(mode));
        rig.run.start();
        QCOMPARE(FakeDisplays::calls, calls);
        QCOMPARE(rig.statuses(), QStringList{dataRefused ? "FAILED" : "Updated"});
        QVERIFY(rig.run.reportText().startsWith(heading + QStringLiteral("03/05/2010 02:07:09 PM\r\n")));
    }

    void rowsAndReport()
    {
        Rig rig(2);
        FakeDisplays::refusedTargets << QStringLiteral("host2");
        QSignalSpy labels(&rig.run, &UpdateRun::connectionLabelChanged);
        rig.run.start();
        QCOMPARE(rig.statuses(), (QStringList{"Updated", "FAILED"}));
        QCOMPARE(rig.run.rows()[0].when, QString());
        QCOMPARE(rig.run.rows()[1].when, QStringLiteral("connection refused"));
        QCOMPARE(rig.run.reportText(),
                 QStringLiteral("Variables Data & Attributes Updated on 03/05/2010 02:07:09 PM\r\n"
                                "Location/Display=1\r\nStatus= Updated\r\n\r\n"
                                "Location/Display=2\r\nStatus= Failed connection refused\r\n\r\n"));
        QCOMPARE(labels.size(), 2);
        QCOMPARE(labels[0][0].toString(), QStringLiteral("Connection Opened"));
        QCOMPARE(labels[1][0].toString(), QStringLiteral("Connection Problem"));
        // The styles the report is drawn with follow the outcome.
        QList<ReportStyle> styles;
        for (const ReportPiece& p : rig.run.report())
            styles << p.style;
        QCOMPARE(styles.first(), ReportStyle::Heading);
        QVERIFY(styles.contains(ReportStyle::Success));
        QVERIFY(styles.contains(ReportStyle::Failure));
        // Every display is closed again, the refused one too.
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("close")).size(), 2);
        QCOMPARE(FakeDisplays::listFileWrites, 2);  // the list file is set afresh for every open
    }

    void updatedIsNeverSentAgain()
    {
        Rig rig(3);
        FakeDisplays::refusedTargets << QStringLiteral("host2");
        rig.run.start();
        QCOMPARE(rig.statuses(), (QStringList{"Updated", "FAILED", "Updated"}));
        QVERIFY(rig.run.timerRetry().isActive());
        QVERIFY(rig.run.controls().retryEnabled);
        QVERIFY(rig.run.controls().stopRetryVisible);

        FakeDisplays::calls.clear();
        FakeDisplays::refusedTargets.clear();
        rig.run.RunUpdate();
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("open")), QStringList{"open host2"});
        QCOMPARE(rig.statuses(), (QStringList{"Updated", "Updated", "Updated"}));
        QVERIFY(!rig.run.timerRetry().isActive());
        QVERIFY(!rig.run.controls().retryEnabled);
        QVERIFY(!rig.run.controls().stopRetryVisible);
        QVERIFY(!rig.run.controls().retryLabelVisible);
        QVERIFY(rig.run.controls().saveEnabled);

        FakeDisplays::calls.clear();
        rig.run.RunUpdate();
        QVERIFY(FakeDisplays::calls.isEmpty());
    }

    void addressGroups_data()
    {
        QTest::addColumn<QString>("addressList");
        QTest::addColumn<int>("spanA");
        QTest::addColumn<int>("spanB");
        QTest::addColumn<bool>("bothFlags");
        QTest::addColumn<int>("deadAddress");
        QTest::addColumn<QList<int>>("addresses");
        QTest::addColumn<QString>("status");
        QTest::newRow("5,9 with span 2") << "5,9" << 0 << 2 << true << 0 << QList<int>{5, 6, 7, 9, 10, 11}
                                         << "Updated";
        QTest::newRow("group of 2 x 2") << "3" << 1 << 1 << true << 0 << QList<int>{3, 4, 5, 6} << "Updated";
        QTest::newRow("one flag is no group") << "3" << 1 << 1 << false << 0 << QList<int>{3} << "Updated";
        QTest::newRow("failure inside a span does not stop it")
            << "5,9" << 0 << 2 << true << 5 << QList<int>{5, 6, 7, 9, 10, 11} << "Updated";
        QTest::newRow("failure at a span's end stops the list")
            << "5,9" << 0 << 2 << true << 7 << QList<int>{5, 6, 7} << "FAILED";
        QTest::newRow("single addresses") << "2,4" << 0 << 0 << false << 0 << QList<int>{2, 4} << "Updated";
    }
    void addressGroups()
    {
        QFETCH(QString, addressList);
        QFETCH(int, spanA);
        QFETCH(int, spanB);
        QFETCH(bool, bothFlags);
        QFETCH(int, deadAddress);
        QFETCH(QList<int>, addresses);
        QFETCH(QString, status);
        Rig rig;
        FakeDisplays::records[0].addressList = addressList;
        for (const QString& a : addressList.split(u',')) {
            disptrans::DisplayConfiguration c;
            c.IsDisplayGroup = true;
            c.GroupFlagB = bothFlags;
            c.GroupSpanA = int16_t(spanA);
            c.GroupSpanB = int16_t(spanB);
            FakeDisplays::configurations.insert(int16_t(a.toInt()), c);
        }
        if (deadAddress)
            FakeDisplays::deadAddresses << int16_t(deadAddress);
        rig.run.setMode(UpdateRun::DataOnly);
        rig.run.start();
        QCOMPARE(sentAddresses(), addresses);
        QCOMPARE(rig.statuses(), QStringList{status});
    }

    void connectionKinds_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("connKind");
        QTest::addColumn<QString>("param1");
        QTest::addColumn<QString>("param2");
        QTest::addColumn<QString>("param3");
        QTest::newRow("serial") << 1 << 1 << "9600,N,8,1" << "" << "";
        QTest::newRow("network") << 3 << 3 << "" << "" << "7000";
        QTest::newRow("modem") << 2 << 2 << "" << "5551234" << "";
        QTest::newRow("4 folds to 2") << 4 << 2 << "" << "5551234" << "";
        QTest::newRow("0 folds to 2") << 0 << 2 << "" << "5551234" << "";
    }
    void connectionKinds()
    {
        QFETCH(int, kind);
        QFETCH(int, connKind);
        QFETCH(QString, param1);
        QFETCH(QString, param2);
        QFETCH(QString, param3);
        Rig rig;
        FakeDisplays::records[0].kind = int16_t(kind);
        FakeDisplays::records[0].addressList = QStringLiteral("1,5");  // read whole, "," grouping digits
        rig.run.start();
        QCOMPARE(FakeDisplays::opens.size(), 1);
        const disptrans::ConnectionSettings& s = FakeDisplays::opens[0];
        QCOMPARE(int(s.ConnKind), connKind);
        QCOMPARE(s.ConnTarget, QStringLiteral("host1"));
        QCOMPARE(s.ConnParam1, param1);
        QCOMPARE(s.ConnParam2, param2);
        QCOMPARE(s.ConnParam3, param3);
        QCOMPARE(int(s.ConnAddress), 15);
    }

    void errorsEndInFailedRows_data()
    {
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("addressList");
        QTest::addColumn<QString>("raiseOn");  // a call of the control that raises
        QTest::addColumn<QString>("error");
        QTest::addColumn<bool>("opened");
        QTest::newRow("unknown display") << "7" << "1" << "" << "Display 7 is not in the display list" << false;
        QTest::newRow("empty address list") << "1" << "" << "" << "Type mismatch" << false;
        QTest::newRow("address list not a number") << "1" << "x" << "" << "Type mismatch" << false;
        QTest::newRow("control raises while sending") << "1" << "1" << "data" << "Automation error" << true;
        QTest::newRow("control raises on close") << "1" << "1" << "close" << "Automation error" << true;
    }
    void errorsEndInFailedRows()
    {
        QFETCH(QString, display);
        QFETCH(QString, addressList);
        QFETCH(QString, raiseOn);
        QFETCH(QString, error);
        QFETCH(bool, opened);
        Rig rig;
        FakeDisplays::records[0].addressList = addressList;
        if (!raiseOn.isEmpty()) {
            FakeDisplays::onCall = [raiseOn](const QString& call) {
                if (call.startsWith(raiseOn))
                    throw RuntimeError(RuntimeError::AutomationError);
            };
        }
        rig.run.setDisplayList(display);
        rig.run.start();
        QCOMPARE(rig.statuses(), QStringList{"FAILED"});
        QCOMPARE(rig.run.rows()[0].when, error);
        QVERIFY(rig.run.reportText().contains(QStringLiteral("Status= Failed ") + error + QStringLiteral("\r\n")));
        QCOMPARE(FakeDisplays::opens.size(), opened ? 1 : 0);
        QVERIFY(rig.run.timerRetry().isActive());
    }

    void linkedVariablesReadThroughTheLinkSource()
    {
        Rig rig;
        FixedLink link;
        rig.vars->setVariableOLELink(1, QStringLiteral("C:\\book.xls!Variables!R2C2"));
        rig.run.setLinkSource(&link);
        rig.run.setMode(UpdateRun::DataOnly);
        rig.run.start();
        QCOMPARE(FakeDisplays::dataSends.value(0).varText, QStringLiteral("42"));
    }

    void cancelDisplayStopsAfterCurrentVariable()
    {
        Rig rig(2, 4);
        int sends = 0;
        FakeDisplays::onCall = [&](const QString& call) {
            if (call.startsWith(QStringLiteral("data")) && ++sends == 2)
                rig.run.cancelDisplay();
        };
        QSignalSpy status(&rig.run, &UpdateRun::statusChanged);
        rig.run.setMode(UpdateRun::DataAndAttributes);
        rig.run.start();
        QCOMPARE(rig.statuses(), (QStringList{"FAILED", "Updated"}));
        // Display 1: two variables, no attributes; display 2: all four and its attributes.
        QCOMPARE(sentAddresses(), (QList<int>{1, 1, 2, 2, 2, 2}));
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("attrs")), QStringList{"attrs T 4 @2"});
        QStringList captions;
        for (const auto& args : status)
            captions << args[0].toString();
        QVERIFY(captions.contains(QStringLiteral("Canceled")));
        QVERIFY(captions.contains(QStringLiteral("Data Transmission")));
        QVERIFY(captions.contains(QStringLiteral("Attributes Transmission")));
        QVERIFY(captions.contains(QStringLiteral("Preparing to Open Connection to Display!")));
        QVERIFY(captions.contains(QStringLiteral("Closing Connection")));
    }

    void cancelAllLeavesTheRest()
    {
        Rig rig(3, 4);
        int sends = 0;
        FakeDisplays::onCall = [&](const QString& call) {
            if (call.startsWith(QStringLiteral("data")) && ++sends == 2)
                rig.run.cancelAll();
        };
        rig.run.start();
        QCOMPARE(rig.statuses(), (QStringList{"FAILED", "Not Updated", "Not Updated"}));
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("open")), QStringList{"open host1"});
        QVERIFY(rig.run.reportText().endsWith(QStringLiteral("Location/Display=1\r\nStatus= User Canceled\r\n")));
        QVERIFY(!rig.run.timerRetry().isActive());  // a cancelled run arms no countdown
        QVERIFY(rig.run.controls().retryEnabled);
        QVERIFY(!rig.run.controls().stopRetryVisible);
    }

    void cancelReachesTheRunThroughTheEventLoop()
    {
        // A queued click is handled while a variable is being sent.
        Rig rig(1, 5);
        QTimer::singleShot(0, &rig.run, &UpdateRun::cancelDisplay);
        rig.run.setMode(UpdateRun::DataOnly);
        rig.run.start();
        QCOMPARE(FakeDisplays::dataSends.size(), 2);
        QCOMPARE(rig.statuses(), QStringList{"FAILED"});
    }

    void retryText_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("3725") << 3725 << "Retrying Failed Connections in 1 Hour(s) 2 Min. 5 Sec. ";
        QTest::newRow("a day") << 86400 << "Retrying Failed Connections in 1 Day(s) 0 Sec. ";
        QTest::newRow("zero") << 0 << "Retrying Failed Connections in 0 Sec. ";
        QTest::newRow("a minute") << 60 << "Retrying Failed Connections in 1 Min. 0 Sec. ";
        QTest::newRow("an hour") << 3600 << "Retrying Failed Connections in 1 Hour(s) 0 Sec. ";
        QTest::newRow("all parts") << 90061 << "Retrying Failed Connections in 1 Day(s) 1 Hour(s) 1 Min. 1 Sec. ";
        QTest::newRow("past zero wraps to the day before") << -1
                                                           << "Retrying Failed Connections in 23 Hour(s) 59 Min. 59 Sec. ";
    }
    void retryText()
    {
        QFETCH(int, seconds);
        QFETCH(QString, text);
        QCOMPARE(UpdateRun::retryText(seconds), text);
    }

    void formatTimeLeft_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("left");  // the argument after the call
        QTest::newRow("125") << 125 << "in 2h. 5min." << 5;
        QTest::newRow("45") << 45 << "in 45min." << 45;
        QTest::newRow("60") << 60 << "in 1h. 0min." << 0;
        QTest::newRow("1") << 1 << "in 1min." << 1;
        QTest::newRow("0") << 0 << "Now" << 0;
        QTest::newRow("negative") << -3 << "Now" << -3;
        QTest::newRow("a day and a half") << 2160 << "in 36h. 0min." << 0;
    }
    void formatTimeLeft()
    {
        QFETCH(int, minutes);
        QFETCH(QString, text);
        QFETCH(int, left);
        long argument = minutes;
        QCOMPARE(UpdateRun::FormatTimeLeft(argument), text);
        QCOMPARE(int(argument), left);
    }

    void retryCountdown()
    {
        Rig rig(2);
        settings::write(settings::kRetryInterval, QStringLiteral("2"));
        FakeDisplays::refusedTargets << QStringLiteral("host2");
        rig.run.start();
        QCOMPARE(rig.run.secondsToRetry(), 2);
        QCOMPARE(rig.run.retryLabel(), QStringLiteral("Retrying Failed Connections in 2 Sec. "));
        QVERIFY(rig.run.controls().retryLabelVisible);
        rig.run.retryTick();
        QCOMPARE(rig.run.retryLabel(), QStringLiteral("Retrying Failed Connections in 1 Sec. "));
        rig.run.retryTick();
        QCOMPARE(rig.run.retryLabel(), QStringLiteral("Retrying Failed Connections in 0 Sec. "));
        QCOMPARE(FakeDisplays::opens.size(), 2);

        // The display comes back; the tick at zero runs the pass, which sends only to it.
        FakeDisplays::refusedTargets.clear();
        rig.run.retryTick();
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("open")),
                 (QStringList{"open host1", "open host2", "open host2"}));
        QCOMPARE(rig.statuses(), (QStringList{"Updated", "Updated"}));
        QVERIFY(!rig.run.timerRetry().isActive());
        QVERIFY(!rig.run.controls().retryLabelVisible);
    }

    void retryIntervalZeroRunsAtFirstTick()
    {
        Rig rig;
        settings::write(settings::kRetryInterval, QStringLiteral("0"));
        FakeDisplays::refusedTargets << QStringLiteral("host1");
        rig.run.start();
        QCOMPARE(FakeDisplays::opens.size(), 1);
        rig.run.retryTick();
        QCOMPARE(FakeDisplays::opens.size(), 2);
        QVERIFY(rig.run.timerRetry().isActive());
    }

    void stopRetry()
    {
        Rig rig;
        FakeDisplays::refusedTargets << QStringLiteral("host1");
        rig.run.start();
        QVERIFY(rig.run.timerRetry().isActive());
        rig.run.stopRetry();
        QVERIFY(!rig.run.timerRetry().isActive());
        QVERIFY(!rig.run.controls().retryLabelVisible);
        QVERIFY(!rig.run.controls().stopRetryVisible);
        QVERIFY(rig.run.controls().retryEnabled);  // retrying by hand stays possible
    }

    void delayedRows_data()
    {
        QTest::addColumn<QString>("delays");
        QTest::addColumn<QStringList>("statuses");
        QTest::addColumn<QStringList>("whens");
        QTest::addColumn<QStringList>("delayColumn");
        QTest::newRow("now and later") << "0,15,90" << QStringList{"Updated", "Scheduled", "Scheduled"}
                                       << QStringList{"", "in 15min.", "in 1h. 30min."}
                                       << QStringList{"00000", "00015", "00090"};
        QTest::newRow("not numbers go now") << "abc,-5,1" << QStringList{"Updated", "Updated", "Scheduled"}
                                            << QStringList{"", "", "in 1min."}
                                            << QStringList{"abc", "-00005", "00001"};
        QTest::newRow("missing delays go now") << "30" << QStringList{"Scheduled", "Updated", "Updated"}
                                               << QStringList{"in 30min.", "", ""}
                                               << QStringList{"00030", "", ""};
    }
    void delayedRows()
    {
        QFETCH(QString, delays);
        QFETCH(QStringList, statuses);
        QFETCH(QStringList, whens);
        QFETCH(QStringList, delayColumn);
        Rig rig(3);
        rig.run.setDelayList(delays);
        rig.run.start();
        QCOMPARE(rig.statuses(), statuses);
        QStringList w, d;
        for (const DisplayRow& r : rig.run.rows()) {
            w << r.when;
            d << r.delay;
        }
        QCOMPARE(w, whens);
        QCOMPARE(d, delayColumn);
        QCOMPARE(rig.run.timerSched().isActive(), statuses.contains(QStringLiteral("Scheduled")));
    }

    void scheduledDisplaysGoWhenDue()
    {
        Rig rig(3);
        rig.run.setDelayList(QStringLiteral("0,15,90"));
        rig.run.start();
        QCOMPARE(FakeDisplays::opens.size(), 1);
        QVERIFY(rig.run.timerSched().isActive());

        Clock::advance(10 * 60);
        rig.run.scheduleTick();
        QCOMPARE(rig.run.rows()[1].when, QStringLiteral("in 5min."));
        QCOMPARE(rig.run.rows()[2].when, QStringLiteral("in 1h. 20min."));
        QCOMPARE(FakeDisplays::opens.size(), 1);

        Clock::advance(5 * 60);  // exactly due: not yet earlier than now
        rig.run.scheduleTick();
        QCOMPARE(rig.run.rows()[1].status, QStringLiteral("Scheduled"));
        QCOMPARE(rig.run.rows()[1].when, QStringLiteral("Now"));

        Clock::advance(1);
        rig.run.scheduleTick();
        QCOMPARE(FakeDisplays::callsStartingWith(QStringLiteral("open")), (QStringList{"open host1", "open host2"}));
        QCOMPARE(rig.statuses(), (QStringList{"Updated", "Updated", "Scheduled"}));
        QVERIFY(rig.run.timerSched().isActive());  // the third still waits

        Clock::advance(75 * 60);
        rig.run.scheduleTick();
        QCOMPARE(rig.statuses(), (QStringList{"Updated", "Updated", "Updated"}));
        QVERIFY(!rig.run.timerSched().isActive());
        QCOMPARE(FakeDisplays::opens.size(), 3);
    }

    void failedRowGetsWhenTextButWaits()
    {
        Rig rig(2);
        FakeDisplays::refusedTargets << QStringLiteral("host1");
        rig.run.setDelayList(QStringLiteral("0,30"));
        rig.run.start();
        QCOMPARE(rig.run.rows()[0].when, QStringLiteral("connection refused"));
        rig.run.stopRetry();
        Clock::advance(5 * 60);
        rig.run.scheduleTick();
        QCOMPARE(rig.run.rows()[0].when, QStringLiteral("Now"));
        QCOMPARE(rig.run.rows()[1].when, QStringLiteral("in 25min."));
        QCOMPARE(FakeDisplays::opens.size(), 1);  // the failed row does not start a pass
    }
};

QTEST_MAIN(TestUpdateRun)
#include "tst_updaterun.moc"
