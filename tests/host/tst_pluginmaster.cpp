// The plug-in master: the token table kept in the machine-wide hive (seen by
// every instance, as the plug-in's seeding writes it), and running a method of
// another plug-in by ProgID, installed or not.

#include "classregistry.h"
#include "latebound.h"
#include "registryroutines.h"
#include "runtimeerror.h"
#include "testenvironment.h"
#include "tokenseeding.h"
#include "zolBadWordChecker.h"
#include "zolPluginMaster.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace {
const QChar kRs(char16_t(30));

// A plug-in whose methods show what the master passes and gives back.
class EchoPlugin final : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void Join(QString& param1, QString param2, bool& status)
    {
        param1 = param1 + u'+' + param2;
        status = !status;
    }
    Q_INVOKABLE void Fail(QString&, QString, bool&) { throw RuntimeError(RuntimeError::InvalidProcedureCall); }
};
} // namespace

class TestPluginMaster final : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ComponentLoader::clearFactories(); }
    void tokenRoundTrip_data();
    void tokenRoundTrip();
    void tokensPersistAcrossInstances();
    void tokenNamesIgnoreCase();
    void writesReachHiveTogether();
    void statusReady();
    void seededByThePlugin();
    void runCheckerInstalled();
    void runCheckerNotInstalled();
    void runRegisteredButMissingLibrary();
    void runPassesBothWays();
    void runErrorsReachCaller_data();
    void runErrorsReachCaller();
    void lateBoundUse();
};

void TestPluginMaster::tokenRoundTrip_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("command text") << QString(kRs + QStringLiteral("A000"));
    QTest::newRow("empty") << QString();
    QTest::newRow("characters an INI file escapes") << "a=b;c,d \"q\" [s] #h";
    QTest::newRow("backslashes") << "C:\\x\\y";
    QTest::newRow("line breaks") << "one\r\ntwo\n";
    QTest::newRow("beyond ASCII") << QStringLiteral("caf\u00e9 \u20ac \u00ff");
    QTest::newRow("blanks at the ends") << "  spaced  ";
}

void TestPluginMaster::tokenRoundTrip()
{
    TestEnvironment env;
    QFETCH(QString, text);
    zolPluginMaster master;
    master.SetTokenText(QStringLiteral("VBL123"), text);
    QCOMPARE(zolPluginMaster().GetTokenText(QStringLiteral("VBL123")), text);
}

void TestPluginMaster::tokensPersistAcrossInstances()
{
    TestEnvironment env;
    {
        zolPluginMaster first;
        first.SetTokenText(QStringLiteral("VBL001"), kRs + QStringLiteral("A000"));
        first.SetTokenText(QStringLiteral("OTHER"), QStringLiteral("x"));
    }
    // In the machine-wide hive, where another program finds it.
    QCOMPARE(RegistryRoutines(RegistryRoutines::LocalMachine).readValue(zolPluginMaster::kTokenKey, QStringLiteral("VBL001")),
             kRs + QStringLiteral("A000"));
    zolPluginMaster second;
    QCOMPARE(second.GetTokenText(QStringLiteral("VBL001")), kRs + QStringLiteral("A000"));
    QCOMPARE(second.TokenNames(), (QStringList{QStringLiteral("OTHER"), QStringLiteral("VBL001")}));
    QCOMPARE(second.GetTokenText(QStringLiteral("VBL002")), QString());
    second.SetTokenText(QStringLiteral("VBL001"), QStringLiteral("changed"));
    QCOMPARE(zolPluginMaster().GetTokenText(QStringLiteral("VBL001")), QStringLiteral("changed"));
}

void TestPluginMaster::tokenNamesIgnoreCase()
{
    TestEnvironment env;
    zolPluginMaster master;
    master.SetTokenText(QStringLiteral("vbl007"), QStringLiteral("seven"));
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL007")), QStringLiteral("seven"));
    master.SetTokenText(QStringLiteral("VBL007"), QStringLiteral("SEVEN"));
    QCOMPARE(master.GetTokenText(QStringLiteral("Vbl007")), QStringLiteral("SEVEN"));
    QCOMPARE(master.TokenNames(), QStringList{QStringLiteral("VBL007")});
}

void TestPluginMaster::writesReachHiveTogether()
{
    TestEnvironment env;
    RegistryRoutines machine(RegistryRoutines::LocalMachine);
    auto inHive = [&](const char* name) { return machine.readValue(zolPluginMaster::kTokenKey, QString::fromLatin1(name)); };
    {
        zolPluginMaster master;
        master.SetTokenText(QStringLiteral("VBL001"), QStringLiteral("one"));
        master.SetTokenText(QStringLiteral("VBL002"), QStringLiteral("two"));
        master.SetTokenText(QStringLiteral("vbl001"), QStringLiteral("uno"));
        // Seen at once by every master of this program...
        QCOMPARE(zolPluginMaster().GetTokenText(QStringLiteral("VBL001")), QStringLiteral("uno"));
        QCOMPARE(master.TokenNames(), (QStringList{"VBL001", "VBL002"}));
        // ...and by other programs once the event loop turns.
        QTRY_COMPARE(inHive("VBL001"), QStringLiteral("uno"));
        QCOMPARE(inHive("VBL002"), QStringLiteral("two"));

        master.SetTokenText(QStringLiteral("VBL003"), QStringLiteral("three"));
    }
    // Releasing the master writes without waiting for the event loop.
    QCOMPARE(inHive("VBL003"), QStringLiteral("three"));
    QCOMPARE(machine.valueNames(zolPluginMaster::kTokenKey).size(), 3);
}

