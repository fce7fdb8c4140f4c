// Linked values from JSON: the pointer over a document, link sources, files,
// and URLs served on 127.0.0.1 that answer, fail, come back and take their time.

#include "feedlinks.h"
#include "feedserver.h"
#include "jsonpointer.h"
#include "spreadsheetlinks.h"
#include "workbookcache.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_JsonLinks final : public QObject {
    Q_OBJECT
private slots:
    void pointer_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<QString>("pointer");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("text"); // the value, or a piece of the error
        const QByteArray doc = R"({"w":{"t":21.50,"n":-3,"big":1e21,"s":"sunny ☀","o":{},"a":[10,"x"],
            "yes":true,"none":null},"a/b":"slash","m~n":"tilde","":"empty key","sp ace":"fragment"})";
        auto hit = [&](const char* name, const char* pointer, const QString& value) {
            QTest::newRow(name) << doc << QString::fromUtf8(pointer) << true << value;
        };
        auto miss = [&](const char* name, const char* pointer, const char* error) {
            QTest::newRow(name) << doc << QString::fromUtf8(pointer) << false << QString::fromUtf8(error);
        };
        hit("string", "/w/s", u"sunny ☀"_s);
        hit("number as JSON writes it", "/w/t", u"21.5"_s);
        hit("negative whole number", "/w/n", u"-3"_s);
        hit("large number", "/w/big", u"1e+21"_s);
        hit("array element", "/w/a/1", u"x"_s);
        hit("~1 is a slash", "/a~1b", u"slash"_s);
        hit("~0 is a tilde", "/m~0n", u"tilde"_s);
        hit("empty key", "/", u"empty key"_s);
        hit("fragment form", "#/sp%20ace", u"fragment"_s);
        miss("no member", "/w/x", "no member \"x\" at \"/w\"");
        miss("past the array", "/w/a/2", "no element \"2\"");
        miss("leading zero index", "/w/a/01", "no element \"01\"");
        miss("end of array", "/w/a/-", "no element \"-\"");
        miss("through a scalar", "/w/s/0", "\"/w/s\" is not an object or array");
        miss("bad escape", "/m~2n", "~ not followed by 0 or 1");
        miss("no leading slash", "w/t", "does not start with /");
        miss("object", "/w/o", "is an object");
        miss("array", "/w/a", "is an array");
        miss("true", "/w/yes", "is true");
        miss("null", "/w/none", "is null");
        miss("whole document", "", "is an object");
        QTest::newRow("scalar document") << QByteArray(" \"just this\" ") << QString() << true << u"just this"_s;
        QTest::newRow("not JSON") << QByteArray("{\"a\":") << u"/a"_s << false << u"not a JSON document"_s;
        QTest::newRow("two documents") << QByteArray("1 2") << QString() << false << u"not a JSON document"_s;
    }
    void pointer()
    {
        QFETCH(QByteArray, document);
        QFETCH(QString, pointer);
        QFETCH(bool, ok);
        QFETCH(QString, text);
        const links::JsonPointerResult r = links::resolveJsonPointer(document, pointer);
        QCOMPARE(r.ok, ok);
        if (ok)
            QCOMPARE(r.value, text);
        else
            QVERIFY2(r.error.contains(text), qPrintable(r.error));
    }

    void sources_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("document"); // empty: not a JSON link
        QTest::addColumn<QString>("pointer");
        QTest::newRow("file") << u"C:\\feeds\\Now.JSON!/a!b"_s << u"C:/feeds/Now.JSON"_s << u"/a!b"_s;
        QTest::newRow("url") << u"https://h.example:8080/now?x=1!/t/0"_s << u"https://h.example:8080/now?x=1"_s
                             << u"/t/0"_s;
        QTest::newRow("spreadsheet") << u"book.xls!Sheet1!A1"_s << QString() << QString();
        QTest::newRow("no item") << u"feed.json"_s << QString() << QString();
    }
    void sources()
    {
        QFETCH(QString, source);
        QFETCH(QString, document);
        QFETCH(QString, pointer);
        const auto link = links::parseJsonLinkSource(source);
        QCOMPARE(link.has_value(), !document.isEmpty());
        if (link) {
            QCOMPARE(link->document, document);
            QCOMPARE(link->pointer, pointer);
        }
    }

    // The spreadsheet container reads JSON links too; a bad rewrite keeps the last good value.
    void fileLinkThroughTheContainer()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"feed.json"_s);
        auto write = [&](const QByteArray& bytes) {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
            f.write(bytes);
        };
        links::SpreadsheetLinkContainer container;
        container.createLink(path + u"!/temp"_s);
        write(R"({"temp": 4})");
        QCOMPARE(container.dataText(), u"4"_s);
        write(R"({"temp": )");
        QCOMPARE(container.dataText(), u"4"_s);
        const links::FeedReading reading = links::readJsonLink(path + u"!/temp"_s);
        QVERIFY(reading.stale);
        QVERIFY2(reading.error.contains(u"not a JSON document"_s), qPrintable(reading.error));
        write(R"({"temp": "5"})");
        QCOMPARE(container.dataText(), u"5"_s);
    }

    void fetchedOncePerInterval()
    {
        FeedServer server;
        server.setBody(R"({"t": 7})");
        links::FeedCache cache;
        cache.setWaitMs(10000);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(cache.read(server.url() + u"!/t"_s).value, u"7"_s);
        QCOMPARE(server.requests(), 1);
    }

    void feedGoesDownAndComesBack_data()
    {
        QTest::addColumn<int>("how");
        QTest::newRow("HTTP 503") << 0;
        QTest::newRow("connection refused") << 1;
        QTest::newRow("not JSON") << 2;
    }
    void feedGoesDownAndComesBack()
    {
        QFETCH(int, how);
        FeedServer server;
        server.setBody(R"({"t": "up"})");
        links::FeedCache cache;
        cache.setWaitMs(10000);
        cache.setRefreshSeconds(0); // every read fetches
        const QString source = server.url() + u"!/t"_s;
        QCOMPARE(cache.read(source).value, u"up"_s);
        if (how == 0)
            server.setMode(FeedServer::Mode::Fail);
        else if (how == 1)
            server.setListening(false);
        else
            server.setBody("<html>");
        const links::FeedReading down = cache.read(source);
        QCOMPARE(down.value, u"up"_s);
        QVERIFY(down.stale);
        QVERIFY(!down.error.isEmpty());
        server.setMode(FeedServer::Mode::Serve);
        server.setListening(true);
        server.setBody(R"({"t": "back"})");
        const links::FeedReading back = cache.read(source);
        QCOMPARE(back.value, u"back"_s);
        QVERIFY(!back.stale);
        QCOMPARE(back.error, QString());
    }

    // A feed that does not answer: the reader goes on without it, and gets the
    // value once the feed answers.
    void slowFeedDoesNotHoldTheReader()
    {
        FeedServer server;
        server.setBody(R"({"t": "late"})");
        server.setMode(FeedServer::Mode::Hold);
        links::FeedCache cache;
        cache.setWaitMs(50);
        const QString source = server.url() + u"!/t"_s;
        const links::FeedReading first = cache.read(source);
        QCOMPARE(first.value, QString());
        QVERIFY2(first.error.startsWith(u"waiting for"_s), qPrintable(first.error));
        QTRY_COMPARE(server.requests(), 1);
        server.release();
        QTRY_COMPARE(cache.read(source).value, u"late"_s);
        QCOMPARE(server.requests(), 1);
    }
};

QTEST_MAIN(tst_JsonLinks)
#include "tst_jsonlinks.moc"
