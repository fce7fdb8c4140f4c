// The "Displays.dat" reader and writer: single lines, whole files, escapes,
// the round trip through the writer, and reading files from disk.

#include "displaylistfile.h"
#include "runtimeerror.h"
#include "testenvironment.h"

#include <QFile>
#include <QTest>

class TestDisplayListFile final : public QObject {
    Q_OBJECT
private slots:
    void parseLine_data();
    void parseLine();
    void skippedLines_data();
    void skippedLines();
    void parseFile_data();
    void parseFile();
    void roundTrip_data();
    void roundTrip();
    void readMissingFile();
    void readFolder();
    void readWindows1252();
    void writeThenRead();

private:
    // The cases without settings of their own still run in a world of their own.
    TestEnvironment m_env;
};

void TestDisplayListFile::parseLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("kind1");
    QTest::addColumn<QString>("kind3");
    QTest::addColumn<QString>("other");
    QTest::addColumn<QString>("addresses");
    QTest::addColumn<QString>("error");  // part of the error text; empty for a good line

    auto good = [](const char* tag, const QString& line, const QString& number, const QString& name, int kind,
                   const QString& target, const QString& k1, const QString& k3, const QString& other,
                   const QString& addresses) {
        QTest::newRow(tag) << line << number << name << kind << target << k1 << k3 << other << addresses << QString();
    };
    auto bad = [](const char* tag, const QString& line, const QString& error) {
        QTest::newRow(tag) << line << QString() << QString() << 0 << QString() << QString() << QString() << QString()
                           << QString() << error;
    };

    good("tcp", "1|Lobby|3|127.0.0.1||47010||1", "1", "Lobby", 3, "127.0.0.1", "", "47010", "", "1");
    good("serial, comma fields intact", "2|Dock|1|/dev/ttyUSB0|9600,N,8,1|||1,2", "2", "Dock", 1, "/dev/ttyUSB0",
         "9600,N,8,1", "", "", "1,2");
    good("modem", "3|Branch|2|/dev/ttyS1|||5551234|1", "3", "Branch", 2, "/dev/ttyS1", "", "", "5551234", "1");
    good("unknown kind kept", "4|Odd|4|x||||1", "4", "Odd", 4, "x", "", "", "", "1");
    good("kind zero", "5|Zero|0|x||||1", "5", "Zero", 0, "x", "", "", "", "1");
    good("negative kind", "6|Neg|-1|x||||1", "6", "Neg", -1, "x", "", "", "", "1");
    good("blanks around fields", " 7 | Name With Blanks | 3 | host | | 10001 | | 1 ", "7", "Name With Blanks", 3,
         "host", "", "10001", "", "1");
    good("leading zeros dropped", "007|Seven|3|h||1||7", "7", "Seven", 3, "h", "", "1", "", "7");
    good("escaped separator", "8|Sales %7C Service|3|h||1||1", "8", "Sales | Service", 3, "h", "", "1", "", "1");
    good("escaped percent", "9|100%25 sure|3|h||1||1", "9", "100% sure", 3, "h", "", "1", "", "1");
    good("lone percent kept", "10|100% sure %4|3|h||1||1", "10", "100% sure %4", 3, "h", "", "1", "", "1");
    good("lower-case hex", "11|a%7cb|3|h||1||1", "11", "a|b", 3, "h", "", "1", "", "1");
    good("escaped edge blanks", "12|%20padded%20|3|h||1||1", "12", " padded ", 3, "h", "", "1", "", "1");
    good("escaped code page character", "13|Caf%E9|3|h||1||1", "13", QStringLiteral("Caf\u00e9"), 3, "h", "", "1", "",
         "1");
    good("CR at the end", "14|Crlf|3|h||1||1\r", "14", "Crlf", 3, "h", "", "1", "", "1");
    good("empty address list loads", "15|NoAddr|3|h||1||", "15", "NoAddr", 3, "h", "", "1", "", "");
    good("address list not a number loads", "16|Words|3|h||1||abc", "16", "Words", 3, "h", "", "1", "", "abc");
    good("largest number", "32767|Max|3|h||1||1", "32767", "Max", 3, "h", "", "1", "", "1");
    good("windows device", "17|Com|1|\\\\.\\COM10|9600,N,8,1|||1", "17", "Com", 1, "\\\\.\\COM10", "9600,N,8,1", "",
         "", "1");

    bad("too few fields", "1|Lobby|3", "expected 8 fields separated by \"|\", found 3");
    bad("unescaped separator in a field", "1|Sales | Service|3|h||1||1", "found 9");
    bad("number not a number", "x|Lobby|3|h||1||1", "display number \"x\" is not a whole number");
    bad("number zero", "0|Lobby|3|h||1||1", "display number \"0\"");
    bad("number negative", "-2|Lobby|3|h||1||1", "display number \"-2\"");
    bad("number beyond 16 bits", "32768|Lobby|3|h||1||1", "display number \"32768\"");
    bad("number with decimals", "1.5|Lobby|3|h||1||1", "display number \"1.5\"");
    bad("number empty", "|Lobby|3|h||1||1", "display number \"\"");
    bad("name empty", "4||3|h||1||1", "display 4 has no name");
    bad("name only an escaped blank", "4|%20|3|h||1||1", "display 4 has no name");
    bad("kind not a number", "1|Lobby|tcp|h||1||1", "connection kind \"tcp\" is not a number");
    bad("kind empty", "1|Lobby||h||1||1", "connection kind \"\" is not a number");
    bad("kind beyond 16 bits", "1|Lobby|70000|h||1||1", "connection kind \"70000\"");
}

