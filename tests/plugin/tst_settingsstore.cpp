#include "datarow.h"
#include "registryroutines.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QTest>

class TestSettingsStore final : public QObject {
    Q_OBJECT
private slots:
    void defaults()
    {
        TestEnvironment env;
        const std::pair<settings::Key, const char*> table[] = {{settings::kRetryInterval, "3600"},
                                                               {settings::kPromptForDisplay, "2"},
                                                               {settings::kPromptForVariable, "TRUE"},
                                                               {settings::kPromptForDelay, "FALSE"},
                                                               {settings::kLastUsed, ""},
                                                               {settings::kUpdateAll, "True"},
                                                               {settings::kUpdateData, "False"},
                                                               {settings::kUpdateAttribute, "False"},
                                                               {settings::kRecentDisplays, ""},
                                                               {settings::kLastOpenedDisplay, ""}};
        for (const auto& [key, value] : table)
            QCOMPARE(key.name + (u'=' + settings::read(key)), key.name + (u'=' + QString::fromLatin1(value)));
    }

    void firstWriteCreatesTheSection()
    {
        TestEnvironment env;
        RegistryRoutines machine;
        const QString key = QStringLiteral("Software\\Morvel\\Lumarex3\\VariablePlugin");
        QVERIFY(!machine.keyExists(key));
        settings::WriteMachineSetting(QStringLiteral("Lumarex3"), QStringLiteral("VariablePlugin"),
                                      QStringLiteral("RetryInterval"), QStringLiteral("60"));
        QVERIFY(machine.keyExists(key));
        QCOMPARE(machine.readValue(key, QStringLiteral("RetryInterval")), QStringLiteral("60"));
        QCOMPARE(settings::read(settings::kRetryInterval), QStringLiteral("60"));
        QCOMPARE(settings::ReadMachineSetting(QStringLiteral("Lumarex3"), QStringLiteral("VariablePlugin"),
                                              QStringLiteral("Missing"), QStringLiteral("dflt")),
                 QStringLiteral("dflt"));
    }

    void updateOnTransmitIsPerUser()
    {
        TestEnvironment env;
        QVERIFY(!settings::GetUpdateOnTransmit());
        settings::SetUpdateOnTransmit(true);
        QVERIFY(settings::GetUpdateOnTransmit());
        QCOMPARE(RegistryRoutines(RegistryRoutines::CurrentUser)
                     .readValue(QStringLiteral("Software\\Morvel\\LumarexLite\\zolQMDVariablePlugin"),
                                QStringLiteral("UpdateOnTransmit")),
                 QStringLiteral("True"));
        QVERIFY(!RegistryRoutines(RegistryRoutines::LocalMachine)
                     .keyExists(QStringLiteral("Software\\Morvel\\LumarexLite")));
        settings::SetUpdateOnTransmit(false);
        QVERIFY(!settings::GetUpdateOnTransmit());
    }

    void joinPathAcceptsBothSeparators_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("relative");
        QTest::addColumn<QString>("expected");
        addRow("backslash folder", "/opt/host\\", "Extended\\6X8L.IDX", "/opt/host/Extended/6X8L.IDX");
        addRow("plain folder", "/opt/host", "Extended\\6X8L.IDX", "/opt/host/Extended/6X8L.IDX");
        addRow("slash folder", "/opt/host/", "a/b", "/opt/host/a/b");
        // No folder: the relative path stays relative.
        addRow("empty folder", "", "Extended\\6X8L.IDX", "Extended/6X8L.IDX");
    }
    void joinPathAcceptsBothSeparators()
    {
        QFETCH(QString, folder);
        QFETCH(QString, relative);
        QFETCH(QString, expected);
        QCOMPARE(settings::joinPath(folder, relative), QDir::toNativeSeparators(expected));
    }
};

QTEST_GUILESS_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"
