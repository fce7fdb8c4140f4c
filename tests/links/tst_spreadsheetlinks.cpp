#include "clipboardlink.h"
#include "datarow.h"
#include "documentwatcher.h"
#include "linkitem.h"
#include "spreadsheetlinks.h"
#include "spreadsheetreader.h"
#include "testenvironment.h"
#include "workbookcache.h"

#include <QDir>
#include <QFile>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using links::WorkbookCache;

namespace {
QString fixture(const QString& name) { return QStringLiteral(LINK_FIXTURES "/") + name; }

QByteArray fixtureBytes(const QString& name)
{
    QFile file(fixture(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class tst_SpreadsheetLinks : public QObject {
    Q_OBJECT
private slots:
    // Every format, every kind of cell, both item forms, and the failures that read
    // as empty text.
    void readsFixtureCells_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("expected");
        const QList<std::pair<const char*, const char*>> cells{
            {"Data!R1C1", "plain text"},
            {"Data!B1", "Grüße – 20€"},
            {"Data.$A$2", "42"},
            {"Data!R3C1", "3.5"},
            {"Data!A4", "2"},
            {"Data!R5C1", "84"},       // formula, its cached result
            {"Data.A6", "abcd"},       // formula giving text
            {"Data!A7", "2024-03-15"}, // date
            {"Data!A8", ""},           // empty cell in a written row
            {"Data!B8", "row 8 has only B"},
            {"Data!A9", "-0.25"},
            {"Data!A10", "1234567.125"},
            {"data!r2c1", "42"}, // names and forms without regard to case
            {"'Other Sheet'.A1", "second sheet"},
            {"Other Sheet!R3C4", "7"},
            {"$Data.$B$3:$B$4", ""}, // a range names its first cell
            {"Data!Z99", ""},        // beyond the used area
            {"Data!R70000C200", ""},
            {"Missing!A1", ""}, // no such sheet
            {"A2", "42"},       // no sheet: the first
            {"Data!", ""},      // no cell
        };
        // The office suite stores no text result in a .xls (see xlsFormulaResults).
        const auto unsupported = [](const QString& ext, const char* item) {
            return ext == u"xls" && qstrcmp(item, "Data.A6") == 0;
        };
        for (const char* ext : {"xls", "xlsx", "ods"})
            for (const auto& [item, expected] : cells)
                if (!unsupported(QLatin1String(ext), item))
                    QTest::addRow("%s %s", ext, item)
                        << u"cells.%1!%2"_s.arg(QLatin1String(ext), QString::fromUtf8(item))
                        << QString::fromUtf8(expected);
        addRow("missing file", u"nothere.xls!Data!A1"_s, QString());
    }
    void readsFixtureCells()
    {
        QFETCH(QString, item);
        WorkbookCache cache;
        QTEST(links::readLinkedValue(fixture(item), cache), "expected");
    }
    void readsCsv_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("expected");
        addRow("utf-8", "a,Grüße\n"_ba, u"B1"_s, u"Grüße"_s);
        addRow("bom skipped", "\xEF\xBB\xBFhead,x\n"_ba, u"R1C1"_s, u"head"_s);
        addRow("windows-1252", "caf\xE9,\x80 5\n"_ba, u"A1"_s, u"café"_s);
        addRow("windows-1252 euro", "caf\xE9,\x80 5\n"_ba, u"B1"_s, u"€ 5"_s);
        addRow("number shown as number", "2.50,007\n"_ba, u"A1"_s, u"2.5"_s);
        addRow("leading zeros dropped", "2.50,007\n"_ba, u"B1"_s, u"7"_s);
        addRow("quoted comma", "\"a, b\",c\n"_ba, u"A1"_s, u"a, b"_s);
        addRow("second row", "x\r\ny,z\r\n"_ba, u"B2"_s, u"z"_s);
        addRow("sheet named after file", "x\n"_ba, u"Book One!A1"_s, u"x"_s);
        addRow("other sheet name", "x\n"_ba, u"Sheet1!A1"_s, QString());
        addRow("empty file", QByteArray(), u"A1"_s, QString());
    }
    void readsCsv()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, item);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"Book One.csv"_s);
        writeFile(path, bytes);
        WorkbookCache cache;
        QTEST(links::readLinkedValue(path + u'!' + item, cache), "expected");
    }
    void parsesItems_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("document");
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("column");
        addRow("row-column", u"C:\\Data\\v.xls!Variables!R417C2"_s, true, u"C:/Data/v.xls"_s, u"Variables"_s, 416, 1);
        addRow("quoted with quote", u"/b.ods!'It''s'.AA10"_s, true, u"/b.ods"_s, u"It's"_s, 9, 26);
        addRow("dots in sheet name", u"/b.ods!v1.2.C3"_s, true, u"/b.ods"_s, u"v1.2"_s, 2, 2);
        addRow("no sheet", u"/b.csv!C7"_s, true, u"/b.csv"_s, QString(), 6, 2);
        addRow("row zero", u"/b.xls!S!R0C1"_s, false, QString(), QString(), 0, 0);
        addRow("no item", u"/b.xls"_s, false, QString(), QString(), 0, 0);
        addRow("no path", u"!S!A1"_s, false, QString(), QString(), 0, 0);
        addRow("not a cell", u"/b.xls!S!hello"_s, false, QString(), QString(), 0, 0);
    }
    void parsesItems()
    {
        QFETCH(QString, source);
        QFETCH(bool, valid);
        const std::optional<links::CellLink> link = links::parseLinkSource(source);
        QCOMPARE(link.has_value(), valid);
        if (!valid)
            return;
        QTEST(link->document, "document");
        QTEST(link->sheet, "sheet");
        QTEST(link->row, "row");
        QTEST(link->column, "column");
    }
    // What whoever follows a link watches (a document) or polls (a URL).
    void watchedSources_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("watched"); // document|url
        addRow("cell", u"/d/b.xls!S!R1C2"_s, u"/d/b.xls|"_s);
        addRow("local JSON", u"/d/w.json!/t"_s, u"/d/w.json|"_s);
        addRow("JSON feed", u"https://f.example/now.json!/t"_s, u"|https://f.example/now.json"_s);
        addRow("topic named like a JSON file", u"mqtt://bus/feeds/w.json!/t"_s, u"|"_s);
        addRow("no link", u"21.5"_s, u"|"_s);
    }
    void watchedSources()
    {
        QFETCH(QString, source);
        const links::WatchedSource watched = links::watchedSourceOf(source);
        QTEST(QString(watched.document + u'|' + watched.url), "watched");
    }
    // Samples captured from the office suite's clipboard after copying cells.
    void takesClipboardFlavour_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("source");
        addRow("saved book", fixtureBytes(u"clipboard-link-saved.bin"_s), u"/tmp/lo/cells.ods!Data.A1"_s);
        addRow("range", fixtureBytes(u"clipboard-link-range.bin"_s), u"/tmp/lo/cells.ods!Data.B3:B4"_s);
        addRow("quoted sheet", fixtureBytes(u"clipboard-link-othersheet.bin"_s),
               u"/tmp/lo/cells.ods!'Other Sheet'.A1"_s);
        addRow("never saved", fixtureBytes(u"clipboard-link-unsaved.bin"_s), u"Untitled 1!Sheet1.A1"_s);
        addRow("document as URL", "app\0file:///my%20docs/b.ods\0S.A1\0\0"_ba, u"/my docs/b.ods!S.A1"_s);
        addRow("no item", "app\0/b.ods\0\0\0"_ba, QString());
        addRow("plain text", "just text"_ba, QString());
    }
    void takesClipboardFlavour()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!bytes.isEmpty());
        QTEST(links::linkSourceFromFlavour(bytes), "source");
        QMimeData data;
        QVERIFY(!links::hasLinkFlavour(&data));
        data.setData(QString::fromLatin1(links::kLinkMimeType), bytes);
        QTEST(links::linkSourceFromClipboard(&data), "source");
    }
    // The cached result of the .xls fixture's formula in A6, replaced in place by
    // each kind of result a formula record can hold.
    void xlsFormulaResults_data()
    {
        QTest::addColumn<QByteArray>("result"); // the record's eight value bytes
        QTest::addColumn<QString>("expected");
        addRow("number", QByteArray::fromHex("0000000000005540"), u"84"_s);
        addRow("true", QByteArray::fromHex("010001000000ffff"), u"TRUE"_s);
        addRow("false", QByteArray::fromHex("010000000000ffff"), u"FALSE"_s);
        addRow("error", QByteArray::fromHex("020007000000ffff"), u"#DIV/0!"_s);
        addRow("empty text", QByteArray::fromHex("030000000000ffff"), QString());
    }
    void xlsFormulaResults()
    {
        QFETCH(QByteArray, result);
        QByteArray bytes = fixtureBytes(u"cells.xls"_s);
        // Record type 6, length 33, row 5, column 0, then the format and the value.
        const qsizetype at = bytes.indexOf(QByteArray::fromHex("0600210005000000"));
        QVERIFY(at > 0);
        bytes.replace(at + 10, 8, result);
        const links::Workbook book = links::readXls(bytes);
        QTEST(book.sheet(u"Data"_s)->cell(5, 0), "expected");
        QCOMPARE(book.sheet(u"Data"_s)->cell(1, 0), u"42"_s);
    }
    void brokenDocumentsThrow_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        addRow("xlsx cut short", fixtureBytes(u"cells.xlsx"_s).left(3000));
        addRow("ods cut short", fixtureBytes(u"cells.ods"_s).left(3000));
        addRow("xls cut short", fixtureBytes(u"cells.xls"_s).left(1500));
        // A shared string whose flags claim formatting runs and extra data that run
        // past the table (the cell reader would read past its buffer).
        QByteArray longString = fixtureBytes(u"filled-workbook.xls"_s);
        QVERIFY(longString.mid(0xbcb, 3) == QByteArray::fromHex("080000")); // "Value 60": 8 characters, flags
        longString[0xbcd] = char(0xae);
        addRow("xls string too long", longString);
        // cells.ods with bytes of its compressed parts changed at random: the import
        // filter would stop the program on what it unpacks.
        addRow("ods parts damaged", fixtureBytes(u"damaged-cells.ods"_s));
        // A number format whose text is longer than its record (found by fuzzing): the cell reader would copy past its
        // buffer.
        addRow("xls format text too long", fixtureBytes(u"format-text-longer-than-record.xls"_s));
        // A second DIMENSION record whose table cannot be made: the cell reader would free cells it never had.
        addRow("xls second dimension", fixtureBytes(u"second-dimension-too-large.xls"_s));
        addRow("zip of nothing", "PK\x03\x04 not really a package"_ba);
        addRow("compound header only", QByteArray::fromHex("d0cf11e0a1b11ae1") + QByteArray(504, '\0'));
    }
    void brokenDocumentsThrow()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY_THROWS_EXCEPTION(links::ReadError, links::readDocument(bytes, u"x"_s));
    }
    // Date cells of a damaged document may carry any number (found by fuzzing).
    void serialDates_data()
    {
        QTest::addColumn<double>("serial");
        QTest::addColumn<QString>("shown");
        addRow("a date", 45000.0, u"2023-03-15"_s);
        addRow("a date and time", 45000.75, u"2023-03-15 18:00:00"_s);
        addRow("before the phantom leap day", 59.0, u"1900-02-28"_s);
        addRow("far beyond the last year", 3.5e72, u"3.5e+72"_s);
        addRow("far before the first year", -1e300, u"-1e+300"_s);
    }
    void serialDates()
    {
        QFETCH(double, serial);
        QTEST(links::cellText::serialDate(serial, true, true), "shown");
    }
    void parsesEachDocumentOncePerChange()
    {
        WorkbookCache cache;
        const QString book = fixture(u"filled-workbook.xls"_s);
        for (int n = 1; n <= 416; ++n)
            QCOMPARE(links::readLinkedValue(book + u"!Variables!R%1C2"_s.arg(n + 1), cache), u"Value %1"_s.arg(n + 1));
        QCOMPARE(cache.parseCount(), 1);
        QCOMPARE(links::readLinkedValue(fixture(u"cells.ods!Data!A2"_s), cache), u"42"_s);
        QCOMPARE(links::readLinkedValue(book + u"!Variables!A1"_s, cache), u"This is the variable you want to use!"_s);
        QCOMPARE(cache.parseCount(), 2);
    }
    // A document changes under its links: written in place, replaced by a rename,
    // half written, removed.
    void followsRewrittenFiles()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"live.csv"_s);
        const QString source = path + u"!live!B1"_s;
        WorkbookCache cache;
        writeFile(path, "a,first\n");
        QCOMPARE(links::readLinkedValue(source, cache), u"first"_s);

        writeFile(path, "a,second value\n");
        QCOMPARE(links::readLinkedValue(source, cache), u"second value"_s);

        // Same size, written in the same instant: only the modification time tells.
        writeFile(path, "a,third value!\n");
        QFile stamped(path);
        QVERIFY(stamped.open(QIODevice::ReadWrite)
                && stamped.setFileTime(QDateTime::currentDateTime().addSecs(5), QFileDevice::FileModificationTime));
        stamped.close();
        QCOMPARE(links::readLinkedValue(source, cache), u"third value!"_s);

        const QString next = dir.filePath(u"live.csv.new"_s);
        writeFile(next, "a,renamed over\n");
        QVERIFY(QFile::remove(path) && QFile::rename(next, path));
        QCOMPARE(links::readLinkedValue(source, cache), u"renamed over"_s);

        // An office file caught half written reads as empty, then whole once finished.
        const QString xlsx = dir.filePath(u"book.xlsx"_s);
        const QByteArray whole = fixtureBytes(u"cells.xlsx"_s);
        writeFile(xlsx, whole.left(whole.size() / 2));
        QCOMPARE(links::readLinkedValue(xlsx + u"!Data!A2"_s, cache), QString());
        QVERIFY(links::readLink(xlsx + u"!Data!A2"_s, cache).error.startsWith(u"cannot read "_s + xlsx + u": "_s));
        writeFile(xlsx, whole);
        QCOMPARE(links::readLinkedValue(xlsx + u"!Data!A2"_s, cache), u"42"_s);

        QCOMPARE(links::readLink(xlsx + u"!Nope!A2"_s, cache).error, u"%1 has no sheet \"Nope\""_s.arg(xlsx));
        QVERIFY(QFile::remove(path));
        QCOMPARE(links::readLinkedValue(source, cache), QString());
        QCOMPARE(links::readLink(source, cache).error, u"no such file: "_s + path);
    }
};

QTEST_GUILESS_MAIN(tst_SpreadsheetLinks)
#include "tst_spreadsheetlinks.moc"
