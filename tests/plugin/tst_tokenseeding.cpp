#include "classregistry.h"
#include "datarow.h"
#include "fakepluginmaster.h"
#include "testenvironment.h"
#include "tokenseeding.h"
#include "zolQMDVariables.h"

#include <QTest>

namespace {
const QChar RS(char16_t(30));
}

class TestTokenSeeding final : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        FakePluginMaster::reset();
        ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new FakePluginMaster; });
    }
    void cleanup() { ComponentLoader::clearFactories(); }

    void unseededTableIsFilled()
    {
        TestEnvironment env;
        zolQMDVariables plugin; // creation seeds
        QCOMPARE(FakePluginMaster::statusReads, 1);
        QCOMPARE(FakePluginMaster::tokens.size(), 417);
        const QList<std::pair<QString, QString>> expected{{"VBL001", RS + "A000"},
                                                          {"VBL256", RS + "A255"},
                                                          {"VBL257", RS + "V000"},
                                                          {"VBL416", RS + "V159"},
                                                          {"VBL417", RS + "V160"}};
        for (const auto& [key, text] : expected)
            QCOMPARE(FakePluginMaster::tokens.value(key), text);
    }

    void seededTableIsLeftAlone_data()
    {
        QTest::addColumn<QString>("vbl001");
        QTest::addColumn<QString>("vbl416");
        QTest::addColumn<bool>("rewritten");
        addRow("seeded", RS + "A000", RS + "V159", false);
        addRow("first differs", RS + "A001", RS + "V159", true);
        addRow("last differs", RS + "A000", RS + "V160", true);
        addRow("case differs", RS + "a000", RS + "V159", true);
        addRow("empty", QString(), QString(), true);
    }
    void seededTableIsLeftAlone()
    {
        QFETCH(QString, vbl001);
        QFETCH(QString, vbl416);
        QFETCH(bool, rewritten);
        TestEnvironment env;
        FakePluginMaster::tokens = {{"VBL001", vbl001}, {"VBL416", vbl416}, {"VBL100", "changed by the host"}};
        InitVariables();
        QCOMPARE(FakePluginMaster::setCalls, rewritten ? 417 : 0);
        QCOMPARE(FakePluginMaster::tokens.value("VBL100"),
                 rewritten ? RS + "A099" : QStringLiteral("changed by the host"));
    }

    void failingCallsAreSkipped()
    {
        TestEnvironment env;
        FakePluginMaster::failingKeys = {"VBL002", "VBL300"};
        InitVariables();
        QCOMPARE(FakePluginMaster::setCalls, 417);
        QCOMPARE(FakePluginMaster::tokens.size(), 415);
        QCOMPARE(FakePluginMaster::tokens.value("VBL003"), RS + "A002");
        QCOMPARE(FakePluginMaster::tokens.value("VBL417"), RS + "V160");
    }

    void masterThatFailsEverythingOrIsMissing()
    {
        TestEnvironment env;
        FakePluginMaster::failEveryCall = true;
        InitVariables(); // must not raise
        QVERIFY(FakePluginMaster::tokens.isEmpty());
        ComponentLoader::clearFactories();
        InitVariables();
        zolQMDVariables plugin; // creating the plug-in without a master works too
        QVERIFY(FakePluginMaster::tokens.isEmpty());
    }

    void executeMethodIsExactAndCaseSensitive()
    {
        TestEnvironment env;
        zolQMDVariables plugin;
        FakePluginMaster::tokens.clear();
        FakePluginMaster::setCalls = 0;
        QString name = QStringLiteral("initvariables"), p1, p2;
        bool status = false;
        plugin.ExecuteMethod(name, p1, p2, status);
        QCOMPARE(FakePluginMaster::setCalls, 0);
        name = QStringLiteral("InitVariables");
        plugin.ExecuteMethod(name, p1, p2, status);
        QCOMPARE(FakePluginMaster::setCalls, 417);
    }
};

QTEST_MAIN(TestTokenSeeding)
#include "tst_tokenseeding.moc"
