#include "clsVarUpdater.h"
#include "clsVariableAccess.h"
#include "codepage.h"
#include "fakedisplays.h"
#include "fakepluginmaster.h"
#include "pluginmaster.h"
#include "testenvironment.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>

namespace {
using Numbers = QList<int>;

VarSelection selectionOf(const Numbers& numbers)
{
    VarSelection vars;
    for (int n : numbers)
        vars.append(clsVarSetupInfo{n <= 256, int16_t(n)});
    return vars;
}

Numbers range(int first, int last)
{
    Numbers out;
    for (int n = first; n <= last; ++n)
        out << n;
    return out;
}

Numbers repeated(int n, int times) { return Numbers(times, n); }

QStringList sendNames()
{
    QStringList out;
    for (const DataSend& s : FakeDisplays::dataSends)
        out << (s.text ? u'T' : u'C') + QString::number(s.index);
    return out;
}

QStringList flushNames()
{
    QStringList out;
    for (const AttributeFlush& f : FakeDisplays::flushes)
        out << (f.text ? u'T' : u'C') + QString::number(f.entries.size());
    return out;
}

// One updater wired to fakes, with its progress events recorded.
struct Rig {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars;
    FakeDispTrans control;
    FakePluginMaster master;
    clsVarUpdater updater;
    QList<int> dataPercents;
    QList<int> attributePercents;
    int cancelAtEvent = -1;  // 1-based event number whose handler cancels
    int events = 0;

    Rig()
    {
        FakeDisplays::reset();
        FakePluginMaster::reset();
        vars = std::make_unique<clsVariableAccess>();
        updater.TransControl = &control;
        updater.PluginMaster = &master;
        updater.Variables = vars.get();
        auto handler = [this](QList<int>& into) {
            return [this, &into](short& percent, bool& cancel) {
                into << percent;
                if (++events == cancelAtEvent)
                    cancel = true;
            };
        };
        QObject::connect(&updater, &clsVarUpdater::PercentCompleteData, &updater, handler(dataPercents),
                         Qt::DirectConnection);
        QObject::connect(&updater, &clsVarUpdater::PercentCompleteAtts, &updater, handler(attributePercents),
                         Qt::DirectConnection);
    }
};
} // namespace

