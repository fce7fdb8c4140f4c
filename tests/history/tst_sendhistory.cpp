// The send history: what is recorded comes back through every filter, old rows
// go, and writers working at once lose nothing.

#include "datarow.h"
#include "sendhistory.h"
#include "testenvironment.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>

#include <thread>

using history::Entry;
using history::Filter;
using history::SendHistory;

namespace {
const QDateTime kNoon(QDate(2026, 11, 20), QTime(12, 0));

Entry update(const QString& display, int minutes, QList<int> variables, const QString& text = {})
{
    Entry e{kNoon.addSecs(60 * minutes),
            "update",
            display,
            "1",
            text.isEmpty() ? "attributes" : "data",
            variables,
            "Updated",
            {},
            {}};
    if (!text.isEmpty())
        for (int n : variables)
            e.sentTexts.append({n, text + QString::number(n)});
    return e;
}

// "display@minutes" of each entry, newest first.
QStringList summary(const QList<Entry>& entries)
{
    QStringList out;
    for (const Entry& e : entries)
        out << QStringLiteral("%1@%2").arg(e.display).arg(kNoon.secsTo(e.when) / 60);
    return out;
}
} // namespace

class TestSendHistory final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void filters_data()
    {
        QTest::addColumn<QString>("display");
        QTest::addColumn<int>("variable");     // 0: any
        QTest::addColumn<int>("sinceMinutes"); // -1: from the start
        QTest::addColumn<QStringList>("expected");
        addRow("everything, newest first", "", 0, -1, QStringList{"5@30", "2@20", "5@10", "2@0"});
        addRow("one display", "5", 0, -1, QStringList{"5@30", "5@10"});
        addRow("one variable", "", 257, -1, QStringList{"5@30", "2@0"});
        addRow("since, inclusive", "", 0, 20, QStringList{"5@30", "2@20"});
        addRow("all three", "2", 3, 1, QStringList{"2@20"});
        addRow("a display never sent to", "7", 0, -1, QStringList{});
    }
    void filters()
    {
        QFETCH(QString, display);
        QFETCH(int, variable);
        QFETCH(int, sinceMinutes);
        SendHistory h;
        QVERIFY2(h.open(env.path(QStringLiteral("filters-%1.sqlite").arg(QTest::currentDataTag()))),
                 qPrintable(h.errorText()));
        for (const Entry& e : {update("2", 0, {1, 257}, "t"), update("5", 10, {1, 2}), update("2", 20, {3}, "u"),
                               update("5", 30, {257})})
            QVERIFY2(h.record(e), qPrintable(h.errorText()));
        Filter f{display, variable ? std::optional<int>(variable) : std::nullopt,
                 sinceMinutes < 0 ? QDateTime() : kNoon.addSecs(60 * sinceMinutes)};
        QTEST(summary(h.entries(f)), "expected");
    }

    void entryComesBackWhole()
    {
        SendHistory h;
        QVERIFY(h.open(env.path("whole.sqlite")));
        Entry sent = update("12", 5, {1, 2, 300}, QStringLiteral("Café €"));
        sent.error = QStringLiteral("no answer from display 12 within 2 s");
        sent.result = QStringLiteral("FAILED");
        sent.displayName = QStringLiteral("Gate signs");
        sent.unitResults = {{1, true, {}}, {2, false, QStringLiteral("no answer")}};
        QVERIFY(h.record(sent));
        sent.account = QStringLiteral("web:alice");
        QVERIFY(h.record(sent));
        const QList<Entry> got = h.entries();
        QCOMPARE(got.size(), 2);
        const Entry& e = got[1];
        QCOMPARE(e.when, sent.when);
        QCOMPARE(
            (QStringList{e.kind, e.display, e.displayName, e.units, e.mode, e.result, e.error}),
            (QStringList{sent.kind, sent.display, sent.displayName, sent.units, sent.mode, sent.result, sent.error}));
        QCOMPARE(e.account, history::systemAccount());
        QVERIFY(!e.account.isEmpty());
        QCOMPARE(got[0].account, sent.account);
        QCOMPARE(e.variables, sent.variables);
        QCOMPARE(e.sentTexts, sent.sentTexts);
        QCOMPARE(e.unitResults, sent.unitResults);
        // By name as by number; a variable's filter gives only its own row.
        const QList<Entry> one = h.entries({QStringLiteral("Gate signs"), 2, {}});
        QCOMPARE(one.size(), 2);
        QCOMPARE(one[0].variables, QList<int>{2});
        QCOMPARE(one[0].sentTexts, (QList<std::pair<int, QString>>{{2, QStringLiteral("Café €2")}}));
    }

    // A file of the first version, as programs before the per-unit results
    // wrote it, keeps its rows and takes the new ones.
    void oldFileIsBroughtUpToDate()
    {
        const QString path = env.path("old.sqlite");
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("old"));
            db.setDatabaseName(path);
            QVERIFY(db.open());
            QSqlQuery q(db);
            for (const char* sql :
                 {"CREATE TABLE sends (id INTEGER PRIMARY KEY, at TEXT NOT NULL, kind TEXT NOT NULL,"
                  " display TEXT NOT NULL, units TEXT, mode TEXT, result TEXT, error TEXT)",
                  "CREATE TABLE send_variables (send_id INTEGER NOT NULL REFERENCES sends(id) ON DELETE CASCADE,"
                  " variable INTEGER NOT NULL, text TEXT)",
                  "INSERT INTO sends VALUES (1, '%1', 'audit', 'Lobby sign', '1', 'audit', 'Audited', '')",
                  "INSERT INTO send_variables VALUES (1, 7, NULL)"})
                QVERIFY2(q.exec(QString::fromLatin1(sql).replace(
                             "%1", kNoon.addSecs(-3600).toUTC().toString(Qt::ISODateWithMs))),
                         qPrintable(q.lastError().text()));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("old"));
        SendHistory h;
        QVERIFY2(h.open(path), qPrintable(h.errorText()));
        Entry now = update("1", 0, {7}, "x");
        now.unitResults = {{1, true, {}}};
        QVERIFY2(h.record(now), qPrintable(h.errorText()));
        const QList<Entry> got = h.entries({{}, 7, {}});
        QCOMPARE(summary(got), (QStringList{"1@0", "Lobby sign@-60"}));
        QCOMPARE(got[0].unitResults.size(), 1);
        QVERIFY(got[1].account.isEmpty() && got[1].unitResults.isEmpty());
        SendHistory again; // opened once more: nothing to migrate
        QVERIFY2(again.open(path), qPrintable(again.errorText()));
    }

    void pruneRemovesOnlyOldRows()
    {
        SendHistory h;
        QVERIFY(h.open(env.path("prune.sqlite")));
        for (int days : {100, 91, 89, 0})
            QVERIFY(h.record(update("1", -days * 24 * 60, {days + 1}, "x")));
        QCOMPARE(h.pruneOlderThan(SendHistory::kDefaultKeepDays, kNoon), 2);
        QCOMPARE(summary(h.entries()), (QStringList{"1@0", QStringLiteral("1@%1").arg(-89 * 24 * 60)}));
        QCOMPARE(h.entries({{}, 101, {}}).size(), 0); // their variables went with them
    }

    // Two writers on one file, as two programs sending at the same time.
    void concurrentWritersLoseNothing()
    {
        const QString path = env.path("shared.sqlite");
        auto writer = [&](const QString& display, bool* ok) {
            SendHistory h;
            *ok = h.open(path);
            for (int i = 0; i < 100 && *ok; ++i)
                *ok = h.record(update(display, i, {1, 2, 3}, "v"));
        };
        bool ok1 = false, ok2 = false;
        std::thread a(writer, QStringLiteral("1"), &ok1), b(writer, QStringLiteral("2"), &ok2);
        a.join();
        b.join();
        QVERIFY(ok1 && ok2);
        SendHistory reader;
        QVERIFY(reader.open(path));
        QCOMPARE(reader.entries({"1", {}, {}}).size(), 100);
        QCOMPARE(reader.entries({"2", {}, {}}).size(), 100);
    }

    void unusablePathIsAnError()
    {
        SendHistory h;
        QVERIFY(!h.open(env.folder())); // a folder, not a file
        QVERIFY(!h.errorText().isEmpty());
        QVERIFY(!h.record(update("1", 0, {1})));
        QCOMPARE(h.entries().size(), 0);
    }
};

QTEST_GUILESS_MAIN(TestSendHistory)
#include "tst_sendhistory.moc"
