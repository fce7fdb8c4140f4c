#include "datarow.h"
#include "dialogcontrols.h"
#include "classregistry.h"
#include "clsVariableAccess.h"
#include "dlgChooseVars.h"
#include "dlgVariables.h"
#include "fakehostobjects.h"
#include "frmVariableSettings.h"
#include "propertypage.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

#include <array>
#include <memory>

namespace {
const QString kAbsent = "<absent>";
const QString ff(QChar(0xFF)); // separates the recent displays
const QList<settings::Key> kOptions{settings::kUpdateAll, settings::kUpdateData, settings::kUpdateAttribute};
const QList<settings::Key> kPrompts{settings::kPromptForVariable, settings::kPromptForDisplay,
                                    settings::kPromptForDelay};
const QList<settings::Key> kSettingsDialog{settings::kRetryInterval, settings::kPromptForDisplay,
                                           settings::kPromptForVariable, settings::kPromptForDelay};
void store(const QList<settings::Key>& keys, const QStringList& values)
{
    for (int i = 0; i < keys.size(); ++i)
        if (values[i] != kAbsent)
            settings::write(keys[i], values[i]);
}
QStringList stored(const QList<settings::Key>& keys)
{
    QStringList out;
    for (const settings::Key& key : keys)
        out << settings::read(key, kAbsent);
    return out;
}
// The seven fields of variable n as the ".vls" file on disk holds them.
QStringList vlsRecord(const QString& path, int n)
{
    QFile file(path);
    const QByteArray line = file.open(QIODevice::ReadOnly) ? file.readAll().split('\n').value(n).trimmed() : "";
    return line.size() < 2 ? QStringList{} : QString::fromLatin1(line.mid(1, line.size() - 2)).split(QChar(1));
}

QLineEdit* edit(QWidget* d, const char* name) { return d->findChild<QLineEdit*>(name); }
QComboBox* combo(QWidget* d, const char* name) { return d->findChild<QComboBox*>(name); }
void showPage(QWidget* d, int page) { d->findChild<QTabWidget*>("tabVariables")->setCurrentIndex(page); }
void choose(QWidget* d, const char* name, const QString& t) { combo(d, name)->setCurrentText(t); }

// Update dialogs that record every call made to them, as "name" or "name:argument".
struct Recorder final : manager::UpdateDialogs {
    QStringList calls;
    VarSelection chosen{{true, 1}};                                               // what the chooser answers
    QString delayAnswer;                                                          // "displays|delays", or "cancel"
    std::function<void(clsVariableAccess*)> onChoose = [](clsVariableAccess*) {}; // runs when the chooser is asked
    std::function<QString()> displaySelection;                                    // what the delay prompt was lent

    struct Step final : manager::VariableChooser, manager::DelayPrompt, manager::UpdateSender {
        Recorder& r;
        clsVariableAccess* set = nullptr;
        explicit Step(Recorder& r) : r(r) {}
        void setVariableSet(clsVariableAccess* s) override
        {
            set = s;
            r.calls << "setVariableSet";
        }
        VarSelection GetChosenVars() override { return choose("GetChosenVars"); }
        VarSelection GetLastVars() override { return choose("GetLastVars"); }
        VarSelection choose(const char* call)
        {
            r.calls << call;
            r.onChoose(set);
            return r.chosen;
        }
        void exec() override { r.calls << "delay.exec:" + r.displaySelection(); }
        bool Cancelled() const override { return r.delayAnswer == u"cancel"; }
        QString DisplayList() const override { return r.delayAnswer.section(u'|', 0, 0); }
        QString DelayList() const override { return r.delayAnswer.section(u'|', 1); }
        void start(const UpdateRequest& q) override
        {
            static const QHash<UpdateOption, QString> sends{{UpdateOption::DataOnly, "SendVarData"},
                                                            {UpdateOption::AttributesOnly, "SendVarAttributes"},
                                                            {UpdateOption::DataAndAttributes, "SendAllVarInfo"}};
            r.calls << (q.selection == r.chosen ? "setSelectedVars" : "?") << "setDisplayList:" + q.displays
                    << "setDelayList:" + q.delays << sends.value(q.option);
        }
    };
    std::unique_ptr<Step> step(const char* call)
    {
        calls << call;
        return std::make_unique<Step>(*this);
    }
    std::unique_ptr<manager::VariableChooser> createChooser(QWidget*) override { return step("createChooser"); }
    std::unique_ptr<manager::UpdateSender> createUpdateSender(QWidget*) override { return step("createUpdateSender"); }
    std::unique_ptr<manager::DelayPrompt> createDelayPrompt(std::function<QString()> displays, QWidget*) override
    {
        displaySelection = std::move(displays);
        return step("createDelayPrompt");
    }
};
} // namespace

