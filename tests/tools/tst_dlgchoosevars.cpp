#include "clsVariableAccess.h"
#include "dlgChooseVars.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <functional>
#include <memory>

// The variable chooser as the user sees it: its list, its select buttons, the
// range text, and the choice it hands back and remembers.
class tst_dlgChooseVars final : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void shouldHaveDefaultValues();
    void listsEveryVariableInNumberOrder();
    void firstActivationTicksLastUsed();
    void selectButtons_data();
    void selectButtons();
    void selectRangeReplacesTicks_data();
    void selectRangeReplacesTicks();
    void selectRangeOverflowShowsError();
    void okWithNothingTickedRefuses();
    void getChosenVarsReturnsAndRemembers();
    void cancelGivesNothing();
    void getLastVarsWithoutDialog();
    void getLastVarsWithNothingStored();
    void missingSetShowsInitError();

private:
    std::unique_ptr<TestEnvironment> m_env;
    std::unique_ptr<ScriptedMessageBox> m_box;
    std::unique_ptr<clsVariableAccess> m_set;
};

namespace {
QTreeWidget* listOf(QWidget* d) { return d->findChild<QTreeWidget*>(QStringLiteral("lstvVarsToChoose")); }
QPushButton* button(QWidget* d, const char* name) { return d->findChild<QPushButton*>(QString::fromLatin1(name)); }

QList<int> ticked(QWidget* d)
{
    QList<int> out;
    QTreeWidget* list = listOf(d);
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        if (list->topLevelItem(i)->checkState(0) == Qt::Checked)
            out.append(i + 1);
    }
    return out;
}

void tick(QWidget* d, const QList<int>& rows)
{
    for (int row : rows)
        listOf(d)->topLevelItem(row - 1)->setCheckState(0, Qt::Checked);
}

QList<int> rows(int from, int to)
{
    QList<int> out;
    for (int i = from; i <= to; ++i)
        out.append(i);
    return out;
}

// Runs `script` on the chooser once it is shown modally.
void whenShown(const std::function<void(dlgChooseVars*)>& script)
{
    QTimer::singleShot(0, [script] {
        auto* d = qobject_cast<dlgChooseVars*>(QApplication::activeModalWidget());
        QVERIFY(d);
        script(d);
    });
}
} // namespace

void tst_dlgChooseVars::init()
{
    m_env = std::make_unique<TestEnvironment>();
    m_box = std::make_unique<ScriptedMessageBox>();
    m_set = std::make_unique<clsVariableAccess>();
}

void tst_dlgChooseVars::cleanup()
{
    m_set.reset();
    m_box.reset();
    m_env.reset();
}

void tst_dlgChooseVars::shouldHaveDefaultValues()
{
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    QCOMPARE(d.objectName(), QStringLiteral("dlgChooseVars"));
    QCOMPARE(d.windowTitle(), QStringLiteral("Variable Update - Choose Variables To Update"));
    QCOMPARE(listOf(&d)->headerItem()->text(1), QStringLiteral("Var Name"));
    const QList<std::pair<const char*, QString>> captions{
        {"cmdSelectAll", QStringLiteral("Select All")},       {"cmdUnSelectAll", QStringLiteral("Unselect All")},
        {"cmdSelectTexts", QStringLiteral("Select All Texts")}, {"cmdSelectCells", QStringLiteral("Select All Cells")},
        {"cmdUseLastSelected", QStringLiteral("Select Last Used")}, {"cmdSelectVarRange", QStringLiteral("Select Range")},
        {"cmdOK", QStringLiteral("OK")},                       {"cmdCancel", QStringLiteral("Cancel")}};
    for (const auto& [name, caption] : captions) {
        QPushButton* b = button(&d, name);
        QVERIFY2(b, name);
        QCOMPARE(b->text(), caption);
    }
    QCOMPARE(d.findChild<QLabel*>(QStringLiteral("Label1"))->text(), QStringLiteral("Variables Range:"));
    QCOMPARE(d.findChild<QLabel*>(QStringLiteral("Label2"))->text(),
             QStringLiteral("Enter variable number and/or variable ranges separated by commas. For example 1,3,5-12"));
    QVERIFY(d.findChild<QLineEdit*>(QStringLiteral("txtVarRange"))->text().isEmpty());
    QVERIFY(!button(&d, "cmdUseLastSelected")->isEnabled());
    QVERIFY(ticked(&d).isEmpty());
    QVERIFY(m_box->shown().isEmpty());
}

