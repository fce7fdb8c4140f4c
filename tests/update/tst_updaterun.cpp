#include "datarow.h"
#include "clock.h"
#include "clsVarUpdater.h"
#include "codepage.h"
#include "fakedisptrans.h"
#include "fakepluginmaster.h"
#include "pluginmaster.h"
#include "settingsstore.h"
#include "updaterun.h"

#include <QDir>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

namespace {
struct Rig : FakeWorld {
    UpdateRun run;
    QList<int> percents; // shown while variables go out
    int cancelAt = -1;   // the percent shown when Cancel (or Cancel All) is pressed, 1-based
    void (UpdateRun::*cancel)() = &UpdateRun::cancelDisplay;
    bool cancelLate = false;

    explicit Rig(int count = 1, const QString& selection = QStringLiteral("T1")) : FakeWorld(count)
    {
        run.setVariableSet(vars.get());
        run.setSelection(pick(selection));
        run.setDisplayList(displays);
        QObject::connect(&run, &UpdateRun::statusChanged, &run, [this](const QString& caption, int percent) {
            if (caption.endsWith(u" Transmission") && (percents << percent).size() == cancelAt) {
                if (cancelLate)
                    QMetaObject::invokeMethod(&run, cancel, Qt::QueuedConnection);
                else
                    (run.*cancel)();
            }
        });
    }
    QStringList rows(QString DisplayRow::*field = &DisplayRow::status) const
    {
        QStringList out;
        for (const DisplayRow& r : run.rows())
            out << r.*field;
        return out;
    }
    // The buttons and labels on offer, and whether the countdown runs.
    QString controls()
    {
        const UpdateRun::Controls c = run.controls();
        return QStringList{c.saveEnabled ? "save" : "", c.retryEnabled ? "retry" : "", c.stopRetryVisible ? "stop" : "",
                           c.retryLabelVisible ? "label" : "", run.timerRetry().isActive() ? "countdown" : ""}
            .join(u' ')
            .simplified();
    }
};

QStringList calls(const char* pattern) { return fake.calls.filter(QRegularExpression(QLatin1String(pattern))); }
// The addresses the matching calls went to.
QString addresses(const char* pattern)
{
    return calls(pattern).replaceInStrings(QRegularExpression(QStringLiteral(".*@")), QString()).join(u' ');
}
// The data sends and attribute flushes: "T0" is text variable 0, "C200" a batch of 200 cells.
QString sent()
{
    static const QRegularExpression call(QStringLiteral("^\\w+ (.) (\\d+) .*"));
    return calls("^(data|attrs) ").replaceInStrings(call, QStringLiteral("\\1\\2")).join(u' ');
}

struct Sends {
    int mode;
    QString selection;
    QList<bool> flushAnswers;
    bool dead; // the display refuses every send
    QString sent;
    QString row; // status|when
};

struct Cancel {
    int displays, mode;
    QString selection;
    int at;
    bool all;
    QString sent, statuses;
    bool late = false; // pressed while that progress event lets events run, after it read the flags
};
} // namespace