// The variable manager as the user sees it, the update settings dialog, and the steps of an update up to a
// recording update dialog.
class tst_Manager final : public QObject {
    Q_OBJECT
    std::unique_ptr<DialogWorld> m_world;
    std::unique_ptr<dlgVariables> m_dialog;
    Recorder m_dialogs;

    dlgVariables* openManager()
    {
        m_dialog->show();
        return m_dialog.get();
    }
    QString vlsPath() const { return m_world->env.path("QMDvarinfo.vls"); }
    void press(const QString& name) { click(m_dialog.get(), name); }

private slots:
    void init()
    {
        m_world = std::make_unique<DialogWorld>();
        {
            clsVariableAccess first;
        } // a current file exists, as where the plug-in ran before
        m_dialog = std::make_unique<dlgVariables>();
        m_dialogs = Recorder();
        manager::setUpdateDialogs(&m_dialogs);
        FakeDisplayChooser::asked = 0;
    }
    void cleanup()
    {
        m_dialog.reset();
        manager::releaseVariableManager();
        manager::setUpdateDialogs(nullptr);
        ComponentLoader::clearFactories();
        QCOMPARE(FakeDisplayChooser::alive, 0); // every chooser was released
        m_world.reset();
    }

    // Every control as the dialog opens, by objectName ("" = the dialog's title); the
    // edit commands follow an empty data box with nothing selected.
    void defaultState_data()
    {
        addControlRows({
            {"", "Variable Manager - QMDvarinfo.vls"},
            {"tabVariables", "Text|Cell"},
            {"Frame1", "Options: "},
            {"optVariable_0", "Data && Attributes"},
            {"optVariable_1", "Data Only"},
            {"optVariable_2", "Attributes Only"},
            {"chkUpdateOnTransmit", "Update On Transmit!"},
            {"cmdUpdateVariable", "Update Display"},
            {"cmdVariableAudit", "Perform Variable Audit - Compare Variable Values"},
            {"OKButton", "Done"},
            {"cmbTextVars", "Text Var: 1 of 256"},
            {"cmbCellVars", "Cell Var: 1 of 160"},
            {"txtTextVariableName", "Text Var 1"},
            {"txtCellVarName", "Cell Var 1"},
            {"cmbTextVarColor", "Red"},
            {"cmbTextVarBlink", "No"},
            {"cmbTextVarInverse", "No"},
            {"cmbTextMaxLength", "250"},
            {"cmbCellVarMaxLength", "58"},
            {"cmdTextOLEPasteClear", "Paste"},
            {"cmdCellVarOLEPaste", "Paste"},
            {"mnuTools", "&Tools"},
            {"mnuToolsNewConfiguration", "&New Configuration"},
            {"mnuToolsLoad", "&Load Configuration"},
            {"mnuToolsSave", "&Save Configuration"},
            {"mnuViewAllVar", "&View All Variables"},
            {"mnuToolsAuto", "&AutoConfigured Spreadsheet"},
            {"mnuPopUp", "Edit"},
            {"mnuPopUpVariableViewer", "View/Edit Variable"},
            {"mnuUndo", "Undo (disabled)"},
            {"mnuCut", "Cut (disabled)"},
            {"mnuCopy", "Copy (disabled)"},
            {"mnuDelete", "Delete (disabled)"},
            {"mnuSelectAll", "Select All (disabled)"},
            {"mnuChoose", "Update"},
            {"mnuUpdateDisplay", "Update Display Now"},
            {"mnuChooseVar", "Choose Variables to Update"},
            {"mnuChooseDisplay", "Choose Displays"},
            {"mnuSettings", "Variable Update Settings"},
            {"mnuAbout", "&About"},
        });
    }
    void defaultState()
    {
        QFETCH(QString, name);
        QTEST(shownState(openManager(), name), "shown");
    }

