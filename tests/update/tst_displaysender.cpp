// One display's send through the real transmission control to an emulated group
// of four units (addresses 1 to 4), one of which answers a command "busy".

#include "clsVariableAccess.h"
#include "displaysender.h"
#include "loopbackrig.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_DisplaySender final : public QObject {
    Q_OBJECT
private slots:
    void unitResults_data()
    {
        QTest::addColumn<UpdateOption>("option");
        QTest::addColumn<QString>("busy"); // command codes the busy unit refuses
        QTest::addColumn<QString>("busyUnit");
        QTest::addColumn<bool>("ok");           // the dialog's rule: the last unit's answer
        QTest::addColumn<QString>("sentUnits"); // the units that took every step
        // A unit in the middle fails; the units after it are still sent and the last answer counts.
        QTest::newRow("data, unit 3 busy") << UpdateOption::DataOnly << u"T"_s << u"3"_s << true << u"1,2,4"_s;
        QTest::newRow("attributes, unit 2 busy")
            << UpdateOption::AttributesOnly << u"A"_s << u"2"_s << true << u"1,3,4"_s;
        // The last unit's data fails: no unit gets its attributes.
        QTest::newRow("data fails at unit 4") << UpdateOption::DataAndAttributes << u"T"_s << u"4"_s << false << u""_s;
        QTest::newRow("attributes fail at unit 1")
            << UpdateOption::DataAndAttributes << u"A"_s << u"1"_s << true << u"2,3,4"_s;
        QTest::newRow("none busy (Z is no command)")
            << UpdateOption::DataAndAttributes << u"Z"_s << u"1"_s << true << u"1,2,3,4"_s;
    }

    void unitResults()
    {
        QFETCH(UpdateOption, option);
        QFETCH(QString, busy);
        QFETCH(QString, busyUnit);
        QFETCH(bool, ok);
        QFETCH(QString, sentUnits);

        LoopbackRig rig;
        const EmulatorProcess* group = rig.start(
            {u"--group"_s, u"1:1,1,b"_s, u"--busy"_s, busy, u"--busy-units"_s, busyUnit});
        QVERIFY(group);
        QVERIFY(rig.list({{u"Group"_s, group->tcpPort(), u"1"_s}}));
        clsVariableAccess vars;
        vars.setVariableData(1, u"GATE 4"_s);

        DisplaySender sender(&vars, nullptr);
        sender.setRecordHistory(false);
        const SendResult result = sender.send(u"1"_s, {{{true, 1}}, option});

        QVERIFY2(result.ok == ok, qPrintable(result.error));
        QCOMPARE(result.units, u"1"_s);
        QStringList sent;
        QList<int16_t> addresses;
        for (const UnitResult& unit : result.unitResults) {
            addresses.append(unit.address);
            if (unit.sent) {
                sent.append(QString::number(unit.address));
                QVERIFY(unit.error.isEmpty());
            } else {
                QVERIFY2(!unit.error.isEmpty(), qPrintable(u"unit %1 failed without a reason"_s.arg(unit.address)));
            }
        }
        QCOMPARE(addresses, (QList<int16_t>{1, 2, 3, 4}));
        QCOMPARE(sent.join(u','), sentUnits);
        QCOMPARE(result.allUnitsSent, sentUnits == u"1,2,3,4");
        // The busy unit's own reason, also when the display's result is ok.
        const UnitResult& refused = result.unitResults[busyUnit.toInt() - 1];
        if (!refused.sent)
            QVERIFY2(refused.error.contains(u"busy"), qPrintable(refused.error));
        QCOMPARE(result.error.isEmpty(), ok);
        QCOMPARE(result.failureText().isEmpty(), result.allUnitsSent);
    }
};

QTEST_GUILESS_MAIN(tst_DisplaySender)
#include "tst_displaysender.moc"
