// The agent's topics and commands: which topics are commands for which agent,
// and what a payload asks for (plain text, or JSON with data and attributes).

#include "mqttagent.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_CommandTopics final : public QObject {
    Q_OBJECT
private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("site");
        QTest::addColumn<QString>("topic");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("expected"); // "n|data|color|blink|inverse" ("-" unset), "" none, "!" + error piece
        const QString own = u"signs/variables/5/set"_s;
        QTest::newRow("plain text") << QString() << own << "GATE 7"_ba << u"5|GATE 7|-|-|-"_s;
        QTest::newRow("empty text") << QString() << own << ""_ba << u"5||-|-|-"_s;
        QTest::newRow("json") << QString() << u"signs/variables/257/set"_s
                              << R"({"data":"$4.99","color":"green","blink":true,"inverse":"no"})"_ba
                              << u"257|$4.99|2|1|2"_s;
        QTest::newRow("json number") << QString() << own << R"({"data":21.5})"_ba << u"5|21.5|-|-|-"_s;
        QTest::newRow("attributes only") << QString() << own << R"({"color":"7"})"_ba << u"5|-|7|-|-"_s;
        QTest::newRow("site's own") << u"north"_s << u"signs/sites/north/variables/5/set"_s << "x"_ba << u"5|x|-|-|-"_s;
        QTest::newRow("fleet") << u"north"_s << u"signs/all/variables/5/set"_s << "x"_ba << u"5|x|-|-|-"_s;
        QTest::newRow("another site") << u"north"_s << u"signs/sites/south/variables/5/set"_s << "x"_ba << QString();
        QTest::newRow("fleet without a site") << QString() << u"signs/all/variables/5/set"_s << "x"_ba << QString();
        QTest::newRow("state topic") << QString() << u"signs/displays/1/state"_s << "x"_ba << QString();
        QTest::newRow("bad number") << QString() << u"signs/variables/417/set"_s << "x"_ba << u"!no variable"_s;
        QTest::newRow("line end") << QString() << own << "a\nb"_ba << u"!line end"_s;
        QTest::newRow("bad colour") << QString() << own << R"({"color":"purple"})"_ba << u"!unknown colour"_s;
        QTest::newRow("unknown field") << QString() << own << R"({"dta":"x"})"_ba << u"!unknown field \"dta\""_s;
        QTest::newRow("broken json") << QString() << own << R"({"data":)"_ba << u"!not a JSON object"_s;
        QTest::newRow("empty object") << QString() << own << "{}"_ba << u"!neither data"_s;
    }
    void parse()
    {
        QFETCH(QString, site);
        QFETCH(QString, topic);
        QFETCH(QByteArray, payload);
        QFETCH(QString, expected);
        const agent::Topics topics{u"signs"_s, site, u"a1"_s};
        const agent::ParsedCommand parsed = agent::parseCommand(topics, topic, payload);
        if (expected.isEmpty()) {
            QVERIFY(!parsed.command && parsed.error.isEmpty());
        } else if (expected.startsWith(u'!')) {
            QVERIFY(!parsed.command);
            QVERIFY2(parsed.error.contains(expected.mid(1)), qPrintable(parsed.error));
        } else {
            QVERIFY2(parsed.command, qPrintable(parsed.error));
            const agent::Command& c = *parsed.command;
            QCOMPARE(u"%1|%2|%3|%4|%5"_s.arg(c.variable)
                         .arg(c.data.value_or(u"-"_s), c.color.value_or(u"-"_s), c.blink.value_or(u"-"_s),
                              c.inverse.value_or(u"-"_s)),
                     expected);
        }
    }

    void topics()
    {
        const agent::Topics site{u"signs"_s, u"north"_s, u"a1"_s};
        QCOMPARE(site.state(u"3"_s), u"signs/sites/north/displays/3/state"_s);
        QCOMPARE(site.presence(), u"signs/sites/north/agents/a1"_s);
        QCOMPARE(site.commandFilters(),
                 (QStringList{u"signs/sites/north/variables/+/set"_s, u"signs/all/variables/+/set"_s}));
        QCOMPARE(agent::Topics({u"signs"_s, {}, u"a1"_s}).commandFilters(), QStringList{u"signs/variables/+/set"_s});
    }
};

QTEST_GUILESS_MAIN(tst_CommandTopics)
#include "tst_commandtopics.moc"