    // Every control as the dialog opens, by objectName ("" = the dialog's title).
    void settingsDefaultState_data()
    {
        addControlRows({
            {"", "Variable Update Settings"},
            {"fraDisplay", "Choose Display"},
            {"optChooseDisplay_0", "Never ask for displays, use the current one"},
            {"optChooseDisplay_1", "Never ask for displays, use the last selection"},
            {"optChooseDisplay_2", "Prompt for displays every time"},
            {"fraVariables", "Choose Variables"},
            {"optChooseVar", "Prompt for variables every time"},
            {"optNeverChooseVar", "Never ask for variables, use the last selected"},
            {"fraUpdateDelay", "Update Delay"},
            {"optDelay", "Prompt for Delay Setup every time"},
            {"optNoDelay", "Never ask for Delay Setup"},
            {"fraDelay", "Retry Interval"},
            {"cmdOK", "OK"},
            {"cmdCancel", "Cancel"},
        });
    }
    void settingsDefaultState()
    {
        QFETCH(QString, name);
        frmVariableSettings d;
        QTEST(shownState(&d, name), "shown");
    }

    void editsReachFileAndStoreOnDone()
    {
        settings::SetUpdateOnTransmit(true);
        clsVariableAccess& set = m_dialog->variableSet();
        set.setVariableColor(2, "4");
        set.setVariableInverse(2, "1");
        set.setVariableMaxLength(2, "300"); // not in the list: kept, and the data with it
        set.setVariableData(2, QString(260, u'x'));
        dlgVariables* d = openManager();
        typeInto(edit(d, "txtTextVariableName"), "Speed");
        typeInto(edit(d, "txtTextVarData"), "55 mph");
        choose(d, "cmbTextVarColor", "Green");
        choose(d, "cmbTextVarBlink", "Yes");
        // Choosing another variable commits the shown one and shows the other's values,
        // which "Done" commits again as shown.
        combo(d, "cmbTextVars")->setCurrentIndex(1);
        QTest::keyClicks(edit(d, "txtTextVarData"), "!");
        // Switching pages commits nothing by itself.
        showPage(d, 1);
        QCOMPARE(set.VariableData(2), QString(260, u'x'));
        combo(d, "cmbCellVars")->setCurrentIndex(2);
        typeInto(edit(d, "txtCellVarData"), "Hello World");
        choose(d, "cmbCellVarInverse", "Yes");
        // A shorter length shows the data as sent and limits typing, not what Undo brings back.
        choose(d, "cmbCellVarMaxLength", "5");
        QCOMPARE(edit(d, "txtCellVarData")->text(), "Hello");
        press("mnuUndo");
        QTest::keyClicks(edit(d, "txtCellVarData"), "!");
        QCOMPARE(edit(d, "txtCellVarData")->text(), "Hello Worl");
        press("optVariable_2");
        press("chkUpdateOnTransmit");
        QVERIFY(!settings::GetUpdateOnTransmit());
        QCOMPARE(vlsRecord(vlsPath(), 1).value(4), QString());

        press("OKButton");
        QVERIFY(!d->isVisible() && d->result() == QDialog::Accepted);
        QCOMPARE(vlsRecord(vlsPath(), 1), (QStringList{"Speed", "2", "1", "2", "55 mph", "", "250"}));
        QCOMPARE(vlsRecord(vlsPath(), 2),
                 (QStringList{"Text Var 2", "4", "2", "1", QString(260, u'x') + u'!', "", "300"}));
        QCOMPARE(vlsRecord(vlsPath(), 259), (QStringList{"Cell Var 3", "1", "2", "1", "Hello Worl", "", "5"}));
        QCOMPARE(stored(kOptions), (QStringList{"False", "False", "True"}));
        // Closed: neither page shows a variable any more.
        QCOMPARE(d->textPage()->shownNumber + d->cellPage()->shownNumber, 0);
        QVERIFY(m_world->box.shown().isEmpty());
    }

