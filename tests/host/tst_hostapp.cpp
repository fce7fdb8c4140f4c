// The host application's logic: the frame editor as plug-ins call it, the
// transmission of a playfile with the plug-ins' pre-transmit hook, the plug-in
// list, the display list editor, and the main window's commands.

#include "DisplayList.h"
#include "FrameEditor.h"
#include "classregistry.h"
#include "dlgDisplayList.h"
#include "frmMain.h"
#include "hostobjects.h"
#include "latebound.h"
#include "plugincatalog.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "transmitter.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

namespace {

// A transmission control that records what the host asks of it.
class FakeDispTrans final : public QObject, public disptrans::IDispTrans {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDispTrans)
public:
    bool openAnswer = true;
    QList<int16_t> failingAddresses;  // SendMessage to these answers false
    QStringList calls;
    disptrans::ConnectionSettings opened;
    bool isOpen = false;
    int16_t address = 0;

    bool OpenConnection(disptrans::ConnectionSettings& s) override
    {
        opened = s;
        calls << QStringLiteral("open");
        isOpen = openAnswer;
        address = s.ConnAddress;
        return openAnswer;
    }
    void CloseConnection() override
    {
        calls << QStringLiteral("close");
        isOpen = false;
    }
    void setDisplayAddress(const QString& a) override { address = a.toShort(); }
    void setDisplayAddress(int16_t a) override { address = a; }
    int16_t DisplayAddress() override { return address; }
    bool SendTextVarData(disptrans::TextVarDataItem&) override { return true; }
    bool SendCellVarData(disptrans::CellVarDataItem&) override { return true; }
    bool SendTextVarAttributes(disptrans::VarAttributeList&) override { return true; }
    bool SendCellVarAttributes(disptrans::VarAttributeList&) override { return true; }
    disptrans::DisplayConfiguration ReadDisplayConfiguration() override { return {}; }
    disptrans::DownloadTime ReadDownloadTime() override { return {}; }
    disptrans::VarReadReply ReadTextVariable(disptrans::VarReadRequest&) override { return {}; }
    disptrans::VarReadReply ReadCellVariable(disptrans::VarReadRequest&) override { return {}; }
    bool SendMessage(const QString& message) override
    {
        calls << QStringLiteral("message %1 %2").arg(address).arg(message);
        return isOpen && !failingAddresses.contains(address);
    }
    bool LastCommandSucceeded() override { return true; }
    QString LastErrorText() override { return openAnswer ? QStringLiteral("display did not answer") : QStringLiteral("connection refused"); }
};

// A plug-in with the host contract's operations, recording its calls.
class FakePlugin final : public QObject {
    Q_OBJECT
public:
    explicit FakePlugin(bool preTransmit = true) : preTransmit(preTransmit) { setObjectName(QStringLiteral("FakePlugin")); }
    bool preTransmit;
    bool failHook = false;
    int16_t moveAddressTo = -1;  // the hook leaves the control at another address
    QStringList calls;
    QObject* lastFrameEditor = nullptr;

    Q_INVOKABLE void StartPlugin(QObject*) { calls << QStringLiteral("StartPlugin"); }
    Q_INVOKABLE bool DoesFrameEdit() const { return true; }
    Q_INVOKABLE void StartFrameFeature(QObject* frame)
    {
        calls << QStringLiteral("StartFrameFeature");
        lastFrameEditor = frame;
        hostobjects::addTextToCurrentLine(frame, QStringLiteral("<VBL001>"));
    }
    Q_INVOKABLE bool DoesPreTransmit() const { return preTransmit; }
    Q_INVOKABLE void StartPreTransmit(QObject* control, QObject* playfile)
    {
        auto* trans = qobject_cast<disptrans::IDispTrans*>(control);
        auto* fake = qobject_cast<FakeDispTrans*>(control);
        calls << QStringLiteral("pre %1 open=%2 file=%3")
                     .arg(trans ? trans->DisplayAddress() : -99)
                     .arg(fake && fake->isOpen ? QStringLiteral("true") : QStringLiteral("false"))
                     .arg(latebound::getProperty(playfile, "Text").toString());
        if (fake)
            fake->calls << QStringLiteral("pre");
        if (failHook)
            RuntimeError::raise(RuntimeError::AutomationError);
        if (trans && moveAddressTo >= 0)
            trans->setDisplayAddress(moveAddressTo);
    }
};

