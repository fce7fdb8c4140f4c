// Linked values from JSON: the pointer over a document, link sources, files,
// and URLs served on 127.0.0.1 that answer, fail, come back and take their time.

#include "datarow.h"
#include "feedlinks.h"
#include "jsonpointer.h"
#include "spreadsheetlinks.h"

#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

// A JSON feed on 127.0.0.1, answered from the test's event loop: it serves its
// body, fails with 503, or holds requests until released.
class FeedServer final : public QTcpServer {
public:
    enum Mode { Serve, Fail, Hold, Endless, Trickle } mode = Serve;
    QByteArray body;
    int requests = 0;
    QList<QTcpSocket*> held;

    FeedServer()
    {
        listen(QHostAddress::LocalHost, 0);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                if (!socket->peek(65536).contains("\r\n\r\n") || socket->property("asked").toBool())
                    return;
                socket->setProperty("asked", true);
                ++requests;
                mode == Hold                         ? held.append(socket)
                : mode == Endless || mode == Trickle ? stream(socket)
                                                     : answer(socket);
            });
        });
    }
    // A body without an end: fast (MiBs a second) or a byte at a time.
    void stream(QTcpSocket* socket)
    {
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n[");
        auto* more = new QTimer(socket);
        connect(more, &QTimer::timeout, socket,
                [this, socket] { socket->write(mode == Endless ? QByteArray(256 * 1024, ' ') : " "_ba); });
        more->start(mode == Endless ? 5 : 100);
    }
    QString url() const { return u"http://127.0.0.1:%1/feed.json"_s.arg(serverPort()); }
    void answer(QTcpSocket* socket)
    {
        const QByteArray text = mode == Fail ? "down" : body;
        socket->write((mode == Fail ? "HTTP/1.1 503 Unavailable\r\n" : "HTTP/1.1 200 OK\r\n")
                      + "Connection: close\r\nContent-Length: "_ba + QByteArray::number(text.size()) + "\r\n\r\n"
                      + text);
        socket->disconnectFromHost();
    }
};

class tst_JsonLinks final : public QObject {
    Q_OBJECT
private slots:
    void pointer_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<QString>("pointer");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("text"); // the value, or a piece of the error
        const QByteArray doc = R"({"w":{"t":21.50,"s":"sunny ☀","o":{},"a":[10,"x"],
            "none":null},"a/b":"slash","m~1n":"tilde","sp ace":"fragment"})";
        auto hit = [&](const char* name, const char* pointer, const QString& value) {
            addRow(name, doc, QString::fromUtf8(pointer), true, value);
        };
        auto miss = [&](const char* name, const char* pointer, const char* error) {
            addRow(name, doc, QString::fromUtf8(pointer), false, QString::fromUtf8(error));
        };
        hit("string", "/w/s", u"sunny ☀"_s);
        hit("number as JSON writes it", "/w/t", u"21.5"_s);
        hit("array element", "/w/a/1", u"x"_s);
        hit("~1 is a slash", "/a~1b", u"slash"_s);
        hit("~01 is ~1, not /", "/m~01n", u"tilde"_s);
        hit("fragment form", "#/sp%20ace", u"fragment"_s);
        miss("no member", "/w/x", "no member \"x\" at \"/w\"");
        miss("past the array", "/w/a/2", "no element \"2\"");
        miss("bad escape", "/m~2n", "~ not followed by 0 or 1");
        miss("no leading slash", "w/t", "does not start with /");
        miss("object", "/w/o", "is an object");
        miss("null", "/w/none", "is null");
        addRow("scalar document", QByteArray(" \"just this\" "), QString(), true, u"just this"_s);
        addRow("not JSON", QByteArray("{\"a\":"), u"/a"_s, false, u"not a JSON document"_s);
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
        server.body = R"({"t": 7})";
        links::FeedCache cache;
        cache.setWaitMs(0); // the server answers from this thread's event loop
        QTRY_COMPARE(cache.read(server.url() + u"!/t"_s).value, u"7"_s);
        QCOMPARE(cache.read(server.url() + u"!/t"_s).value, u"7"_s);
        QCOMPARE(server.requests, 1);
    }

    void feedGoesDownAndComesBack_data()
    {
        QTest::addColumn<bool>("notJson");
        addRow("HTTP 503", false);
        addRow("not JSON", true);
    }
    void feedGoesDownAndComesBack()
    {
        QFETCH(bool, notJson);
        FeedServer server;
        server.body = R"({"t": "up"})";
        links::FeedCache cache;
        cache.setWaitMs(0);
        cache.setRefreshSeconds(0); // every read fetches
        const QString source = server.url() + u"!/t"_s;
        QTRY_COMPARE(cache.read(source).value, u"up"_s);
        notJson ? void(server.body = "<html>") : void(server.mode = FeedServer::Fail);
        QTRY_VERIFY(cache.read(source).stale);
        const links::FeedReading down = cache.read(source);
        QCOMPARE(down.value, u"up"_s);
        QVERIFY(!down.error.isEmpty());
        server.mode = FeedServer::Serve;
        server.body = R"({"t": "back"})";
        QTRY_COMPARE(cache.read(source).value, u"back"_s);
        QCOMPARE(cache.read(source).error, QString());
    }

    // A source that cannot be read says why, and memory does not fill with a
    // document that is too large or never ends.
    void unreadableFeedsSayWhy_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing file") << -1 << u"no such file: "_s;
        QTest::newRow("file over the limit") << -2 << u" is larger than 4 MiB"_s;
        QTest::newRow("endless body") << int(FeedServer::Endless) << u" is larger than 4 MiB"_s;
        QTest::newRow("body that trickles") << int(FeedServer::Trickle) << u" did not finish within 1 s"_s;
    }
    void unreadableFeedsSayWhy()
    {
        QFETCH(int, mode);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        FeedServer server;
        server.mode = FeedServer::Mode(std::max(mode, 0));
        QString source = server.url() + u"!/t"_s;
        if (mode < 0) {
            source = dir.filePath(u"feed.json"_s) + u"!/t"_s;
            QFile big(dir.filePath(u"feed.json"_s));
            QVERIFY(mode == -1 || (big.open(QIODevice::WriteOnly) && big.resize(5 << 20)));
        }
        links::FeedCache cache;
        cache.setWaitMs(0);
        cache.setFetchTimeoutMs(1000);
        QTRY_VERIFY_WITH_TIMEOUT(cache.read(source).error.contains(reason), 10000);
        const links::LinkReading reading = cache.read(source);
        QVERIFY(!reading.hasValue() && reading.value.isEmpty());
    }

    // A feed that does not answer: the reader goes on without it, and gets the
    // value once the feed answers.
    void slowFeedDoesNotHoldTheReader()
    {
        FeedServer server;
        server.body = R"({"t": "late"})";
        server.mode = FeedServer::Hold;
        links::FeedCache cache;
        cache.setWaitMs(50);
        const QString source = server.url() + u"!/t"_s;
        const links::FeedReading first = cache.read(source);
        QCOMPARE(first.value, QString());
        QVERIFY2(first.error.startsWith(u"waiting for"_s), qPrintable(first.error));
        QTRY_COMPARE(server.requests, 1);
        server.mode = FeedServer::Serve;
        for (QTcpSocket* socket : std::as_const(server.held))
            server.answer(socket);
        QTRY_COMPARE(cache.read(source).value, u"late"_s);
        QCOMPARE(server.requests, 1);
    }
};

QTEST_MAIN(tst_JsonLinks)
#include "tst_jsonlinks.moc"
