// The display-list object: where "Displays.dat" is looked for, finding
// displays by number and by name, the current record's fields (also through
// late-bound property reads), errors, and reading the file again.

#include "DisplayList.h"
#include "latebound.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace {
void writeFile(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(text);
}

const QByteArray kList = "# test list\n"
                         "1|Lobby|3|127.0.0.1||47010||1\n"
                         "2|Dock|1|/dev/ttyUSB0|9600,N,8,1|||1,2\n"
                         "3|12|2|/dev/ttyS1|||5551234|4\n"
                         "12|Twelve|4|/dev/ttyS2|||777|5\n"
                         "20|dock|3|h2||10001||9\n";

// The error raised by `f`, or a failure when none is.
template <class F>
RuntimeError errorOf(F&& f)
{
    try {
        f();
    } catch (const RuntimeError& e) {
        return e;
    }
    return RuntimeError(0, QStringLiteral("no error raised"));
}
} // namespace

class TestDisplayList final : public QObject {
    Q_OBJECT
private slots:
    void resolve_data();
    void resolve();
    void find_data();
    void find();
    void notFound_data();
    void notFound();
    void currentRecordFields();
    void lateBound();
    void missingFile();
    void malformedLinesStillLoad();
    void rereadOnEverySet();
    void currentRecordBounds();
};

void TestDisplayList::resolve_data()
{
    QTest::addColumn<QString>("appPath");   // "" = not set: the library's folder
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("expected");  // "@" = the test's folder

    QTest::newRow("bare name, no AppPath") << "" << "Displays.dat" << "@/Displays.dat";
    QTest::newRow("bare name in AppPath") << "/opt/lumarex" << "Displays.dat" << "/opt/lumarex/Displays.dat";
    QTest::newRow("AppPath ending in backslash") << "/opt/lumarex\\" << "Displays.dat" << "/opt/lumarex/Displays.dat";
    QTest::newRow("relative with backslash") << "/opt/lumarex" << "lists\\Displays.dat"
                                             << "/opt/lumarex/lists/Displays.dat";
    QTest::newRow("absolute stays") << "/opt/lumarex" << "/srv/x/Displays.dat" << "/srv/x/Displays.dat";
    QTest::newRow("absolute with backslashes") << "/opt/lumarex" << "\\srv\\x\\D.dat" << "/srv/x/D.dat";
}

void TestDisplayList::resolve()
{
    TestEnvironment env;
    QFETCH(QString, appPath);
    QFETCH(QString, fileName);
    QFETCH(QString, expected);
    if (!appPath.isEmpty())
        settings::write(settings::kAppPath, appPath);
    expected.replace(QStringLiteral("@"), env.folder());
    QCOMPARE(DisplayList::resolve(fileName), QDir::toNativeSeparators(expected));
}

void TestDisplayList::find_data()
{
    QTest::addColumn<bool>("byName");
    QTest::addColumn<QString>("query");
    QTest::addColumn<int>("position");

    QTest::newRow("number") << false << "2" << 2;
    QTest::newRow("number with leading zero") << false << "02" << 2;
    QTest::newRow("number with blanks") << false << " 2 " << 2;
    QTest::newRow("number before a name that looks like it") << false << "12" << 4;
    QTest::newRow("name when no number matches") << false << "Twelve" << 4;
    QTest::newRow("name ignoring case when no number matches") << false << "DOCK" << 2;
    QTest::newRow("by name") << true << "Lobby" << 1;
    QTest::newRow("by name ignores case, first wins") << true << "dock" << 2;
    QTest::newRow("by name before a number") << true << "12" << 3;
    QTest::newRow("by name falls back to the number") << true << "20" << 5;
}

void TestDisplayList::find()
{
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("Displays.dat")), kList);
    QFETCH(bool, byName);
    QFETCH(QString, query);
    QFETCH(int, position);
    DisplayList list;
    list.setListFile(QStringLiteral("Displays.dat"));
    const short found = byName ? list.FindDisplayByName(query) : list.FindDisplay(query);
    QCOMPARE(int(found), position);
    QCOMPARE(int(list.CurrentRecord()), position);  // the found display becomes current
}