// A plug-in library's PluginData.
class FakePluginData final : public QObject {
    Q_OBJECT
    Q_PROPERTY(short TotalPlugins READ TotalPlugins)
public:
    explicit FakePluginData(QStringList names, bool failSecond = false) : m_names(std::move(names)), m_failSecond(failSecond) {}
    short TotalPlugins() const { return short(m_names.size()); }
    Q_INVOKABLE QString PluginNames(short i) const { return at(i); }
    Q_INVOKABLE QString PluginDescription(short i) const { return QStringLiteral("About ") + at(i); }
    Q_INVOKABLE QString PluginDescriptiveName(short i) const { return at(i).section(u'.', 0, 0) + QStringLiteral(" tool"); }
    Q_INVOKABLE QVariant PluginPic(short) const { return {}; }

private:
    QString at(short i) const
    {
        if (i < 0 || i >= m_names.size() || (m_failSecond && i == 1))
            RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
        return m_names[i];
    }
    QStringList m_names;
    bool m_failSecond;
};

DisplayRecord display(const QString& number, int16_t kind, const QString& addresses)
{
    DisplayRecord r;
    r.number = number;
    r.name = QStringLiteral("D") + number;
    r.kind = kind;
    r.linkTarget = QStringLiteral("target");
    r.kind1Param = QStringLiteral("9600,N,8,1");
    r.kind3Param = QStringLiteral("47010");
    r.otherKindParam = QStringLiteral("5551234");
    r.addressList = addresses;
    return r;
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

// With LUMAREX_SCREENSHOT_DIR set, keeps a picture of the window for people to look at.
void keepPicture(QWidget* widget, const QString& name)
{
    const QString folder = qEnvironmentVariable("LUMAREX_SCREENSHOT_DIR");
    if (!folder.isEmpty())
        widget->grab().save(folder + u'/' + name + QStringLiteral(".png"));
}

} // namespace

class TestHostApp final : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ComponentLoader::clearFactories(); }
    void addTextToCurrentLine_data();
    void addTextToCurrentLine();
    void settingsFor_data();
    void settingsFor();
    void addressesOf_data();
    void addressesOf();
    void messageText_data();
    void messageText();
    void transmitCallsHookThenSends();
    void transmitSkipsHookWhenNotAsked();
    void transmitOpenFails();
    void transmitOneAddressFails();
    void transmitHookFailureStillSends();
    void pluginCatalogLists();
    void displayListEditorSaves();
    void displayListEditorRefusesBadRows_data();
    void displayListEditorRefusesBadRows();
    void mainWindowPluginsAndTransmit();

private:
    // The cases without settings of their own still run in a world of their own.
    TestEnvironment m_env;
};

void TestHostApp::addTextToCurrentLine_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("cursor");  // position of the cursor
    QTest::addColumn<QString>("added");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("cursorAfter");
    QTest::newRow("empty editor") << "" << 0 << "VBL001" << "VBL001" << 6;
    QTest::newRow("cursor inside the first line") << "ab\ncd" << 1 << "X" << "abX\ncd" << 3;
    QTest::newRow("cursor on the second line") << "ab\ncd\nef" << 4 << "X" << "ab\ncdX\nef" << 6;
    QTest::newRow("cursor at the start of a line") << "ab\ncd" << 3 << "X" << "ab\ncdX" << 6;
    QTest::newRow("control characters kept") << "a" << 0 << QString(QChar(30)) + "A000" << QString("a") + QChar(30) + "A000" << 6;
}

