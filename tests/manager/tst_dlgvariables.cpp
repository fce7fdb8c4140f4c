#include "clsVariableAccess.h"
#include "dlgVariables.h"
#include "managertestsupport.h"
#include "propertypage.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QFile>
#include <QGroupBox>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

#include <memory>

using testing::vlsRecord;

// The variable manager as the user sees it: its controls and menus, editing and
// switching variables and pages, what "Done" stores, the option and
// update-on-transmit settings, links, configuration files and the shared form.
class tst_dlgVariables final : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void shouldHaveDefaultValues();
    void sheetsReadLikePropertySheets_data();
    void sheetsReadLikePropertySheets();
    void menus_data();
    void menus();
    void showsVariableFromSet();
    void editsReachFileAndStoreOnDone();
    void switchingCommitsToShownVariable();
    void lengthListLimitsData();
    void optionsFromSettings_data();
    void optionsFromSettings();
    void doneStoresOptions();
    void updateOnTransmitFollowsCheckBox();
    void rightButtonOnSheetPopsEditMenu();
    void linkedVariableShowsItsValue();
    void pasteThenClearLink();
    void pasteUnsavedDocumentRefused();
    void configurationCommands_data();
    void configurationCommands();
    void sharedInstanceKeepsItsSet();
    void aboutAndSettingsOpenModally();

private:
    dlgVariables* openManager();
    QString vlsPath() const { return m_env->path(QStringLiteral("QMDvarinfo.vls")); }

    std::unique_ptr<TestEnvironment> m_env;
    std::unique_ptr<ScriptedMessageBox> m_box;
    std::unique_ptr<ScriptedFileDialog> m_files;
    std::unique_ptr<dlgVariables> m_dialog;
};

namespace {
template <class W>
W* child(QWidget* d, const QString& name)
{
    W* w = d->findChild<W*>(name);
    if (!w)
        qWarning("no child %s", qPrintable(name));
    return w;
}
QLineEdit* edit(QWidget* d, const char* name) { return child<QLineEdit>(d, QString::fromLatin1(name)); }
QComboBox* combo(QWidget* d, const char* name) { return child<QComboBox>(d, QString::fromLatin1(name)); }
QPushButton* button(QWidget* d, const char* name) { return child<QPushButton>(d, QString::fromLatin1(name)); }
QRadioButton* option(QWidget* d, int i) { return child<QRadioButton>(d, QStringLiteral("optVariable_%1").arg(i)); }

void typeInto(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
}

void chooseText(QComboBox* list, const QString& text)
{
    const int index = list->findText(text);
    QVERIFY2(index >= 0, qPrintable(text));
    list->setCurrentIndex(index);
}

QString stored(const settings::Key& key) { return settings::read(key, QStringLiteral("<absent>")); }
QString vbl(int n)
{
    return settings::ReadMachineSetting(QStringLiteral("Lumarex3"), QStringLiteral("Variables"),
                                        QStringLiteral("VBL%1").arg(n, 3, 10, QLatin1Char('0')),
                                        QStringLiteral("<absent>"));
}
} // namespace

void tst_dlgVariables::init()
{
    m_env = std::make_unique<TestEnvironment>();
    m_box = std::make_unique<ScriptedMessageBox>();
    m_files = std::make_unique<ScriptedFileDialog>();
    // A current file exists, as on a machine where the plug-in ran before.
    { clsVariableAccess first; }
}

void tst_dlgVariables::cleanup()
{
    m_dialog.reset();
    manager::releaseVariableManager();
    m_files.reset();
    m_box.reset();
    m_env.reset();
}

dlgVariables* tst_dlgVariables::openManager()
{
    m_dialog = std::make_unique<dlgVariables>();
    m_dialog->show();
    return m_dialog.get();
}