void TestDisplayList::notFound_data()
{
    QTest::addColumn<bool>("byName");
    QTest::addColumn<QString>("query");
    QTest::newRow("number") << false << "99";
    QTest::newRow("by name") << true << "Nowhere";
    QTest::newRow("empty") << false << "";
    QTest::newRow("a name part") << true << "Lob";
}

void TestDisplayList::notFound()
{
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("Displays.dat")), kList);
    QFETCH(bool, byName);
    QFETCH(QString, query);
    DisplayList list;
    list.setListFile(QStringLiteral("Displays.dat"));
    list.setCurrentRecord(3);
    const RuntimeError e = errorOf([&] { byName ? list.FindDisplayByName(query) : list.FindDisplay(query); });
    QCOMPARE(e.number(), int(RuntimeError::SubscriptOutOfRange));
    QVERIFY2(e.description().contains(QStringLiteral("\"%1\" is not in the display list").arg(query)),
             qPrintable(e.description()));
    QVERIFY(e.description().contains(list.ResolvedPath()));
    QCOMPARE(int(list.CurrentRecord()), 3);  // a failed search leaves the current record
}

void TestDisplayList::currentRecordFields()
{
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("Displays.dat")), kList);
    DisplayList list;
    list.setListFile(QStringLiteral("Displays.dat"));
    QCOMPARE(int(list.RecordCount()), 5);
    list.setCurrentRecord(list.FindDisplay(QStringLiteral("2")));
    QCOMPARE(list.DisplayNumber(), QStringLiteral("2"));
    QCOMPARE(list.DisplayName(), QStringLiteral("Dock"));
    QCOMPARE(int(list.ConnectionKind()), 1);
    QCOMPARE(list.LinkTarget(), QStringLiteral("/dev/ttyUSB0"));
    QCOMPARE(list.Kind1Param(), QStringLiteral("9600,N,8,1"));
    QCOMPARE(list.Kind3Param(), QString());
    QCOMPARE(list.OtherKindParam(), QString());
    QCOMPARE(list.AddressList(), QStringLiteral("1,2"));

    list.setCurrentRecord(list.FindDisplay(QStringLiteral("12")));
    QCOMPARE(int(list.ConnectionKind()), 4);
    QCOMPARE(list.OtherKindParam(), QStringLiteral("777"));
}

void TestDisplayList::lateBound()
{
    // The way the plug-in uses it: properties and operations by name.
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("Displays.dat")), kList);
    DisplayList list;
    latebound::setProperty(&list, "ListFile", QStringLiteral("Displays.dat"));
    const QVariant position = latebound::callMethod(&list, "FindDisplay", QVariantList{QStringLiteral("3")});
    latebound::setProperty(&list, "CurrentRecord", position);
    QCOMPARE(latebound::getProperty(&list, "ConnectionKind").toInt(), 2);
    QCOMPARE(latebound::getProperty(&list, "LinkTarget").toString(), QStringLiteral("/dev/ttyS1"));
    QCOMPARE(latebound::getProperty(&list, "OtherKindParam").toString(), QStringLiteral("5551234"));
    QCOMPARE(latebound::getProperty(&list, "AddressList").toString(), QStringLiteral("4"));
    QCOMPARE(latebound::getProperty(&list, "DisplayName").toString(), QStringLiteral("12"));
    QVERIFY(qobject_cast<disptrans::IDisplayList*>(&list));

    const RuntimeError e = errorOf([&] { latebound::callMethod(&list, "FindDisplayByName", QVariantList{QStringLiteral("x")}); });
    QCOMPARE(e.number(), int(RuntimeError::SubscriptOutOfRange));
}