void TestHostApp::addTextToCurrentLine()
{
    QFETCH(QString, text);
    QFETCH(int, cursor);
    QFETCH(QString, added);
    QPlainTextEdit edit;
    edit.setPlainText(text);
    QTextCursor c = edit.textCursor();
    c.setPosition(cursor);
    edit.setTextCursor(c);
    FrameEditor frame(&edit);
    hostobjects::addTextToCurrentLine(&frame, added);  // the plug-ins' way: late-bound by name
    QTEST(edit.toPlainText(), "expected");
    QTEST(edit.textCursor().position(), "cursorAfter");
    QTEST(latebound::getProperty(&frame, "Text").toString(), "expected");
}

void TestHostApp::settingsFor_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("addresses");
    QTest::addColumn<int>("connKind");
    QTest::addColumn<QString>("p1");
    QTest::addColumn<QString>("p2");
    QTest::addColumn<QString>("p3");
    QTest::addColumn<int>("address");
    QTest::newRow("serial") << 1 << "4" << 1 << "9600,N,8,1" << "" << "" << 4;
    QTest::newRow("tcp, first of two addresses") << 3 << "7,8" << 3 << "" << "" << "47010" << 7;
    QTest::newRow("modem") << 2 << "1" << 2 << "" << "5551234" << "" << 1;
    QTest::newRow("unknown kind as modem") << 4 << "1" << 2 << "" << "5551234" << "" << 1;
    QTest::newRow("kind 0 as modem") << 0 << "1" << 2 << "" << "5551234" << "" << 1;
    QTest::newRow("no address") << 3 << "" << 3 << "" << "" << "47010" << 0;
}

void TestHostApp::settingsFor()
{
    QFETCH(int, kind);
    QFETCH(QString, addresses);
    const auto s = Transmitter::settingsFor(display(QStringLiteral("1"), int16_t(kind), addresses));
    QTEST(int(s.ConnKind), "connKind");
    QCOMPARE(s.ConnTarget, QStringLiteral("target"));
    QTEST(s.ConnParam1, "p1");
    QTEST(s.ConnParam2, "p2");
    QTEST(s.ConnParam3, "p3");
    QTEST(int(s.ConnAddress), "address");
}

void TestHostApp::addressesOf_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QList<int>>("addresses");
    QTest::addColumn<int>("error");
    QTest::newRow("one") << "5" << QList<int>{5} << 0;
    QTest::newRow("several with blanks") << " 1, 2 ,3" << QList<int>{1, 2, 3} << 0;
    QTest::newRow("empty entries") << "1,,2," << QList<int>{1, 2} << 0;
    QTest::newRow("empty") << "" << QList<int>{} << 0;
    QTest::newRow("not a number") << "1,x" << QList<int>{} << int(RuntimeError::TypeMismatch);
    QTest::newRow("beyond 16 bits") << "40000" << QList<int>{} << int(RuntimeError::Overflow);
}

void TestHostApp::addressesOf()
{
    QFETCH(QString, list);
    QFETCH(QList<int>, addresses);
    QFETCH(int, error);
    try {
        QList<int> actual;
        for (int16_t a : Transmitter::addressesOf(list))
            actual << a;
        QCOMPARE(error, 0);
        QCOMPARE(actual, addresses);
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), error);
    }
}

void TestHostApp::messageText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("one line") << "HELLO" << "HELLO";
    QTest::newRow("LF") << "a\nb" << "a\r\nb";
    QTest::newRow("CR LF stays") << "a\r\nb" << "a\r\nb";
    QTest::newRow("lone CR") << "a\rb" << "a\r\nb";
    QTest::newRow("empty lines kept") << "a\n\nb\n" << "a\r\n\r\nb\r\n";
}

void TestHostApp::messageText()
{
    QFETCH(QString, text);
    QTEST(Transmitter::messageText(text), "expected");
}