    // Only "Done" stores: Esc does nothing, the close box closes without storing.
    void leavingWithoutDone_data()
    {
        QTest::addColumn<bool>("escape");
        addRow("Esc", true);
        addRow("close box", false);
    }
    void leavingWithoutDone()
    {
        QFETCH(bool, escape);
        dlgVariables* d = openManager();
        typeInto(edit(d, "txtTextVarData"), "typed");
        press("optVariable_1");
        escape ? QTest::keyClick(edit(d, "txtTextVarData"), Qt::Key_Escape) : void(d->close());
        QCOMPARE(d->isVisible(), escape);
        QCOMPARE(vlsRecord(vlsPath(), 1).value(4) + stored(kOptions).join(u','), "<absent>,<absent>,<absent>");
    }

    void pasteAndClearLink()
    {
        const QString workbook = m_world->env.path("cells.xls");
        QFile(workbook).open(QIODevice::WriteOnly);
        auto links = std::make_unique<FakeLinkContainer>();
        FakeLinkContainer* fake = links.get();
        fake->clipboard = m_world->env.path("never-saved.xls") + "!Sheet1!R1C1";
        fake->value = "7\r\n";
        m_dialog->setLinkContainer(std::move(links));
        m_dialog->variableSet().setVariableData(257, "stored");
        m_dialog->variableSet().setVariableOLELink(258, workbook + "!Sheet1!R2C1");
        dlgVariables* d = openManager();
        showPage(d, 1);
        auto* paste = d->findChild<QPushButton*>("cmdCellVarOLEPaste");
        QLineEdit* data = edit(d, "txtCellVarData");
        // Only Paste and Clear change whether the data box can be typed in: not showing a variable.
        combo(d, "cmbCellVars")->setCurrentIndex(1);
        QVERIFY(paste->text() == "Clear" && data->isEnabled());
        combo(d, "cmbCellVars")->setCurrentIndex(0);
        // A document that was never saved has no path to read the link from.
        click(d, "cmdCellVarOLEPaste");
        QCOMPARE(m_world->box.texts(),
                 QStringList{"Please save the file that contains the link you are trying to paste."});
        QCOMPARE(m_world->box.shown().first().title, "OLE Link Paste Error");
        QCOMPARE(m_world->box.shown().first().icon, msgbox::Information);
        QCOMPARE(paste->text(), "Paste");
        // A linked variable shows its link's value, which cannot be typed over.
        fake->clipboard = workbook + "!Sheet1!R1C1";
        click(d, "cmdCellVarOLEPaste");
        QCOMPARE(d->variableSet().VariableOLELink(257), fake->clipboard);
        QCOMPARE(paste->text() + data->text(), "Clear7");
        QVERIFY(!data->isEnabled());
        combo(d, "cmbCellVars")->setCurrentIndex(2);
        QCOMPARE(paste->text(), "Paste");
        QVERIFY(!data->isEnabled());
        combo(d, "cmbCellVars")->setCurrentIndex(0);
        QCOMPARE(paste->text(), "Clear");
        click(d, "cmdCellVarOLEPaste");
        QCOMPARE(paste->text() + edit(d, "txtCellVarOLESource")->text(), "Paste");
        QVERIFY(data->isEnabled());
        press("OKButton");
        QCOMPARE(vlsRecord(vlsPath(), 257).value(5), QString());
        QCOMPARE(m_world->box.shown().size(), 1);
    }

    // A changed document shows its value as read in the box of the page showing it: not cut to the
    // maximum length, without character 0 and line ends.
    void liveValues_data()
    {
        QTest::addColumn<int>("page");
        addRow("Text", 0);
        addRow("Cell", 1);
    }
    void liveValues()
    {
        QFETCH(int, page);
        const QString workbook = m_world->env.path("live.xls");
        writeFile(workbook, "1");
        auto links = std::make_unique<FakeLinkContainer>();
        FakeLinkContainer* fake = links.get();
        m_dialog->setLinkContainer(std::move(links));
        const int16_t n = page == 0 ? 1 : 257;
        m_dialog->variableSet().setVariableOLELink(n, workbook + "!A1");
        m_dialog->variableSet().setVariableMaxLength(n, "3");
        dlgVariables* d = openManager();
        fake->value = QString::fromUtf8("7 lanes\0 open\r\n", 15);
        writeFile(workbook, "2");
        QTRY_COMPARE(edit(d, page == 0 ? "txtTextVarData" : "txtCellVarData")->text(), "7 lanes open");
        QCOMPARE(edit(d, page == 0 ? "txtCellVarData" : "txtTextVarData")->text(), QString());
    }

