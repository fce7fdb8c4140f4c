#include "dialogcontrols.h"
#include "datarow.h"
#include "clsVariableAccess.h"
#include "dlgChooseVars.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "varrange.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <memory>
#include <numeric>

namespace {
QTreeWidget* listOf(QWidget* d) { return d->findChild<QTreeWidget*>("lstvVarsToChoose"); }
void tick(QWidget* d, const QList<int>& rows, Qt::CheckState state = Qt::Checked)
{
    for (int row : rows)
        listOf(d)->topLevelItem(row - 1)->setCheckState(0, state);
}
QList<int> ticked(QWidget* d)
{
    QList<int> out;
    for (int i = 0; i < listOf(d)->topLevelItemCount(); ++i)
        if (listOf(d)->topLevelItem(i)->checkState(0) == Qt::Checked)
            out.append(i + 1);
    return out;
}
QList<int> rows(int from, int to)
{
    QList<int> r(to - from + 1);
    std::iota(r.begin(), r.end(), from);
    return r;
}
} // namespace

// The variable chooser: the rows its range text ticks, its list and select
// buttons, and the choice it hands back and remembers as "LastUsed".
class tst_dlgChooseVars final : public QObject {
    Q_OBJECT
    struct World : DialogWorld {
        clsVariableAccess set;
    };
    std::unique_ptr<World> m_world;

private slots:
    void init() { m_world = std::make_unique<World>(); }
    void cleanup() { m_world.reset(); }

    // Every control as the dialog opens, by objectName ("" = the dialog's title).
    void defaultState_data()
    {
        addControlRows({
            {"", "Variable Update - Choose Variables To Update"},
            {"cmdSelectAll", "Select All"},
            {"cmdUnSelectAll", "Unselect All"},
            {"cmdSelectTexts", "Select All Texts"},
            {"cmdSelectCells", "Select All Cells"},
            {"cmdUseLastSelected", "Select Last Used (disabled)"},
            {"Label1", "Variables Range:"},
            {"Label2", "Enter variable number and/or variable ranges separated by commas. For example 1,3,5-12"},
            {"txtVarRange", ""},
            {"cmdSelectVarRange", "Select Range"},
            {"cmdCancel", "Cancel"},
        });
    }
    void defaultState()
    {
        QFETCH(QString, name);
        dlgChooseVars d;
        d.setVariableSet(&m_world->set);
        QTEST(shownState(&d, name), "shown");
    }