void tst_dlgVariables::shouldHaveDefaultValues()
{
    dlgVariables* d = openManager();
    QCOMPARE(d->objectName(), QStringLiteral("dlgVariables"));
    QCOMPARE(d->windowTitle(), QStringLiteral("Variable Manager - QMDvarinfo.vls"));
    auto* tabs = child<QTabWidget>(d, QStringLiteral("tabVariables"));
    QCOMPARE(tabs->count(), 2);
    QCOMPARE(tabs->tabText(0), QStringLiteral("Text"));
    QCOMPARE(tabs->tabText(1), QStringLiteral("Cell"));
    QCOMPARE(tabs->currentIndex(), 0);
    QCOMPARE(child<QGroupBox>(d, QStringLiteral("Frame1"))->title(), QStringLiteral("Options: "));
    const QStringList optionCaptions{QStringLiteral("Data && Attributes"), QStringLiteral("Data Only"),
                                     QStringLiteral("Attributes Only")};
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(option(d, i)->text(), optionCaptions[i]);
        QCOMPARE(option(d, i)->isChecked(), i == 0);  // "UpdateAll" defaults to True
    }
    auto* transmit = child<QCheckBox>(d, QStringLiteral("chkUpdateOnTransmit"));
    QCOMPARE(transmit->text(), QStringLiteral("Update On Transmit!"));
    QVERIFY(!transmit->isChecked());
    QCOMPARE(button(d, "cmdUpdateVariable")->text(), QStringLiteral("Update Display"));
    QCOMPARE(button(d, "cmdVariableAudit")->text(), QStringLiteral("Perform Variable Audit - Compare Variable Values"));
    QCOMPARE(button(d, "OKButton")->text(), QStringLiteral("Done"));
    QCOMPARE(button(d, "cmdTextOLEPasteClear")->text(), QStringLiteral("Paste"));
    QCOMPARE(button(d, "cmdCellVarOLEPaste")->text(), QStringLiteral("Paste"));
    QVERIFY(d->findChild<QTimer*>(QStringLiteral("tmrVarUpdate")));
    // The lists count the variables of their page; each page shows its first variable.
    const QList<std::tuple<const char*, int, int, QString, int>> lists{
        {"cmbTextVars", 256, 255, QStringLiteral("Text Var: 256 of 256"), 256},
        {"cmbCellVars", 160, 0, QStringLiteral("Cell Var: 1 of 160"), 257},
        {"cmbCellVars", 160, 159, QStringLiteral("Cell Var: 160 of 160"), 416},
        {"cmbTextMaxLength", 250, 249, QStringLiteral("250"), 0},
        {"cmbCellVarMaxLength", 58, 57, QStringLiteral("58"), 0}};
    for (const auto& [name, count, index, text, number] : lists) {
        QComboBox* list = combo(d, name);
        QCOMPARE(list->count(), count);
        QCOMPARE(list->itemText(index), text);
        if (number)
            QCOMPARE(list->itemData(index).toInt(), number);
    }
    QCOMPARE(combo(d, "cmbTextVars")->currentText(), QStringLiteral("Text Var: 1 of 256"));
    QCOMPARE(combo(d, "cmbCellVars")->currentText(), QStringLiteral("Cell Var: 1 of 160"));
    QCOMPARE(combo(d, "cmbTextMaxLength")->currentText(), QStringLiteral("250"));
    QCOMPARE(d->textPage()->shownNumber, 1);
    QCOMPARE(d->cellPage()->shownNumber, 257);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_dlgVariables::sheetsReadLikePropertySheets_data()
{
    QTest::addColumn<QString>("grid");
    QTest::addColumn<QStringList>("editors");
    QTest::newRow("text") << "gridTextVars"
                          << QStringList{"txtTextVariableName", "cmbTextVarColor", "cmbTextVarBlink", "cmbTextVarInverse",
                                         "txtTextVarData", "txtTextOLESource", "cmbTextMaxLength"};
    QTest::newRow("cell") << "gridCellVars"
                          << QStringList{"txtCellVarName", "cmbCellVarColor", "cmbCellVarBlink", "cmbCellVarInverse",
                                         "txtCellVarData", "txtCellVarOLESource", "cmbCellVarMaxLength"};
}

