#include "classregistry.h"
#include "clsVariableAccess.h"
#include "displayselection.h"
#include "dlgChooseVars.h"
#include "dlgVariables.h"
#include "hostobjects.h"
#include "managertestsupport.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <memory>

using testing::RecordingDialogs;

namespace {
// The host's display chooser, answering with a fixed list.
class HostChooser final : public QObject, public hostobjects::IDisplayChooser {
    Q_OBJECT
    Q_INTERFACES(hostobjects::IDisplayChooser)
public:
    explicit HostChooser(QString answer) : m_answer(std::move(answer)) { ++alive; }
    ~HostChooser() override { --alive; }
    QString SelectDisplays() override
    {
        ++asked;
        return m_answer;
    }
    static inline int alive = 0;
    static inline int asked = 0;

private:
    QString m_answer;
};

const QString kAbsent = QStringLiteral("<absent>");
void storeUnlessAbsent(const settings::Key& key, const QString& value)
{
    if (value != kAbsent)
        settings::write(key, value);
}
void installHostChooser(const QString& answer)
{
    ComponentLoader::setFactory(hostobjects::kDisplayChooserProgId, [answer] { return new HostChooser(answer); });
}
} // namespace

// The steps of an update started from the variable manager: which prompts are
// shown by the settings, what reaches the update dialog and in which order, and
// what ends an update early.
class tst_UpdateFlow final : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void displaySelection_data();
    void displaySelection();
    void prompts_data();
    void prompts();
    void emptyChoiceEndsSilently();
    void delayPrompt_data();
    void delayPrompt();
    void optionChoosesSend_data();
    void optionChoosesSend();
    void editsCommittedAndSavedBeforeChooser();
    void errorsAbandonTheUpdate_data();
    void errorsAbandonTheUpdate();
    void menuCommands_data();
    void menuCommands();
    void realChooserThroughManager();

private:
    dlgVariables* openManager();
    void pressUpdate() { QTest::mouseClick(m_dialog->findChild<QPushButton*>(QStringLiteral("cmdUpdateVariable")), Qt::LeftButton); }

    std::unique_ptr<TestEnvironment> m_env;
    std::unique_ptr<ScriptedMessageBox> m_box;
    RecordingDialogs m_dialogs;
    std::unique_ptr<dlgVariables> m_dialog;
};

void tst_UpdateFlow::init()
{
    m_env = std::make_unique<TestEnvironment>();
    m_box = std::make_unique<ScriptedMessageBox>();
    m_dialogs = RecordingDialogs();
    manager::setUpdateDialogs(&m_dialogs);
    HostChooser::asked = 0;
}

void tst_UpdateFlow::cleanup()
{
    m_dialog.reset();
    manager::setUpdateDialogs(nullptr);
    ComponentLoader::clearFactories();
    QCOMPARE(HostChooser::alive, 0);  // every chooser was released
    m_box.reset();
    m_env.reset();
}

dlgVariables* tst_UpdateFlow::openManager()
{
    m_dialog = std::make_unique<dlgVariables>();
    m_dialog->show();
    return m_dialog.get();
}

void tst_UpdateFlow::displaySelection_data()
{
    QTest::addColumn<QString>("prompt");
    QTest::addColumn<QString>("lastOpened");
    QTest::addColumn<QString>("recent");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("hostAsked");
    const QString ff(QChar(0xFF));
    QTest::newRow("current display") << "0" << "7" << "1" + ff + "2" << "7" << 0;
    QTest::newRow("current display missing") << "0" << kAbsent << "1" << "" << 0;
    QTest::newRow("recent list") << "1" << "7" << "a" + ff + "b" << "a,b" << 0;
    QTest::newRow("recent list of three") << "1" << kAbsent << "1" + ff + "12" + ff + "3" << "1,12,3" << 0;
    QTest::newRow("recent list missing") << "1" << "7" << kAbsent << "" << 0;
    QTest::newRow("ask the host") << "2" << "7" << "1" << "5,6" << 1;
    QTest::newRow("absent asks the host") << kAbsent << "7" << "1" << "5,6" << 1;
    QTest::newRow("other numbers ask the host") << "-3" << "7" << "1" << "5,6" << 1;
}

