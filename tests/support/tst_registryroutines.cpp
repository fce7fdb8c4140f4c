#include "registryroutines.h"
#include "testenvironment.h"

#include <QFile>
#include <QTest>

class TestRegistryRoutines final : public QObject {
    Q_OBJECT
private slots:
    void keysAndValues()
    {
        TestEnvironment env;
        RegistryRoutines reg(RegistryRoutines::LocalMachine);
        const QString key = QStringLiteral("Software\\Morvel\\Lumarex3\\VariablePlugin");
        QVERIFY(!reg.keyExists(key));
        QCOMPARE(reg.readValue(key, QStringLiteral("RetryInterval"), QStringLiteral("3600")), QStringLiteral("3600"));

        QVERIFY(reg.createKey(key));
        QVERIFY(reg.keyExists(key));
        QVERIFY(reg.valueNames(key).isEmpty()); // an empty key exists without values
        QVERIFY(reg.keyExists(QStringLiteral("Software\\Morvel")));

        QVERIFY(reg.writeValue(key, QStringLiteral("LastUsed"), QStringLiteral("1;2;257")));
        QCOMPARE(reg.readValue(key, QStringLiteral("LastUsed")), QStringLiteral("1;2;257"));
        QCOMPARE(reg.valueNames(key), QStringList{QStringLiteral("LastUsed")});
        QCOMPARE(reg.subkeyNames(QStringLiteral("Software\\Morvel\\Lumarex3")),
                 QStringList{QStringLiteral("VariablePlugin")});

        QVERIFY(reg.deleteValue(key, QStringLiteral("LastUsed")));
        QVERIFY(!reg.valueExists(key, QStringLiteral("LastUsed")));
        QVERIFY(reg.deleteKey(QStringLiteral("Software\\Morvel\\Lumarex3")));
        QVERIFY(!reg.keyExists(key));
        QVERIFY(QFile::exists(env.machineStore()));
    }

    void hivesAreSeparate()
    {
        TestEnvironment env;
        RegistryRoutines machine(RegistryRoutines::LocalMachine);
        RegistryRoutines user(RegistryRoutines::CurrentUser);
        QVERIFY(machine.writeValue(QStringLiteral("A\\B"), QStringLiteral("v"), QStringLiteral("machine")));
        QCOMPARE(user.readValue(QStringLiteral("A\\B"), QStringLiteral("v"), QStringLiteral("none")),
                 QStringLiteral("none"));
        QVERIFY(
            user.writeValue(QStringLiteral("A/B"), QStringLiteral("v"), QStringLiteral("user"))); // either separator
        QCOMPARE(machine.readValue(QStringLiteral("A\\B"), QStringLiteral("v")), QStringLiteral("machine"));
        QCOMPARE(user.readValue(QStringLiteral("A\\B"), QStringLiteral("v")), QStringLiteral("user"));
    }

    void valuesKeepAwkwardCharacters()
    {
        TestEnvironment env;
        RegistryRoutines reg;
        const QString text = QStringLiteral("a \"quoted\", 100% \\ path; € é ") + QChar(30) + QStringLiteral("A000");
        QVERIFY(reg.writeValues(QStringLiteral("K"),
                                {{QStringLiteral("VBL001"), text}, {QStringLiteral("VBL002"), QString()}}));
        QCOMPARE(reg.readValue(QStringLiteral("K"), QStringLiteral("VBL001")), text);
        QCOMPARE(reg.readValue(QStringLiteral("K"), QStringLiteral("VBL002"), QStringLiteral("default")), QString());
    }

    void unwritableStoreReportsFailure()
    {
        TestEnvironment env;
        QFile blocker(env.path(QStringLiteral("blocked")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        // The store's folder is a plain file: nothing can be written there.
        qputenv("ZOL_MACHINE_STORE", env.path(QStringLiteral("blocked/machine.ini")).toLocal8Bit());
        RegistryRoutines reg;
        QVERIFY(!reg.writeValue(QStringLiteral("K"), QStringLiteral("v"), QStringLiteral("x")));
        QCOMPARE(reg.readValue(QStringLiteral("K"), QStringLiteral("v"), QStringLiteral("d")), QStringLiteral("d"));
    }
};

QTEST_GUILESS_MAIN(TestRegistryRoutines)
#include "tst_registryroutines.moc"
