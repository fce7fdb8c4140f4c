// qmdvars as a script runs it: every command, the exit codes, and that a
// refused command line or input file leaves the variable file byte for byte as
// it was; update and audit against an emulated display.

#include "datarow.h"
#include "loopbackrig.h"
#include "settingsstore.h"

#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>

#include <optional>

using namespace Qt::StringLiterals;

class TstQmdvars final : public QObject {
    Q_OBJECT
    std::optional<LoopbackRig> m_rig;
    QString m_vls;

    // The stores of the test's environment reach the tool through its environment.
    ProgramRun tool(const QStringList& args)
    {
        return runProgram(QStringLiteral(QMDVARS_PATH), args, m_rig->env.folder());
    }
    ProgramRun tool(const QString& line) { return tool(words(line)); }
    QString path(const QString& name) const { return m_rig->path(name); }
    // Displays 1 and 2 on `port` (units 1 and 5), display 3 where nobody listens.
    void listDisplays(quint16 port) { QVERIFY(m_rig->list({{"Lobby", port}, {"Hall", port, "5"}, {"Gone", 1}})); }
    EmulatorProcess* display(const QString& args = {})
    {
        EmulatorProcess* e = m_rig->start(words(args));
        if (e)
            listDisplays(e->tcpPort());
        return e;
    }

private slots:
    void init()
    {
        m_rig.emplace(0);
        m_vls = path(u"set.vls"_s);
        settings::write(settings::kVarFileLoc, m_vls);
        QCOMPARE(tool(u"set 3 --data three"_s).code, 0);
        listDisplays(1);
        writeFile(path(u"bad.vls"_s), "\"NotAVariableFile\"\r\n");
    }
    void cleanup() { m_rig.reset(); }