void tst_dlgChooseVars::listsEveryVariableInNumberOrder()
{
    m_set->setVariableName(3, QStringLiteral("Speed"));
    m_set->setVariableName(300, QStringLiteral("Temperature"));
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    QTreeWidget* list = listOf(&d);
    QCOMPARE(list->topLevelItemCount(), 416);
    const QList<std::tuple<int, QString, QString>> expected{
        {1, QStringLiteral("1-Text"), QStringLiteral("Text Var 1")},
        {3, QStringLiteral("3-Text"), QStringLiteral("Speed")},
        {256, QStringLiteral("256-Text"), QStringLiteral("Text Var 256")},
        {257, QStringLiteral("1-Cell"), QStringLiteral("Cell Var 1")},
        {300, QStringLiteral("44-Cell"), QStringLiteral("Temperature")},
        {416, QStringLiteral("160-Cell"), QStringLiteral("Cell Var 160")}};
    for (const auto& [row, text, name] : expected) {
        QTreeWidgetItem* item = list->topLevelItem(row - 1);
        QCOMPARE(item->text(0), text);
        QCOMPARE(item->text(1), name);
        QVERIFY(item->flags() & Qt::ItemIsUserCheckable);
    }
}

void tst_dlgChooseVars::firstActivationTicksLastUsed()
{
    settings::write(settings::kLastUsed, QStringLiteral("1;2;257"));
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    QCOMPARE(ticked(&d), (QList<int>{1, 2, 257}));
    QVERIFY(button(&d, "cmdUseLastSelected")->isEnabled());

    // A later activation does not tick the stored choice again.
    listOf(&d)->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
    d.hide();
    d.show();
    QCOMPARE(ticked(&d), (QList<int>{2, 257}));
    // "Select Last Used" adds the stored choice without unticking others.
    tick(&d, {10});
    QTest::mouseClick(button(&d, "cmdUseLastSelected"), Qt::LeftButton);
    QCOMPARE(ticked(&d), (QList<int>{1, 2, 10, 257}));
}

void tst_dlgChooseVars::selectButtons_data()
{
    QTest::addColumn<QList<int>>("before");
    QTest::addColumn<QStringList>("buttons");
    QTest::addColumn<QList<int>>("expected");
    const QList<int> texts = rows(1, 256);
    const QList<int> cells = rows(257, 416);
    QTest::newRow("all") << QList<int>{} << QStringList{"cmdSelectAll"} << rows(1, 416);
    QTest::newRow("unselect all") << QList<int>{1, 300} << QStringList{"cmdUnSelectAll"} << QList<int>{};
    QTest::newRow("texts keep ticked cells") << QList<int>{300} << QStringList{"cmdSelectTexts"}
                                             << (QList<int>(texts) << 300);
    QTest::newRow("cells keep ticked texts") << QList<int>{5} << QStringList{"cmdSelectCells"}
                                             << (QList<int>{5} + cells);
    QTest::newRow("texts and cells add up") << QList<int>{} << QStringList{"cmdSelectTexts", "cmdSelectCells"}
                                            << rows(1, 416);
    QTest::newRow("all then unselect") << QList<int>{} << QStringList{"cmdSelectAll", "cmdUnSelectAll"}
                                       << QList<int>{};
}

void tst_dlgChooseVars::selectButtons()
{
    QFETCH(QList<int>, before);
    QFETCH(QStringList, buttons);
    QFETCH(QList<int>, expected);
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    tick(&d, before);
    for (const QString& name : buttons)
        QTest::mouseClick(d.findChild<QPushButton*>(name), Qt::LeftButton);
    QCOMPARE(ticked(&d), expected);
}

void tst_dlgChooseVars::selectRangeReplacesTicks_data()
{
    QTest::addColumn<QString>("range");
    QTest::addColumn<QList<int>>("expected");
    QTest::newRow("list and range") << "1,3,5-12" << (QList<int>{1, 3} + rows(5, 12));
    QTest::newRow("open end") << "400-" << rows(400, 416);
    QTest::newRow("empty unticks all") << "" << QList<int>{};
    QTest::newRow("outside the list") << "0,417" << QList<int>{};
}