void tst_dlgVariables::sheetsReadLikePropertySheets()
{
    QFETCH(QString, grid);
    QFETCH(QStringList, editors);
    dlgVariables* d = openManager();
    auto* tabs = child<QTabWidget>(d, QStringLiteral("tabVariables"));
    tabs->setCurrentIndex(grid == QStringLiteral("gridTextVars") ? 0 : 1);
    auto* sheet = child<QTableWidget>(d, grid);
    QCOMPARE(sheet->rowCount(), 7);
    QCOMPARE(sheet->columnCount(), 2);
    const QStringList captions{"Friendly Name", "Variable Color", "Should Var Blink", "Show Var Inverse",
                               "Variable Data", "OLE Source", "Max Var Length"};
    const QFontMetrics metrics(sheet->font());
    for (int row = 0; row < 7; ++row) {
        QCOMPARE(sheet->item(row, 0)->text(), captions[row]);
        // The caption fits its column; the editor sits in the right column, inside the sheet.
        QVERIFY(metrics.horizontalAdvance(captions[row]) < sheet->columnWidth(0));
        QWidget* editor = child<QWidget>(d, editors[row]);
        QVERIFY(editor->isVisible());
        QWidget* cell = sheet->cellWidget(row, 1);
        QVERIFY(cell == editor || cell->isAncestorOf(editor));
        const QRect inSheet(editor->mapTo(sheet->viewport(), QPoint(0, 0)), editor->size());
        QVERIFY(inSheet.left() >= sheet->columnViewportPosition(1));
        QVERIFY(sheet->viewport()->rect().contains(inSheet));
        QVERIFY(editor->height() >= editor->minimumSizeHint().height() - 2);
    }
    QVERIFY(sheet->rowHeight(0) >= 325 / 15);
    QVERIFY(sheet->columnWidth(0) >= 2000 / 15);
}

void tst_dlgVariables::menus_data()
{
    QTest::addColumn<QString>("menu");
    QTest::addColumn<QStringList>("items");  // "name=caption", "-name" for a separator, "!" ends disabled items
    QTest::newRow("tools") << "mnuTools|&Tools"
                           << QStringList{"mnuToolsNewConfiguration=&New Configuration", "mnuToolsLoad=&Load Configuration",
                                          "mnuToolsSave=&Save Configuration", "-mnuSpacer1",
                                          "mnuViewAllVar=&View All Variables!", "-mnuSpacer",
                                          "mnuToolsAuto=&AutoConfigured Spreadsheet!"};
    QTest::newRow("edit") << "mnuPopUp|Edit"
                          << QStringList{"mnuPopUpVariableViewer=View/Edit Variable!", "-mnuSep1", "mnuUndo=Undo!",
                                         "-mnuSep2", "mnuCut=Cut!", "mnuCopy=Copy!", "mnuPaste=Paste!",
                                         "mnuDelete=Delete!", "-mnuSep3", "mnuSelectAll=Select All!"};
    QTest::newRow("update") << "mnuChoose|Update"
                            << QStringList{"mnuUpdateDisplay=Update Display Now", "-mnuSep4",
                                           "mnuChooseVar=Choose Variables to Update", "mnuChooseDisplay=Choose Displays",
                                           "-mnuSpacer2", "mnuSettings=Variable Update Settings"};
}

void tst_dlgVariables::menus()
{
    QFETCH(QString, menu);
    QFETCH(QStringList, items);
    dlgVariables* d = openManager();
    const QString menuName = menu.section(u'|', 0, 0);
    QMenu* m = child<QMenu>(d, menuName);
    QVERIFY(m);
    QCOMPARE(m->title(), menu.section(u'|', 1));
    const QList<QAction*> actions = m->actions();
    QCOMPARE(actions.size(), items.size());
    for (int i = 0; i < items.size(); ++i) {
        QString item = items[i];
        if (item.startsWith(u'-')) {
            QVERIFY(actions[i]->isSeparator());
            QCOMPARE(actions[i]->objectName(), item.mid(1));
            continue;
        }
        const bool disabled = item.endsWith(u'!');
        if (disabled)
            item.chop(1);
        QCOMPARE(actions[i]->objectName(), item.section(u'=', 0, 0));
        QCOMPARE(actions[i]->text(), item.section(u'=', 1));
        QCOMPARE(actions[i]->isEnabled(), !disabled);
    }
    // The menu bar holds the three menus and "&About", in that order.
    auto* bar = d->findChild<QMenuBar*>();
    QStringList titles;
    for (QAction* a : bar->actions())
        titles << a->text();
    QCOMPARE(titles, (QStringList{"&Tools", "Edit", "Update", "&About"}));
    QCOMPARE(bar->actions().last()->objectName(), QStringLiteral("mnuAbout"));
}