void tst_UpdateFlow::displaySelection()
{
    QFETCH(QString, prompt);
    QFETCH(QString, lastOpened);
    QFETCH(QString, recent);
    QFETCH(QString, expected);
    QFETCH(int, hostAsked);
    storeUnlessAbsent(settings::kPromptForDisplay, prompt);
    storeUnlessAbsent(settings::kLastOpenedDisplay, lastOpened);
    storeUnlessAbsent(settings::kRecentDisplays, recent);
    installHostChooser(QStringLiteral("5,6"));
    QCOMPARE(manager::selectDisplays(), expected);
    QCOMPARE(HostChooser::asked, hostAsked);
    QCOMPARE(HostChooser::alive, 0);
}

void tst_UpdateFlow::prompts_data()
{
    QTest::addColumn<QString>("promptVariable");
    QTest::addColumn<QString>("promptDisplay");
    QTest::addColumn<QString>("displays");  // stored for the display prompt
    QTest::addColumn<QStringList>("calls");
    const QString ff(QChar(0xFF));
    const QStringList chosen{"createChooser", "chooser.setVariableSet", "GetChosenVars"};
    const QStringList last{"createChooser", "chooser.setVariableSet", "GetLastVars"};
    const QStringList handOver{"createUpdateSender", "setVariableSet", "setSelectedVars:1t"};
    QTest::newRow("TRUE asks, recent list of two")
        << "TRUE" << "1" << "a" + ff + "b"
        << (chosen + handOver + QStringList{"setDisplayList:a,b", "setDelayList:0,0", "SendAllVarInfo"});
    QTest::newRow("True uses the last choice")
        << "True" << "1" << "a" + ff + "b"
        << (last + handOver + QStringList{"setDisplayList:a,b", "setDelayList:0,0", "SendAllVarInfo"});
    QTest::newRow("absent asks, current display")
        << kAbsent << "0" << "7" << (chosen + handOver + QStringList{"setDisplayList:7", "setDelayList:0", "SendAllVarInfo"});
    QTest::newRow("host chooser, three displays")
        << "FALSE" << "2" << "1,2,3"
        << (last + handOver + QStringList{"setDisplayList:1,2,3", "setDelayList:0,0,0", "SendAllVarInfo"});
    QTest::newRow("no display ends silently") << "TRUE" << "1" << "" << (chosen + handOver);
}