void tst_dlgChooseVars::selectRangeReplacesTicks()
{
    QFETCH(QString, range);
    QFETCH(QList<int>, expected);
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    tick(&d, {2, 200, 300});
    QTest::keyClicks(d.findChild<QLineEdit*>(QStringLiteral("txtVarRange")), range);
    QTest::mouseClick(button(&d, "cmdSelectVarRange"), Qt::LeftButton);
    QCOMPARE(ticked(&d), expected);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_dlgChooseVars::selectRangeOverflowShowsError()
{
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    d.findChild<QLineEdit*>(QStringLiteral("txtVarRange"))->setText(QStringLiteral("4,99999,6"));
    QTest::mouseClick(button(&d, "cmdSelectVarRange"), Qt::LeftButton);
    QCOMPARE(ticked(&d), QList<int>{4});
    QCOMPARE(m_box->texts(), QStringList{QStringLiteral("Overflow")});
    QCOMPARE(m_box->shown().first().icon, msgbox::Critical);
}

void tst_dlgChooseVars::okWithNothingTickedRefuses()
{
    settings::write(settings::kLastUsed, QStringLiteral("9"));
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    d.show();
    QTest::mouseClick(button(&d, "cmdUnSelectAll"), Qt::LeftButton);
    QTest::mouseClick(button(&d, "cmdOK"), Qt::LeftButton);
    QCOMPARE(m_box->shown().size(), 1);
    const msgbox::Request& r = m_box->shown().first();
    QCOMPARE(r.text, QStringLiteral("You didn't select anything"));
    QCOMPARE(r.title, QStringLiteral("Selection Error"));
    QCOMPARE(r.icon, msgbox::Critical);
    QCOMPARE(r.buttons, msgbox::OKOnly);
    QVERIFY(d.isVisible());
    QCOMPARE(settings::read(settings::kLastUsed), QStringLiteral("9"));
}

void tst_dlgChooseVars::getChosenVarsReturnsAndRemembers()
{
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    whenShown([](dlgChooseVars* c) {
        tick(c, {257, 3, 1});
        QTest::mouseClick(button(c, "cmdOK"), Qt::LeftButton);
    });
    const VarSelection chosen = d.GetChosenVars();
    QCOMPARE(chosen, (VarSelection{{true, 1}, {true, 3}, {false, 257}}));
    QVERIFY(!d.isVisible());
    QCOMPARE(settings::read(settings::kLastUsed), QStringLiteral("1;3;257"));
}

void tst_dlgChooseVars::cancelGivesNothing()
{
    settings::write(settings::kLastUsed, QStringLiteral("5"));
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    whenShown([](dlgChooseVars* c) {
        // A refused OK first, then Cancel: nothing unconfirmed comes back.
        QTest::mouseClick(button(c, "cmdUnSelectAll"), Qt::LeftButton);
        QTest::mouseClick(button(c, "cmdOK"), Qt::LeftButton);
        tick(c, {8});
        QTest::mouseClick(button(c, "cmdCancel"), Qt::LeftButton);
    });
    QVERIFY(d.GetChosenVars().isEmpty());
    QCOMPARE(settings::read(settings::kLastUsed), QStringLiteral("5"));
}

void tst_dlgChooseVars::getLastVarsWithoutDialog()
{
    settings::write(settings::kLastUsed, QStringLiteral("2;300;17"));
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    const VarSelection last = d.GetLastVars();
    QVERIFY(!d.isVisible());
    // Built in list order, and stored again in that order.
    QCOMPARE(last, (VarSelection{{true, 2}, {true, 17}, {false, 300}}));
    QCOMPARE(settings::read(settings::kLastUsed), QStringLiteral("2;17;300"));
    QVERIFY(m_box->shown().isEmpty());
}

void tst_dlgChooseVars::getLastVarsWithNothingStored()
{
    dlgChooseVars d;
    d.setVariableSet(m_set.get());
    QVERIFY(d.GetLastVars().isEmpty());
    QCOMPARE(m_box->texts(), QStringList{QStringLiteral("You didn't select anything")});
}

void tst_dlgChooseVars::missingSetShowsInitError()
{
    dlgChooseVars d;
    d.show();
    QCOMPARE(m_box->shown().size(), 1);
    QVERIFY(m_box->shown().first().text.startsWith(QStringLiteral("Error Initializing Variables ")));
    QVERIFY(m_box->shown().first().text.size() > QStringLiteral("Error Initializing Variables ").size());
    QCOMPARE(m_box->shown().first().icon, msgbox::Critical);
}

QTEST_MAIN(tst_dlgChooseVars)
#include "tst_dlgchoosevars.moc"