void tst_dlgVariables::showsVariableFromSet()
{
    auto d = std::make_unique<dlgVariables>();
    clsVariableAccess& set = d->variableSet();
    set.setVariableName(1, QStringLiteral("Speed"));
    set.setVariableColor(1, QStringLiteral("4"));
    set.setVariableBlink(1, QStringLiteral("1"));
    set.setVariableInverse(1, QStringLiteral("2"));
    set.setVariableData(1, QStringLiteral("55"));
    set.setVariableMaxLength(1, QStringLiteral("20"));
    set.setVariableName(257, QStringLiteral("Temp"));
    set.setVariableColor(257, QStringLiteral("7"));
    set.setVariableInverse(257, QStringLiteral("1"));
    d->show();
    QCOMPARE(edit(d.get(), "txtTextVariableName")->text(), QStringLiteral("Speed"));
    QCOMPARE(combo(d.get(), "cmbTextVarColor")->currentText(), QStringLiteral("Blue"));
    QCOMPARE(combo(d.get(), "cmbTextVarBlink")->currentText(), QStringLiteral("Yes"));
    QCOMPARE(combo(d.get(), "cmbTextVarInverse")->currentText(), QStringLiteral("No"));
    QCOMPARE(edit(d.get(), "txtTextVarData")->text(), QStringLiteral("55"));
    QCOMPARE(combo(d.get(), "cmbTextMaxLength")->currentText(), QStringLiteral("20"));
    QCOMPARE(edit(d.get(), "txtTextVarData")->maxLength(), 20);
    QCOMPARE(edit(d.get(), "txtCellVarName")->text(), QStringLiteral("Temp"));
    QCOMPARE(combo(d.get(), "cmbCellVarColor")->currentText(), QStringLiteral("White"));
    QCOMPARE(combo(d.get(), "cmbCellVarInverse")->currentText(), QStringLiteral("Yes"));
    QCOMPARE(combo(d.get(), "cmbCellVarMaxLength")->currentText(), QStringLiteral("58"));
    QCOMPARE(edit(d.get(), "txtCellVarData")->maxLength(), 58);
    m_dialog = std::move(d);
}