    void rangeText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QList<int>>("expected");
        addRow("numbers and a range", "1,3,5-12", 416, (QList<int>{1, 3} + rows(5, 12)));
        addRow("open start", "-5", 416, rows(1, 5));
        addRow("open end", "400-", 416, rows(400, 416));
        addRow("end beyond the list", "410-999", 416, rows(410, 416));
        addRow("zero", "0", 416, QList<int>{});
        addRow("one past the list", "417", 416, QList<int>{});
        addRow("last row", "416", 416, QList<int>{416});
        addRow("reversed range", "12-5", 416, QList<int>{});
        addRow("empty", "", 416, QList<int>{});
        addRow("dash alone is everything", "-", 416, rows(1, 416));
        addRow("overlaps tick once, ascending", "7,3-8,5,1-2", 416, rows(1, 8));
        addRow("leading blanks", " 5, 7 - 9", 416, (QList<int>{5} + rows(7, 9)));
        addRow("not a number", "abc,x-y", 416, QList<int>{});
        addRow("text start counts 1", "x-3", 416, rows(1, 3));
        addRow("trailing text ignored", "12abc,4-6th", 416, (rows(4, 6) << 12));
        addRow("zero start raised to 1", "0-2", 416, rows(1, 2));
        addRow("second dash makes a negative end", "3--5", 416, QList<int>{});
        addRow("decimal rounds half to even", "2.5,3.5", 416, QList<int>{2, 4});
        addRow("start beyond the list", "500-600", 416, QList<int>{});
        addRow("empty elements", ",,4,,", 416, QList<int>{4});
        addRow("short list clamps", "2-", 5, rows(2, 5));
    }

    void rangeText()
    {
        QFETCH(QString, text);
        QFETCH(int, count);
        QTEST(varrange::parse(text, count), "expected");
    }
    void listTicksLastUsedOnce()
    {
        settings::write(settings::kLastUsed, "1;2;257");
        m_world->set.setVariableName(300, "Temperature");
        dlgChooseVars d;
        d.setVariableSet(&m_world->set);
        d.show();
        QStringList shown;
        for (int row : {256, 257, 300})
            shown << listOf(&d)->topLevelItem(row - 1)->text(0) + u' ' + listOf(&d)->topLevelItem(row - 1)->text(1);
        QCOMPARE(shown, (QStringList{"256-Text Text Var 256", "1-Cell Cell Var 1", "44-Cell Temperature"}));
        QCOMPARE(ticked(&d), (QList<int>{1, 2, 257}));
        // A later activation does not tick the stored choice again.
        tick(&d, {1}, Qt::Unchecked);
        d.hide();
        d.show();
        QCOMPARE(ticked(&d), (QList<int>{2, 257}));
        // "Select Last Used" adds the stored choice without unticking others.
        tick(&d, {10});
        click(&d, "cmdUseLastSelected");
        QCOMPARE(ticked(&d), (QList<int>{1, 2, 10, 257}));
    }

    void selecting_data()
    {
        QTest::addColumn<QList<int>>("before");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("range"); // typed before the button is clicked
        QTest::addColumn<QList<int>>("expected");
        QTest::addColumn<QStringList>("messages");
        addRow("all", QList<int>{}, "cmdSelectAll", "", rows(1, 416), QStringList{});
        addRow("texts keep cells", QList<int>{300}, "cmdSelectTexts", "", (rows(1, 256) << 300), QStringList{});
        addRow("cells keep texts", QList<int>{5}, "cmdSelectCells", "", (QList<int>{5} + rows(257, 416)),
               QStringList{});
        addRow("range replaces ticks", QList<int>{2, 200, 300}, "cmdSelectVarRange", "1,3,5-12",
               (QList<int>{1, 3} + rows(5, 12)), QStringList{});
        // A number beyond 16 bits: the rows of the elements before it stay ticked.
        addRow("overflow keeps earlier rows", QList<int>{2}, "cmdSelectVarRange", "4,99999,6", QList<int>{4},
               QStringList{"Overflow"});
        // No default button: Enter in the range box neither confirms nor closes.
        addRow("Enter does nothing", QList<int>{2}, "", "1-3", QList<int>{2}, QStringList{});
    }
    void selecting()
    {
        QFETCH(QList<int>, before);
        QFETCH(QString, button);
        QFETCH(QString, range);
        dlgChooseVars d;
        d.setVariableSet(&m_world->set);
        d.show();
        QVERIFY(!d.findChild<QPushButton*>("cmdUseLastSelected")->isEnabled()); // nothing stored
        tick(&d, before);
        QTest::keyClicks(d.findChild<QLineEdit*>("txtVarRange"), range);
        button.isEmpty() ? QTest::keyClick(d.findChild<QLineEdit*>("txtVarRange"), Qt::Key_Return) : click(&d, button);
        QTEST(ticked(&d), "expected");
        QVERIFY(d.isVisible() && settings::read(settings::kLastUsed).isEmpty());
        QTEST(m_world->box.texts(), "messages");
        for (const msgbox::Request& r : m_world->box.shown())
            QCOMPARE(r.icon, msgbox::Critical);
    }

    void getChosenVars()
    {
        // An OK with nothing ticked is refused and keeps the chooser open; Cancel then gives nothing.
        settings::write(settings::kLastUsed, "5");
        dlgChooseVars d;
        d.setVariableSet(&m_world->set);
        bool openAfterRefusal = false;
        QTimer::singleShot(0, [&] {
            click(&d, "cmdUnSelectAll");
            click(&d, "cmdOK");
            openAfterRefusal = d.isVisible();
            tick(&d, {8});
            click(&d, "cmdCancel");
        });
        QVERIFY(d.GetChosenVars().isEmpty());
        QVERIFY(openAfterRefusal);
        QCOMPARE(settings::read(settings::kLastUsed), "5");
        QCOMPARE(m_world->box.texts(), QStringList{"You didn't select anything"});
        const msgbox::Request r = m_world->box.shown().first();
        QVERIFY(r.title == u"Selection Error" && r.icon == msgbox::Critical && r.buttons == msgbox::OKOnly);
        // A new use lists afresh with the stored choice ticked; OK hands back the ticks in list order.
        QTimer::singleShot(0, [&] {
            tick(&d, {257, 3, 256});
            click(&d, "cmdOK");
        });
        QCOMPARE(d.GetChosenVars(), (VarSelection{{true, 3}, {true, 5}, {true, 256}, {false, 257}}));
        QVERIFY(!d.isVisible());
        QCOMPARE(settings::read(settings::kLastUsed), "3;5;256;257");
    }

    void getLastVars()
    {
        // No dialog: the stored choice in list order, stored again in that order.
        settings::write(settings::kLastUsed, "2;300;17");
        dlgChooseVars d;
        d.setVariableSet(&m_world->set);
        QCOMPARE(d.GetLastVars(), (VarSelection{{true, 2}, {true, 17}, {false, 300}}));
        QVERIFY(!d.isVisible());
        QCOMPARE(settings::read(settings::kLastUsed), "2;17;300");
        QVERIFY(m_world->box.shown().isEmpty());
        settings::write(settings::kLastUsed, "");
        dlgChooseVars empty;
        empty.setVariableSet(&m_world->set);
        QVERIFY(empty.GetLastVars().isEmpty());
        QCOMPARE(m_world->box.texts(), QStringList{"You didn't select anything"});
    }
};

QTEST_MAIN(tst_dlgChooseVars)
#include "tst_dlgchoosevars.moc"