void TestHostApp::transmitCallsHookThenSends()
{
    FakeDispTrans control;
    FakePlugin plugin;
    plugin.moveAddressTo = 99;
    QStringList log;
    Transmitter t(&control);
    t.setLog([&](const QString& line) { log << line; });
    QVERIFY(t.transmit(display(QStringLiteral("3"), 3, QStringLiteral("1,2")), QStringLiteral("HI\nTHERE"), {&plugin}));
    QCOMPARE(control.calls, (QStringList{"open", "pre", "message 1 HI\r\nTHERE", "pre", "message 2 HI\r\nTHERE", "close"}));
    // The hook sees the connection open and addressed, and the playfile.
    QCOMPARE(plugin.calls, (QStringList{"pre 1 open=true file=HI\nTHERE", "pre 2 open=true file=HI\nTHERE"}));
    QCOMPARE(control.opened.ConnKind, int16_t(3));
    QCOMPARE(control.opened.ConnParam3, QStringLiteral("47010"));
    QVERIFY(log.first().contains(QStringLiteral("display 3 (D3)")));
}

void TestHostApp::transmitSkipsHookWhenNotAsked()
{
    FakeDispTrans control;
    FakePlugin plugin(false);
    Transmitter t(&control);
    QVERIFY(t.transmit(display(QStringLiteral("1"), 3, QStringLiteral("1")), QStringLiteral("X"), {&plugin}));
    QVERIFY(plugin.calls.isEmpty());
    QCOMPARE(control.calls, (QStringList{"open", "message 1 X", "close"}));
}

void TestHostApp::transmitOpenFails()
{
    FakeDispTrans control;
    control.openAnswer = false;
    FakePlugin plugin;
    QStringList log;
    Transmitter t(&control);
    t.setLog([&](const QString& line) { log << line; });
    QVERIFY(!t.transmit(display(QStringLiteral("1"), 3, QStringLiteral("1")), QStringLiteral("X"), {&plugin}));
    QCOMPARE(control.calls, QStringList{"open"});
    QVERIFY(plugin.calls.isEmpty());
    QVERIFY2(log.last().contains(QStringLiteral("connection refused")), qPrintable(log.last()));
}

void TestHostApp::transmitOneAddressFails()
{
    FakeDispTrans control;
    control.failingAddresses = {2};
    QStringList log;
    Transmitter t(&control);
    t.setLog([&](const QString& line) { log << line; });
    QVERIFY(!t.transmit(display(QStringLiteral("1"), 3, QStringLiteral("1,2,3")), QStringLiteral("X"), {}));
    QCOMPARE(control.calls, (QStringList{"open", "message 1 X", "message 2 X", "message 3 X", "close"}));
    QVERIFY(log.join(u'\n').contains(QStringLiteral("FAILED to send to display 1 (D1), address 2: display did not answer")));
}

void TestHostApp::transmitHookFailureStillSends()
{
    FakeDispTrans control;
    FakePlugin plugin;
    plugin.failHook = true;
    QStringList log;
    Transmitter t(&control);
    t.setLog([&](const QString& line) { log << line; });
    QVERIFY(t.transmit(display(QStringLiteral("1"), 3, QStringLiteral("1")), QStringLiteral("X"), {&plugin}));
    QCOMPARE(control.calls, (QStringList{"open", "pre", "message 1 X", "close"}));
    QVERIFY(log.join(u'\n').contains(QStringLiteral("Pre-transmit of FakePlugin failed: Automation error")));
}

