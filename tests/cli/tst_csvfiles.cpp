// The CSV reader on odd files, and the variable rows it must refuse, each with
// the line and field the message names.

#include "datarow.h"
#include "csv.h"
#include "varcsv.h"

#include <QTest>

class TstCsvFiles final : public QObject {
    Q_OBJECT
private slots:
    void read_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("records"); // fields joined by "|", records by "/"
        QTest::addColumn<QString>("error");   // "line:field" of the error, "" for none
        addRow("plain, CR LF", QByteArray("a,b\r\nc,d\r\n"), "a|b/c|d", "");
        addRow("LF, no last line end", QByteArray("a,b\nc,d"), "a|b/c|d", "");
        addRow("quoted comma and doubled quote", QByteArray("\"x, \"\"y\"\"\",z\r\n"), "x, \"y\"|z", "");
        addRow("empty fields", QByteArray(",,\r\n"), "||", "");
        addRow("blank lines skipped, lines counted", QByteArray("a\r\n\r\nb,\"\"\"\r\n"), "a", "3:2");
        addRow("line break inside quotes", QByteArray("\"1\n2\",x\r\n\"open"), "1\n2|x", "3:1");
        addRow("quote inside an unquoted field", QByteArray("a,b\"c\r\n"), "", "1:2");
        addRow("text after the closing quote", QByteArray("x\r\ny,\"q\"r\r\n"), "x", "2:2");
        addRow("byte order mark", QByteArray("\xEF\xBB\xBFn,\xC3\xA9\r\n"), "n|\u00E9", "");
        addRow("not UTF-8", QByteArray("ok\r\nbad \xE9\r\n"), "", "2:0");
    }
    void read()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, records);
        QFETCH(QString, error);
        const csv::ReadResult result = csv::read(bytes, csv::Encoding::Utf8);
        QStringList got;
        for (const csv::Record& r : result.records)
            got << r.fields.join(u'|');
        QCOMPARE(got.join(u'/'), records);
        QCOMPARE(result.error ? QStringLiteral("%1:%2").arg(result.error->line).arg(result.error->field) : QString(),
                 error);
    }

    void writeReadsBack()
    {
        // A first field starting with U+FEFF and a record of one empty field read back too (found by fuzzing).
        const QList<QStringList> all{{QChar(0xfeff) + QStringLiteral("x")},
                                     {QStringLiteral("a,b"), QStringLiteral("say \"hi\""), QString()},
                                     {QStringLiteral("\u00E9\u20AC"), QStringLiteral(" lead"), QStringLiteral("x")},
                                     {QString()}};
        for (csv::Encoding e : {csv::Encoding::Utf8, csv::Encoding::Windows1252}) {
            // Windows-1252 has no U+FEFF: there the file starts with the second record.
            const QList<QStringList> records = e == csv::Encoding::Utf8 ? all : all.mid(1);
            const QByteArray bytes = csv::write(records, e);
            QVERIFY(bytes.endsWith("\r\n"));
            const csv::ReadResult back = csv::read(bytes, e);
            QVERIFY(!back.error);
            QCOMPARE(back.records.size(), records.size());
            for (int i = 0; i < records.size(); ++i)
                QCOMPARE(back.records[i].fields, records[i]);
        }
    }

    void badRows_data()
    {
        QTest::addColumn<QByteArray>("row");
        QTest::addColumn<QString>("where");
        addRow("unknown number", QByteArray("417,n,d,red,no,no,5,"), "line 3, field 1 (number)");
        addRow("number with a sign", QByteArray("+7,n,d,red,no,no,5,"), "line 3, field 1 (number)");
        addRow("bad colour", QByteArray("7,n,d,purple,no,no,5,"), "line 3, field 4 (color)");
        addRow("colour code 8", QByteArray("7,n,d,8,no,no,5,"), "line 3, field 4 (color)");
        addRow("bad blink", QByteArray("7,n,d,red,maybe,no,5,"), "line 3, field 5 (blink)");
        addRow("bad inverse", QByteArray("7,n,d,red,no,,5,"), "line 3, field 6 (inverse)");
        addRow("text length 251", QByteArray("7,n,d,red,no,no,251,"), "line 3, field 7 (max_length)");
        addRow("cell length 59", QByteArray("300,n,d,red,no,no,59,"), "line 3, field 7 (max_length)");
        addRow("length 0", QByteArray("7,n,d,red,no,no,0,"), "line 3, field 7 (max_length)");
        addRow("seven fields", QByteArray("7,n,d,red,no,no,5"), "line 3, field 8 (link)");
        addRow("broken quoting", QByteArray("7,\"n,d,red,no,no,5,"), "line 3, field 2 (name)");
        addRow("line break in data", QByteArray("7,n,\"a\nb\",red,no,no,5,"), "line 3, field 3 (data)");
        addRow("twice the same variable", QByteArray("1,n,d,red,no,no,5,"), "line 3, field 1 (number)");
    }
    void badRows()
    {
        QFETCH(QByteArray, row);
        QFETCH(QString, where);
        const QByteArray file = "number,name,data,color,blink,inverse,max_length,link\r\n"
                                "1,first,x,green,yes,no,10,\r\n"
                                + row + "\r\n";
        const varcsv::ImportResult result = varcsv::parse(file, csv::Encoding::Utf8);
        QVERIFY(result.error);
        QVERIFY(result.changes.isEmpty());
        QVERIFY2(varcsv::describe(*result.error).startsWith(where), qPrintable(varcsv::describe(*result.error)));
    }

    void goodRowSetsTheWholeRecord()
    {
        const varcsv::ImportResult result = varcsv::parse("NUMBER,Name,data,color,blink,inverse,max_length,link\n"
                                                          "257,Price,$4.99,Cyan,YES,2,58,C:\\p.xls!Variables!R2C2\n",
                                                          csv::Encoding::Utf8);
        QVERIFY(!result.error);
        QCOMPARE(result.changes.size(), 1);
        QCOMPARE(result.changes[0].varNum, 257);
        const vls::Record expected{QStringLiteral("Price"), QStringLiteral("6"),
                                   QStringLiteral("1"),     QStringLiteral("2"),
                                   QStringLiteral("$4.99"), QStringLiteral("C:\\p.xls!Variables!R2C2"),
                                   QStringLiteral("58")};
        QCOMPARE(result.changes[0].record, expected);
    }

    void wrongHeader()
    {
        const varcsv::ImportResult result = varcsv::parse("number,name,data,colour,blink,inverse,max_length,link\r\n",
                                                          csv::Encoding::Utf8);
        QVERIFY(result.error);
        QCOMPARE(result.error->line, 1);
        QCOMPARE(result.error->field, 4);
    }
};

QTEST_GUILESS_MAIN(TstCsvFiles)
#include "tst_csvfiles.moc"
