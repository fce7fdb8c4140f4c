// Update on transmit against emulated displays: the host's transmission control
// is connected and addressed before the plug-in is called, and what the display
// holds afterwards is read back over a second connection.

#include "datarow.h"
#include "classregistry.h"
#include "clsVariableAccess.h"
#include "dlgTransmitVars.h"
#include "fakehostobjects.h"
#include "fakepluginmaster.h"
#include "loopbackrig.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "zolQMDVariables.h"

#include <QRegularExpression>

#include <numeric>
#include <optional>

namespace {
constexpr int16_t kUnit = 7; // the only address the emulated display answers

// A transmission control as the host hands it over: connected, at kUnit.
Component<disptrans::IDispTrans> connectedControl(quint16 port)
{
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    disptrans::ConnectionSettings s{
        disptrans::Network, QStringLiteral("127.0.0.1"), {}, {}, QString::number(port), kUnit};
    if (!control->OpenConnection(s))
        qWarning("%s", qPrintable(control->LastErrorText()));
    return control;
}

// Colour, blink, inverse and data of variable n as the set gives them and as the display reads them back.
QString expectedOf(const clsVariableAccess& set, int16_t n, const QString& data)
{
    return QStringLiteral("%1 %2 %3 [%4]")
        .arg(set.VariableColor(n), set.VariableBlink(n), set.VariableInverse(n), data);
}

QStringList readAll(quint16 port)
{
    QList<int> all(clsVariableAccess::kVariableCount);
    std::iota(all.begin(), all.end(), 1);
    return readVariables(port, all, true, kUnit);
}

// Every variable different: data, colour 1 ... 7, blink and inverse in different rhythms.
void fill(clsVariableAccess& set)
{
    for (int16_t n = 1; n <= clsVariableAccess::kVariableCount; ++n) {
        set.setVariableData(n, QStringLiteral("value %1").arg(n));
        set.setVariableColor(n, QString::number(n % 7 + 1));
        set.setVariableBlink(n, n % 2 ? QStringLiteral("1") : QStringLiteral("2"));
        set.setVariableInverse(n, n % 3 ? QStringLiteral("2") : QStringLiteral("1"));
    }
}

int framesOf(EmulatorProcess& e, const QString& command)
{
    return int(
        e.log().filter(QRegularExpression(QStringLiteral("^FRAME .* addr=%1 .*%2").arg(kUnit).arg(command))).size());
}
} // namespace