void tst_dlgVariables::editsReachFileAndStoreOnDone()
{
    dlgVariables* d = openManager();
    typeInto(edit(d, "txtTextVariableName"), QStringLiteral("Speed"));
    typeInto(edit(d, "txtTextVarData"), QStringLiteral("55 mph"));
    chooseText(combo(d, "cmbTextVarColor"), QStringLiteral("Green"));
    chooseText(combo(d, "cmbTextVarBlink"), QStringLiteral("Yes"));
    // Another variable on the same page.
    combo(d, "cmbTextVars")->setCurrentIndex(1);
    QCOMPARE(edit(d, "txtTextVariableName")->text(), QStringLiteral("Text Var 2"));
    typeInto(edit(d, "txtTextVarData"), QStringLiteral("second"));
    // The other page.
    child<QTabWidget>(d, QStringLiteral("tabVariables"))->setCurrentIndex(1);
    combo(d, "cmbCellVars")->setCurrentIndex(2);
    typeInto(edit(d, "txtCellVarData"), QStringLiteral("12"));
    chooseText(combo(d, "cmbCellVarInverse"), QStringLiteral("Yes"));
    chooseText(combo(d, "cmbCellVarMaxLength"), QStringLiteral("10"));
    QVERIFY(!QFile::exists(vlsPath()) || vlsRecord(vlsPath(), 1).value(4).isEmpty());

    QTest::mouseClick(button(d, "OKButton"), Qt::LeftButton);
    QVERIFY(!d->isVisible());
    QCOMPARE(d->result(), int(QDialog::Accepted));
    QCOMPARE(vlsRecord(vlsPath(), 1), (QStringList{"Speed", "2", "1", "2", "55 mph", "", "250"}));
    QCOMPARE(vlsRecord(vlsPath(), 2), (QStringList{"Text Var 2", "1", "2", "2", "second", "", "250"}));
    QCOMPARE(vlsRecord(vlsPath(), 259), (QStringList{"Cell Var 3", "1", "2", "1", "12", "", "10"}));
    QCOMPARE(vlsRecord(vlsPath(), 257), (QStringList{"Cell Var 1", "1", "2", "2", "", "", "58"}));
    QCOMPARE(vbl(1), QStringLiteral("55 mph"));
    QCOMPARE(vbl(2), QStringLiteral("second"));
    QCOMPARE(vbl(259), QStringLiteral("12"));
    QCOMPARE(vbl(416), QString());
    // Closed: neither page shows a variable any more.
    QCOMPARE(d->textPage()->shownNumber, 0);
    QCOMPARE(d->cellPage()->shownNumber, 0);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_dlgVariables::switchingCommitsToShownVariable()
{
    dlgVariables* d = openManager();
    typeInto(edit(d, "txtTextVarData"), QStringLiteral("first"));
    combo(d, "cmbTextVars")->setCurrentIndex(4);
    QCOMPARE(edit(d, "txtTextVarData")->text(), QString());
    QCOMPARE(d->variableSet().VariableData(1), QStringLiteral("first"));
    QCOMPARE(d->variableSet().VariableData(5), QString());
    typeInto(edit(d, "txtTextVarData"), QStringLiteral("fifth"));
    // Switching pages commits nothing by itself; choosing does.
    child<QTabWidget>(d, QStringLiteral("tabVariables"))->setCurrentIndex(1);
    QCOMPARE(d->variableSet().VariableData(5), QString());
    child<QTabWidget>(d, QStringLiteral("tabVariables"))->setCurrentIndex(0);
    combo(d, "cmbTextVars")->setCurrentIndex(0);
    QCOMPARE(edit(d, "txtTextVarData")->text(), QStringLiteral("first"));
    QCOMPARE(d->variableSet().VariableData(5), QStringLiteral("fifth"));
    QCOMPARE(d->textPage()->shownNumber, 1);
}

void tst_dlgVariables::lengthListLimitsData()
{
    dlgVariables* d = openManager();
    QLineEdit* data = edit(d, "txtTextVarData");
    typeInto(data, QStringLiteral("Hello World"));
    chooseText(combo(d, "cmbTextMaxLength"), QStringLiteral("5"));
    QCOMPARE(data->maxLength(), 5);
    QCOMPARE(data->text(), QStringLiteral("Hello"));
    QCOMPARE(d->variableSet().VariableMaxLength(1), QStringLiteral("5"));
    typeInto(data, QStringLiteral("abcdefgh"));
    QCOMPARE(data->text(), QStringLiteral("abcde"));
    QTest::mouseClick(button(d, "OKButton"), Qt::LeftButton);
    QCOMPARE(vlsRecord(vlsPath(), 1).value(4), QStringLiteral("abcde"));
    QCOMPARE(vlsRecord(vlsPath(), 1).value(6), QStringLiteral("5"));
}

void tst_dlgVariables::optionsFromSettings_data()
{
    QTest::addColumn<QStringList>("stored");  // UpdateAll, UpdateData, UpdateAttribute
    QTest::addColumn<int>("checked");         // -1: none
    QTest::addColumn<int>("expectedOption");  // manager::UpdateOption
    QTest::newRow("data only") << QStringList{"False", "True", "False"} << 1 << int(manager::UpdateOption::DataOnly);
    QTest::newRow("attributes only") << QStringList{"False", "False", "True"} << 2
                                     << int(manager::UpdateOption::AttributesOnly);
    QTest::newRow("none set sends both") << QStringList{"False", "False", "False"} << -1
                                         << int(manager::UpdateOption::DataAndAttributes);
    QTest::newRow("last set wins") << QStringList{"True", "True", "True"} << 2
                                   << int(manager::UpdateOption::AttributesOnly);
    QTest::newRow("case and numbers") << QStringList{"false", "-1", "0"} << 1 << int(manager::UpdateOption::DataOnly);
}

void tst_dlgVariables::optionsFromSettings()
{
    QFETCH(int, expectedOption);
    QFETCH(QStringList, stored);
    QFETCH(int, checked);
    settings::write(settings::kUpdateAll, stored[0]);
    settings::write(settings::kUpdateData, stored[1]);
    settings::write(settings::kUpdateAttribute, stored[2]);
    dlgVariables* d = openManager();
    for (int i = 0; i < 3; ++i)
        QCOMPARE(option(d, i)->isChecked(), i == checked);
    QCOMPARE(int(d->updateOption()), expectedOption);
}

void tst_dlgVariables::doneStoresOptions()
{
    dlgVariables* d = openManager();
    QTest::mouseClick(option(d, 2), Qt::LeftButton);
    QVERIFY(!option(d, 0)->isChecked());
    QTest::mouseClick(button(d, "OKButton"), Qt::LeftButton);
    QCOMPARE(stored(settings::kUpdateAll), QStringLiteral("False"));
    QCOMPARE(stored(settings::kUpdateData), QStringLiteral("False"));
    QCOMPARE(stored(settings::kUpdateAttribute), QStringLiteral("True"));
    // The next opening shows the stored choice.
    d->show();
    QVERIFY(option(d, 2)->isChecked());
    QVERIFY(!option(d, 0)->isChecked());
}

void tst_dlgVariables::updateOnTransmitFollowsCheckBox()
{
    settings::SetUpdateOnTransmit(true);
    dlgVariables* d = openManager();
    auto* box = child<QCheckBox>(d, QStringLiteral("chkUpdateOnTransmit"));
    QVERIFY(box->isChecked());
    QTest::mouseClick(box, Qt::LeftButton);
    QVERIFY(!settings::GetUpdateOnTransmit());
    QTest::mouseClick(box, Qt::LeftButton);
    QVERIFY(settings::GetUpdateOnTransmit());
}

void tst_dlgVariables::rightButtonOnSheetPopsEditMenu()
{
    dlgVariables* d = openManager();
    auto* menu = child<QMenu>(d, QStringLiteral("mnuPopUp"));
    for (const char* grid : {"gridTextVars", "gridCellVars"}) {
        child<QTabWidget>(d, QStringLiteral("tabVariables"))->setCurrentIndex(QByteArray(grid) == "gridTextVars" ? 0 : 1);
        auto* sheet = child<QTableWidget>(d, QString::fromLatin1(grid));
        const QPoint inCaption = sheet->visualItemRect(sheet->item(2, 0)).center();
        QContextMenuEvent event(QContextMenuEvent::Mouse, inCaption, sheet->viewport()->mapToGlobal(inCaption));
        QApplication::sendEvent(sheet->viewport(), &event);
        QTRY_VERIFY(menu->isVisible());
        QVERIFY(menu->defaultAction());
        QCOMPARE(menu->defaultAction()->objectName(), QStringLiteral("mnuPopUpVariableViewer"));
        menu->close();
    }
    // The data box offers the same menu in place of the standard text menu.
    QLineEdit* data = edit(d, "txtCellVarData");
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(2, 2), data->mapToGlobal(QPoint(2, 2)));
    QApplication::sendEvent(data, &event);
    QTRY_VERIFY(menu->isVisible());
    QVERIFY(!menu->defaultAction());
    menu->close();
}