void TestHostApp::pluginCatalogLists()
{
    TestEnvironment env;
    // Classes come from the class registry; the factories stand in for libraries.
    ClassRegistry registry;
    registry.registerClass(QStringLiteral("Alpha.PluginData"), QStringLiteral("/nowhere/libalpha.so"));
    registry.registerClass(QStringLiteral("Beta.PluginData"), QStringLiteral("/nowhere/libbeta.so"));
    registry.registerClass(QStringLiteral("Alpha.Main"), QStringLiteral("/nowhere/libalpha.so"));
    ComponentLoader::setFactory(QStringLiteral("Alpha.PluginData"),
                                [] { return new FakePluginData({QStringLiteral("Alpha.Main"), QStringLiteral("Alpha.Extra")}); });
    ComponentLoader::setFactory(QStringLiteral("Beta.PluginData"), [] {
        return new FakePluginData({QStringLiteral("Beta.Main"), QStringLiteral("Beta.Broken")}, true);
    });
    QStringList problems;
    const auto plugins = plugincatalog::discover(&problems);
    QStringList ids, names;
    for (const auto& p : plugins) {
        ids << p.progId;
        names << p.descriptiveName;
    }
    // A library whose listing fails halfway keeps what it listed before.
    QCOMPARE(ids, (QStringList{"Alpha.Main", "Alpha.Extra", "Beta.Main"}));
    QCOMPARE(names, (QStringList{"Alpha tool", "Alpha tool", "Beta tool"}));
    QCOMPARE(plugins[0].description, QStringLiteral("About Alpha.Main"));
    QCOMPARE(problems, QStringList{QStringLiteral("Beta.PluginData: Subscript out of range")});
}

void TestHostApp::displayListEditorSaves()
{
    TestEnvironment env;
    ScriptedMessageBox boxes;
    const QString path = env.path(QStringLiteral("Displays.dat"));
    writeFile(path, "1|Lobby|3|127.0.0.1||47010||1\n");
    dlgDisplayList dialog(path);
    auto* grid = dialog.findChild<QTableWidget*>(QStringLiteral("gridDisplays"));
    QVERIFY(grid);
    QCOMPARE(grid->rowCount(), 1);
    QCOMPARE(grid->item(0, 1)->text(), QStringLiteral("Lobby"));
    QCOMPARE(dlgDisplayList::columnCaptions().size(), DisplayListFile::kFieldCount);

    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdAdd")), Qt::LeftButton);
    QCOMPARE(grid->rowCount(), 2);
    QCOMPARE(grid->item(1, 0)->text(), QStringLiteral("2"));
    grid->item(1, 1)->setText(QStringLiteral("Sales | Service"));
    grid->item(1, 7)->setText(QStringLiteral("1,2"));
    dialog.show();
    keepPicture(&dialog, QStringLiteral("dlgDisplayList"));
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdSave")), Qt::LeftButton);
    QVERIFY(boxes.shown().isEmpty());

    const auto contents = DisplayListFile::read(path);
    QCOMPARE(contents.records.size(), 2);
    QCOMPARE(contents.records[1].name, QStringLiteral("Sales | Service"));
    QCOMPARE(contents.records[1].addressList, QStringLiteral("1,2"));
    QCOMPARE(int(contents.records[1].kind), 3);

    grid->selectRow(0);
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdRemove")), Qt::LeftButton);
    QVERIFY(dialog.save());
    QCOMPARE(DisplayListFile::read(path).records.size(), 1);
    QCOMPARE(DisplayListFile::read(path).records[0].number, QStringLiteral("2"));
}

void TestHostApp::displayListEditorRefusesBadRows_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("problem");
    QTest::newRow("empty name") << 1 << "" << "row 2: display 2 has no name";
    QTest::newRow("number taken") << 0 << "1" << "row 2: display number 1 is already used in row 1";
    QTest::newRow("number taken with leading zero") << 0 << "01" << "row 2: display number 1 is already used in row 1";
    QTest::newRow("number not a number") << 0 << "two" << "row 2: display number \"two\" is not a whole number";
    QTest::newRow("kind not a number") << 2 << "tcp" << "row 2: the kind is not a number";
}

