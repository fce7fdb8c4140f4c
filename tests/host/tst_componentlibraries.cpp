// The built component libraries as a host meets them: loaded by path,
// registered and unregistered through their entry points, objects created by
// ProgID and called late-bound, and calls from one library into another.

#include "classregistry.h"
#include "disptrans.h"
#include "hostobjects.h"
#include "latebound.h"
#include "pluginmaster.h"
#include "registryroutines.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QFile>
#include <QLibrary>
#include <QTest>

#include <memory>

namespace {
const QString kTransmission = QStringLiteral(LIB_TRANSMISSION);
const QString kPluginControl = QStringLiteral(LIB_PLUGINCONTROL);
const QString kChecker = QStringLiteral(LIB_BADWORDCHECKER);
const QString kHostObjects = QStringLiteral(LIB_HOSTOBJECTS);
const QString kVariablePlugin = QStringLiteral(LIB_VARIABLEPLUGIN);

QStringList allLibraries() { return {kTransmission, kPluginControl, kChecker, kHostObjects, kVariablePlugin}; }

void registerAll()
{
    for (const QString& path : allLibraries())
        QCOMPARE(ComponentLoader::registerLibrary(path), 0);
}

using ServerFn = int (*)();
} // namespace

class TestComponentLibraries final : public QObject {
    Q_OBJECT
private slots:
    void registration_data();
    void registration();
    void exportsOnlyEntryPoints_data();
    void exportsOnlyEntryPoints();
    void unregisterRemovesOnlyItsOwn();
    void createAndCallLateBound();
    void masterRunsCheckerAcrossLibraries();
    void pluginSeedsTokensThroughMaster();
    void chooserAnswersFromEnvironment();
    void canUnloadWhileObjectsLive();
};

void TestComponentLibraries::registration_data()
{
    QTest::addColumn<QString>("library");
    QTest::addColumn<QString>("progId");
    QTest::newRow("control") << kTransmission << disptrans::kDispTransProgId;
    QTest::newRow("display list") << kTransmission << disptrans::kDisplayListProgId;
    QTest::newRow("plug-in master") << kPluginControl << pluginmaster::kPluginMasterProgId;
    QTest::newRow("checker") << kChecker << pluginmaster::kBadWordCheckerProgId;
    QTest::newRow("display chooser") << kHostObjects << hostobjects::kDisplayChooserProgId;
    QTest::newRow("variable plug-in") << kVariablePlugin << "zolQMDVariablePlugin.zolQMDVariables";
    QTest::newRow("plug-in data") << kVariablePlugin << "zolQMDVariablePlugin.PluginData";
}

void TestComponentLibraries::registration()
{
    TestEnvironment env;
    QFETCH(QString, library);
    QFETCH(QString, progId);
    QVERIFY(ClassRegistry().libraryOf(progId).isEmpty());
    QCOMPARE(ComponentLoader::registerLibrary(library), 0);
    QCOMPARE(ClassRegistry().libraryOf(progId), library);
    std::unique_ptr<QObject> object(ComponentLoader::create(progId));
    QVERIFY(object);
}

void TestComponentLibraries::exportsOnlyEntryPoints_data()
{
    QTest::addColumn<QString>("library");
    QTest::addColumn<QByteArray>("internalSymbol");  // a class's constructor, which must stay inside
    QTest::newRow("transmission") << kTransmission << QByteArray("_ZN12zolDispTransC1EP7QObject");
    QTest::newRow("plug-in control") << kPluginControl << QByteArray("_ZN15zolPluginMasterC1EP7QObject");
    QTest::newRow("checker") << kChecker << QByteArray("_ZN17zolBadWordCheckerC1EP7QObject");
    QTest::newRow("host objects") << kHostObjects << QByteArray("_ZN14DisplayChooserC1EP7QObject");
}

void TestComponentLibraries::exportsOnlyEntryPoints()
{
    QFETCH(QString, library);
    QFETCH(QByteArray, internalSymbol);
    QLibrary lib(library);
    QVERIFY2(lib.load(), qPrintable(lib.errorString()));
    for (const char* name : {"DllGetClassObject", "DllCanUnloadNow", "DllRegisterServer", "DllUnregisterServer"})
        QVERIFY2(lib.resolve(name), name);
    QVERIFY(!lib.resolve(internalSymbol.constData()));
    QVERIFY(!lib.resolve("_ZN12RuntimeError5raiseENS_6NumberE"));
}

void TestComponentLibraries::unregisterRemovesOnlyItsOwn()
{
    TestEnvironment env;
    registerAll();
    ClassRegistry registry;
    registry.registerClass(QStringLiteral("Other.Class"), QStringLiteral("/somewhere/libother.so"));
    // Another copy of the checker took the name: not this library's entry.
    registry.registerClass(pluginmaster::kBadWordCheckerProgId, QStringLiteral("/elsewhere/libzolBadWordCheckerPLG.so"));

    QCOMPARE(ComponentLoader::unregisterLibrary(kTransmission), 0);
    QCOMPARE(ComponentLoader::unregisterLibrary(kChecker), 0);
    QCOMPARE(registry.libraryOf(disptrans::kDispTransProgId), QString());
    QCOMPARE(registry.libraryOf(disptrans::kDisplayListProgId), QString());
    QCOMPARE(registry.libraryOf(pluginmaster::kBadWordCheckerProgId), QStringLiteral("/elsewhere/libzolBadWordCheckerPLG.so"));
    QCOMPARE(registry.libraryOf(pluginmaster::kPluginMasterProgId), kPluginControl);
    QCOMPARE(registry.libraryOf(hostobjects::kDisplayChooserProgId), kHostObjects);
    QCOMPARE(registry.libraryOf(QStringLiteral("Other.Class")), QStringLiteral("/somewhere/libother.so"));
    QVERIFY(!ComponentLoader::tryCreate(disptrans::kDispTransProgId));
}

