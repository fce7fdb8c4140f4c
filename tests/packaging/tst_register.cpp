#include "registryroutines.h"
#include "datarow.h"
#include "testenvironment.h"

#include <QProcess>
#include <QTest>

// The registration helper the package's maintainer scripts run, against the
// component libraries of the build.
class TestRegister final : public QObject {
    Q_OBJECT

    static int run(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral(LUMAREX_REGISTER), arguments);
        if (!process.waitForFinished(30000))
            return -1;
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    static QString machineValue(const QString& key, const QString& name)
    {
        return RegistryRoutines().readValue(QStringLiteral("Software\\Morvel\\") + key, name);
    }

private slots:
    void registerAndUnregister_data()
    {
        QTest::addColumn<QString>("fileBefore"); // the current variable file named before
        QTest::addColumn<QString>("fileAfter");
        addRow("none named yet", "", "/var/lib/ops/QMDvarinfo.vls");
        addRow("an operator's choice stays", "/home/op/signs.vls", "/home/op/signs.vls");
    }

    void registerAndUnregister()
    {
        QFETCH(QString, fileBefore);
        QFETCH(QString, fileAfter);
        TestEnvironment env; // the helper inherits its settings stores
        const QString varKey = QStringLiteral("Lumarex3\\VariablePlugin");
        if (!fileBefore.isEmpty())
            QVERIFY(RegistryRoutines().writeValue(QStringLiteral("Software\\Morvel\\") + varKey,
                                                  QStringLiteral("QMDVarFileLoc"), fileBefore));

        QCOMPARE(run({QStringLiteral("register"), QStringLiteral("/var/lib/ops")}), 0);
        const QString classes = QStringLiteral("Software\\Classes\\");
        const QString plugin = RegistryRoutines().readValue(
            classes + QStringLiteral("zolQMDVariablePlugin.zolQMDVariables"), QStringLiteral("Library"));
        QVERIFY2(plugin.endsWith(QStringLiteral("/libzolQMDVariablePlugin.so")), qPrintable(plugin));
        QVERIFY(RegistryRoutines().keyExists(classes + QStringLiteral("zolDTCon4.zolDispTrans")));
        QCOMPARE(machineValue(QStringLiteral("Lumarex3\\Settings"), QStringLiteral("AppPath")),
                 QStringLiteral("/var/lib/ops"));
        QCOMPARE(machineValue(varKey, QStringLiteral("QMDVarFileLoc")), fileAfter);

        QCOMPARE(run({QStringLiteral("unregister")}), 0);
        QVERIFY(RegistryRoutines().subkeyNames(QStringLiteral("Software\\Classes")).isEmpty());
        QCOMPARE(machineValue(varKey, QStringLiteral("QMDVarFileLoc")), fileAfter); // settings stay
    }

    void badArguments_data()
    {
        QTest::addColumn<QStringList>("arguments");
        addRow("nothing", QStringList());
        addRow("register without a folder", QStringList{QStringLiteral("register")});
        addRow("unregister with a folder", QStringList{QStringLiteral("unregister"), QStringLiteral("/x")});
        addRow("unknown command", QStringList{QStringLiteral("install")});
    }

    void badArguments()
    {
        QFETCH(QStringList, arguments);
        TestEnvironment env;
        QCOMPARE(run(arguments), 2);
        QVERIFY(!RegistryRoutines().keyExists(QStringLiteral("Software\\Classes")));
    }
};

QTEST_GUILESS_MAIN(TestRegister)
#include "tst_register.moc"
