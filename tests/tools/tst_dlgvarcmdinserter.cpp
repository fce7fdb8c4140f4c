// The variable command inserter as the host's frame editor opens it: through
// StartFrameFeature, with a frame object that records what it is asked to add.

#include "datarow.h"
#include "classregistry.h"
#include "clsVariableAccess.h"
#include "dialogcontrols.h"
#include "dlgVarCmdInserter.h"
#include "fakehostobjects.h"
#include "fakepluginmaster.h"
#include "testenvironment.h"
#include "varcommand.h"
#include "zolQMDVariables.h"

#include <QApplication>
#include <QComboBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

// Stands in for the host's frame-editor form.
class FakeFrame final : public QObject {
    Q_OBJECT
public:
    QStringList added;
    Q_INVOKABLE void addtexttocurrentline(const QString& text) { added << text; }
};

namespace {
// Runs `steps` on the inserter once it is up, then lets the test close it.
void whileOpen(const std::function<void(dlgVarCmdInserter&)>& steps)
{
    whenModal(QStringLiteral("dlgVarCmdInserter"),
              [steps](QWidget* w) { steps(*qobject_cast<dlgVarCmdInserter*>(w)); });
}

void choose(dlgVarCmdInserter& dlg, int n)
{
    auto* list = dlg.findChild<QComboBox*>(QStringLiteral("cmbVar"));
    list->setCurrentIndex(list->findData(n));
}

} // namespace

class TestVarCmdInserter final : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        m_world = std::make_unique<DialogWorld>();
        FakePluginMaster::reset();
        ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new FakePluginMaster; });
    }
    void cleanup()
    {
        ComponentLoader::clearFactories();
        m_world.reset();
    }

    void tokensAndEntries_data()
    {
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("token");
        addRow("first", 1, "Score", "Text Var1: Score", "VBL001");
        addRow("two digits", 12, "", "Text Var12: ", "VBL012");
        addRow("last text", 256, "x", "Text Var256: x", "VBL256");
        addRow("first cell", 257, "Cell A", "Cell Var1: Cell A", "VBL257");
        addRow("last cell", 416, "End", "Cell Var160: End", "VBL416");
    }
    void tokensAndEntries()
    {
        QFETCH(int, n);
        QFETCH(QString, name);
        QTEST(varcommand::entryText(int16_t(n), name), "entry");
        QTEST(varcommand::token(int16_t(n)), "token");
    }

    // Two insertions in a row and a current value, through the host's entry point.
    void insertsFromTheFrameFeature()
    {
        {
            clsVariableAccess set; // saved as the current file when it goes
            set.setVariableName(7, QStringLiteral("Temperature"));
            set.setVariableName(257, QStringLiteral("Price"));
            set.setVariableData(12, QStringLiteral("twelve is stored longer than allowed"));
            set.setVariableMaxLength(12, QStringLiteral("9"));
        }
        FakeFrame frame;
        zolQMDVariables plugin;
        QStringList entries;
        whileOpen([&](dlgVarCmdInserter& dlg) {
            auto* list = dlg.findChild<QComboBox*>(QStringLiteral("cmbVar"));
            for (int i = 0; i < list->count(); ++i)
                entries << list->itemText(i) + u'=' + list->itemData(i).toString();
            QCOMPARE(list->currentIndex(), 0);
            choose(dlg, 12);
            click(&dlg, "cmdVarInserter");
            choose(dlg, 257);
            click(&dlg, "cmdVarInserter");
            QVERIFY(dlg.isVisible()); // open for more
            choose(dlg, 12);
            click(&dlg, "cmdGetCurrentValue");
            click(&dlg, "cmdClose");
            QVERIFY(!dlg.isVisible());
        });
        plugin.StartFrameFeature(&frame);

        QCOMPARE(frame.added, QStringList({"VBL012", "VBL257"}));
        QCOMPARE(entries.size(), 416);
        QCOMPARE(entries.at(6), QStringLiteral("Text Var7: Temperature=7"));
        QCOMPARE(entries.at(256), QStringLiteral("Cell Var1: Price=257"));
        QCOMPARE(entries.at(415), QStringLiteral("Cell Var160: Cell Var 160=416"));
        QCOMPARE(m_world->box.shown().size(), 1);
        QCOMPARE(m_world->box.shown().at(0).text, QStringLiteral("twelve is"));
        QCOMPARE(m_world->box.shown().at(0).icon, msgbox::NoIcon);
        QCOMPARE(m_world->box.shown().at(0).buttons, msgbox::OKOnly);
    }

    // A linked variable shows the linked value; a frame without the operation gives a message.
    void linkedValueAndBadFrame()
    {
        clsVariableAccess set;
        set.setVariableData(300, QStringLiteral("stored"));
        set.setVariableOLELink(300, QStringLiteral("C:\\book.xls!Variables!R300C2"));
        FakeLinkContainer sheet;
        sheet.values.insert(set.VariableOLELink(300), QStringLiteral("live 42"));
        QObject noFrame;
        dlgVarCmdInserter dlg;
        dlg.setVariableSet(&set);
        dlg.setLinkContainer(&sheet);
        dlg.setFrame(&noFrame);
        whileOpen([&](dlgVarCmdInserter& open) {
            choose(open, 300);
            click(&open, "cmdGetCurrentValue");
            click(&open, "cmdVarInserter");
        });
        dlg.exec();
        QCOMPARE(m_world->box.texts().size(), 2);
        QCOMPARE(m_world->box.texts().at(0), QStringLiteral("live 42"));
        QVERIFY2(m_world->box.texts().at(1).startsWith(QStringLiteral("Error Occurred ")),
                 qPrintable(m_world->box.texts().at(1)));
        QCOMPARE(m_world->box.shown().at(1).icon, msgbox::Critical);
    }

private:
    std::unique_ptr<DialogWorld> m_world;
};

QTEST_MAIN(TestVarCmdInserter)
#include "tst_dlgvarcmdinserter.moc"