class TestUpdateRun final : public QObject {
    Q_OBJECT
private slots:
    void modesAndConnections_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("kind"); // of the display record
        QTest::addColumn<bool>("dataRefused");
        QTest::addColumn<QString>("sends");
        QTest::addColumn<QString>("open"); // ConnKind|ConnParam1|2|3
        addRow("1 over a serial port", 1, 1, false, "data T 0 @1,data T 0 @5,attrs T 1 @1,attrs T 1 @5", "1|P1||");
        addRow("1: refused data ends the display", 1, 3, true, "data T 0 @1", "3|||P3");
        addRow("2 over a modem", 2, 2, false, "data T 0 @1,data T 0 @5", "2||P2|");
        addRow("3: any other kind opens as a modem", 3, 4, false, "attrs T 1 @1,attrs T 1 @5", "2||P2|");
    }
    void modesAndConnections()
    {
        QFETCH(int, mode);
        QFETCH(int, kind);
        QFETCH(bool, dataRefused);
        QFETCH(QString, sends);
        QFETCH(QString, open);
        Rig rig;
        fake.records[0].kind = int16_t(kind);
        fake.records[0].addressList = QStringLiteral("1,5"); // the connection gets it converted whole: 15
        fake.deadAddresses << (dataRefused ? 1 : 0);
        rig.run.setMode(UpdateRun::Mode(mode));
        rig.run.start();
        QCOMPARE(calls("^(list|open|data|attrs|close)").join(u','), "list Displays.dat,open host1," + sends + ",close");
        const disptrans::ConnectionSettings s = fake.opens.value(0);
        QCOMPARE(QStringList({QString::number(s.ConnKind), s.ConnParam1, s.ConnParam2, s.ConnParam3}).join(u'|'), open);
        QCOMPARE(s.ConnAddress, int16_t(15));
        QCOMPARE(rig.rows(), QStringList{dataRefused ? "FAILED" : "Updated"});
        const char* heading[] = {"", "Data & Attributes", "Data", "Attributes"};
        QVERIFY(rig.run.reportText().startsWith(
            QStringLiteral("Variables %1 Updated on 03/05/2010 02:07:09 PM\r\n").arg(QLatin1String(heading[mode]))));
    }

    void updatedIsNeverSentAgain()
    {
        Rig rig(3);
        fake.refusedTargets << QStringLiteral("host2");
        rig.run.start();
        QCOMPARE(rig.rows(), (QStringList{"Updated", "FAILED", "Updated"}));
        QCOMPARE(rig.controls(), QStringLiteral("save retry stop label countdown"));
        fake.calls.clear();
        fake.refusedTargets.clear();
        rig.run.RunUpdate();
        QCOMPARE(calls("^open"), QStringList{"open host2"});
        QCOMPARE(rig.rows(), QStringList(3, "Updated"));
        QCOMPARE(rig.controls(), QStringLiteral("save"));
        fake.calls.clear();
        rig.run.RunUpdate();
        QVERIFY(fake.calls.isEmpty());
    }

    void addressGroups_data()
    {
        QTest::addColumn<QString>("addressList");
        QTest::addColumn<QString>("group"); // IsDisplayGroup, GroupFlagB, GroupSpanA, GroupSpanB
        QTest::addColumn<int>("dead");
        QTest::addColumn<QString>("sentTo");
        addRow("5,9 with span 2", "5,9", "1102", 0, "5 6 7 9 10 11");
        addRow("group of 2 x 2", "3", "1111", 0, "3 4 5 6");
        addRow("one flag is no group", "3", "1011", 0, "3");
        addRow("failure inside a span does not stop it", "5,9", "1102", 5, "5 6 7 9 10 11");
        addRow("failure at a span's end stops the list", "5,9", "1102", 7, "5 6 7");
    }
    void addressGroups()
    {
        QFETCH(QString, addressList);
        QFETCH(QString, group);
        QFETCH(int, dead);
        Rig rig;
        fake.records[0].addressList = addressList;
        for (const QString& a : addressList.split(u','))
            fake.configurations[int16_t(a.toInt())] = {group[0] == u'1', group[1] == u'1',
                                                       int16_t(group[2].digitValue()), int16_t(group[3].digitValue())};
        fake.deadAddresses << int16_t(dead);
        rig.run.setMode(UpdateRun::DataOnly);
        rig.run.start();
        QTEST(addresses("^data"), "sentTo");
        QCOMPARE(rig.rows(), QStringList{dead == 7 ? "FAILED" : "Updated"});
    }

    void sends_data()
    {
        QTest::addColumn<Sends>("c");
        addRow("text and cell indexes", Sends{2, "T1 C257 T256 C416", {}, false, "T0 C0 T255 C159", "Updated|"});
        addRow("empty selection", Sends{2, "", {}, false, "", "FAILED|"});
        addRow("first refusal stops", Sends{2, "T1..3", {}, true, "T0", "FAILED|no answer from display"});
        addRow("201 attributes need two batches", Sends{3, "T1..201", {}, false, "T200 T1", "Updated|"});
        addRow("201 cells", Sends{3, "C257x201", {}, false, "C200 C1", "Updated|"});
        addRow("failed middle flush ignored", Sends{3, "T1..201", {false, true}, false, "T200 T1", "Updated|"});
        addRow("failed last flush decides", Sends{3, "T1..201", {true, false}, false, "T200 T1", "FAILED|"});
        addRow("text result when no cells", Sends{3, "T1 T2", {false}, false, "T2", "FAILED|"});
        addRow("cell flush decides over text", Sends{3, "T1 C257", {false, true}, false, "T1 C1", "Updated|"});
        addRow("text index overflows", Sends{2, "T-32768", {}, false, "", "FAILED|Overflow"});
        addRow("cell index overflows", Sends{3, "C-32600", {}, false, "", "FAILED|Overflow"});
        addRow("position counter overflows",
               Sends{3, "C257x32768", {}, false, QStringList(32600 / 200, "C200").join(u' '), "FAILED|Overflow"});
    }
    void sends()
    {
        QFETCH(Sends, c);
        Rig rig(1, c.selection);
        fake.flushAnswers.append(c.flushAnswers);
        fake.deadAddresses << (c.dead ? 1 : 0);
        rig.run.setMode(UpdateRun::Mode(c.mode));
        rig.run.start();
        QCOMPARE(sent(), c.sent);
        QCOMPARE(rig.rows().value(0) + u'|' + rig.rows(&DisplayRow::when).value(0), c.row);
    }

    void attributesTakeEachFieldFromItsOwn()
    {
        // Each entry as the display reads it: index, colour, and 'A' + 1 for blink + 2 for inverse.
        Rig rig(1, QStringLiteral("T1 T2 C257"));
        const QStringList fields[] = {{"3", "1", "2"}, {"6", "2", "1"}, {"7", "1", "1"}}; // colour, blink, inverse
        for (const int16_t n : {1, 2, 257}) {
            const QStringList& f = fields[n == 257 ? 2 : n - 1];
            rig.vars->setVariableColor(n, f[0]);
            rig.vars->setVariableBlink(n, f[1]);
            rig.vars->setVariableInverse(n, f[2]);
        }
        rig.run.setMode(UpdateRun::AttributesOnly);
        rig.run.start();
        QCOMPARE(fake.attributeTexts, (QStringList{"0003B0016C", "0007D"}));
        QCOMPARE(rig.rows(), QStringList{"Updated"});
    }

    void percents_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("selection");
        QTest::addColumn<int>("from");
        QTest::addColumn<QList<int>>("percents");
        addRow("data: halves to even", 2, "T1..8", 0, QList<int>{12, 25, 38, 50, 62, 75, 88, 100});
        addRow("divided before scaled: 23 of 40 is below 57.5", 2, "T1..40", 22, QList<int>{57});
        // Attributes: text members counted, then the cell batch plus the last text batch.
        addRow("text only: the cell phase stays", 3, "T1..3", 0, QList<int>{33, 67, 100, 100, 100, 100});
        addRow("text before cells", 3, "C257 T1 C258 T2", 0, QList<int>{0, 25, 25, 50, 75, 75, 100, 100});
        addRow("cells only: no carry", 3, "C257 C258", 0, QList<int>{0, 0, 50, 100});
        // The 201st cell sends the full batch first: (199 + 1), (200 + 1), then (1 + 1) of 202.
        addRow("falls back after a cell flush", 3, "T1 C257x201", 202 + 199, QList<int>{99, 100, 1});
    }
    void percents()
    {
        QFETCH(int, mode);
        QFETCH(QString, selection);
        QFETCH(int, from);
        QFETCH(QList<int>, percents);
        Rig rig(1, selection);
        rig.run.setMode(UpdateRun::Mode(mode));
        rig.run.start();
        QCOMPARE(rig.percents.size(), (mode == 3 ? 2 : 1) * rig.run.rows().size() * pick(selection).size());
        QCOMPARE(rig.percents.mid(from, percents.size()), percents);
    }

    void negativeAddressKeepsTheControls()
    {
        Rig rig;
        fake.records[0].addressList = QStringLiteral("-1,0");
        rig.run.setMode(UpdateRun::DataOnly);
        rig.run.start();
        QCOMPARE(calls("^(address|data)").join(u','), "address -1,data T 0 @-1,address 0,address 0,data T 0 @0");
    }

    void textIsCleanedThenMapped()
    {
        Rig rig(1, QStringLiteral("T5 C260"));
        for (const char* name : {"Extended/6X8L.IDX", "Extended/6X8L.CFF"}) // an extended font that maps "é" to 128
            writeFile(rig.env.path(QLatin1String(name)), QByteArray("\x00\xE9", 2));
        FakePluginMaster::cleaner = [](QString text) { return text.replace(QStringLiteral("darn"), "****"); };
        rig.vars->setVariableData(5, QStringLiteral("darn café"));
        rig.vars->setVariableData(260, QStringLiteral("plain"));
        rig.run.setMode(UpdateRun::DataOnly);
        rig.run.start();
        QCOMPARE(fake.texts, (QStringList{QStringLiteral("**** caf") + codepage::chr(128), "plain"}));
        QCOMPARE(FakePluginMaster::methodsRun, QStringList(2, pluginmaster::kBadWordCheckerProgId + ".CleanCMD"));
    }

    void cancel_data()
    {
        QTest::addColumn<Cancel>("c");
        addRow("Cancel: that display, after its current variable",
               Cancel{3, 1, "T1..4", 2, false, "T0 T1 T0 T1 T2 T3 T4 T0 T1 T2 T3 T4", "FAILED,Updated,Updated"});
        addRow("Cancel All: the rest waits, no countdown",
               Cancel{3, 1, "T1..4", 2, true, "T0 T1", "FAILED,Not Updated,Not Updated"});
        addRow("attributes: the text phase drops its batch", Cancel{1, 3, "T1..5", 3, false, "", "FAILED"});
        addRow("after a full batch went", Cancel{1, 3, "T1..201", 201, false, "T200", "FAILED"});
        addRow("the cell phase keeps the text flush", Cancel{1, 3, "T1 T2 C257 C258", 6, false, "T2", "FAILED"});
        // Too late for the last variable's event: its step's result stands, the steps left are skipped.
        addRow("late: the data went, no attributes", Cancel{1, 1, "T1..4", 4, false, "T0 T1 T2 T3", "Updated", true});
        addRow("late: the last flush goes", Cancel{1, 3, "T1 T2 C257 C258", 8, false, "T2 C2", "Updated", true});
        addRow("late Cancel All: the pass ends, nothing to retry",
               Cancel{2, 2, "T1..4", 4, true, "T0 T1 T2 T3", "FAILED,Not Updated", true});
    }
    void cancel()
    {
        QFETCH(Cancel, c);
        Rig rig(c.displays, c.selection);
        rig.cancelAt = c.at;
        rig.cancel = c.all ? &UpdateRun::cancelAll : &UpdateRun::cancelDisplay;
        rig.cancelLate = c.late;
        QSignalSpy status(&rig.run, &UpdateRun::statusChanged);
        rig.run.setMode(UpdateRun::Mode(c.mode));
        rig.run.start();
        QCOMPARE(sent(), c.sent);
        QCOMPARE(rig.rows().join(u','), c.statuses);
        QCOMPARE(rig.controls(), c.late ? "save" : c.all ? "save retry" : "save retry stop label countdown");
        QCOMPARE(rig.run.reportText().endsWith("Location/Display=1\r\nStatus= User Canceled\r\n"), c.all);
        QCOMPARE(std::any_of(status.begin(), status.end(), [](const auto& args) { return args[0] == "Canceled"; }),
                 !c.late);
    }

    void texts_data()
    {
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("retry");    // the countdown's label, after "Retrying Failed Connections in "
        QTest::addColumn<QString>("timeLeft"); // FormatTimeLeft, and the minutes it leaves
        addRow("negative", -3, "23 Hour(s) 59 Min. 57 Sec. ", "Now -3");
        addRow("60", 60, "1 Min. 0 Sec. ", "in 1h. 0min. 0");
        addRow("125", 125, "2 Min. 5 Sec. ", "in 2h. 5min. 5");
        addRow("3725", 3725, "1 Hour(s) 2 Min. 5 Sec. ", "in 62h. 5min. 5");
        addRow("90061", 90061, "1 Day(s) 1 Hour(s) 1 Min. 1 Sec. ", "in 1501h. 1min. 1");
    }
    void texts()
    {
        QFETCH(int, value);
        QFETCH(QString, retry);
        QCOMPARE(UpdateRun::retryText(value), "Retrying Failed Connections in " + retry);
        long minutes = value;
        const QString text = UpdateRun::FormatTimeLeft(minutes);
        QTEST(QString(text + u' ' + QString::number(minutes)), "timeLeft");
    }

    void retryCountdown_data()
    {
        QTest::addColumn<QString>("interval");
        QTest::addColumn<int>("seconds");
        addRow("2", "2", 2);
        addRow("0 runs at the first tick", "0", 0);
        addRow("not a number is the default", "soon", 3600);
    }
    void retryCountdown()
    {
        QFETCH(QString, interval);
        QFETCH(int, seconds);
        Rig rig;
        settings::write(settings::kRetryInterval, interval);
        fake.refusedTargets << QStringLiteral("host1");
        rig.run.start();
        QCOMPARE(rig.run.retryLabel(), UpdateRun::retryText(seconds));
        for (int i = 0; i < seconds; ++i)
            rig.run.retryTick();
        QCOMPARE(rig.run.retryLabel(), UpdateRun::retryText(0));
        QCOMPARE(fake.opens.size(), 1);
        fake.refusedTargets.clear(); // the display is back; the tick at zero runs the pass
        rig.run.retryTick();
        QCOMPARE(rig.rows(), QStringList{"Updated"});
        QCOMPARE(rig.controls(), QStringLiteral("save"));
    }

    void scheduledDisplaysGoWhenDue()
    {
        Rig rig(3);
        // Between the start and the pass the clock runs on, within the second.
        Clock::setFixed(QDateTime(QDate(2010, 3, 5), QTime(14, 7, 9, 400)), 1);
        fake.refusedTargets << QStringLiteral("host1");
        rig.run.setDelayList(QStringLiteral("0,15,90"));
        rig.run.start();
        QCOMPARE(rig.rows(&DisplayRow::when), (QStringList{"connection refused", "in 15min.", "in 1h. 30min."}));
        QCOMPARE(rig.rows(&DisplayRow::delay), (QStringList{"00000", "00015", "00090"}));

        Clock::advance(10 * 60); // the failed row's reason gives way to its time; it starts no pass
        rig.run.scheduleTick();
        QCOMPARE(rig.rows(&DisplayRow::when), (QStringList{"Now", "in 5min.", "in 1h. 20min."}));
        QCOMPARE(fake.opens.size(), 1);

        Clock::advance(5 * 60); // exactly due is not yet due
        rig.run.scheduleTick();
        QCOMPARE(rig.rows(), (QStringList{"FAILED", "Scheduled", "Scheduled"}));

        Clock::advance(1); // the pass retries the failed display too
        rig.run.scheduleTick();
        QCOMPARE(calls("^open"), (QStringList{"open host1", "open host1", "open host2"}));
        QCOMPARE(rig.rows(), (QStringList{"FAILED", "Updated", "Scheduled"}));
        QVERIFY(rig.run.timerSched().isActive());

        fake.refusedTargets.clear();
        Clock::advance(75 * 60);
        rig.run.scheduleTick();
        QCOMPARE(rig.rows(), QStringList(3, "Updated"));
        QVERIFY(!rig.run.timerSched().isActive());
    }
};

QTEST_MAIN(TestUpdateRun)
#include "tst_updaterun.moc"