void TestDisplayList::missingFile()
{
    TestEnvironment env;
    DisplayList list;
    const RuntimeError e = errorOf([&] { list.setListFile(QStringLiteral("Displays.dat")); });
    QCOMPARE(e.number(), int(RuntimeError::FileNotFound));
    QVERIFY2(e.description().contains(QDir::toNativeSeparators(env.path(QStringLiteral("Displays.dat")))),
             qPrintable(e.description()));
    // Every later use reports the same, not a stale or empty list.
    QCOMPARE(errorOf([&] { list.FindDisplay(QStringLiteral("1")); }).number(), int(RuntimeError::FileNotFound));
    QCOMPARE(errorOf([&] { list.RecordCount(); }).number(), int(RuntimeError::FileNotFound));
}

void TestDisplayList::malformedLinesStillLoad()
{
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("Displays.dat")), "1|Lobby|3|h||1||1\n2|Broken|3\n3|Third|3|h||1||1\n");
    DisplayList list;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("line 2: expected 8 fields")));
    list.setListFile(QStringLiteral("Displays.dat"));
    QCOMPARE(int(list.RecordCount()), 2);
    QCOMPARE(list.ParseErrors(), QStringList{QStringLiteral("line 2: expected 8 fields separated by \"|\", found 3")});
    QCOMPARE(latebound::callMethod(&list, "ParseErrors").toStringList(), list.ParseErrors());
    QCOMPARE(int(list.FindDisplay(QStringLiteral("3"))), 2);
    QCOMPARE(errorOf([&] { list.FindDisplay(QStringLiteral("2")); }).number(), int(RuntimeError::SubscriptOutOfRange));
}

void TestDisplayList::rereadOnEverySet()
{
    TestEnvironment env;
    const QString path = env.path(QStringLiteral("Displays.dat"));
    writeFile(path, "1|Lobby|3|h||1||1\n");
    DisplayList list;
    list.setListFile(QStringLiteral("Displays.dat"));
    QCOMPARE(errorOf([&] { list.FindDisplay(QStringLiteral("2")); }).number(), int(RuntimeError::SubscriptOutOfRange));

    // Changed between two opens, within the same second and at the same size.
    writeFile(path, "2|Lobby|1|h||1||1\n");
    list.setListFile(QStringLiteral("Displays.dat"));
    QCOMPARE(int(list.FindDisplay(QStringLiteral("2"))), 1);
    QCOMPARE(int(list.ConnectionKind()), 1);
    QCOMPARE(errorOf([&] { list.FindDisplay(QStringLiteral("1")); }).number(), int(RuntimeError::SubscriptOutOfRange));

    // Removed between two opens.
    QVERIFY(QFile::remove(path));
    QCOMPARE(errorOf([&] { list.setListFile(QStringLiteral("Displays.dat")); }).number(), int(RuntimeError::FileNotFound));
}

void TestDisplayList::currentRecordBounds()
{
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("Displays.dat")), kList);
    DisplayList list;
    list.setListFile(QStringLiteral("Displays.dat"));
    QCOMPARE(int(list.CurrentRecord()), 1);
    QCOMPARE(errorOf([&] { list.setCurrentRecord(0); }).number(), int(RuntimeError::SubscriptOutOfRange));
    QCOMPARE(errorOf([&] { list.setCurrentRecord(6); }).number(), int(RuntimeError::SubscriptOutOfRange));
    list.setCurrentRecord(5);
    QCOMPARE(list.DisplayNumber(), QStringLiteral("20"));

    writeFile(env.path(QStringLiteral("Empty.dat")), "# nothing yet\n");
    list.setListFile(QStringLiteral("Empty.dat"));
    QCOMPARE(int(list.RecordCount()), 0);
    const RuntimeError e = errorOf([&] { list.DisplayName(); });
    QCOMPARE(e.number(), int(RuntimeError::SubscriptOutOfRange));
    QVERIFY2(e.description().contains(QStringLiteral("No current display record")), qPrintable(e.description()));
}

QTEST_GUILESS_MAIN(TestDisplayList)
#include "tst_displaylist.moc"