void TestHostApp::displayListEditorRefusesBadRows()
{
    TestEnvironment env;
    ScriptedMessageBox boxes;
    const QString path = env.path(QStringLiteral("Displays.dat"));
    const QByteArray original = "1|Lobby|3|127.0.0.1||47010||1\n2|Dock|3|h||1||1\n";
    writeFile(path, original);
    QFETCH(int, column);
    QFETCH(QString, value);
    QFETCH(QString, problem);
    dlgDisplayList dialog(path);
    dialog.findChild<QTableWidget*>(QStringLiteral("gridDisplays"))->item(1, column)->setText(value);
    QVERIFY(!dialog.save());
    dialog.show();
    keepPicture(&dialog, QStringLiteral("dlgDisplayList-") + QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-'));
    QCOMPARE(boxes.shown().size(), 1);
    QVERIFY2(boxes.shown().first().text.contains(problem), qPrintable(boxes.shown().first().text));
    QVERIFY(dialog.findChild<QLabel*>(QStringLiteral("lblProblems"))->text().contains(problem));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), original);  // not written
}

void TestHostApp::mainWindowPluginsAndTransmit()
{
    TestEnvironment env;
    ScriptedMessageBox boxes;
    settings::write(settings::kAppPath, env.folder());
    writeFile(env.path(QStringLiteral("Displays.dat")), "4|Lobby|3|127.0.0.1||47010||1\n");
    ClassRegistry().registerClass(QStringLiteral("Fake.PluginData"), QStringLiteral("/nowhere/libfake.so"));
    ComponentLoader::setFactory(QStringLiteral("Fake.PluginData"), [] { return new FakePluginData({QStringLiteral("Fake.Main")}); });
    FakePlugin* plugin = nullptr;
    ComponentLoader::setFactory(QStringLiteral("Fake.Main"), [&plugin] { return plugin = new FakePlugin; });
    FakeDispTrans* control = nullptr;
    ComponentLoader::setFactory(disptrans::kDispTransProgId, [&control] { return control = new FakeDispTrans; });

    frmMain window;
    window.loadPlugins(env.folder());  // no libraries there: only the registered fake
    QCOMPARE(window.plugins().size(), 1);
    auto* start = window.findChild<QAction*>(QStringLiteral("mnuPlugin0"));
    QVERIFY(start);
    QCOMPARE(start->text(), QStringLiteral("Fake tool"));
    start->trigger();
    QVERIFY(plugin);
    QCOMPARE(plugin->calls, QStringList{"StartPlugin"});

    // The frame feature gets the editor, which takes the plug-in's text.
    auto* editor = window.findChild<QPlainTextEdit*>(QStringLiteral("txtPlayfile"));
    editor->setPlainText(QStringLiteral("TEMP "));
    editor->moveCursor(QTextCursor::End);
    window.findChild<QAction*>(QStringLiteral("mnuFrameFeature0"))->trigger();
    QCOMPARE(plugin->lastFrameEditor, static_cast<QObject*>(window.frameEditor()));
    QCOMPARE(editor->toPlainText(), QStringLiteral("TEMP <VBL001>"));

    auto* displays = window.findChild<QComboBox*>(QStringLiteral("cmbDisplay"));
    QCOMPARE(displays->count(), 1);
    QCOMPARE(displays->currentText(), QStringLiteral("4 - Lobby"));
    QTest::mouseClick(window.findChild<QPushButton*>(QStringLiteral("cmdTransmit")), Qt::LeftButton);
    QVERIFY(control);
    QCOMPARE(control->calls, (QStringList{"open", "pre", "message 1 TEMP <VBL001>", "close"}));
    QCOMPARE(control->opened.ConnTarget, QStringLiteral("127.0.0.1"));
    QCOMPARE(settings::read(settings::kLastOpenedDisplay), QStringLiteral("4"));
    QVERIFY(boxes.shown().isEmpty());
    QVERIFY(window.findChild<QLabel*>(QStringLiteral("lblStatus"))->text().contains(QStringLiteral("Transmitted to display 4")));
}

QTEST_MAIN(TestHostApp)
#include "tst_hostapp.moc"
