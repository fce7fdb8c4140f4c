// The "Displays.dat" reader and writer (single lines, whole files, escapes, the
// round trip through a file) and the display-list object over it: where the
// file is looked for, finding displays by number and by name, the current
// record (read late-bound, as the plug-in reads it), and reading the file again
// on every open.

#include "datarow.h"
#include "DisplayList.h"
#include "displaylistfile.h"
#include "latebound.h"
#include "settingsstore.h"
#include "testenvironment.h"

namespace {
const QByteArray kList = "1|Lobby|3|127.0.0.1||47010||1\n"
                         "2|Dock|1|/dev/ttyUSB0|9600,N,8,1|||1,2\n"
                         "3|12|2|/dev/ttyS1|||5551234|4\n"
                         "12|Twelve|4|/dev/ttyS2|||777|5\n"
                         "20|dock|3|h2||10001||9\n";
const QString kFile = QStringLiteral("Displays.dat");
} // namespace

class TestDisplayList final : public QObject {
    Q_OBJECT
private slots:
    void parseLine_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("fields"); // the record's eight fields joined by ";"; "" = skipped or refused
        QTest::addColumn<QString>("error");  // part of the error text
        auto row = [](const char* tag, const char* line, const QString& fields, const char* error = "") {
            addRow(tag, line, fields, error);
        };
        row("serial, commas intact", "2|Dock|1|/dev/ttyUSB0|9600,N,8,1|||1,2",
            "2;Dock;1;/dev/ttyUSB0;9600,N,8,1;;;1,2");
        row("blanks around fields", " 7 | Name  Blanks | 3 | host | | 10001 | | 1 ", "7;Name  Blanks;3;host;;10001;;1");
        row("leading zeros dropped", "007|Seven|3|h||1||7", "7;Seven;3;h;;1;;7");
        row("escapes, lower-case hex", "8|Sales %7c 100%25|3|h||1||1", "8;Sales | 100%;3;h;;1;;1");
        row("lone percent kept", "10|100% sure %4|3|h||1||1", "10;100% sure %4;3;h;;1;;1");
        row("CR at the end, addresses not checked", "32767|Max|3|h||1||abc\r", "32767;Max;3;h;;1;;abc");
        row("blank", "   \t ", "");
        row("indented comment", "   # 1|Lobby|3|h||1||1", "");
        row("too few fields", "1|Lobby|3", "", "expected 8 fields separated by \"|\", found 3");
        row("unescaped separator", "1|Sales | Service|3|h||1||1", "", "found 9");
        row("number not a number", "x|A|3|h||1||1", "", "display number \"x\" is not a whole number from 1 to 32767");
        row("number zero", "0|A|3|h||1||1", "", "display number \"0\"");
        row("number beyond 16 bits", "32768|A|3|h||1||1", "", "display number \"32768\"");
        row("name only an escaped blank", "4|%20|3|h||1||1", "", "display 4 has no name");
        row("kind not a number", "1|A|tcp|h||1||1", "", "connection kind \"tcp\" is not a number");
        row("kind beyond 16 bits", "1|A|70000|h||1||1", "",
            "connection kind \"70000\" is out of range (-32768 to 32767)");
        row("kind 99999", "1|A|99999|h||1||1", "", "connection kind \"99999\" is out of range");
        row("kind beyond 64 bits", "1|A|-99999999999999999999|h||1||1", "",
            "connection kind \"-99999999999999999999\" is out");
        row("kind with a fraction", "1|A|3.5|h||1||1", "", "connection kind \"3.5\" is not a number");
        row("kind at the lowest", "1|A|-32768|h||1||1", "1;A;-32768;h;;1;;1");
    }
    void parseLine()
    {
        QFETCH(QString, line);
        QFETCH(QString, fields);
        QFETCH(QString, error);
        QString actualError = QStringLiteral("untouched");
        const auto r = DisplayListFile::parseLine(line, &actualError);
        QVERIFY2(actualError.contains(error) && actualError.isEmpty() == error.isEmpty(), qPrintable(actualError));
        QCOMPARE(bool(r), !fields.isEmpty());
        if (r)
            QCOMPARE(QStringList({r->number, r->name, QString::number(r->kind), r->linkTarget, r->kind1Param,
                                  r->kind3Param, r->otherKindParam, r->addressList})
                         .join(u';'),
                     fields);
    }
    void parseFile_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("records"); // "number@line"
        QTest::addColumn<QStringList>("errors");
        addRow("comments, blank lines, CR LF, no end", "# header\r\n\r\n1|A|3|h||1||1\r\n  \n2|B|3|h||1||1",
               QStringList{"1@3", "2@5"}, QStringList{});
        addRow("CR alone after a comment", "# header\r1|A|3|h||1||1\r\r2|B|3|h||1||1\r", QStringList{"1@2", "2@4"},
               QStringList{});
        addRow("CR alone, LF alone and CR LF mixed", "1|A|3|h||1||1\r2|B|x|h||1||1\n3|C|3|h||1||1\r\n4|D|3|h||1||1",
               QStringList{"1@1", "3@3", "4@4"}, QStringList{"line 2: connection kind \"x\" is not a number"});
        addRow("malformed and duplicate lines, the rest loads",
               "x|A|3|h||1||1\n1|B|3\n2|C|3|h||1||1\n# c\n002|D|3|h||1||1\n3|E|3|h||1||1", QStringList{"2@3", "3@6"},
               QStringList{"line 1: display number \"x\" is not a whole number from 1 to 32767",
                           "line 2: expected 8 fields separated by \"|\", found 3",
                           "line 5: display number 2 is already used on line 3"});
    }
    void parseFile()
    {
        QFETCH(QString, text);
        const auto contents = DisplayListFile::parse(text);
        QStringList records;
        for (const auto& r : contents.records)
            records << r.number + u'@' + QString::number(r.line);
        QTEST(records, "records");
        QTEST(contents.errorTexts(), "errors");
    }
    void writeThenRead()
    {
        TestEnvironment env;
        const QString path = env.path(QStringLiteral("Displays.dat"));
        QList<DisplayRecord> written;
        // Every field a reader would trim, split or unescape comes back as written.
        for (const QString& text :
             {QStringLiteral("Caf\u00e9 \u20ac | Bar"), QStringLiteral("100%25 %7C"), QStringLiteral("  edge  "),
              QStringLiteral("two\nlines\r"), QStringLiteral("#1 \\x")})
            written << DisplayRecord{
                QString::number(written.size() + 1), text, 1, text, "9600,N,8,1", "1", "5|1", text};
        QString error;
        QVERIFY2(DisplayListFile::write(path, written, &error), qPrintable(error));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll(); // in the code page, separator escaped
        QVERIFY2(bytes.contains("\n1|Caf\xe9 \x80 %7C Bar|1|"), bytes.constData());
        const auto contents = DisplayListFile::read(path);
        QCOMPARE(contents.errorTexts(), QStringList());
        QCOMPARE(contents.records.size(), written.size());
        for (int i = 0; i < written.size(); ++i)
            QVERIFY2(contents.records[i].sameContent(written[i]), qPrintable(written[i].name));
    }
    void readFile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("records"); // "number name" joined by ";"
        QTest::addColumn<QString>("error");   // what reading raises
        const QByteArray mark = "\xEF\xBB\xBF";
        const QByteArray line = "1|Caf\xC3\xA9|3|h||1||1\n";
        addRow("UTF-8 mark, then a display", mark + line, "1 Caf\u00e9", "");
        addRow("UTF-8 mark, then a comment", mark + "# list\r" + line, "1 Caf\u00e9", "");
        addRow("no mark: Windows-1252", QByteArray("1|Caf\xE9|3|h||1||1"), "1 Caf\u00e9", "");
        const qint64 limit = DisplayListFile::kMaxFileBytes;
        QByteArray atLimit = "# " + QByteArray(limit - 3 - line.size(), 'x') + '\n' + line;
        QCOMPARE(atLimit.size(), limit);
        addRow("at the size limit", atLimit.replace("Caf\xC3\xA9", "Cafe "), "1 Cafe", "");
        addRow("over the size limit", QByteArray(limit + 1, '#'), "",
               "larger than 4 MiB; a display list is far smaller, so this is not one");
    }
    void readFile()
    {
        QFETCH(QByteArray, bytes);
        TestEnvironment env;
        const QString path = env.path(kFile);
        writeFile(path, bytes);
        QStringList records;
        const RuntimeError e = errorOf([&] {
            for (const DisplayRecord& r : DisplayListFile::read(path).records)
                records << r.number + u' ' + r.name;
        });
        QTEST(records.join(u';'), "records");
        QFETCH(QString, error);
        if (error.isEmpty()) {
            QCOMPARE(e.number(), 0);
        } else {
            QCOMPARE(e.number(), int(RuntimeError::PathFileAccessError));
            QCOMPARE(e.description(), QStringLiteral("Display list file cannot be read: %1 (%2)").arg(path, error));
        }
    }
    void resolve_data()
    {
        QTest::addColumn<QString>("appPath"); // "" = not set: the library's folder
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("expected"); // "@" = the test's folder
        addRow("bare name, no AppPath", "", "Displays.dat", "@/Displays.dat");
        addRow("relative with backslashes", "/opt/lumarex\\", "lists\\D.dat", "/opt/lumarex/lists/D.dat");
        addRow("absolute with backslashes", "/opt/lumarex", "\\srv\\x\\D.dat", "/srv/x/D.dat");
        addRow("drive letter is absolute", "/opt/lumarex", "C:\\x\\..\\D.dat", "C:/D.dat");
    }
    void resolve()
    {
        TestEnvironment env;
        QFETCH(QString, appPath);
        QFETCH(QString, fileName);
        QFETCH(QString, expected);
        if (!appPath.isEmpty())
            settings::write(settings::kAppPath, appPath);
        QCOMPARE(DisplayList::resolve(fileName), QDir::toNativeSeparators(expected.replace(u'@', env.folder())));
    }
    void find_data()
    {
        QTest::addColumn<bool>("byName");
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("position"); // 0 = not found
        addRow("number with leading zero and blanks", false, " 02 ", 2);
        addRow("number before a name that looks like it", false, "12", 4);
        addRow("name ignoring case when no number matches", false, "DOCK", 2);
        addRow("by name ignores case, first wins", true, "dock", 2);
        addRow("by name before a number", true, "12", 3);
        addRow("by name falls back to the number", true, "20", 5);
        addRow("number not there", false, "99", 0);
        addRow("a part of a name", true, "Lob", 0);
    }
    void find()
    {
        TestEnvironment env;
        writeFile(env.path(kFile), kList);
        QFETCH(bool, byName);
        QFETCH(QString, query);
        QFETCH(int, position);
        DisplayList list;
        list.setListFile(kFile);
        list.setCurrentRecord(3);
        short found = 0;
        const RuntimeError e = errorOf(
            [&] { found = byName ? list.FindDisplayByName(query) : list.FindDisplay(query); });
        QCOMPARE(int(found), position);
        QCOMPARE(int(list.CurrentRecord()), position ? position : 3); // a failed search leaves the current record
        if (!position) {
            QCOMPARE(e.number(), int(RuntimeError::SubscriptOutOfRange));
            QCOMPARE(e.description(),
                     QStringLiteral("Display \"%1\" is not in the display list %2").arg(query, list.ResolvedPath()));
        }
    }
    void currentRecord()
    {
        TestEnvironment env;
        writeFile(env.path(kFile), kList);
        DisplayList list;
        QVERIFY(qobject_cast<disptrans::IDisplayList*>(&list));
        latebound::setProperty(&list, "ListFile", kFile);
        QCOMPARE(int(list.CurrentRecord()), 1);
        for (short outside : {0, 6})
            QCOMPARE(errorOf([&] { list.setCurrentRecord(outside); }).number(), int(RuntimeError::SubscriptOutOfRange));
        latebound::setProperty(&list, "CurrentRecord", latebound::callMethod(&list, "FindDisplay", QVariantList{"2"}));
        QStringList fields;
        for (const char* name : {"DisplayNumber", "DisplayName", "ConnectionKind", "LinkTarget", "Kind1Param",
                                 "Kind3Param", "OtherKindParam", "AddressList"})
            fields << latebound::getProperty(&list, name).toString();
        QCOMPARE(fields.join(u';'), QStringLiteral("2;Dock;1;/dev/ttyUSB0;9600,N,8,1;;;1,2"));
    }
    void readAgainOnEveryOpen()
    {
        TestEnvironment env;
        const QString path = env.path(kFile);
        writeFile(path, "1|Lobby|3|h||1||1\n");
        DisplayList list;
        list.setListFile(kFile);
        // Changed between two opens, within the same second and at the same size.
        writeFile(path, "2|Lobby|1|h||1||1\n");
        list.setListFile(kFile);
        QCOMPARE(int(list.FindDisplay(QStringLiteral("2"))), 1);
        QCOMPARE(int(list.ConnectionKind()), 1);

        writeFile(path, "# nothing yet\n");
        list.setListFile(kFile);
        QCOMPARE(int(list.RecordCount()), 0);
        RuntimeError e = errorOf([&] { latebound::getProperty(&list, "DisplayName"); });
        QCOMPARE(e.number(), int(RuntimeError::SubscriptOutOfRange));
        QVERIFY2(e.description().contains(QStringLiteral("No current display record")), qPrintable(e.description()));

        // Removed: the open and every later use report it, not a stale list.
        QVERIFY(QFile::remove(path));
        e = errorOf([&] { list.setListFile(kFile); });
        QCOMPARE(e.number(), int(RuntimeError::FileNotFound));
        QCOMPARE(e.description(), QStringLiteral("Display list file not found: ") + QDir::toNativeSeparators(path));
        QCOMPARE(errorOf([&] { list.FindDisplay(QStringLiteral("2")); }).number(), int(RuntimeError::FileNotFound));
        QCOMPARE(errorOf([&] { list.RecordCount(); }).number(), int(RuntimeError::FileNotFound));
        QVERIFY(QDir().mkdir(path)); // a folder of that name
        e = errorOf([&] { list.setListFile(kFile); });
        QCOMPARE(e.number(), int(RuntimeError::PathFileAccessError));
        QCOMPARE(e.description(), QStringLiteral("Display list file cannot be read: %1 (it is a folder)")
                                      .arg(QDir::toNativeSeparators(path)));
    }
};

QTEST_GUILESS_MAIN(TestDisplayList)
#include "tst_displaylist.moc"