void TestDisplayListFile::parseLine()
{
    QFETCH(QString, line);
    QFETCH(QString, error);
    QString actualError;
    const auto record = DisplayListFile::parseLine(line, &actualError);
    if (!error.isEmpty()) {
        QVERIFY(!record);
        QVERIFY2(actualError.contains(error), qPrintable(actualError));
        return;
    }
    QVERIFY2(record, qPrintable(actualError));
    QVERIFY(actualError.isEmpty());
    QTEST(record->number, "number");
    QTEST(record->name, "name");
    QTEST(int(record->kind), "kind");
    QTEST(record->linkTarget, "target");
    QTEST(record->kind1Param, "kind1");
    QTEST(record->kind3Param, "kind3");
    QTEST(record->otherKindParam, "other");
    QTEST(record->addressList, "addresses");
}

void TestDisplayListFile::skippedLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("empty") << "";
    QTest::newRow("blanks") << "   \t ";
    QTest::newRow("comment") << "# number|name|kind";
    QTest::newRow("indented comment") << "   # 1|Lobby|3|h||1||1";
    QTest::newRow("CR only") << "\r";
}

void TestDisplayListFile::skippedLines()
{
    QFETCH(QString, line);
    QString error = QStringLiteral("untouched");
    QVERIFY(!DisplayListFile::parseLine(line, &error));
    QVERIFY(error.isEmpty());
}

void TestDisplayListFile::parseFile_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("numbers");
    QTest::addColumn<QList<int>>("lines");
    QTest::addColumn<QStringList>("errors");

    QTest::newRow("comments and blank lines")
        << "# header\n\n1|A|3|h||1||1\n  \n2|B|3|h||1||1\n" << QStringList{"1", "2"} << QList<int>{3, 5}
        << QStringList{};
    QTest::newRow("malformed line in the middle, the rest loads")
        << "1|A|3|h||1||1\n2|B|3\n3|C|3|h||1||1\n" << QStringList{"1", "3"} << QList<int>{1, 3}
        << QStringList{"line 2: expected 8 fields separated by \"|\", found 3"};
    QTest::newRow("several malformed lines")
        << "x|A|3|h||1||1\n2|B|3|h||1||1\n3||3|h||1||1\n4|D|k|h||1||1\n" << QStringList{"2"} << QList<int>{2}
        << QStringList{"line 1: display number \"x\" is not a whole number from 1 to 32767",
                       "line 3: display 3 has no name", "line 4: connection kind \"k\" is not a number"};
    QTest::newRow("duplicate number, the first one stays")
        << "1|A|3|h||1||1\n2|B|3|h||1||1\n# c\n2|B again|3|h||1||1\n" << QStringList{"1", "2"} << QList<int>{1, 2}
        << QStringList{"line 4: display number 2 is already used on line 2"};
    QTest::newRow("duplicate written with leading zeros")
        << "2|B|3|h||1||1\n002|C|3|h||1||1\n" << QStringList{"2"} << QList<int>{1}
        << QStringList{"line 2: display number 2 is already used on line 1"};
    QTest::newRow("CR LF line ends") << "1|A|3|h||1||1\r\n2|B|3|h||1||1\r\n" << QStringList{"1", "2"}
                                     << QList<int>{1, 2} << QStringList{};
    QTest::newRow("no line end at the end") << "1|A|3|h||1||1" << QStringList{"1"} << QList<int>{1} << QStringList{};
    QTest::newRow("empty file") << "" << QStringList{} << QList<int>{} << QStringList{};
}