void TestComponentLibraries::createAndCallLateBound()
{
    TestEnvironment env;
    registerAll();
    QFile list(env.path(QStringLiteral("Displays.dat")));
    QVERIFY(list.open(QIODevice::WriteOnly));
    list.write("5|Lobby|3|127.0.0.1||47010||1,2\n");
    list.close();
    settings::write(settings::kAppPath, env.folder());

    // The display list, through its interface and by name.
    auto displays = createComponent<disptrans::IDisplayList>(disptrans::kDisplayListProgId);
    displays->setListFile(QStringLiteral("Displays.dat"));
    QCOMPARE(int(displays->FindDisplay(QStringLiteral("5"))), 1);
    QCOMPARE(latebound::getProperty(displays.object(), "AddressList").toString(), QStringLiteral("1,2"));
    try {
        latebound::callMethod(displays.object(), "FindDisplay", QVariantList{QStringLiteral("6")});
        QFAIL("a missing display must raise");
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), int(RuntimeError::SubscriptOutOfRange));  // raised inside the library, caught here
    }

    // The control, not connected: a false answer with its reason.
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    QVERIFY(!latebound::callMethod(control.object(), "SendMessage", QVariantList{QStringLiteral("x")}).toBool());
    QCOMPARE(control->LastErrorText(), QStringLiteral("no connection to a display is open"));

    std::unique_ptr<QObject> data(ComponentLoader::create(QStringLiteral("zolQMDVariablePlugin.PluginData")));
    QCOMPARE(latebound::getProperty(data.get(), "TotalPlugins").toInt(), 1);
    QCOMPARE(latebound::callMethod(data.get(), "PluginNames", QVariantList{0}).toString(),
             QStringLiteral("zolQMDVariablePlugin.zolQMDVariables"));
}

void TestComponentLibraries::masterRunsCheckerAcrossLibraries()
{
    TestEnvironment env;
    registerAll();
    QFile words(env.path(QStringLiteral("words.txt")));
    QVERIFY(words.open(QIODevice::WriteOnly));
    words.write("darn\n");
    words.close();
    settings::WriteMachineSetting(QStringLiteral("Lumarex3"), QStringLiteral("BadWordChecker"), QStringLiteral("WordList"),
                                  env.path(QStringLiteral("words.txt")));

    auto master = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
    QString text = QStringLiteral("darn it, Darn");
    bool status = false;
    master->RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(), status);
    QCOMPARE(text, QStringLiteral("**** it, ****"));
    QVERIFY(status);

    QCOMPARE(ComponentLoader::unregisterLibrary(kChecker), 0);
    text = QStringLiteral("darn");
    master->RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(), status);
    QCOMPARE(text, QStringLiteral("darn"));  // not installed: unchanged, no error
    QVERIFY(!status);
}

void TestComponentLibraries::pluginSeedsTokensThroughMaster()
{
    TestEnvironment env;
    registerAll();
    std::unique_ptr<QObject> plugin(ComponentLoader::create(QStringLiteral("zolQMDVariablePlugin.zolQMDVariables")));
    const QString key = QStringLiteral("Software\\Morvel\\Lumarex3\\Tokens");
    RegistryRoutines machine(RegistryRoutines::LocalMachine);
    QCOMPARE(machine.valueNames(key).size(), 417);
    QCOMPARE(machine.readValue(key, QStringLiteral("VBL417")), QString(QChar(30)) + QStringLiteral("V160"));
}

void TestComponentLibraries::chooserAnswersFromEnvironment()
{
    TestEnvironment env;
    registerAll();
    qputenv("LUMAREX_CHOOSE_DISPLAYS", "2,3");
    auto chooser = createComponent<hostobjects::IDisplayChooser>(hostobjects::kDisplayChooserProgId);
    const QString chosen = chooser->SelectDisplays();
    qunsetenv("LUMAREX_CHOOSE_DISPLAYS");
    QCOMPARE(chosen, QStringLiteral("2,3"));
    QCOMPARE(settings::read(settings::kRecentDisplays), QStringLiteral("2") + QChar(char16_t(255)) + QStringLiteral("3"));
}

void TestComponentLibraries::canUnloadWhileObjectsLive()
{
    TestEnvironment env;
    QLibrary lib(kChecker);
    QVERIFY(lib.load());
    auto canUnload = reinterpret_cast<ServerFn>(lib.resolve("DllCanUnloadNow"));
    auto getClassObject = reinterpret_cast<int (*)(const char*, QObject**)>(lib.resolve("DllGetClassObject"));
    QVERIFY(canUnload && getClassObject);
    QCOMPARE(canUnload(), 0);
    QObject* object = nullptr;
    QCOMPARE(getClassObject("zolBadWordCheckerPLG.zolBadWordChecker", &object), 0);
    QVERIFY(object);
    QCOMPARE(canUnload(), 1);
    delete object;
    QCOMPARE(canUnload(), 0);
    QObject* none = nullptr;
    QVERIFY(getClassObject("zolBadWordCheckerPLG.Nothing", &none) != 0);
    QVERIFY(!none);
}

QTEST_MAIN(TestComponentLibraries)
#include "tst_componentlibraries.moc"