void tst_dlgVariables::linkedVariableShowsItsValue()
{
    const QString workbook = m_env->path(QStringLiteral("vars.xls"));
    QFile(workbook).open(QIODevice::WriteOnly);
    auto d = std::make_unique<dlgVariables>();
    auto links = std::make_unique<testing::FakeLinkContainer>();
    links->value = QStringLiteral("42\r\n");
    d->setLinkContainer(std::move(links));
    d->variableSet().setVariableOLELink(3, workbook + QStringLiteral("!Variables!R3C2"));
    d->variableSet().setVariableData(3, QStringLiteral("stored"));
    d->show();
    combo(d.get(), "cmbTextVars")->setCurrentIndex(2);
    QCOMPARE(edit(d.get(), "txtTextVarData")->text(), QStringLiteral("42"));
    QCOMPARE(edit(d.get(), "txtTextOLESource")->text(), workbook + QStringLiteral("!Variables!R3C2"));
    QCOMPARE(button(d.get(), "cmdTextOLEPasteClear")->text(), QStringLiteral("Clear"));
    QVERIFY(!edit(d.get(), "txtTextVarData")->isEnabled());
    combo(d.get(), "cmbTextVars")->setCurrentIndex(3);
    QCOMPARE(button(d.get(), "cmdTextOLEPasteClear")->text(), QStringLiteral("Paste"));
    QVERIFY(edit(d.get(), "txtTextVarData")->isEnabled());
    m_dialog = std::move(d);
}

