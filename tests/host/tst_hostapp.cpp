// The host application's logic: the transmission of a playfile with the
// plug-ins' pre-transmit hook, the display list editor, the display chooser
// (driven as a person would, and answered without its dialog), and the main
// window's commands with the plug-ins it lists.

#include "datarow.h"
#include "DisplayChooser.h"
#include "FrameEditor.h"
#include "classregistry.h"
#include "dlgDisplayChooser.h"
#include "dlgDisplayList.h"
#include "fakedisptrans.h"
#include "frmMain.h"
#include "hostobjects.h"
#include "latebound.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "transmitter.h"

#include <QTest>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QTimer>

namespace {

// What the host asked of the fake control: the opens in full, as
// "open kind target;serial;dial;port@address", then the hooks, messages and closes.
QStringList hostCalls()
{
    QStringList out;
    qsizetype opened = 0;
    for (const QString& call : std::as_const(fake.calls)) {
        const disptrans::ConnectionSettings s = call.startsWith(u"open ") ? fake.opens.value(opened++)
                                                                          : disptrans::ConnectionSettings();
        if (call.startsWith(u"open "))
            out << QStringLiteral("open %1 %2;%3;%4;%5@%6")
                       .arg(s.ConnKind)
                       .arg(s.ConnTarget, s.ConnParam1, s.ConnParam2, s.ConnParam3)
                       .arg(s.ConnAddress);
        else if (!call.startsWith(u"address "))
            out << call;
    }
    return out;
}

// A plug-in with the host contract's operations. Its hook notes the control's
// address into the control's record and leaves the control at another address.
class FakePlugin final : public QObject {
    Q_OBJECT
public:
    explicit FakePlugin(bool preTransmit = true, bool failHook = false) : preTransmit(preTransmit), failHook(failHook)
    {
        setObjectName(QStringLiteral("FakePlugin"));
    }
    bool preTransmit, failHook;
    bool started = false;
    QString playfile;

    Q_INVOKABLE void StartPlugin(QObject*) { started = true; }
    Q_INVOKABLE bool DoesFrameEdit() const { return true; }
    Q_INVOKABLE void StartFrameFeature(QObject* frame)
    {
        hostobjects::addTextToCurrentLine(frame, QStringLiteral("<VBL001>"));
    }
    Q_INVOKABLE bool DoesPreTransmit() const { return preTransmit; }
    Q_INVOKABLE void StartPreTransmit(QObject* control, QObject* file)
    {
        auto* fakeControl = qobject_cast<FakeDispTrans*>(control);
        fake.calls << (fakeControl->isOpen() ? QStringLiteral("pre %1") : QStringLiteral("pre-closed %1"))
                          .arg(fakeControl->DisplayAddress());
        playfile = latebound::getProperty(file, "Text").toString();
        if (failHook)
            RuntimeError::raise(RuntimeError::AutomationError);
        fakeControl->setDisplayAddress(int16_t(99));
    }
};

// A plug-in library's PluginData; the entry at `failAt` raises.
class FakePluginData final : public QObject {
    Q_OBJECT
    Q_PROPERTY(short TotalPlugins READ TotalPlugins)
public:
    explicit FakePluginData(QStringList names, int failAt = -1) : m_names(std::move(names)), m_failAt(failAt) {}
    short TotalPlugins() const { return short(m_names.size()); }
    Q_INVOKABLE QString PluginNames(short i) const { return at(i); }
    Q_INVOKABLE QString PluginDescription(short i) const { return QStringLiteral("About ") + at(i); }
    Q_INVOKABLE QString PluginDescriptiveName(short i) const { return at(i).section(u'.', 0, 0) + " tool"; }
    Q_INVOKABLE QVariant PluginPic(short) const { return {}; }

private:
    QString at(short i) const
    {
        if (i == m_failAt)
            RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
        return m_names.value(i);
    }
    QStringList m_names;
    int m_failAt;
};

QPushButton* button(QWidget* parent, const char* name) { return parent->findChild<QPushButton*>(name); }

} // namespace