    void sharedInstanceKeepsItsSet()
    {
        // The first start edits variable 5 and leaves on the Cell page; the second looks and closes.
        QList<void*> seen;
        QString shown; // the page, the text variable shown and variable 5's data
        for (const bool edit5 : {true, false}) {
            QTimer::singleShot(0, [&, edit5] {
                auto* d = qobject_cast<dlgVariables*>(QApplication::activeModalWidget());
                seen << d << &d->variableSet();
                shown = QStringLiteral("%1 %2 %3")
                            .arg(d->findChild<QTabWidget*>("tabVariables")->currentIndex())
                            .arg(d->textPage()->shownNumber)
                            .arg(d->variableSet().VariableData(5));
                if (!edit5)
                    return d->reject();
                combo(d, "cmbTextVars")->setCurrentIndex(4);
                typeInto(edit(d, "txtTextVarData"), "kept");
                showPage(d, 1);
                click(d, "OKButton");
            });
            manager::showVariableManager();
        }
        QCOMPARE(seen.size(), 4);
        QVERIFY(seen[0] == seen[2] && seen[1] == seen[3] && seen[0] == &manager::sharedVariableManager());
        // A new start shows the Text page's first variable again, with the set as it was left.
        QCOMPARE(shown, "0 1 kept");
        QCOMPARE(vlsRecord(vlsPath(), 5).value(4), "kept");
    }

    void update_data()
    {
        QTest::addColumn<QStringList>("prompts"); // PromptForVariable, PromptForDisplay, PromptForDelay
        QTest::addColumn<QString>("displays");    // LastOpened for "0", Recent for "1", else the host's answer
        QTest::addColumn<QString>("delayAnswer");
        QTest::addColumn<QStringList>("options"); // UpdateAll, UpdateData, UpdateAttribute as stored
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QString>("message");
        const QStringList chosen{"createChooser", "setVariableSet", "GetChosenVars", "createUpdateSender",
                                 "setVariableSet"};
        QStringList last = chosen;
        last[2] = "GetLastVars";
        const auto sent = [](QStringList head, const QString& displays, const QString& delays, const char* send) {
            return head << "setSelectedVars"
                        << "setDisplayList:" + displays << "setDelayList:" + delays << send;
        };
        const QStringList all{"True", "False", "False"};
        const auto error = [](int n) -> QString { return "Error Occurred " + RuntimeError::standardDescription(n); };
        addRow("TRUE asks, recent list of two, no option sends both", QStringList{"TRUE", "1", kAbsent}, "a" + ff + "b",
               "", QStringList{"False", "False", "False"}, sent(chosen, "a,b", "0,0", "SendAllVarInfo"), "");
        addRow("True uses the last choice, data only", QStringList{"True", "1", kAbsent}, "a" + ff + "b", "",
               QStringList{"False", "True", "False"}, sent(last, "a,b", "0,0", "SendVarData"), "");
        addRow("absent asks, current display, options: case, numbers, unreadable", QStringList{kAbsent, "0", "FALSE"},
               "7", "", QStringList{"false", "-1", "x"}, sent(chosen, "7", "0", "SendVarData"), "");
        addRow("absent asks the host, last option set wins", QStringList{"FALSE", kAbsent, kAbsent}, "1,2,3", "",
               QStringList{"True", "True", "True"}, sent(last, "1,2,3", "0,0,0", "SendVarAttributes"), "");
        const QStringList ask{"TRUE", "1", kAbsent};
        addRow("no display ends silently", ask, "", "", all, chosen, "");
        addRow("display setting not a number", QStringList{"TRUE", "abc", kAbsent}, "1", "", all, chosen,
               error(RuntimeError::TypeMismatch));
        addRow("host chooser missing", QStringList{"TRUE", "2", kAbsent}, kAbsent, "", all, chosen,
               error(RuntimeError::ActiveXCannotCreateObject));
        // The delay prompt is lent the manager's display selection for its rows.
        const QStringList delay = chosen + QStringList{"createDelayPrompt", "delay.exec:p,q"};
        const QStringList prompt{"TRUE", "1", "TRUE"};
        addRow("delays handed over", prompt, "p" + ff + "q", "x,y|0,15", all,
               sent(delay, "x,y", "0,15", "SendAllVarInfo"), "");
        addRow("delay cancelled", prompt, "p" + ff + "q", "cancel", all, delay, "");
        addRow("delay without display", prompt, "p" + ff + "q", "|", all, delay, "");
    }
    void update()
    {
        QFETCH(QStringList, prompts);
        QFETCH(QString, displays);
        QFETCH(QString, delayAnswer);
        QFETCH(QStringList, options);
        QFETCH(QStringList, calls);
        QFETCH(QString, message);
        store(kPrompts, prompts);
        store(kOptions, options);
        store({prompts[1] == u"0" ? settings::kLastOpenedDisplay : settings::kRecentDisplays}, {displays});
        if (displays != kAbsent)
            FakeDisplayChooser::install(displays);
        m_dialogs.delayAnswer = delayAnswer;
        openManager();
        press("cmdUpdateVariable");
        QCOMPARE(m_dialogs.calls, calls);
        QCOMPARE(FakeDisplayChooser::asked, prompts[1] == kAbsent ? 1 : 0);
        QCOMPARE(m_world->box.texts(), message.isEmpty() ? QStringList{} : QStringList{message});
    }