void TestDisplayListFile::parseFile()
{
    QFETCH(QString, text);
    QFETCH(QStringList, numbers);
    QFETCH(QList<int>, lines);
    QFETCH(QStringList, errors);
    const auto contents = DisplayListFile::parse(text);
    QStringList actualNumbers;
    QList<int> actualLines;
    for (const auto& r : contents.records) {
        actualNumbers << r.number;
        actualLines << r.line;
    }
    QCOMPARE(actualNumbers, numbers);
    QCOMPARE(actualLines, lines);
    QCOMPARE(contents.errorTexts(), errors);
}

void TestDisplayListFile::roundTrip_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("addresses");

    QTest::newRow("plain") << "Lobby" << "127.0.0.1" << "1";
    QTest::newRow("separator in name") << "Sales | Service" << "h" << "1,2";
    QTest::newRow("percent followed by hex digits") << "100%25 %7C" << "h" << "1";
    QTest::newRow("edge blanks") << "  padded  " << " h" << "1 ";
    QTest::newRow("line breaks") << "two\nlines\r" << "h" << "1";
    QTest::newRow("code page characters") << QStringLiteral("Caf\u00e9 \u20ac5") << "h" << "1";
    QTest::newRow("hash at the start") << "#1 display" << "#host" << "1";
    QTest::newRow("backslashes") << "a\\b" << "\\\\.\\COM3" << "1";
}

void TestDisplayListFile::roundTrip()
{
    QFETCH(QString, name);
    QFETCH(QString, target);
    QFETCH(QString, addresses);
    DisplayRecord r;
    r.number = QStringLiteral("9");
    r.name = name;
    r.kind = 1;
    r.linkTarget = target;
    r.kind1Param = QStringLiteral("9600,N,8,1");
    r.kind3Param = QStringLiteral("10001");
    r.otherKindParam = QStringLiteral("555|1234");
    r.addressList = addresses;

    QString error;
    const auto back = DisplayListFile::parseLine(DisplayListFile::formatRecord(r), &error);
    QVERIFY2(back, qPrintable(error));
    QVERIFY(back->sameContent(r));

    // The whole file, with its header, reads back as the same list.
    DisplayRecord second = r;
    second.number = QStringLiteral("10");
    const auto contents = DisplayListFile::parse(DisplayListFile::format({r, second}));
    QVERIFY2(contents.errors.isEmpty(), qPrintable(contents.errorTexts().join(u'\n')));
    QCOMPARE(contents.records.size(), 2);
    QVERIFY(contents.records[0].sameContent(r));
    QVERIFY(contents.records[1].sameContent(second));
}

void TestDisplayListFile::readMissingFile()
{
    TestEnvironment env;
    const QString path = env.path(QStringLiteral("Displays.dat"));
    try {
        DisplayListFile::read(path);
        QFAIL("a missing file must raise");
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), int(RuntimeError::FileNotFound));
        QVERIFY2(e.description().contains(path), qPrintable(e.description()));
        QVERIFY(e.description().contains(QStringLiteral("not found")));
    }
}

void TestDisplayListFile::readFolder()
{
    TestEnvironment env;
    try {
        DisplayListFile::read(env.folder());
        QFAIL("a folder must raise");
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), int(RuntimeError::PathFileAccessError));
        QVERIFY2(e.description().contains(QStringLiteral("cannot be read")), qPrintable(e.description()));
    }
}

void TestDisplayListFile::readWindows1252()
{
    TestEnvironment env;
    const QString path = env.path(QStringLiteral("Displays.dat"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("1|Caf\xe9 \x80|3|h||1||1\r\n");
    file.close();
    const auto contents = DisplayListFile::read(path);
    QCOMPARE(contents.records.size(), 1);
    QCOMPARE(contents.records[0].name, QStringLiteral("Caf\u00e9 \u20ac"));
}

void TestDisplayListFile::writeThenRead()
{
    TestEnvironment env;
    const QString path = env.path(QStringLiteral("Displays.dat"));
    DisplayRecord a;
    a.number = QStringLiteral("1");
    a.name = QStringLiteral("Caf\u00e9 | Bar");
    a.kind = 3;
    a.linkTarget = QStringLiteral("127.0.0.1");
    a.kind3Param = QStringLiteral("47010");
    a.addressList = QStringLiteral("1,2");
    QString error;
    QVERIFY2(DisplayListFile::write(path, {a}, &error), qPrintable(error));

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QVERIFY2(bytes.contains("1|Caf\xe9 %7C Bar|3|127.0.0.1||47010||1,2"), bytes.constData());

    const auto contents = DisplayListFile::read(path);
    QCOMPARE(contents.records.size(), 1);
    QVERIFY(contents.records[0].sameContent(a));
}

QTEST_GUILESS_MAIN(TestDisplayListFile)
#include "tst_displaylistfile.moc"