class TestHostApp final : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ComponentLoader::clearFactories(); }
    void transmit_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("addresses");
        QTest::addColumn<bool>("opens");
        QTest::addColumn<int>("failing");  // the address whose message fails, -1 none
        QTest::addColumn<QString>("hook"); // "yes", "no" (not asked for) or "fails"
        QTest::addColumn<bool>("sent");
        QTest::addColumn<QStringList>("calls"); // "open kind target;serial;dial;port@address", ...
        QTest::addColumn<QString>("logged");
        addRow("tcp: hook then message, per address", 3, " 1, 2 ,,", true, -1, "yes", true,
               QStringList{"open 3 target;;;47010@1", "pre 1", "message @1", "pre 2", "message @2", "close"},
               "Sent to display 3 (D3), address 2");
        addRow("no address list: address 0", 3, "", true, -1, "yes", true,
               QStringList{"open 3 target;;;47010@0", "pre 0", "message @0", "close"}, "Opening display 3 (D3)");
        addRow("serial, hook not asked for", 1, "4", true, -1, "no", true,
               QStringList{"open 1 target;9600,N,8,1;;@4", "message @4", "close"}, "");
        addRow("modem, hook fails, message still sent", 2, "1", true, -1, "fails", true,
               QStringList{"open 2 target;;5551234;@1", "pre 1", "message @1", "close"},
               "Pre-transmit of FakePlugin failed: Automation error");
        addRow("any other kind as modem, open fails", 0, "1", false, -1, "yes", false,
               QStringList{"open 2 target;;5551234;@1"}, "FAILED to open display 3 (D3): connection refused");
        addRow("one address fails, the others still sent", 3, "1,2,3", true, 2, "no", false,
               QStringList{"open 3 target;;;47010@1", "message @1", "message @2", "message @3", "close"},
               "FAILED to send to display 3 (D3), address 2: no answer from display");
    }
    void transmit()
    {
        QFETCH(int, kind);
        QFETCH(QString, addresses);
        QFETCH(bool, opens);
        QFETCH(int, failing);
        QFETCH(QString, hook);
        QFETCH(QString, logged);
        fake = {};
        if (!opens)
            fake.refusedTargets << QStringLiteral("target");
        fake.deadAddresses << int16_t(failing);
        FakeDispTrans control;
        FakePlugin plugin(hook != u"no", hook == u"fails");
        QStringList log;
        Transmitter t(&control);
        t.setLog([&](const QString& line) { log << line; });
        const QString playfile = QStringLiteral("A\nB\r\nC\rD");
        const DisplayRecord r{"3", "D3", int16_t(kind), "target", "9600,N,8,1", "47010", "5551234", addresses};
        QTEST(t.transmit(r, playfile, {&plugin}), "sent");
        QTEST(hostCalls(), "calls");
        if (opens) {
            QCOMPARE(fake.texts.value(0), QStringLiteral("A\r\nB\r\nC\r\nD")); // every line end as CR LF
            QCOMPARE(plugin.playfile, hook == u"no" ? QString() : playfile);
        }
        QVERIFY2(log.join(u'\n').contains(logged), qPrintable(log.join(u'\n')));
    }
    void displayListEditor_data()
    {
        QTest::addColumn<int>("column"); // of the added row
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("problem"); // "" = saved
        addRow("separator in the name is saved", 1, "Sales | Service", "");
        addRow("empty name", 1, " ", "row 2: display 6 has no name");
        addRow("number taken with leading zero", 0, "05", "row 2: display number 5 is already used in row 1");
        addRow("kind not a number", 2, "tcp", "row 2: the kind is not a number");
    }
    void displayListEditor()
    {
        TestEnvironment env;
        ScriptedMessageBox boxes;
        const QString path = env.path(QStringLiteral("Displays.dat"));
        const QByteArray original = "5|Lobby|3|127.0.0.1||47010||1\n";
        writeFile(path, original);
        QFETCH(int, column);
        QFETCH(QString, value);
        QFETCH(QString, problem);
        dlgDisplayList dialog(path);
        auto* grid = dialog.findChild<QTableWidget*>(QStringLiteral("gridDisplays"));
        QTest::mouseClick(button(&dialog, "cmdAdd"), Qt::LeftButton);
        QCOMPARE(grid->rowCount(), 2);
        grid->item(1, column)->setText(value);
        dialog.show();
        QTest::mouseClick(button(&dialog, "cmdSave"), Qt::LeftButton);
        if (!problem.isEmpty()) {
            QCOMPARE(boxes.shown().size(), 1);
            QVERIFY2(boxes.shown().first().text.contains(problem), qPrintable(boxes.shown().first().text));
            QVERIFY(dialog.findChild<QLabel*>(QStringLiteral("lblProblems"))->text().contains(problem));
            QCOMPARE(readFile(path), original); // not written
            return;
        }
        QVERIFY(boxes.shown().isEmpty());
        // The added row: the next free number, TCP on this machine.
        QVERIFY(readFile(path).endsWith("\n6|Sales %7C Service|3|127.0.0.1||47010||1\n")); // no serial settings
        grid->selectRow(0);
        QTest::mouseClick(button(&dialog, "cmdRemove"), Qt::LeftButton);
        QTest::mouseClick(button(&dialog, "cmdSave"), Qt::LeftButton);
        const auto records = DisplayListFile::read(path).records;
        QCOMPARE(records.size(), 1);
        QCOMPARE(records[0].name, value);
    }
    void displayChooser_data()
    {
        QTest::addColumn<QByteArray>("list");   // "Displays.dat"; empty: no file
        QTest::addColumn<QStringList>("steps"); // "check N", "double N" or a button's name
        QTest::addColumn<QStringList>("shown"); // the displays as the dialog opened, "*" = checked
        QTest::addColumn<QString>("problem");   // part of the problem shown
        QTest::addColumn<QString>("chosen");    // "" = no choice: the previous one is kept
        const QByteArray list =
            "1|Lobby|3|h||1||1\n2|Dock|1|/dev/ttyS0|9600,N,8,1|||1,2\n3|Branch|2|/dev/ttyS1|||555|1\n";
        const QStringList shown{"1 - Lobby", "2 - Dock*", "3 - Branch*"}; // recently chosen: 2 and 3
        auto row = [&](const char* tag, const QStringList& steps, const char* chosen) {
            addRow(tag, list, steps, shown, "", chosen);
        };
        row("checked displays, in list order", {"check 1", "cmdOK"}, "1,2,3");
        row("select all", {"cmdClearAll", "cmdSelectAll", "cmdOK"}, "1,2,3");
        row("double click chooses one alone", {"double 1"}, "1");
        row("cancelled", {"check 1", "cmdCancel"}, "");
        row("nothing checked", {"cmdClearAll", "cmdOK"}, "");
        addRow("no list", QByteArray(), QStringList{"cmdOK"}, QStringList{}, "Display list file not found", "");
        addRow("malformed line", QByteArray("1|Lobby|3\n2|Dock|3|h||1||1\n"), QStringList{"cmdOK"},
               QStringList{"2 - Dock*"}, "line 1: expected 8 fields", "2");
    }
    void displayChooser()
    {
        TestEnvironment env;
        QFETCH(QByteArray, list);
        QFETCH(QStringList, steps);
        QFETCH(QString, problem);
        if (!list.isEmpty())
            writeFile(env.path(QStringLiteral("Displays.dat")), list);
        if (!problem.isEmpty() && !list.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(problem));
        settings::write(settings::kRecentDisplays, QStringLiteral("2\u00ff3")); // numbers joined by character 255
        settings::write(settings::kLastOpenedDisplay, QStringLiteral("2,3"));
        QStringList shown, captions;
        QString shownProblem;
        // Runs once the dialog is open; the dialog is closed afterwards whatever
        // happened, so a failing check cannot leave it open.
        QTimer::singleShot(0, [&] {
            auto* dialog = qobject_cast<dlgDisplayChooser*>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            captions << dialog->windowTitle() << dialog->findChild<QLabel*>(QStringLiteral("lblPrompt"))->text();
            for (const char* name : {"cmdSelectAll", "cmdClearAll", "cmdOK", "cmdCancel"}) {
                auto* button = dialog->findChild<QPushButton*>(QString::fromLatin1(name));
                captions << button->text() + (button->isDefault() ? QStringLiteral(" (default)") : QString());
            }
            auto* label = dialog->findChild<QLabel*>(QStringLiteral("lblProblem"));
            shownProblem = label->isVisible() ? label->text() : QString();
            auto* displays = dialog->findChild<QListWidget*>(QStringLiteral("lstDisplays"));
            for (int i = 0; i < displays->count(); ++i)
                shown << displays->item(i)->text() + (displays->item(i)->checkState() == Qt::Checked ? "*" : "");
            for (const QString& step : steps) {
                QListWidgetItem* item = displays->item(step.section(u' ', 1).toInt() - 1);
                // A double click beside the check box.
                const QPoint beside = item ? displays->visualItemRect(item).center() + QPoint(20, 0) : QPoint();
                if (step.startsWith(u"check")) {
                    item->setCheckState(Qt::Checked);
                } else if (step.startsWith(u"double")) {
                    QTest::mouseClick(displays->viewport(), Qt::LeftButton, {}, beside);
                    QTest::mouseDClick(displays->viewport(), Qt::LeftButton, {}, beside);
                } else {
                    QTest::mouseClick(dialog->findChild<QPushButton*>(step), Qt::LeftButton);
                }
            }
            if (dialog->isVisible())
                dialog->reject();
        });
        const QString chosen = DisplayChooser().SelectDisplays();
        QTEST(chosen, "chosen");
        QTEST(shown, "shown");
        QVERIFY2(shownProblem.contains(problem) && shownProblem.isEmpty() == problem.isEmpty(),
                 qPrintable(shownProblem));
        QCOMPARE(captions, (QStringList{"Choose Displays", "Choose the displays:", "Select &All", "&Clear All",
                                        "OK (default)", "Cancel"}));
        const QString remembered = chosen.isEmpty() ? QStringLiteral("2,3") : chosen;
        QCOMPARE(settings::read(settings::kRecentDisplays).replace(u'\u00ff', u','), remembered);
        QCOMPARE(settings::read(settings::kLastOpenedDisplay), remembered);
    }
    void displayChooserFromEnvironment()
    {
        // Unattended: the answer comes from the environment, no dialog opens.
        TestEnvironment env;
        qputenv(DisplayChooser::kAnswerVariable, " 2 ,, 4");
        const QString chosen = DisplayChooser().SelectDisplays();
        qunsetenv(DisplayChooser::kAnswerVariable);
        QCOMPARE(chosen, QStringLiteral("2,4"));
        QCOMPARE(settings::read(settings::kRecentDisplays), QStringLiteral("2\u00ff4"));
    }
    void mainWindowPluginsAndTransmit()
    {
        TestEnvironment env;
        ScriptedMessageBox boxes;
        settings::write(settings::kAppPath, env.folder());
        writeFile(env.path(QStringLiteral("Displays.dat")), "4|Lobby|3|127.0.0.1||47010||1\n");
        // Classes come from the class registry; the factories stand in for libraries.
        for (const char* id : {"Fake.PluginData", "Alpha.PluginData"})
            ClassRegistry().registerClass(QString::fromLatin1(id), QStringLiteral("/nowhere/lib.so"));
        ComponentLoader::setFactory(QStringLiteral("Alpha.PluginData"),
                                    [] { return new FakePluginData({"Alpha.Main"}); });
        ComponentLoader::setFactory(QStringLiteral("Fake.PluginData"), [] {
            return new FakePluginData({"Fake.Main", "Fake.Broken"}, 1);
        });
        ComponentLoader::setFactory(QStringLiteral("Alpha.Main"), [] { return new FakePlugin(false); });
        FakePlugin* plugin = nullptr;
        ComponentLoader::setFactory(QStringLiteral("Fake.Main"), [&plugin] { return plugin = new FakePlugin; });
        fake = {};
        ComponentLoader::setFactory(disptrans::kDispTransProgId, [] { return new FakeDispTrans; });

        frmMain window;
        window.loadPlugins(env.folder()); // no libraries there: only the registered fakes
        // In name order; a library whose listing fails halfway keeps what it listed before.
        QStringList listed;
        for (const auto& p : window.plugins())
            listed << p.progId + u'/' + p.descriptiveName + u'/' + p.description;
        QCOMPARE(listed,
                 (QStringList{"Alpha.Main/Alpha tool/About Alpha.Main", "Fake.Main/Fake tool/About Fake.Main"}));
        const QString log = window.findChild<QPlainTextEdit*>(QStringLiteral("txtLog"))->toPlainText();
        QVERIFY2(log.contains("Fake.PluginData: Subscript out of range"), qPrintable(log));
        auto* start = window.findChild<QAction*>(QStringLiteral("mnuPlugin1"));
        QCOMPARE(start->text(), QStringLiteral("Fake tool"));
        start->trigger();
        QVERIFY(plugin && plugin->started);

        // The frame feature gets the editor, which adds the plug-in's text at the
        // end of the line that holds the cursor and leaves the cursor after it.
        auto* editor = window.findChild<QPlainTextEdit*>(QStringLiteral("txtPlayfile"));
        editor->setPlainText(QStringLiteral("TEMP \nNEXT"));
        editor->moveCursor(QTextCursor::NextCharacter);
        window.findChild<QAction*>(QStringLiteral("mnuFrameFeature1"))->trigger();
        QCOMPARE(latebound::getProperty(window.frameEditor(), "Text").toString(),
                 QStringLiteral("TEMP <VBL001>\nNEXT"));
        QCOMPARE(editor->textCursor().position(), 13);

        QCOMPARE(window.findChild<QComboBox*>(QStringLiteral("cmbDisplay"))->currentText(),
                 QStringLiteral("4 - Lobby"));
        QTest::mouseClick(button(&window, "cmdTransmit"), Qt::LeftButton);
        QCOMPARE(hostCalls(), (QStringList{"open 3 127.0.0.1;;;47010@1", "pre 1", "message @1", "close"}));
        QCOMPARE(fake.texts.value(0), QStringLiteral("TEMP <VBL001>\r\nNEXT"));
        QCOMPARE(settings::read(settings::kLastOpenedDisplay), QStringLiteral("4"));
        QVERIFY(boxes.shown().isEmpty());
        QCOMPARE(window.findChild<QLabel*>("lblStatus")->text(), QStringLiteral("Transmitted to display 4"));
    }
    void tokens_data()
    {
        QTest::addColumn<QString>("playfile");
        QTest::addColumn<QString>("sent");
        const QString rs(QChar(30));
        addRow("text and cell tokens", "A VBL001 B VBL257", "A " + rs + "A000 B " + rs + "V000");
        addRow("not in the table: as typed", "VBL999 VBL01 vbl001", "VBL999 VBL01 vbl001");
        addRow("token inside a word, twice", "xVBL002VBL002", "x" + rs + "A001" + rs + "A001");
        addRow("four digits: the first three", "VBL0012", rs + "A0002");
    }
    void tokens()
    {
        QFETCH(QString, playfile);
        const QString rs(QChar(30));
        const QHash<QString, QString> table{{"VBL001", rs + "A000"}, {"VBL002", rs + "A001"}, {"VBL257", rs + "V000"}};
        fake = {};
        FakeDispTrans control;
        Transmitter t(&control);
        t.setTokenLookup([&](const QString& token) { return table.value(token); });
        QVERIFY(t.transmit({"3", "D3", 3, "target", {}, "1", {}, "1"}, playfile, {}));
        QTEST(fake.texts.value(0), "sent");
    }
    void displayListKinds_data()
    {
        QTest::addColumn<QString>("typed"); // into the kind cell of a new row
        QTest::addColumn<QString>("line");  // the row as saved
        // The TCP row's defaults give way to the new kind's; a typed field would stay.
        addRow("by name: serial", "1 - Serial port", "7|Display 7|1|/dev/ttyS0|9600,N,8,1|||1");
        addRow("by number: modem", "2", "7|Display 7|2|/dev/ttyS0||||1");
        addRow("any other number", " -5 modem", "7|Display 7|-5|/dev/ttyS0||||1");
        addRow("tcp again: unchanged", "3", "7|Display 7|3|127.0.0.1||47010||1");
    }
    void displayListKinds()
    {
        TestEnvironment env;
        ScriptedMessageBox boxes;
        const QString path = env.path(QStringLiteral("Displays.dat"));
        writeFile(path, "6|Dock|0|/dev/ttyS1|||555|1\n");
        dlgDisplayList dialog(path);
        auto* grid = dialog.findChild<QTableWidget*>(QStringLiteral("gridDisplays"));
        QCOMPARE(grid->item(0, 2)->text(), QStringLiteral("0 - Modem")); // the kind by name
        QTest::mouseClick(button(&dialog, "cmdAdd"), Qt::LeftButton);
        QFETCH(QString, typed);
        grid->item(1, 2)->setText(typed); // choosing a kind fills only its empty fields
        QVERIFY(dialog.save());
        QFETCH(QString, line);
        const QByteArray saved = readFile(path);
        QVERIFY2(saved.endsWith(QByteArray(line.toLatin1() + '\n')), saved.constData());
    }
    void playfileFileCommands()
    {
        TestEnvironment env;
        ScriptedMessageBox boxes;
        ScriptedFileDialog files;
        frmMain window;
        auto* editor = window.findChild<QPlainTextEdit*>(QStringLiteral("txtPlayfile"));
        auto trigger = [&](const char* name) { window.findChild<QAction*>(QString::fromLatin1(name))->trigger(); };
        window.setPlayfileText(QStringLiteral("WELCOME VBL001"), false); // as the host starts with --playfile
        QCOMPARE(window.windowTitle(), QStringLiteral("Lumarex - Untitled"));
        editor->clear();
        QTest::keyClicks(editor, "SALE VBL003");
        QCOMPARE(window.windowTitle(), QStringLiteral("Lumarex - Untitled*"));
        // New asks first; Cancel keeps the text, No drops it.
        boxes.answerNext(msgbox::Cancel);
        trigger("mnuFileNew");
        QCOMPARE(editor->toPlainText(), QStringLiteral("SALE VBL003"));
        files.answerNext(env.path("sale")); // the playfile's extension is added
        trigger("mnuFileSave");             // no name yet: Save asks for one
        QCOMPARE(window.windowTitle(), QStringLiteral("Lumarex - sale.lpf"));
        boxes.answerNext(msgbox::No);
        QTest::keyClicks(editor, "!");
        trigger("mnuFileNew");
        QCOMPARE(editor->toPlainText(), QString());
        files.answerNext(env.path("sale.lpf"));
        trigger("mnuFileOpen");
        QCOMPARE(editor->toPlainText(), QStringLiteral("SALE VBL003"));
        QCOMPARE(boxes.texts(), QStringList(2, "The playfile has unsaved changes. Do you want to save them?"));
    }
};

QTEST_MAIN(TestHostApp)
#include "tst_hostapp.moc"