    void commands_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("lastCall"); // the chooser answers nothing
        QTest::addColumn<int>("hostAsked");
        // Nothing chosen ends the update silently.
        addRow("update display now", "mnuUpdateDisplay", "GetLastVars", 0);
        // Choosing variables and the audit always show the chooser.
        addRow("choose variables", "mnuChooseVar", "GetChosenVars", 0);
        addRow("audit", "cmdVariableAudit", "GetChosenVars", 0);
        addRow("choose displays", "mnuChooseDisplay", "", 1);
    }
    void commands()
    {
        QFETCH(QString, item);
        QFETCH(QString, lastCall);
        settings::write(settings::kPromptForVariable, "FALSE");
        settings::write(settings::kPromptForDisplay, "-3"); // any number but 0 and 1 asks the host
        FakeDisplayChooser::install("9");
        QStringList seen; // in the set, the file and the store when the chooser is asked
        m_dialogs.onChoose = [&](clsVariableAccess* set) {
            seen << set->VariableData(257) << vlsRecord(vlsPath(), 257).value(4)
                 << settings::ReadMachineSetting("Lumarex3", "Variables", "VBL257", {});
        };
        m_dialogs.chosen.clear();
        edit(openManager(), "txtCellVarData")->setText("typed");
        press(item);
        QCOMPARE(m_dialogs.calls.value(m_dialogs.calls.size() - 1), lastCall);
        QCOMPARE(seen, (lastCall.isEmpty() ? QStringList{} : QStringList{"typed", "typed", "typed"}));
        QTEST(FakeDisplayChooser::asked, "hostAsked");
        QVERIFY(m_world->box.shown().isEmpty());
    }

    // "Choose Displays" asks the host's chooser whatever "PromptForDisplay" says, and keeps nothing.
    void chooseDisplaysAlwaysAsksTheHost_data()
    {
        QTest::addColumn<QString>("prompt");
        for (const char* prompt : {"0", "1", "2"})
            addRow(prompt, QString::fromLatin1(prompt));
    }
    void chooseDisplaysAlwaysAsksTheHost()
    {
        QFETCH(QString, prompt);
        settings::write(settings::kPromptForDisplay, prompt);
        FakeDisplayChooser::install("9");
        openManager();
        press("mnuChooseDisplay");
        QCOMPARE(FakeDisplayChooser::asked, 1);
        QCOMPARE(settings::read(settings::kLastUsed), QString());
    }

    void settingsShown_data()
    {
        QTest::addColumn<QStringList>("stored"); // RetryInterval, PromptForDisplay, PromptForVariable, PromptForDelay
        QTest::addColumn<QStringList>("shown");  // hours, minutes, seconds, then the option buttons checked
        const QStringList asks{"optChooseDisplay_2", "optChooseVar", "optNoDelay"};
        const QStringList never{"optChooseDisplay_2", "optNeverChooseVar", "optNoDelay"};
        addRow("nothing stored", QStringList(4, kAbsent), QStringList{"1", "0", "0"} + asks);
        addRow("current display", QStringList{"3599", "0", "TRUE", "TRUE"},
               QStringList{"0", "59", "59", "optChooseDisplay_0", "optChooseVar", "optDelay"});
        addRow("last selection", QStringList{"7", "1", "FALSE", "FALSE"},
               QStringList{"0", "0", "7", "optChooseDisplay_1"} + never.mid(1));
        addRow("out of range asks, case counts", QStringList{"90000", "7", "True", "true"},
               QStringList{"1", "0", "0"} + never);
        addRow("negative", QStringList{"-1", "-1", kAbsent, kAbsent}, QStringList{"23", "59", "59"} + asks);
        addRow("not numbers", QStringList{"abc", "x", "", ""}, QStringList{"0", "0", "0"} + never);
    }
    void settingsShown()
    {
        QFETCH(QStringList, stored);
        store(kSettingsDialog, stored);
        frmVariableSettings d;
        QStringList seen{edit(&d, "txtHour")->text(), edit(&d, "txtMin")->text(), edit(&d, "txtSec")->text()};
        for (QRadioButton* r : d.findChildren<QRadioButton*>())
            if (r->isChecked())
                seen << r->objectName();
        QTEST(seen, "shown");
    }

    void settingsStored_data()
    {
        QTest::addColumn<QString>("storedDisplay");
        QTest::addColumn<QStringList>("typed"); // hours, minutes, seconds; empty: as shown
        QTest::addColumn<QStringList>("click"); // option buttons, then OK or Cancel
        QTest::addColumn<QStringList>("after"); // RetryInterval, PromptForDisplay, PromptForVariable, PromptForDelay
        const QStringList ok{"cmdOK"};
        const auto asks = [](const char* interval) { return QStringList{interval, "2", "TRUE", "FALSE"}; };
        addRow("out of range stores 2", "7", QStringList{}, ok, asks("3600"));
        addRow("current, never, delay", kAbsent, QStringList{"1", "1", "1"},
               QStringList{"optChooseDisplay_0", "optNeverChooseVar", "optDelay", "cmdOK"},
               QStringList{"3661", "0", "FALSE", "TRUE"});
        addRow("last selection", "0", QStringList{"1.5", "0", "0"}, QStringList{"optChooseDisplay_1", "cmdOK"},
               QStringList{"5400", "1", "TRUE", "FALSE"});
        addRow("minutes above 59", kAbsent, QStringList{"0", "75", "0"}, ok, asks("4500"));
        addRow("not numbers", kAbsent, QStringList{"abc", "x", ""}, ok, asks("0"));
        addRow("leading numbers", kAbsent, QStringList{"2h", "30min", ""}, ok, asks("9000"));
        addRow("half to even down", kAbsent, QStringList{"0", "0", "2.5"}, ok, asks("2"));
        addRow("half to even up", kAbsent, QStringList{"0", "0", "3.5"}, ok, asks("4"));
        addRow("more than a day is kept", kAbsent, QStringList{"25", "0", "0"}, ok, asks("90000"));
        addRow("negative", kAbsent, QStringList{"-1", "0", "0"}, ok, asks("-3600"));
        addRow("cancel stores nothing", kAbsent, QStringList{"5", "0", "0"},
               QStringList{"optDelay", "optChooseDisplay_0", "cmdCancel"}, QStringList(4, kAbsent));
    }
    void settingsStored()
    {
        QFETCH(QString, storedDisplay);
        QFETCH(QStringList, typed);
        QFETCH(QStringList, click);
        store({settings::kPromptForDisplay}, {storedDisplay});
        frmVariableSettings d;
        d.show();
        for (int i = 0; i < typed.size(); ++i)
            edit(&d, std::array{"txtHour", "txtMin", "txtSec"}[i])->setText(typed[i]);
        for (const QString& name : click)
            ::click(&d, name);
        QCOMPARE(d.result(), int(click.last() == u"cmdOK" ? QDialog::Accepted : QDialog::Rejected));
        QTEST(stored(kSettingsDialog), "after");
    }
};

QTEST_MAIN(tst_Manager)
#include "tst_manager.moc"
