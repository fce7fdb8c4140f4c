// Which displays of the list a range names, and which texts are refused as
// arguments rather than as a bad file.

#include "datarow.h"
#include "displays.h"
#include "testenvironment.h"

#include <QFile>
#include <QTest>

class TstDisplaySelection final : public QObject {
    Q_OBJECT
private slots:
    void select_data()
    {
        QTest::addColumn<QString>("range");
        QTest::addColumn<QString>("chosen"); // numbers joined by ","
        QTest::addColumn<int>("problem");
        const int none = int(displays::Problem::None);
        const int argument = int(displays::Problem::BadArgument);
        addRow("all", "-", "2,3,7,12", none);
        addRow("ranges skip numbers not in the list", "3-10", "3,7", none);
        addRow("open end reaches the last", "4-", "7,12", none);
        addRow("range beyond the last", "10-500", "12", none);
        addRow("number order, each once", "12,2-3,3", "2,3,12", none);
        addRow("a number not in the list", "2,5", "", argument);
        addRow("a range naming none", "8-11", "", argument);
        addRow("not a range", "2;3", "", argument);
        addRow("empty", "", "", argument);
        addRow("too large", "2,99999", "", argument);
    }
    void select()
    {
        QFETCH(QString, range);
        QFETCH(int, problem);
        TestEnvironment env;
        const QString path = env.path(QStringLiteral("Displays.dat"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(
            "# the displays\n12|Roof|3|h||1||1\n2|Gate|3|h||1||1\n007|Hall|3|h||1||1\n3|Door|1|d|9600,N,8,1|||1\n");
        file.close();
        QList<displays::Entry> entries;
        QString error;
        QCOMPARE(int(displays::select(range, path, &entries, &error)), problem);
        QStringList numbers;
        for (const displays::Entry& e : std::as_const(entries))
            numbers << e.number;
        if (problem == int(displays::Problem::None))
            QTEST(numbers.join(u','), "chosen");
        else
            QVERIFY(!error.isEmpty());
    }

    void unreadableListIsABadFile()
    {
        TestEnvironment env;
        QList<displays::Entry> entries;
        QString error;
        QCOMPARE(displays::select(QStringLiteral("1"), env.path(QStringLiteral("none.dat")), &entries, &error),
                 displays::Problem::BadFile);
    }
};

QTEST_GUILESS_MAIN(TstDisplaySelection)
#include "tst_displayselection.moc"