class TestTransmitVars final : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        m_rig.emplace(LoopbackRig::Transmission);
        m_box.emplace();
        FakePluginMaster::reset();
        ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new FakePluginMaster; });
    }
    void cleanup()
    {
        ComponentLoader::clearFactories();
        m_box.reset();
        m_rig.reset();
    }

    // The host's pre-transmit call sends the saved set: all 416 variables, each
    // with its own attributes, at the address the host's control holds.
    void preTransmitLeavesEveryVariableOnTheDisplay()
    {
        auto* e = display();
        QVERIFY(e);
        QStringList expected;
        {
            clsVariableAccess set; // saved to the current file when it goes
            fill(set);
            set.setVariableData(300, QStringLiteral("a cell value longer than its limit"));
            set.setVariableMaxLength(300, QStringLiteral("6"));
            for (int16_t n = 1; n <= clsVariableAccess::kVariableCount; ++n)
                expected << expectedOf(set, n, n == 300 ? QStringLiteral("a cell") : set.VariableData(n));
        }
        auto control = connectedControl(e->tcpPort());
        zolQMDVariables plugin;
        plugin.StartPreTransmit(control.object(), nullptr);
        QVERIFY2(m_box->texts().isEmpty(), qPrintable(m_box->texts().join(u'\n')));
        QVERIFY(control->LastCommandSucceeded());
        QCOMPARE(control->DisplayAddress(), kUnit);
        control->CloseConnection();

        QCOMPARE(readAll(e->tcpPort()), expected);
        // Attributes went first, in batches, then one frame per variable.
        const QStringList frames = e->log().filter(QStringLiteral("FRAME"));
        const qsizetype firstData = frames.indexOf(QRegularExpression(QStringLiteral(".*write (text|cell) data.*")));
        const qsizetype lastAttributes = frames.lastIndexOf(
            QRegularExpression(QStringLiteral(".*write (text|cell) attributes.*")));
        QVERIFY(lastAttributes >= 0 && lastAttributes < firstData);
        QCOMPARE(framesOf(*e, QStringLiteral("write text data")), 256);
        QCOMPARE(framesOf(*e, QStringLiteral("write cell data")), 160);
        QCOMPARE(FakePluginMaster::methodsRun.size(), 416); // every text went through the bad-word checker
    }

    // A linked variable sends the linked value, cut to its maximum length.
    void linkedVariablesSendTheirLinkedValue()
    {
        auto* e = display();
        QVERIFY(e);
        clsVariableAccess set;
        fill(set);
        set.setVariableOLELink(3, QStringLiteral("C:\\vars.xls!Variables!R3C2"));
        set.setVariableOLELink(260, QStringLiteral("C:\\vars.xls!Variables!R260C2"));
        set.setVariableMaxLength(260, QStringLiteral("4"));
        FakeLinkContainer links;
        links.values.insert(set.VariableOLELink(3), QStringLiteral("FROM SHEET"));
        links.values.insert(set.VariableOLELink(260), QStringLiteral("SHEET CELL"));
        auto control = connectedControl(e->tcpPort());
        dlgTransmitVars dlg;
        dlg.setVariableSet(&set);
        dlg.setLinkSource(&links);
        dlg.UpdateVars(control.object());
        QCOMPARE(dlg.statusText(), QStringLiteral("Successful"));
        control->CloseConnection();

        const QStringList held = readAll(e->tcpPort());
        QCOMPARE(held.at(3 - 1), expectedOf(set, 3, QStringLiteral("FROM SHEET")));
        QCOMPARE(held.at(260 - 1), expectedOf(set, 260, QStringLiteral("SHEE")));
        QCOMPARE(held.at(4 - 1), expectedOf(set, 4, QStringLiteral("value 4")));
    }

    // A display that refuses a command: the status word, and whether data was sent at all.
    void refusedCommands_data()
    {
        QTest::addColumn<QString>("busy");
        QTest::addColumn<QString>("status");
        QTest::addColumn<int>("dataFrames");
        QTest::addColumn<QString>("heldText1"); // text variable 1 afterwards
        QTest::addColumn<QString>("heldCell1"); // cell variable 1 (257) afterwards
        addRow("all attributes refused", "AB", "FAILED!", 0, "1 2 2 []", "1 2 2 []");
        addRow("cell attributes refused", "B", "FAILED!", 0, "2 1 2 []", "1 2 2 []");
        // Only the last attribute batch decides, so refused text attributes go unnoticed.
        addRow("text attributes refused", "A", "Successful", 416, "1 2 2 [value 1]", "6 1 2 [value 257]");
        addRow("text data refused", "T", "FAILED!", 1, "2 1 2 []", "6 1 2 []");
        addRow("cell data refused", "C", "FAILED!", 257, "2 1 2 [value 1]", "6 1 2 []");
        addRow("messages refused only", "M", "Successful", 416, "2 1 2 [value 1]", "6 1 2 [value 257]");
    }
    void refusedCommands()
    {
        QFETCH(QString, busy);
        auto* e = display({QStringLiteral("--busy"), busy});
        QVERIFY(e);
        clsVariableAccess set;
        fill(set);
        auto control = connectedControl(e->tcpPort());
        dlgTransmitVars dlg;
        dlg.setVariableSet(&set);
        QCOMPARE(dlg.statusText(), QStringLiteral("Updating............."));
        dlg.UpdateVars(control.object());
        QTEST(dlg.statusText(), "status");
        QVERIFY(dlg.isHidden()); // it closes by itself
        control->CloseConnection();

        QTEST(framesOf(*e, QStringLiteral("write (text|cell) data")), "dataFrames");
        const QStringList held = readAll(e->tcpPort());
        QTEST(held.at(0), "heldText1");
        QTEST(held.at(256), "heldCell1");
    }

    // Without a transmission control nothing is sent and nothing escapes.
    void noTransmissionControlFails()
    {
        clsVariableAccess set;
        dlgTransmitVars dlg;
        dlg.setVariableSet(&set);
        QObject notAControl;
        dlg.UpdateVars(&notAControl);
        QCOMPARE(dlg.statusText(), QStringLiteral("FAILED!"));
        QCOMPARE(FakePluginMaster::methodsRun.size(), 0);
    }

private:
    // A display system with only kUnit, tracing its frames.
    EmulatorProcess* display(const QStringList& extra = {})
    {
        return m_rig->start(QStringList{QStringLiteral("--trace"), QStringLiteral("--units"), QString::number(kUnit)}
                            + extra);
    }
    std::optional<LoopbackRig> m_rig;
    std::optional<ScriptedMessageBox> m_box;
};

QTEST_MAIN(TestTransmitVars)
#include "tst_dlgtransmitvars.moc"