class TestClsVarUpdater final : public QObject {
    Q_OBJECT
private slots:
    void percentRounding_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("expected");
        QTest::newRow("1 of 8 = 12.5 -> 12") << 1 << 8 << 12;
        QTest::newRow("3 of 8 = 37.5 -> 38") << 3 << 8 << 38;
        QTest::newRow("5 of 8 = 62.5 -> 62") << 5 << 8 << 62;
        QTest::newRow("1 of 3") << 1 << 3 << 33;
        QTest::newRow("2 of 3") << 2 << 3 << 67;
        // Divided before scaling: 23 / 40 * 100 is just below 57.5.
        QTest::newRow("23 of 40 divides first") << 23 << 40 << 57;
        QTest::newRow("109 of 200 divides first") << 109 << 200 << 55;
        QTest::newRow("all") << 416 << 416 << 100;
    }
    void percentRounding()
    {
        QFETCH(int, position);
        QFETCH(int, count);
        QFETCH(int, expected);
        QCOMPARE(int(clsVarUpdater::percentOf(position, count)), expected);
    }

    void batchLimit_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("full");
        QTest::newRow("empty") << 0 << false;
        QTest::newRow("994") << 994 << false;
        QTest::newRow("995 leaves room for 5") << 995 << false;
        QTest::newRow("996") << 996 << true;
        QTest::newRow("1000") << 1000 << true;
    }
    void batchLimit()
    {
        QFETCH(int, length);
        QFETCH(bool, full);
        QCOMPARE(clsVarUpdater::batchIsFull(length), full);
    }

    void data_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<int>("refusedSend");  // 0-based send the display refuses, -1 none
        QTest::addColumn<QStringList>("sends");
        QTest::addColumn<QList<int>>("percents");
        QTest::addColumn<bool>("result");
        QTest::newRow("text and cell indexes") << Numbers{1, 257, 256, 416} << -1
                                               << QStringList{"T0", "C0", "T255", "C159"}
                                               << QList<int>{25, 50, 75, 100} << true;
        QTest::newRow("empty selection") << Numbers{} << -1 << QStringList{} << QList<int>{} << false;
        QTest::newRow("halves to even") << range(1, 8) << -1
                                        << QStringList{"T0", "T1", "T2", "T3", "T4", "T5", "T6", "T7"}
                                        << QList<int>{12, 25, 38, 50, 62, 75, 88, 100} << true;
        QTest::newRow("first refusal stops") << Numbers{1, 2, 3} << 1 << QStringList{"T0", "T1"} << QList<int>{33}
                                             << false;
        QTest::newRow("last variable refused") << Numbers{300, 301} << 1 << QStringList{"C43", "C44"}
                                               << QList<int>{50} << false;
        QTest::newRow("selection order kept") << Numbers{416, 1} << -1 << QStringList{"C159", "T0"}
                                              << QList<int>{50, 100} << true;
    }
    void data()
    {
        QFETCH(Numbers, numbers);
        QFETCH(int, refusedSend);
        QFETCH(QStringList, sends);
        QFETCH(QList<int>, percents);
        QFETCH(bool, result);
        Rig rig;
        int sent = 0;
        FakeDisplays::onCall = [&](const QString& call) {
            if (call.startsWith(QStringLiteral("data")) && sent++ == refusedSend)
                FakeDisplays::deadAddresses.insert(rig.control.DisplayAddress());
        };
        rig.updater.SelectedVars = selectionOf(numbers);
        QCOMPARE(rig.updater.UpdateVariableDataOnDisplay(4), result);
        QCOMPARE(sendNames(), sends);
        QCOMPARE(rig.dataPercents, percents);
        QVERIFY(rig.attributePercents.isEmpty());
        QVERIFY(FakeDisplays::flushes.isEmpty());
    }

    void textIsCleanedThenMapped()
    {
        Rig rig;
        // The extended font maps "é" to code 128.
        QDir().mkpath(rig.env.path(QStringLiteral("Extended")));
        QFile index(rig.env.path(QStringLiteral("Extended/6X8L.IDX")));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write(QByteArray("\x00\xE9", 2));
        index.close();
        QFile font(rig.env.path(QStringLiteral("Extended/6X8L.CFF")));
        QVERIFY(font.open(QIODevice::WriteOnly));
        font.write("font");
        font.close();

        QStringList seenByCleaner;
        FakePluginMaster::cleaner = [&](const QString& text) {
            seenByCleaner << text;
            return QString(text).replace(QStringLiteral("darn"), QStringLiteral("****"));
        };
        rig.vars->setVariableData(5, QStringLiteral("darn café"));
        rig.vars->setVariableData(260, QStringLiteral("plain"));
        rig.updater.SelectedVars = selectionOf({5, 260});
        QVERIFY(rig.updater.SetTextVarsByNonMultiWrite(1));

        QCOMPARE(seenByCleaner, (QStringList{QStringLiteral("darn café"), QStringLiteral("plain")}));
        const QString checker = pluginmaster::kBadWordCheckerProgId + QStringLiteral(".CleanCMD");
        QCOMPARE(FakePluginMaster::methodsRun, (QStringList{checker, checker}));
        QCOMPARE(FakeDisplays::dataSends.size(), 2);
        QCOMPARE(FakeDisplays::dataSends[0].varText, QStringLiteral("**** caf") + codepage::chr(128));
        QCOMPARE(FakeDisplays::dataSends[1].varText, QStringLiteral("plain"));
    }

    void dataReadsLinksThroughLinkSource()
    {
        Rig rig;
        FixedLink link;
        rig.vars->setVariableOLELink(3, QStringLiteral("C:\\book.xls!Variables!R4C2"));
        rig.vars->setVariableData(3, QStringLiteral("stale"));
        rig.updater.LinkSource = &link;
        rig.updater.SelectedVars = selectionOf({3});
        QVERIFY(rig.updater.UpdateVariableDataOnDisplay(1));
        QCOMPARE(FakeDisplays::dataSends.value(0).varText, QStringLiteral("42"));
    }

    void attributes_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<QList<bool>>("answers");
        QTest::addColumn<QStringList>("flushes");
        QTest::addColumn<bool>("result");
        QTest::newRow("empty selection") << Numbers{} << QList<bool>{} << QStringList{} << false;
        QTest::newRow("three text") << Numbers{1, 2, 3} << QList<bool>{} << QStringList{"T3"} << true;
        QTest::newRow("200 fill one batch") << range(1, 200) << QList<bool>{} << QStringList{"T200"} << true;
        QTest::newRow("201 need two") << range(1, 201) << QList<bool>{} << QStringList{"T200", "T1"} << true;
        QTest::newRow("text before cells") << Numbers{257, 1, 258, 2} << QList<bool>{} << QStringList{"T2", "C2"}
                                           << true;
        QTest::newRow("cells only") << Numbers{300, 301} << QList<bool>{} << QStringList{"C2"} << true;
        QTest::newRow("201 cells") << repeated(257, 201) << QList<bool>{} << QStringList{"C200", "C1"} << true;
        QTest::newRow("failed middle flush ignored") << range(1, 201) << QList<bool>{false, true}
                                                     << QStringList{"T200", "T1"} << true;
        QTest::newRow("failed last flush decides") << range(1, 201) << QList<bool>{true, false}
                                                   << QStringList{"T200", "T1"} << false;
        QTest::newRow("text result when no cells") << Numbers{1, 2} << QList<bool>{false} << QStringList{"T2"}
                                                   << false;
        QTest::newRow("cell flush decides over text") << Numbers{1, 257} << QList<bool>{false, true}
                                                      << QStringList{"T1", "C1"} << true;
    }
    void attributes()
    {
        QFETCH(Numbers, numbers);
        QFETCH(QList<bool>, answers);
        QFETCH(QStringList, flushes);
        QFETCH(bool, result);
        Rig rig;
        for (bool a : answers)
            FakeDisplays::flushAnswers.enqueue(a);
        rig.updater.SelectedVars = selectionOf(numbers);
        QCOMPARE(rig.updater.UpdateVariableAttributesOnDisplay(2), result);
        QCOMPARE(flushNames(), flushes);
        for (const AttributeFlush& f : FakeDisplays::flushes)
            QVERIFY2(f.commandTextLength <= 1000, qPrintable(QString::number(f.commandTextLength)));
        QVERIFY(FakeDisplays::dataSends.isEmpty());
        QCOMPARE(rig.attributePercents.size(), 2 * numbers.size());  // one event per member and phase
    }

    void attributePercents_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<QList<int>>("percents");
        QTest::newRow("text only: cell phase frozen at the last batch")
            << Numbers{1, 2, 3} << QList<int>{33, 67, 100, 100, 100, 100};
        QTest::newRow("interleaved: batch plus carry")
            << Numbers{1, 257, 2, 258} << QList<int>{25, 25, 50, 50, 50, 75, 75, 100};
        QTest::newRow("cells only: no carry") << Numbers{257, 258} << QList<int>{0, 0, 50, 100};
    }
    void attributePercents()
    {
        QFETCH(Numbers, numbers);
        QFETCH(QList<int>, percents);
        Rig rig;
        rig.updater.SelectedVars = selectionOf(numbers);
        rig.updater.UpdateVariableAttributesOnDisplay(1);
        QCOMPARE(rig.attributePercents, percents);
    }

    void cellPercentFallsBackAfterFlush()
    {
        Rig rig;
        // One text variable (carry 1), then 201 cells: the 201st cell sends the full batch first.
        rig.updater.SelectedVars = selectionOf(Numbers{1} + repeated(257, 201));
        rig.updater.UpdateVariableAttributesOnDisplay(1);
        const QList<int>& p = rig.attributePercents;
        QCOMPARE(p.size(), 2 * 202);
        QCOMPARE(p[202], 0);          // the text member: carry 1 of 202
        QCOMPARE(p[202 + 199], 99);   // (199 + 1) / 202
        QCOMPARE(p[202 + 200], 100);  // (200 + 1) / 202 = 99.5
        QCOMPARE(p[202 + 201], 1);    // the full batch went first: (1 + 1) / 202
    }

    void attributeEntries()
    {
        Rig rig;
        rig.vars->setVariableColor(1, QStringLiteral("3"));
        rig.vars->setVariableBlink(1, QStringLiteral("1"));
        rig.vars->setVariableInverse(1, QStringLiteral("2"));
        rig.vars->setVariableColor(416, QStringLiteral("7"));
        rig.vars->setVariableInverse(416, QStringLiteral("1"));
        rig.updater.SelectedVars = selectionOf({1, 256, 416, 257});
        QVERIFY(rig.updater.UpdateVariableAttributesOnDisplay(1));
        QCOMPARE(FakeDisplays::flushes.size(), 2);
        const auto& text = FakeDisplays::flushes[0].entries;
        QCOMPARE(text.size(), 2);
        QCOMPARE(text[0].varIndex, int16_t(0));
        QCOMPARE(text[0].color, int16_t(3));
        QCOMPARE(text[0].blink, int16_t(1));
        QCOMPARE(text[0].inverse, int16_t(2));
        QCOMPARE(text[1].varIndex, int16_t(255));
        const auto& cells = FakeDisplays::flushes[1].entries;
        QCOMPARE(cells.size(), 2);
        QCOMPARE(cells[0].varIndex, int16_t(159));
        QCOMPARE(cells[0].color, int16_t(7));
        QCOMPARE(cells[0].inverse, int16_t(1));
        QCOMPARE(cells[1].varIndex, int16_t(0));
        QCOMPARE(cells[1].color, int16_t(1));
        QCOMPARE(cells[1].blink, int16_t(2));
    }

    void address_data()
    {
        QTest::addColumn<int>("address");
        QTest::addColumn<QList<int16_t>>("writes");
        QTest::addColumn<int>("sentTo");
        QTest::newRow("negative keeps the control's address") << -1 << QList<int16_t>{} << 9;
        QTest::newRow("most negative") << -32768 << QList<int16_t>{} << 9;
        QTest::newRow("zero is written") << 0 << QList<int16_t>{0} << 0;
        QTest::newRow("positive") << 12 << QList<int16_t>{12} << 12;
    }
    void address()
    {
        QFETCH(int, address);
        QFETCH(QList<int16_t>, writes);
        QFETCH(int, sentTo);
        for (bool data : {true, false}) {
            Rig rig;
            rig.control.setDisplayAddress(int16_t(9));
            FakeDisplays::addressWrites.clear();
            rig.updater.SelectedVars = selectionOf({1});
            if (data)
                rig.updater.UpdateVariableDataOnDisplay(int16_t(address));
            else
                rig.updater.UpdateVariableAttributesOnDisplay(int16_t(address));
            QCOMPARE(FakeDisplays::addressWrites, writes);
            if (data)
                QCOMPARE(int(FakeDisplays::dataSends.value(0).address), sentTo);
            else
                QCOMPARE(int(FakeDisplays::flushes.value(0).address), sentTo);
        }
    }

    void cancelData()
    {
        Rig rig;
        rig.cancelAtEvent = 2;
        rig.updater.SelectedVars = selectionOf({1, 2, 3, 4});
        QVERIFY(!rig.updater.UpdateVariableDataOnDisplay(1));
        QCOMPARE(sendNames(), (QStringList{"T0", "T1"}));  // stops after the variable just sent

        // The flag stays set: the next operation stops after its first event.
        FakeDisplays::dataSends.clear();
        QVERIFY(!rig.updater.UpdateVariableDataOnDisplay(1));
        QCOMPARE(sendNames(), QStringList{"T0"});
        QVERIFY(!rig.updater.UpdateVariableAttributesOnDisplay(1));
        QCOMPARE(rig.attributePercents.size(), 1);
        QVERIFY(FakeDisplays::flushes.isEmpty());
    }

    void cancelAttributes_data()
    {
        QTest::addColumn<Numbers>("numbers");
        QTest::addColumn<int>("cancelAt");
        QTest::addColumn<QStringList>("flushes");
        QTest::newRow("text phase drops the batch") << range(1, 5) << 3 << QStringList{};
        QTest::newRow("after a full batch went") << range(1, 201) << 201 << QStringList{"T200"};
        QTest::newRow("cell phase keeps text flush only") << Numbers{1, 2, 257, 258} << 6 << QStringList{"T2"};
    }
    void cancelAttributes()
    {
        QFETCH(Numbers, numbers);
        QFETCH(int, cancelAt);
        QFETCH(QStringList, flushes);
        Rig rig;
        rig.cancelAtEvent = cancelAt;
        rig.updater.SelectedVars = selectionOf(numbers);
        QVERIFY(!rig.updater.UpdateVariableAttributesOnDisplay(1));
        QCOMPARE(flushNames(), flushes);
        QCOMPARE(rig.attributePercents.size(), cancelAt);
    }

    void errorsPropagate_data()
    {
        QTest::addColumn<bool>("isText");
        QTest::addColumn<int>("varNum");
        QTest::addColumn<QString>("colour");
        QTest::addColumn<bool>("data");
        QTest::addColumn<bool>("withControl");
        QTest::addColumn<int>("error");
        QTest::newRow("text index overflows (data)") << true << -32768 << "1" << true << true << 6;
        QTest::newRow("text index overflows (attributes)") << true << -32768 << "1" << false << true << 6;
        QTest::newRow("cell index overflows (data)") << false << -32600 << "1" << true << true << 6;
        QTest::newRow("cell index overflows (attributes)") << false << -32600 << "1" << false << true << 6;
        QTest::newRow("colour not a number") << true << 1 << "red" << false << true << 13;
        QTest::newRow("no control (data)") << true << 1 << "1" << true << false << 424;
        QTest::newRow("no control (attributes)") << true << 1 << "1" << false << false << 424;
    }
    void errorsPropagate()
    {
        QFETCH(bool, isText);
        QFETCH(int, varNum);
        QFETCH(QString, colour);
        QFETCH(bool, data);
        QFETCH(bool, withControl);
        QFETCH(int, error);
        Rig rig;
        rig.vars->setVariableColor(1, colour);
        if (!withControl)
            rig.updater.TransControl = nullptr;
        rig.updater.SelectedVars = {clsVarSetupInfo{isText, int16_t(varNum)}};
        try {
            data ? rig.updater.UpdateVariableDataOnDisplay(1) : rig.updater.UpdateVariableAttributesOnDisplay(1);
            QFAIL("no error");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), error);
        }
        QVERIFY(FakeDisplays::dataSends.isEmpty());
    }

    void checkerFailurePropagates()
    {
        Rig rig;
        FakePluginMaster::failEveryCall = true;
        rig.updater.SelectedVars = selectionOf({1});
        QVERIFY_THROWS_EXCEPTION(RuntimeError, rig.updater.UpdateVariableDataOnDisplay(1));
        QVERIFY(FakeDisplays::dataSends.isEmpty());
    }

    void positionCounterOverflows()
    {
        Rig rig;
        rig.updater.SelectedVars = selectionOf(repeated(257, 32768));
        try {
            rig.updater.UpdateVariableAttributesOnDisplay(1);
            QFAIL("no overflow");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), int(RuntimeError::Overflow));
        }
    }
};

QTEST_GUILESS_MAIN(TestClsVarUpdater)
#include "tst_clsvarupdater.moc"