void tst_dlgVariables::pasteThenClearLink()
{
    const QString workbook = m_env->path(QStringLiteral("cells.xls"));
    QFile(workbook).open(QIODevice::WriteOnly);
    auto d = std::make_unique<dlgVariables>();
    auto links = std::make_unique<testing::FakeLinkContainer>();
    links->clipboardSource = workbook + QStringLiteral("!Sheet1!R1C1");
    links->value = QStringLiteral("7\r\n");
    d->setLinkContainer(std::move(links));
    d->show();
    child<QTabWidget>(d.get(), QStringLiteral("tabVariables"))->setCurrentIndex(1);
    QPushButton* paste = button(d.get(), "cmdCellVarOLEPaste");
    QTest::mouseClick(paste, Qt::LeftButton);
    QCOMPARE(paste->text(), QStringLiteral("Clear"));
    QCOMPARE(d->variableSet().VariableOLELink(257), workbook + QStringLiteral("!Sheet1!R1C1"));
    QCOMPARE(edit(d.get(), "txtCellVarData")->text(), QStringLiteral("7"));
    QVERIFY(!edit(d.get(), "txtCellVarData")->isEnabled());

    QTest::mouseClick(paste, Qt::LeftButton);
    QCOMPARE(paste->text(), QStringLiteral("Paste"));
    QVERIFY(edit(d.get(), "txtCellVarOLESource")->text().isEmpty());
    QVERIFY(edit(d.get(), "txtCellVarData")->isEnabled());
    QTest::mouseClick(button(d.get(), "OKButton"), Qt::LeftButton);
    QCOMPARE(vlsRecord(vlsPath(), 257).value(5), QString());
    QVERIFY(m_box->shown().isEmpty());
    m_dialog = std::move(d);
}

void tst_dlgVariables::pasteUnsavedDocumentRefused()
{
    auto d = std::make_unique<dlgVariables>();
    auto links = std::make_unique<testing::FakeLinkContainer>();
    links->clipboardSource = m_env->path(QStringLiteral("never-saved.xls")) + QStringLiteral("!Sheet1!R1C1");
    d->setLinkContainer(std::move(links));
    d->show();
    QTest::mouseClick(button(d.get(), "cmdTextOLEPasteClear"), Qt::LeftButton);
    QCOMPARE(m_box->shown().size(), 1);
    QCOMPARE(m_box->shown().first().text,
             QStringLiteral("Please save the file that contains the link you are trying to paste."));
    QCOMPARE(m_box->shown().first().title, QStringLiteral("OLE Link Paste Error"));
    QCOMPARE(m_box->shown().first().icon, msgbox::Information);
    QCOMPARE(button(d.get(), "cmdTextOLEPasteClear")->text(), QStringLiteral("Paste"));
    QVERIFY(d->variableSet().VariableOLELink(1).isEmpty());
    m_dialog = std::move(d);
}

void tst_dlgVariables::configurationCommands_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QString>("answer");        // file chosen; "other" = an existing other file
    QTest::addColumn<QString>("dialogTitle");   // "" = no file dialog
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("title");         // window title afterwards
    QTest::addColumn<QString>("nameShown");
    QTest::newRow("save") << "mnuToolsSave" << "" << "" << "" << "Variable Manager - QMDvarinfo.vls" << "Edited";
    QTest::newRow("load") << "mnuToolsLoad" << "other" << "Choose file to load!" << ""
                          << "Variable Manager - other.vls" << "From other";
    QTest::newRow("new cancelled") << "mnuToolsNewConfiguration" << "" << "Choose name for new configuration!"
                                   << "No name chosen! Not loading new configuration!"
                                   << "Variable Manager - QMDvarinfo.vls" << "Edited";
}

