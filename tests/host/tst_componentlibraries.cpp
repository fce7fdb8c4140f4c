// The built component libraries as a host meets them: loaded by path,
// registered and unregistered through their entry points, objects created by
// ProgID and called late-bound, and calls from one library into another.

#include "datarow.h"
#include "classregistry.h"
#include "disptrans.h"
#include "hostobjects.h"
#include "latebound.h"
#include "pluginmaster.h"
#include "registryroutines.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QTest>
#include <QLibrary>

#include <memory>

namespace {
const QString kTransmission = QStringLiteral(LIB_TRANSMISSION);
const QString kPluginControl = QStringLiteral(LIB_PLUGINCONTROL);
const QString kChecker = QStringLiteral(LIB_BADWORDCHECKER);
const QString kHostObjects = QStringLiteral(LIB_HOSTOBJECTS);
const QString kVariablePlugin = QStringLiteral(LIB_VARIABLEPLUGIN);

void registerAll()
{
    for (const QString& path : {kTransmission, kPluginControl, kChecker, kHostObjects, kVariablePlugin})
        QCOMPARE(ComponentLoader::registerLibrary(path), 0);
}
} // namespace

class TestComponentLibraries final : public QObject {
    Q_OBJECT
private slots:
    void registration_data()
    {
        QTest::addColumn<QString>("library");
        QTest::addColumn<QStringList>("progIds");
        QTest::addColumn<QByteArray>("internalSymbol"); // a class's constructor, which must stay inside
        addRow("transmission", kTransmission, QStringList{disptrans::kDispTransProgId, disptrans::kDisplayListProgId},
               QByteArray("_ZN12zolDispTransC1EP7QObject"));
        addRow("plug-in control", kPluginControl, QStringList{pluginmaster::kPluginMasterProgId},
               QByteArray("_ZN15zolPluginMasterC1EP7QObject"));
        addRow("checker", kChecker, QStringList{pluginmaster::kBadWordCheckerProgId},
               QByteArray("_ZN17zolBadWordCheckerC1EP7QObject"));
        addRow("host objects", kHostObjects, QStringList{hostobjects::kDisplayChooserProgId},
               QByteArray("_ZN14DisplayChooserC1EP7QObject"));
        addRow("variable plug-in", kVariablePlugin,
               QStringList{"zolQMDVariablePlugin.zolQMDVariables", "zolQMDVariablePlugin.PluginData"},
               QByteArray("_ZN15zolQMDVariablesC1EP7QObject"));
    }
    void registration()
    {
        TestEnvironment env;
        QFETCH(QString, library);
        QFETCH(QStringList, progIds);
        QFETCH(QByteArray, internalSymbol);
        QLibrary lib(library);
        QVERIFY2(lib.load(), qPrintable(lib.errorString()));
        for (const char* name : {"DllGetClassObject", "DllCanUnloadNow", "DllRegisterServer", "DllUnregisterServer"})
            QVERIFY2(lib.resolve(name), name);
        QVERIFY(!lib.resolve(internalSymbol.constData()));
        QVERIFY(!lib.resolve("_ZN12RuntimeError5raiseENS_6NumberE"));

        QCOMPARE(ComponentLoader::registerLibrary(library), 0);
        auto canUnload = reinterpret_cast<int (*)()>(lib.resolve("DllCanUnloadNow"));
        for (const QString& progId : progIds) {
            QCOMPARE(ClassRegistry().libraryOf(progId), library);
            std::unique_ptr<QObject> object(ComponentLoader::create(progId));
            QVERIFY(object);
            QCOMPARE(canUnload(), 1); // not while an object of the library lives
        }
        QCOMPARE(canUnload(), 0);
        auto getClassObject = reinterpret_cast<int (*)(const char*, QObject**)>(lib.resolve("DllGetClassObject"));
        auto* none = reinterpret_cast<QObject*>(0x1);                   // cleared on refusal
        QCOMPARE(getClassObject("X.Nothing", &none), int(0x80040111u)); // class not available
        QVERIFY(!none);
    }
    void unregisterRemovesOnlyItsOwn()
    {
        TestEnvironment env;
        registerAll();
        ClassRegistry registry;
        registry.registerClass(QStringLiteral("Other.Class"), QStringLiteral("/somewhere/libother.so"));
        // Another copy of the checker took the name: not this library's entry.
        registry.registerClass(pluginmaster::kBadWordCheckerProgId, QStringLiteral("/elsewhere/libchecker.so"));
        QCOMPARE(ComponentLoader::unregisterLibrary(kTransmission), 0);
        QCOMPARE(ComponentLoader::unregisterLibrary(kChecker), 0);
        QStringList left;
        for (const QString& id :
             {disptrans::kDispTransProgId, disptrans::kDisplayListProgId, pluginmaster::kBadWordCheckerProgId,
              pluginmaster::kPluginMasterProgId, QStringLiteral("Other.Class")})
            left << registry.libraryOf(id);
        QCOMPARE(left, (QStringList{"", "", "/elsewhere/libchecker.so", kPluginControl, "/somewhere/libother.so"}));
        QVERIFY(!ComponentLoader::tryCreate(disptrans::kDispTransProgId));
    }
    void callsAcrossLibraries()
    {
        TestEnvironment env;
        registerAll();
        // The display list reads the host's file; its errors are raised inside the library, caught here.
        writeFile(env.path(QStringLiteral("Displays.dat")), "5|Lobby|3|127.0.0.1||47010||1,2\n");
        settings::write(settings::kAppPath, env.folder());
        auto displays = createComponent<disptrans::IDisplayList>(disptrans::kDisplayListProgId);
        displays->setListFile(QStringLiteral("Displays.dat"));
        QCOMPARE(int(displays->FindDisplay(QStringLiteral("5"))), 1);
        QCOMPARE(latebound::getProperty(displays.object(), "AddressList").toString(), QStringLiteral("1,2"));
        QCOMPARE(errorOf([&] { latebound::callMethod(displays.object(), "FindDisplay", QVariantList{"6"}); }).number(),
                 int(RuntimeError::SubscriptOutOfRange));

        // The plug-in seeds the master's token table.
        std::unique_ptr<QObject> plugin(
            ComponentLoader::create(QStringLiteral("zolQMDVariablePlugin.zolQMDVariables")));
        RegistryRoutines machine(RegistryRoutines::LocalMachine);
        const QString tokens = QStringLiteral("Software\\Morvel\\Lumarex3\\Tokens");
        QCOMPARE(machine.valueNames(tokens).size(), 417);
        QCOMPARE(machine.readValue(tokens, QStringLiteral("VBL417")), QString(QChar(30)) + QStringLiteral("V160"));

        // The master runs the checker with the configured word list, until it is unregistered.
        writeFile(env.path(QStringLiteral("words.txt")), "darn\n");
        settings::WriteMachineSetting(QStringLiteral("Lumarex3"), QStringLiteral("BadWordChecker"),
                                      QStringLiteral("WordList"), env.path(QStringLiteral("words.txt")));
        auto master = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
        QString text = QStringLiteral("darn it, Darn");
        bool status = false;
        master->RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(),
                                status);
        QCOMPARE(text, QStringLiteral("**** it, ****"));
        QVERIFY(status);
        QCOMPARE(ComponentLoader::unregisterLibrary(kChecker), 0);
        text = QStringLiteral("darn");
        master->RunPluginMethod(pluginmaster::kBadWordCheckerProgId, QStringLiteral("CleanCMD"), text, QString(),
                                status);
        QCOMPARE(text, QStringLiteral("darn")); // not installed: unchanged, no error
        QVERIFY(!status);
    }
};

QTEST_MAIN(TestComponentLibraries)
#include "tst_componentlibraries.moc"
