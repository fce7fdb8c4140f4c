// A test host: loads the plug-in library by path through its entry points and
// drives its public objects late-bound, as the host application does.

#include "classregistry.h"
#include "latebound.h"
#include "registryroutines.h"
#include "runtimeerror.h"
#include "testenvironment.h"

#include <QApplication>
#include <QIcon>
#include <QLibrary>
#include <QTest>
#include <QTimer>

class TestPluginLibrary final : public QObject {
    Q_OBJECT
private:
    QLibrary m_library{QStringLiteral(PLUGIN_LIBRARY_PATH)};

    // Records every window the plug-in shows and closes the modal ones, so calls
    // that show a dialog come back.
    struct WindowWatcher final : QObject {
        QStringList shown;
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            auto* w = qobject_cast<QWidget*>(watched);
            if (event->type() == QEvent::Show && w && w->isWindow()) {
                shown << w->objectName();
                QTimer::singleShot(50, w, [w] {
                    if (w->isModal())
                        w->close();
                });
            }
            return false;
        }
    };

private slots:
    // The entry points themselves and unloading are checked with the other component libraries.
    void initTestCase() { QVERIFY2(m_library.load(), qPrintable(m_library.errorString())); }

    void pluginDataLateBound()
    {
        TestEnvironment env;
        QCOMPARE(ComponentLoader::registerLibrary(m_library.fileName()), 0);
        std::unique_ptr<QObject> data(ComponentLoader::create(QStringLiteral("zolQMDVariablePlugin.PluginData")));
        QCOMPARE(latebound::getProperty(data.get(), "TotalPlugins").toInt(), 1);
        QCOMPARE(latebound::callMethod(data.get(), "PluginNames", {0}).toString(),
                 QStringLiteral("zolQMDVariablePlugin.zolQMDVariables"));
        QCOMPARE(latebound::callMethod(data.get(), "PluginDescription", {0}).toString(),
                 QStringLiteral("Insert and Update Data Variables in the Display. QMD Version"));
        QCOMPARE(latebound::callMethod(data.get(), "PluginDescriptiveName", {0}).toString(),
                 QStringLiteral("Variable Access/QMD"));
        QVERIFY(!latebound::callMethod(data.get(), "PluginPic", {0}).value<QIcon>().isNull());
        QVERIFY(!latebound::callMethod(data.get(), "PluginPic", {1}).isValid()); // no resource 102: nothing

        for (const char* table : {"PluginNames", "PluginDescription", "PluginDescriptiveName"}) {
            for (int index : {1, -1}) {
                try {
                    latebound::callMethod(data.get(), table, {index});
                    QFAIL("no error raised");
                } catch (const RuntimeError& e) {
                    QCOMPARE(e.number(), 9);
                    QCOMPARE(e.description(), QStringLiteral("Subscript out of range"));
                }
            }
        }
    }

    void mainClassLateBound()
    {
        TestEnvironment env;
        QCOMPARE(ComponentLoader::registerLibrary(m_library.fileName()), 0);
        // No plug-in master is installed: seeding on creation must skip its failures.
        std::unique_ptr<QObject> plugin(
            ComponentLoader::create(QStringLiteral("zolQMDVariablePlugin.zolQMDVariables")));
        QVERIFY(plugin);
        QCOMPARE(latebound::callMethod(plugin.get(), "DoesFrameEdit").toBool(), true);
        QCOMPARE(latebound::callMethod(plugin.get(), "DoesPreTransmit").toBool(), false);
        RegistryRoutines(RegistryRoutines::CurrentUser)
            .writeValue(QStringLiteral("Software\\Morvel\\LumarexLite\\zolQMDVariablePlugin"),
                        QStringLiteral("UpdateOnTransmit"), QStringLiteral("True"));
        QCOMPARE(latebound::callMethod(plugin.get(), "DoesPreTransmit").toBool(), true);
        QCOMPARE(latebound::callMethod(plugin.get(), "GetMyName").toString(),
                 QStringLiteral("zolQMDVariablePlugin.zolQMDVariables"));
        QCOMPARE(latebound::callMethod(plugin.get(), "GetMyDescription").toString(),
                 QStringLiteral("Insert and Update Data Variables in the Display. QMD Version"));
        QCOMPARE(latebound::callMethod(plugin.get(), "GetMyDescriptiveName").toString(),
                 QStringLiteral("Variable Access/QMD"));
        QVERIFY(!latebound::callMethod(plugin.get(), "GetMyPicture").value<QIcon>().isNull());

        QVariantList args{QStringLiteral("initvariables"), QStringLiteral("p1"), QStringLiteral("p2"), true};
        latebound::callMethod(plugin.get(), "ExecuteMethod", args);
        QCOMPARE(args,
                 (QVariantList{QStringLiteral("initvariables"), QStringLiteral("p1"), QStringLiteral("p2"), true}));
        args[0] = QStringLiteral("InitVariables");
        latebound::callMethod(plugin.get(), "ExecuteMethod", args);
        QCOMPARE(args[1].toString(), QStringLiteral("p1"));

        // Each of the three feature entry points shows its own window and comes back when it closes.
        WindowWatcher watcher;
        qApp->installEventFilter(&watcher);
        QObject frame;
        latebound::callMethod(plugin.get(), "StartPlugin", {QVariant::fromValue<QObject*>(nullptr)});
        latebound::callMethod(plugin.get(), "StartFrameFeature", {QVariant::fromValue<QObject*>(&frame)});
        latebound::callMethod(plugin.get(), "StartPreTransmit",
                              {QVariant::fromValue<QObject*>(nullptr), QVariant::fromValue<QObject*>(nullptr)});
        qApp->removeEventFilter(&watcher);
        QCOMPARE(watcher.shown, (QStringList{"dlgVariables", "dlgVarCmdInserter", "dlgTransmitVars"}));
    }
};

QTEST_MAIN(TestPluginLibrary)
#include "tst_pluginlibrary.moc"