void tst_UpdateFlow::prompts()
{
    QFETCH(QString, promptVariable);
    QFETCH(QStringList, calls);
    QFETCH(QString, promptDisplay);
    QFETCH(QString, displays);
    storeUnlessAbsent(settings::kPromptForVariable, promptVariable);
    settings::write(settings::kPromptForDisplay, promptDisplay);
    settings::write(promptDisplay == QStringLiteral("0") ? settings::kLastOpenedDisplay : settings::kRecentDisplays,
                    displays);
    installHostChooser(displays);
    openManager();
    pressUpdate();
    QCOMPARE(m_dialogs.calls, calls);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_UpdateFlow::emptyChoiceEndsSilently()
{
    m_dialogs.chosen.clear();
    settings::write(settings::kPromptForDisplay, QStringLiteral("2"));
    installHostChooser(QStringLiteral("1"));
    openManager();
    pressUpdate();
    QCOMPARE(m_dialogs.calls, (QStringList{"createChooser", "chooser.setVariableSet", "GetChosenVars"}));
    QCOMPARE(HostChooser::asked, 0);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_UpdateFlow::delayPrompt_data()
{
    QTest::addColumn<bool>("cancelled");
    QTest::addColumn<QString>("displays");
    QTest::addColumn<QString>("delays");
    QTest::addColumn<QStringList>("tail");  // calls after the delay prompt
    QTest::newRow("delays handed over") << false << "x,y" << "0,15"
                                        << QStringList{"setDisplayList:x,y", "setDelayList:0,15", "SendAllVarInfo"};
    QTest::newRow("cancelled") << true << "x,y" << "0,15" << QStringList{};
    QTest::newRow("no display") << false << "" << "" << QStringList{};
}

void tst_UpdateFlow::delayPrompt()
{
    QFETCH(bool, cancelled);
    QFETCH(QString, displays);
    QFETCH(QString, delays);
    QFETCH(QStringList, tail);
    m_dialogs.delayCancelled = cancelled;
    m_dialogs.delayDisplays = displays;
    m_dialogs.delayDelays = delays;
    settings::write(settings::kPromptForDelay, QStringLiteral("TRUE"));
    // The delay dialog asks the manager's display selection for its rows.
    settings::write(settings::kPromptForDisplay, QStringLiteral("1"));
    settings::write(settings::kRecentDisplays, QStringLiteral("p") + QChar(0xFF) + QStringLiteral("q"));
    openManager();
    pressUpdate();
    const QStringList head{"createChooser",      "chooser.setVariableSet", "GetChosenVars",
                           "createUpdateSender", "setVariableSet",         "setSelectedVars:1t",
                           "createDelayPrompt",  "delay.exec:p,q"};
    QCOMPARE(m_dialogs.calls, head + tail);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_UpdateFlow::optionChoosesSend_data()
{
    QTest::addColumn<int>("option");  // -1: none stored
    QTest::addColumn<QString>("send");
    QTest::newRow("data and attributes") << 0 << "SendAllVarInfo";
    QTest::newRow("data only") << 1 << "SendVarData";
    QTest::newRow("attributes only") << 2 << "SendVarAttributes";
    QTest::newRow("none set") << -1 << "SendAllVarInfo";
}

void tst_UpdateFlow::optionChoosesSend()
{
    QFETCH(QString, send);
    QFETCH(int, option);
    settings::write(settings::kPromptForDisplay, QStringLiteral("0"));
    settings::write(settings::kLastOpenedDisplay, QStringLiteral("4"));
    if (option < 0)
        settings::write(settings::kUpdateAll, QStringLiteral("False"));
    openManager();
    if (option >= 0)
        QTest::mouseClick(m_dialog->findChild<QRadioButton*>(QStringLiteral("optVariable_%1").arg(option)),
                          Qt::LeftButton);
    pressUpdate();
    QCOMPARE(m_dialogs.calls.last(), send);
    QCOMPARE(m_dialogs.calls.count(send), 1);
}

void tst_UpdateFlow::editsCommittedAndSavedBeforeChooser()
{
    { clsVariableAccess first; }  // a current file exists
    settings::write(settings::kPromptForDisplay, QStringLiteral("0"));
    settings::write(settings::kLastOpenedDisplay, QStringLiteral("4"));
    QString inSet, inFile, inStore;
    m_dialogs.onChoose = [&](clsVariableAccess* set) {
        inSet = set->VariableData(257);
        inFile = testing::vlsRecord(m_env->path(QStringLiteral("QMDvarinfo.vls")), 257).value(4);
        inStore = settings::ReadMachineSetting(QStringLiteral("Lumarex3"), QStringLiteral("Variables"),
                                               QStringLiteral("VBL257"), {});
    };
    openManager();
    m_dialog->findChild<QLineEdit*>(QStringLiteral("txtCellVarData"))->setText(QStringLiteral("typed"));
    pressUpdate();
    QCOMPARE(inSet, QStringLiteral("typed"));
    QCOMPARE(inFile, QStringLiteral("typed"));
    QCOMPARE(inStore, QStringLiteral("typed"));
    QCOMPARE(m_dialogs.calls.last(), QStringLiteral("SendAllVarInfo"));
}

void tst_UpdateFlow::errorsAbandonTheUpdate_data()
{
    QTest::addColumn<QString>("promptDisplay");
    QTest::addColumn<bool>("hostChooser");
    QTest::addColumn<QString>("message");
    QTest::newRow("display setting not a number")
        << "abc" << true << QStringLiteral("Error Occurred ") + RuntimeError::standardDescription(RuntimeError::TypeMismatch);
    QTest::newRow("host chooser missing")
        << "2" << false
        << QStringLiteral("Error Occurred ") + RuntimeError::standardDescription(RuntimeError::ActiveXCannotCreateObject);
}

void tst_UpdateFlow::errorsAbandonTheUpdate()
{
    QFETCH(QString, promptDisplay);
    QFETCH(bool, hostChooser);
    QFETCH(QString, message);
    settings::write(settings::kPromptForDisplay, promptDisplay);
    if (hostChooser)
        installHostChooser(QStringLiteral("1"));
    openManager();
    pressUpdate();
    QCOMPARE(m_box->texts(), QStringList{message});
    QCOMPARE(m_box->shown().first().icon, msgbox::NoIcon);
    QVERIFY(!m_dialogs.calls.contains(QStringLiteral("setDisplayList:1")));
    QVERIFY(!m_dialogs.calls.last().startsWith(QStringLiteral("Send")));
}

void tst_UpdateFlow::menuCommands_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<int>("hostAsked");
    QTest::newRow("update display now")
        << "mnuUpdateDisplay"
        << QStringList{"createChooser",   "chooser.setVariableSet", "GetLastVars",     "createUpdateSender",
                       "setVariableSet",  "setSelectedVars:1t",     "setDisplayList:9", "setDelayList:0",
                       "SendAllVarInfo"}
        << 1;
    // Choosing variables always shows the chooser and sends nothing.
    QTest::newRow("choose variables") << "mnuChooseVar"
                                      << QStringList{"createChooser", "chooser.setVariableSet", "GetChosenVars"} << 0;
    QTest::newRow("choose displays") << "mnuChooseDisplay" << QStringList{} << 1;
}

void tst_UpdateFlow::menuCommands()
{
    QFETCH(QString, item);
    QFETCH(QStringList, calls);
    QFETCH(int, hostAsked);
    settings::write(settings::kPromptForVariable, QStringLiteral("FALSE"));
    settings::write(settings::kPromptForDisplay, QStringLiteral("2"));
    installHostChooser(QStringLiteral("9"));
    openManager();
    m_dialog->findChild<QAction*>(item)->trigger();
    QCOMPARE(m_dialogs.calls, calls);
    QCOMPARE(HostChooser::asked, hostAsked);
    QVERIFY(m_box->shown().isEmpty());
}

void tst_UpdateFlow::realChooserThroughManager()
{
    m_dialogs.realChooser = true;
    settings::write(settings::kPromptForDisplay, QStringLiteral("0"));
    settings::write(settings::kLastOpenedDisplay, QStringLiteral("4"));
    openManager();
    m_dialog->variableSet().setVariableName(2, QStringLiteral("Named in the manager"));
    QString nameShown;
    QTimer::singleShot(0, [&nameShown] {
        auto* chooser = qobject_cast<dlgChooseVars*>(QApplication::activeModalWidget());
        QVERIFY(chooser);
        auto* list = chooser->findChild<QTreeWidget*>(QStringLiteral("lstvVarsToChoose"));
        nameShown = list->topLevelItem(1)->text(1);
        list->topLevelItem(1)->setCheckState(0, Qt::Checked);
        list->topLevelItem(256)->setCheckState(0, Qt::Checked);
        QTest::mouseClick(chooser->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    });
    pressUpdate();
    QCOMPARE(nameShown, QStringLiteral("Named in the manager"));
    QVERIFY(m_dialogs.calls.contains(QStringLiteral("setSelectedVars:2t,257c")));
    QCOMPARE(m_dialogs.calls.last(), QStringLiteral("SendAllVarInfo"));
    QCOMPARE(settings::read(settings::kLastUsed), QStringLiteral("2;257"));
    // The audit button shows the chooser whatever "PromptForVariable" says.
    settings::write(settings::kPromptForVariable, QStringLiteral("FALSE"));
    bool shown = false;
    QTimer::singleShot(0, [&shown] {
        auto* chooser = qobject_cast<dlgChooseVars*>(QApplication::activeModalWidget());
        shown = chooser != nullptr;
        if (chooser)
            chooser->reject();
    });
    QTest::mouseClick(m_dialog->findChild<QPushButton*>(QStringLiteral("cmdVariableAudit")), Qt::LeftButton);
    QVERIFY(shown);
}

QTEST_MAIN(tst_UpdateFlow)
#include "tst_updateflow.moc"