void tst_dlgVariables::configurationCommands()
{
    QFETCH(QString, title);
    QFETCH(QString, nameShown);
    QFETCH(QString, item);
    QFETCH(QString, answer);
    QFETCH(QString, dialogTitle);
    QFETCH(QString, message);
    const QString other = m_env->path(QStringLiteral("other.vls"));
    testing::writeVls(other, {{1, QStringLiteral("From other")}});
    if (!dialogTitle.isEmpty())
        m_files->answerNext(answer == QStringLiteral("other") ? other : QString());

    dlgVariables* d = openManager();
    typeInto(edit(d, "txtTextVariableName"), QStringLiteral("Edited"));
    child<QAction>(d, item)->trigger();

    // Every command writes what was typed to the current file first.
    QCOMPARE(vlsRecord(vlsPath(), 1).value(0), QStringLiteral("Edited"));
    QCOMPARE(m_files->shown().size(), dialogTitle.isEmpty() ? 0 : 1);
    if (!dialogTitle.isEmpty()) {
        QCOMPARE(m_files->shown().first().title, dialogTitle);
        QCOMPARE(m_files->shown().first().filter, QStringLiteral("Variable Configuration File(*.vls)|*.vls"));
    }
    QCOMPARE(m_box->texts(), message.isEmpty() ? QStringList{} : QStringList{message});
    QCOMPARE(d->windowTitle(), title);
    QCOMPARE(edit(d, "txtTextVariableName")->text(), nameShown);
}

void tst_dlgVariables::sharedInstanceKeepsItsSet()
{
    // The scripts only look and act; they always close the manager, and the
    // checks follow once it is closed.
    clsVariableAccess* firstSet = nullptr;
    QTimer::singleShot(0, [&] {
        auto* d = qobject_cast<dlgVariables*>(QApplication::activeModalWidget());
        if (!d)
            return;
        firstSet = &d->variableSet();
        combo(d, "cmbTextVars")->setCurrentIndex(4);
        typeInto(edit(d, "txtTextVarData"), QStringLiteral("kept"));
        QTest::mouseClick(button(d, "OKButton"), Qt::LeftButton);
    });
    manager::showVariableManager();
    dlgVariables& shared = manager::sharedVariableManager();
    QVERIFY(firstSet);
    QVERIFY(!shared.isVisible());
    QCOMPARE(shared.textPage()->shownNumber, 0);

    dlgVariables* second = nullptr;
    clsVariableAccess* secondSet = nullptr;
    int index = -1, shown = -1;
    QString data;
    QTimer::singleShot(0, [&] {
        second = qobject_cast<dlgVariables*>(QApplication::activeModalWidget());
        if (!second)
            return;
        secondSet = &second->variableSet();
        index = combo(second, "cmbTextVars")->currentIndex();
        shown = second->textPage()->shownNumber;
        data = second->variableSet().VariableData(5);
        second->reject();
    });
    manager::showVariableManager();
    QCOMPARE(second, &shared);
    QCOMPARE(secondSet, firstSet);
    // A new start shows the first variable again, with the set as it was left.
    QCOMPARE(index, 0);
    QCOMPARE(shown, 1);
    QCOMPARE(data, QStringLiteral("kept"));
    QCOMPARE(vlsRecord(vlsPath(), 5).value(4), QStringLiteral("kept"));
    manager::releaseVariableManager();
}

void tst_dlgVariables::aboutAndSettingsOpenModally()
{
    dlgVariables* d = openManager();
    for (const auto& [item, dialogName] :
         QList<std::pair<QString, QString>>{{"mnuAbout", "frmAbout"}, {"mnuSettings", "frmVariableSettings"}}) {
        QString seen;
        QTimer::singleShot(0, [&seen] {
            QWidget* modal = QApplication::activeModalWidget();
            QVERIFY(modal);
            seen = modal->objectName();
            qobject_cast<QDialog*>(modal)->reject();
        });
        child<QAction>(d, item)->trigger();
        QCOMPARE(seen, dialogName);
    }
}

QTEST_MAIN(tst_dlgVariables)
#include "tst_dlgvariables.moc"