    void refusedChangesNothing_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        addRow("unknown command", "frob", 2, "unknown command");
        addRow("unknown option", "show --bogus", 2, "bogus");
        addRow("malformed range", "show 1-x", 2, "bad variable range");
        addRow("range of nothing", "show 417", 2, "names no variable");
        addRow("two ranges", "show 1 2", 2, "unexpected argument");
        addRow("set number 0", "set 0 --data x", 2, "unknown variable number");
        addRow("set nothing", "set 5", 2, "nothing to change");
        addRow("set bad colour", "set 5 --data x --color purple", 2, "unknown colour");
        addRow("set bad blink", "set 5 --blink maybe", 2, "yes or no");
        addRow("cell length 59", "set 257 --max-length 59", 2, "1 to 58");
        addRow("link and unlink", "set 5 --link a.xls!S!R1C1 --unlink", 2, "cannot go together");
        addRow("bad encoding", "import x.csv --encoding latin9", 2, "unknown encoding");
        addRow("update without displays", "update --vars 1", 2, "--displays is required");
        addRow("update, unknown display", "--displays-file Displays.dat update --displays 1,9 --vars 1", 2,
               "no display 9");
        addRow("update, both modes",
               "--displays-file Displays.dat update --displays 1 --vars 1 --data-only --attributes-only", 2,
               "cannot go together");
        addRow("update, no jobs", "--displays-file Displays.dat update --displays 1 --vars 1 --jobs 0", 2, "--jobs");
        addRow("audit, bad range", "--displays-file Displays.dat audit --displays 1 --vars 5-x", 2,
               "bad variable range");
        addRow("watch, site without a broker", "watch --displays 1 --site north", 2, "--site needs --publish");
        addRow("watch, not a broker", "watch --displays 1 --publish http://bus/signs", 2, "bad --publish");
        addRow("watch, keepalive 4", "watch --displays 1 --publish mqtt://bus/s --keepalive 4", 2, "from 5 to 3600");
        addRow("missing display list", "--displays-file none.dat update --displays 1 --vars 1", 3,
               "cannot read the display list");
        addRow("missing CSV file", "import none.csv", 3, "cannot read");
        addRow("missing --file", "--file none.vls show", 3, "no such file");
        addRow("display list with a bad line", "--displays-file badlist.dat update --displays 1 --vars 1", 3,
               "lines that are not displays: line 2");
        addRow("not a variable file", "--file bad.vls show", 3, "not a variable file");
        // A bad row after a good one: neither is applied.
        addRow("bad CSV row", "import rows.csv", 3, "line 3, field 4");
    }
    void refusedChangesNothing()
    {
        QFETCH(QString, args);
        QFETCH(int, code);
        QFETCH(QString, message);
        writeFile(path(u"badlist.dat"_s), "1|Lobby|3|127.0.0.1||1||1\nnot a display\n");
        writeFile(path(u"rows.csv"_s), "number,name,data,color,blink,inverse,max_length,link\r\n"
                                       "3,changed,changed,green,yes,yes,5,\r\n7,n,d,purple,no,no,5,\r\n");
        const QByteArray before = readFile(m_vls);
        QVERIFY(before.startsWith("\"QMD"));
        const ProgramRun r = tool(args);
        QCOMPARE(r.code, code);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        if (code == 2)
            QVERIFY2(r.err.contains(u"--help"_s), qPrintable(r.err));
        QCOMPARE(readFile(m_vls), before);
    }

    // A command that reads writes nothing: not a damaged current file, not the
    // settings' folder, not a history. One that writes a missing file makes it.
    void readsWriteNothingWritesMakeFiles()
    {
        const QString other = path(u"other.vls"_s);
        writeFile(other, readFile(m_vls));
        const QByteArray damaged = readFile(m_vls).left(500);
        writeFile(m_vls, damaged);
        QCOMPARE(tool(QStringList{u"--file"_s, other} + words(u"show --format csv 3"_s)).out.section(u'\n', 1),
                 u"3,Text Var 3,three,red,no,no,250,\r\n"_s);
        QCOMPARE(readFile(m_vls), damaged);
        const QByteArray store = qgetenv("ZOL_MACHINE_STORE");
        qputenv("ZOL_MACHINE_STORE", path(u"nowhere/machine.ini"_s).toLocal8Bit());
        const ProgramRun shown = tool(u"show 1"_s), listed = tool(u"history"_s);
        qputenv("ZOL_MACHINE_STORE", store);
        QCOMPARE(shown.code + listed.code, 0);
        QVERIFY(!QFileInfo::exists(path(u"nowhere"_s)));

        ProgramRun r = tool(u"--file new.vls set 2 --data made"_s);
        QCOMPARE(r.code, 0);
        QVERIFY2(r.err.contains(u"did not exist: made it from the default set"_s), qPrintable(r.err));
        QCOMPARE(tool(u"--file new.vls show --format csv 2"_s).out.section(u'\n', 1),
                 u"2,Text Var 2,made,red,no,no,250,\r\n"_s);
        r = tool(QStringList{u"--file"_s, other, u"set"_s, u"5"_s, u"--link"_s, path(u"gone.csv"_s) + u"!gone!R1C2"_s});
        QCOMPARE(r.code, 0);
        QVERIFY2(r.err.contains(u"cannot be read now: no such file: "_s), qPrintable(r.err));
        QVERIFY(readFile(other).contains("gone.csv"));
    }

    // An unreachable display: the audit gives the connection's reason and no
    // unit block; a retry says how long it waits and until when.
    void unreachableDisplaySaysWhy()
    {
        const QString list = u"--displays-file "_s + path(u"Displays.dat"_s);
        ProgramRun r = tool(list + u" audit --displays 3 --vars 1"_s);
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.contains(u"Cannot reach the display: cannot connect"_s) && !r.out.contains(u"ID="_s),
                 qPrintable(r.out));
        r = tool(list + u" update --displays 3 --vars 1 --retries 1 --retry-interval 1"_s);
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.contains(QRegularExpression(u"display 3: FAILED cannot connect.*; next try in 1 s, at "
                                                   "\\d\\d:\\d\\d:\\d\\d\n"_s)),
                 qPrintable(r.err));
    }

    // Commands that succeed, and the output a script sees: `then`'s is `expected`;
    // without `then` the command's own holds each piece of `expected` (split at "|").
    void succeeds_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("then");
        QTest::addColumn<QString>("expected");
        const char* exitCodes = "|3  a bad input file";
        addRow("help", "--help", "", u"audit --displays LIST"_s + exitCodes);
        for (const char* command : {"show", "set", "export", "import", "update", "audit"})
            addRow(command, QString::fromLatin1(command) + u" --help"_s, "",
                   u"qmdvars [--file F] [--displays-file F] %1"_s.arg(QLatin1String(command)) + exitCodes);
        addRow("name and data", "set 7 --name Temp --data 21°C", "show 7", "7\tTemp\tRed\tno\tno\t250\t21°C\n");
        addRow("cell, colour by number, cut to its length",
               "set 257 --color 6 --inverse yes --max-length 3 --data 12345", "show 257",
               "257\tCell Var 1\tCyan\tno\tyes\t3\t123\n");
        addRow("colour by name, blink", "set 3 --color MAGENTA --blink yes", "show 3",
               "3\tText Var 3\tMagenta\tyes\tno\t250\tthree\n");
    }
    void succeeds()
    {
        QFETCH(QString, args);
        QFETCH(QString, then);
        QFETCH(QString, expected);
        ProgramRun r = tool(args);
        QCOMPARE(r.code, 0);
        if (!then.isEmpty()) {
            QCOMPARE((r = tool(then)).code, 0);
            QCOMPARE(r.out, expected);
        }
        for (const QString& piece : expected.split(u'|'))
            QVERIFY2(r.out.contains(piece), qPrintable(r.out));
    }

    void exportEditImport_data()
    {
        QTest::addColumn<QString>("encoding");
        addRow("utf-8", "utf-8");
        addRow("windows-1252", "windows-1252");
    }
    void exportEditImport()
    {
        QFETCH(QString, encoding);
        const QString csvPath = path(u"vars.csv"_s);
        QCOMPARE(tool(QStringList{u"export"_s, csvPath, u"--encoding"_s, encoding}).code, 0);
        QByteArray bytes = readFile(csvPath);
        QCOMPARE(bytes.count("\r\n"), 417);
        QVERIFY(bytes.contains("\r\n3,Text Var 3,three,red,no,no,250,\r\n"));
        // Edit two rows; the others go back as they came.
        const QString edited = u"3,Café,\"a, \"\"b\"\"\",yellow,yes,yes,9,\r\n"_s;
        bytes.replace("3,Text Var 3,three,red,no,no,250,\r\n",
                      encoding == u"utf-8" ? edited.toUtf8() : edited.toLatin1());
        bytes.replace("300,Cell Var 44,,red,no,no,58,", "300,Price,4.99,blue,no,no,58,Q:\\p.xls!Variables!R2C2");
        writeFile(csvPath, bytes);
        QCOMPARE(tool(QStringList{u"import"_s, csvPath, u"--encoding"_s, encoding}).code, 0);
        const ProgramRun shown = tool(u"show 2-3,300 --format csv"_s);
        QCOMPARE(shown.code, 0);
        QCOMPARE(shown.out,
                 u"number,name,data,color,blink,inverse,max_length,link\r\n2,Text Var 2,,red,no,no,250,\r\n"_s + edited
                     + u"300,Price,4.99,blue,no,no,58,Q:\\p.xls!Variables!R2C2\r\n"_s);
        QCOMPARE(tool(u"show 3"_s).out, u"3\tCafé\tYellow\tyes\tyes\t9\ta, \"b\"\n"_s);
    }

    void updateAndCompare()
    {
        QVERIFY(display(u"--group 5:1,0,b"_s));
        const QString list = u"--displays-file "_s + path(u"Displays.dat"_s);
        QCOMPARE(tool(u"set 258 --data cell --color green"_s).code, 0);
        ProgramRun r = tool(list + u" update --displays 1-2 --vars 1-3,258"_s);
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, u"display 1: Updated\ndisplay 2: Updated\n"_s);
        const QString compare = list + u" audit --displays 1-2 --vars 1-3,258 --compare"_s;
        r = tool(compare);
        QCOMPARE(r.out, QString());
        QCOMPARE(r.code, 0);

        // Another set updates unit 5 and 6 behind this one's back.
        const QString other = u" --file "_s + path(u"other.vls"_s);
        writeFile(path(u"other.vls"_s), readFile(m_vls));
        QCOMPARE(tool(other + u" set 3 --data THREE --inverse yes"_s).code, 0);
        QCOMPARE(tool(list + other + u" update --displays 2 --vars 3"_s).code, 0);
        r = tool(compare);
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out, u"display 2 unit 5 Text Var 3: data \"THREE\" on the display, \"three\" in the set\n"
                        "display 2 unit 5 Text Var 3: inverse yes on the display, no in the set\n"
                        "display 2 unit 6 Text Var 3: data \"THREE\" on the display, \"three\" in the set\n"
                        "display 2 unit 6 Text Var 3: inverse yes on the display, no in the set\n"_s);

        // The plain report names every unit and what it holds.
        r = tool(list + u" audit --displays 2 --vars 258 --rtf "_s + path(u"audit.rtf"_s));
        QCOMPARE(r.code, 0);
        QVERIFY2(r.out.contains(u"ID=5\n"_s) && r.out.contains(u"ID=6\n"_s), qPrintable(r.out));
        QVERIFY2(r.out.contains(u"Cell Var 2\tNo\tNo\tGreen\t cell \n"_s), qPrintable(r.out));
        QVERIFY(readFile(path(u"audit.rtf"_s)).startsWith("{\\rtf1"));
    }

    void updateReportsEachDisplay_data()
    {
        QTest::addColumn<QString>("jobs");
        addRow("one at a time", "1");
        addRow("three at once", "3");
    }
    void updateReportsEachDisplay()
    {
        QFETCH(QString, jobs);
        QVERIFY(display());
        const ProgramRun r = tool(
            u"--displays-file "_s + path(u"Displays.dat"_s)
            + u" update --displays - --vars 3 --data-only --retries 1 --retry-interval 0 --jobs "_s + jobs);
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out.section(u'\n', 0, 1), u"display 1: Updated\ndisplay 2: Updated"_s);
        QVERIFY2(r.out.section(u'\n', 2).startsWith(u"display 3: FAILED cannot connect"_s), qPrintable(r.out));
        // Not a terminal: progress comes as plain lines, the retry among them.
        QVERIFY2(r.err.contains(u"display 3: sending, retry 1 of 1\n"_s), qPrintable(r.err));
    }

    // Several displays at once must not change what any one display receives.
    void eachDisplaysSequenceIsTheSameWithJobs()
    {
        EmulatorProcess* emulator = m_rig->start(words(u"--trace --group 5:1,0,b"_s));
        QVERIFY(emulator);
        QList<LoopbackDisplay> list;
        for (const char* addresses : {"1", "5", "2,3", "9"})
            list.append({u"S%1"_s.arg(list.size() + 1), emulator->tcpPort(), QLatin1String(addresses)});
        QVERIFY(m_rig->list(list));
        QStringList sequences[2];
        int closed = 0;
        for (int run = 0; run < 2; ++run) {
            const ProgramRun r = tool(u"--displays-file "_s + path(u"Displays.dat"_s)
                                      + u" update --displays - --vars 1-40,257-300 --jobs "_s
                                      + (run ? u"4"_s : u"1"_s));
            QVERIFY2(r.code == 0, qPrintable(r.out + r.err));
            closed += 4;
            QTRY_COMPARE(emulator->log().filter(u"CLOSED "_s).size(), closed);
            // Each connection's frames, without the client's port.
            QMap<QString, QStringList> byLink;
            for (const QString& line : emulator->log().filter(u"FRAME tcp "_s))
                byLink[line.section(u' ', 2, 2)].append(line.section(u' ', 3));
            for (const QStringList& frames : std::as_const(byLink))
                sequences[run].append(frames.join(u'/'));
            for (const QString& earlier : std::as_const(sequences[0]))
                if (run == 1)
                    sequences[1].removeOne(earlier); // the log holds both runs
        }
        sequences[0].sort();
        sequences[1].sort();
        QCOMPARE(sequences[0].size(), 4);
        QCOMPARE(sequences[1], sequences[0]);
    }
};

QTEST_GUILESS_MAIN(TstQmdvars)
#include "tst_qmdvars.moc"