void TestPluginMaster::statusReady()
{
    TestEnvironment env;
    zolPluginMaster master;
    QCOMPARE(master.Status().toInt(), int(zolPluginMaster::Ready));
}

void TestPluginMaster::seededByThePlugin()
{
    // The plug-in's token seeding through this master: every token lands, and a
    // second run finds the table seeded and writes nothing.
    TestEnvironment env;
    ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new zolPluginMaster; });
    InitVariables();
    zolPluginMaster master;
    QCOMPARE(master.TokenNames().size(), 417);
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL001")), kRs + QStringLiteral("A000"));
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL256")), kRs + QStringLiteral("A255"));
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL257")), kRs + QStringLiteral("V000"));
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL417")), kRs + QStringLiteral("V160"));

    master.SetTokenText(QStringLiteral("VBL300"), QStringLiteral("host's own"));
    InitVariables();
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL300")), QStringLiteral("host's own"));
    master.SetTokenText(QStringLiteral("VBL416"), QString());
    InitVariables();
    QCOMPARE(master.GetTokenText(QStringLiteral("VBL300")), kRs + QStringLiteral("V043"));
}

void TestPluginMaster::runCheckerInstalled()
{
    TestEnvironment env;
    QFile words(env.path(QStringLiteral("BadWords.txt")));
    QVERIFY(words.open(QIODevice::WriteOnly));
    words.write("darn\n");
    words.close();
    ComponentLoader::setFactory(pluginmaster::kBadWordCheckerProgId, [] { return new zolBadWordChecker; });

    zolPluginMaster master;
    QString text = QStringLiteral("Darn, it rains");
    bool status = false;
    master.RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(), status);
    QCOMPARE(text, QStringLiteral("****, it rains"));
    QVERIFY(status);
}

void TestPluginMaster::runCheckerNotInstalled()
{
    TestEnvironment env;
    zolPluginMaster master;
    QString text = QStringLiteral("Darn, it rains");
    bool status = true;
    master.RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(), status);
    QCOMPARE(text, QStringLiteral("Darn, it rains"));
    QVERIFY(!status);
}

void TestPluginMaster::runRegisteredButMissingLibrary()
{
    // A class registry entry whose library is gone counts as not installed.
    TestEnvironment env;
    ClassRegistry().registerClass(pluginmaster::kBadWordCheckerProgId, env.path(QStringLiteral("libgone.so")));
    zolPluginMaster master;
    QString text = QStringLiteral("darn");
    bool status = true;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot load .*libgone.so")));
    master.RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(), status);
    QCOMPARE(text, QStringLiteral("darn"));
    QVERIFY(!status);
}

void TestPluginMaster::runPassesBothWays()
{
    TestEnvironment env;
    ComponentLoader::setFactory(QStringLiteral("Test.Echo"), [] { return new EchoPlugin; });
    zolPluginMaster master;
    QString text = QStringLiteral("left");
    bool status = false;
    master.RunPluginMethod(QStringLiteral("Test.Echo"), QStringLiteral("Join"), text, QStringLiteral("right"), status);
    QCOMPARE(text, QStringLiteral("left+right"));
    QVERIFY(status);
    master.RunPluginMethod(QStringLiteral("Test.Echo"), QStringLiteral("Join"), text, QStringLiteral("again"), status);
    QCOMPARE(text, QStringLiteral("left+right+again"));
    QVERIFY(!status);
}

void TestPluginMaster::runErrorsReachCaller_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<int>("number");
    QTest::newRow("no such method") << "NoSuchMethod" << int(RuntimeError::ObjectDoesNotSupportMethod);
    QTest::newRow("method name in another case") << "join" << int(RuntimeError::ObjectDoesNotSupportMethod);
    QTest::newRow("method raises") << "Fail" << int(RuntimeError::InvalidProcedureCall);
}

void TestPluginMaster::runErrorsReachCaller()
{
    TestEnvironment env;
    QFETCH(QString, method);
    QFETCH(int, number);
    ComponentLoader::setFactory(QStringLiteral("Test.Echo"), [] { return new EchoPlugin; });
    zolPluginMaster master;
    QString text = QStringLiteral("kept");
    bool status = false;
    try {
        master.RunPluginMethod(QStringLiteral("Test.Echo"), method, text, QString(), status);
        QFAIL("the plug-in's error must reach the caller");
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), number);
    }
    QCOMPARE(text, QStringLiteral("kept"));
}

void TestPluginMaster::lateBoundUse()
{
    // As the variable updater calls it: by name, param1 and status by reference.
    TestEnvironment env;
    ComponentLoader::setFactory(QStringLiteral("Test.Echo"), [] { return new EchoPlugin; });
    zolPluginMaster master;
    QVariantList args{QStringLiteral("Test.Echo"), QStringLiteral("Join"), QStringLiteral("a"), QStringLiteral("b"), false};
    latebound::callMethod(&master, "RunPluginMethod", args);
    QCOMPARE(args[2].toString(), QStringLiteral("a+b"));
    QCOMPARE(args[4].toBool(), true);
    QVERIFY(qobject_cast<pluginmaster::IPluginMaster*>(&master));
}

QTEST_GUILESS_MAIN(TestPluginMaster)
#include "tst_pluginmaster.moc"
