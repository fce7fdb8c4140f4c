// qmdvars as a script runs it: every command, the exit codes, and that a
// refused command line or input file leaves the variable file byte for byte as
// it was; update and audit against an emulated display.

#include "emulatorprocess.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTest>

#include <memory>

namespace {
struct Result {
    int code = -1;
    QString out;
    QString err;
};

QByteArray bytesOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}
} // namespace

class TstQmdvars final : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<TestEnvironment> m_env;
    QString m_vls;

    // The stores of the test's environment reach the tool through its environment.
    Result tool(const QStringList& args)
    {
        QProcess p;
        p.setWorkingDirectory(m_env->folder());
        p.start(QStringLiteral(QMDVARS_PATH), args);
        Result r;
        if (!p.waitForFinished(60000))
            return r;
        r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        r.out = QString::fromUtf8(p.readAllStandardOutput());
        r.err = QString::fromUtf8(p.readAllStandardError());
        return r;
    }

    void writeDisplays(quint16 port)
    {
        writeBytes(m_env->path(QStringLiteral("Displays.dat")),
                   QStringLiteral("1|Lobby|3|127.0.0.1||%1||1\n2|Hall|3|127.0.0.1||%1||5\n3|Gone|3|127.0.0.1||1||1\n")
                       .arg(port)
                       .toUtf8());
    }

private slots:
    void init()
    {
        m_env = std::make_unique<TestEnvironment>();
        m_vls = m_env->path(QStringLiteral("set.vls"));
        settings::write(settings::kVarFileLoc, m_vls);
        QCOMPARE(
            tool({QStringLiteral("set"), QStringLiteral("3"), QStringLiteral("--data"), QStringLiteral("three")}).code,
            0);
        writeDisplays(1);
        writeBytes(m_env->path(QStringLiteral("bad.vls")), "\"NotAVariableFile\"\r\n");
    }
    void cleanup() { m_env.reset(); }

    void refusedChangesNothing_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        auto row = [](const char* name, const QString& args, int code, const QString& message) {
            QTest::newRow(name) << args.split(u' ') << code << message;
        };
        row("unknown command", QStringLiteral("frob"), 2, QStringLiteral("unknown command"));
        row("unknown option", QStringLiteral("show --bogus"), 2, QStringLiteral("bogus"));
        row("malformed range", QStringLiteral("show 1-x"), 2, QStringLiteral("bad variable range"));
        row("range of nothing", QStringLiteral("show 417"), 2, QStringLiteral("names no variable"));
        row("two ranges", QStringLiteral("show 1 2"), 2, QStringLiteral("unexpected argument"));
        row("set number 0", QStringLiteral("set 0 --data x"), 2, QStringLiteral("unknown variable number"));
        row("set nothing", QStringLiteral("set 5"), 2, QStringLiteral("nothing to change"));
        row("set bad colour", QStringLiteral("set 5 --data x --color purple"), 2, QStringLiteral("unknown colour"));
        row("set bad blink", QStringLiteral("set 5 --blink maybe"), 2, QStringLiteral("yes or no"));
        row("cell length 59", QStringLiteral("set 257 --max-length 59"), 2, QStringLiteral("1 to 58"));
        row("link and unlink", QStringLiteral("set 5 --link a.xls!S!R1C1 --unlink"), 2,
            QStringLiteral("cannot go together"));
        row("bad encoding", QStringLiteral("import x.csv --encoding latin9"), 2, QStringLiteral("unknown encoding"));
        row("update without displays", QStringLiteral("update --vars 1"), 2, QStringLiteral("--displays is required"));
        row("update, unknown display", QStringLiteral("--displays-file Displays.dat update --displays 1,9 --vars 1"), 2,
            QStringLiteral("no display 9"));
        row("update, both modes",
            QStringLiteral("--displays-file Displays.dat update --displays 1 --vars 1 --data-only --attributes-only"),
            2, QStringLiteral("cannot go together"));
        row("update, no jobs", QStringLiteral("--displays-file Displays.dat update --displays 1 --vars 1 --jobs 0"), 2,
            QStringLiteral("--jobs"));
        row("audit, bad range", QStringLiteral("--displays-file Displays.dat audit --displays 1 --vars 5-x"), 2,
            QStringLiteral("bad variable range"));
        row("missing display list", QStringLiteral("--displays-file none.dat update --displays 1 --vars 1"), 3,
            QStringLiteral("cannot read the display list"));
        row("missing CSV file", QStringLiteral("import none.csv"), 3, QStringLiteral("cannot read"));
        row("missing --file", QStringLiteral("--file none.vls set 1 --data x"), 3, QStringLiteral("cannot read"));
        row("not a variable file", QStringLiteral("--file bad.vls show"), 3, QStringLiteral("not a variable file"));
    }
    void refusedChangesNothing()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, message);
        const QByteArray before = bytesOf(m_vls);
        QVERIFY(!before.isEmpty());
        const Result r = tool(args);
        QCOMPARE(r.code, code);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        if (code == 2)
            QVERIFY2(r.err.contains(QStringLiteral("--help")), qPrintable(r.err));
        QCOMPARE(bytesOf(m_vls), before);
    }

    // Reading another file must not let the engine's set replace a damaged current one.
    void damagedCurrentFileIsKept()
    {
        const QString other = m_env->path(QStringLiteral("other.vls"));
        writeBytes(other, bytesOf(m_vls));
        const QByteArray damaged = bytesOf(m_vls).left(500);
        writeBytes(m_vls, damaged);
        const Result r = tool({QStringLiteral("--file"), other, QStringLiteral("show"), QStringLiteral("3")});
        QCOMPARE(r.code, 3);
        QVERIFY2(r.err.contains(QStringLiteral("current variable file is damaged")), qPrintable(r.err));
        QCOMPARE(bytesOf(m_vls), damaged);
        QCOMPARE(tool({QStringLiteral("--file"), other, QStringLiteral("show"), QStringLiteral("--format"),
                       QStringLiteral("csv"), QStringLiteral("3")})
                     .out.section(u'\n', 1),
                 QStringLiteral("3,Text Var 3,three,red,no,no,250,\r\n"));
    }

    void helpListsExitCodes_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("mentions");
        QTest::newRow("tool") << QStringList{QStringLiteral("--help")} << QStringLiteral("audit --displays LIST");
        for (const char* command : {"show", "set", "export", "import", "update", "audit"})
            QTest::newRow(command) << QStringList{QString::fromLatin1(command), QStringLiteral("--help")}
                                   << QStringLiteral("qmdvars [--file F] [--displays-file F] %1").arg(command);
    }
    void helpListsExitCodes()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, mentions);
        const Result r = tool(args);
        QCOMPARE(r.code, 0);
        QVERIFY2(r.out.contains(mentions), qPrintable(r.out));
        QVERIFY(r.out.contains(QStringLiteral("3  a bad input file")));
    }

    void setThenShow_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("line");
        QTest::newRow("name and data") << "set 7 --name Temp --data 21°C"
                                       << "7\tTemp\tRed\tno\tno\t250\t21°C";
        QTest::newRow("cell, colour by number, cut to its length")
            << "set 257 --color 6 --inverse yes --max-length 3 --data 12345"
            << "257\tCell Var 1\tCyan\tno\tyes\t3\t123";
        QTest::newRow("colour by name, blink") << "set 3 --color MAGENTA --blink yes"
                                               << "3\tText Var 3\tMagenta\tyes\tno\t250\tthree";
    }
    void setThenShow()
    {
        QFETCH(QString, args);
        QFETCH(QString, line);
        QCOMPARE(tool(args.split(u' ')).code, 0);
        const QString number = line.section(u'\t', 0, 0);
        const Result r = tool({QStringLiteral("show"), number});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, line + u'\n');
    }

    void exportEditImport_data()
    {
        QTest::addColumn<QString>("encoding");
        QTest::newRow("utf-8") << "utf-8";
        QTest::newRow("windows-1252") << "windows-1252";
    }
    void exportEditImport()
    {
        QFETCH(QString, encoding);
        const QString csvPath = m_env->path(QStringLiteral("vars.csv"));
        QCOMPARE(tool({QStringLiteral("export"), csvPath, QStringLiteral("--encoding"), encoding}).code, 0);
        QByteArray bytes = bytesOf(csvPath);
        QCOMPARE(bytes.count("\r\n"), 417);
        QVERIFY(bytes.contains("\r\n3,Text Var 3,three,red,no,no,250,\r\n"));
        // Edit two rows; the others go back as they came.
        const QString edited = QStringLiteral("3,Café,\"a, \"\"b\"\"\",yellow,yes,yes,9,\r\n");
        bytes.replace("3,Text Var 3,three,red,no,no,250,\r\n",
                      encoding == u"utf-8" ? edited.toUtf8() : edited.toLatin1());
        bytes.replace("300,Cell Var 44,,red,no,no,58,", "300,Price,4.99,blue,no,no,58,Q:\\p.xls!Variables!R2C2");
        writeBytes(csvPath, bytes);
        const Result imported = tool({QStringLiteral("import"), csvPath, QStringLiteral("--encoding"), encoding});
        QCOMPARE(imported.code, 0);
        const Result shown = tool(
            {QStringLiteral("show"), QStringLiteral("2-3,300"), QStringLiteral("--format"), QStringLiteral("csv")});
        QCOMPARE(shown.code, 0);
        QCOMPARE(shown.out, QStringLiteral("number,name,data,color,blink,inverse,max_length,link\r\n"
                                           "2,Text Var 2,,red,no,no,250,\r\n")
                                + edited + QStringLiteral("300,Price,4.99,blue,no,no,58,Q:\\p.xls!Variables!R2C2\r\n"));
        QCOMPARE(tool({QStringLiteral("show"), QStringLiteral("3")}).out,
                 QStringLiteral("3\tCafé\tYellow\tyes\tyes\t9\ta, \"b\"\n"));
    }

    void badRowChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("row");
        QTest::addColumn<QString>("where");
        QTest::newRow("unknown number") << QByteArray("417,n,d,red,no,no,5,") << "line 3, field 1";
        QTest::newRow("bad colour") << QByteArray("7,n,d,purple,no,no,5,") << "line 3, field 4";
        QTest::newRow("length out of range") << QByteArray("7,n,d,red,no,no,251,") << "line 3, field 7";
        QTest::newRow("broken quoting") << QByteArray("7,n,\"d,red,no,no,5,") << "line 3, field 3";
    }
    void badRowChangesNothing()
    {
        QFETCH(QByteArray, row);
        QFETCH(QString, where);
        const QString csvPath = m_env->path(QStringLiteral("bad.csv"));
        // A good row first: it must not be applied either.
        writeBytes(csvPath, "number,name,data,color,blink,inverse,max_length,link\r\n"
                            "3,changed,changed,green,yes,yes,5,\r\n"
                                + row + "\r\n4,x,x,red,no,no,5,\r\n");
        const QByteArray before = bytesOf(m_vls);
        const Result r = tool({QStringLiteral("import"), csvPath});
        QCOMPARE(r.code, 3);
        QVERIFY2(r.err.contains(where), qPrintable(r.err));
        QCOMPARE(bytesOf(m_vls), before);
    }

    void updateAndCompare()
    {
        EmulatorProcess emulator(QStringLiteral(EMULATOR_PATH));
        QVERIFY2(emulator.start({QStringLiteral("--group"), QStringLiteral("5:1,0,b")}, 1, 10000),
                 qPrintable(emulator.error()));
        writeDisplays(emulator.tcpPort());
        const QStringList list{QStringLiteral("--displays-file"), m_env->path(QStringLiteral("Displays.dat"))};
        QCOMPARE(tool({QStringLiteral("set"), QStringLiteral("258"), QStringLiteral("--data"), QStringLiteral("cell"),
                       QStringLiteral("--color"), QStringLiteral("green")})
                     .code,
                 0);
        const QStringList vars{QStringLiteral("--vars"), QStringLiteral("1-3,258")};

        Result r = tool(
            list + QStringList{QStringLiteral("update"), QStringLiteral("--displays"), QStringLiteral("1-2")} + vars);
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("display 1: Updated\ndisplay 2: Updated\n"));
        const QStringList compare = list
                                    + QStringList{QStringLiteral("audit"), QStringLiteral("--displays"),
                                                  QStringLiteral("1-2")}
                                    + vars + QStringList{QStringLiteral("--compare")};
        r = tool(compare);
        QCOMPARE(r.out, QString());
        QCOMPARE(r.code, 0);

        // Another set updates unit 5 and 6 behind this one's back.
        const QString other = m_env->path(QStringLiteral("other.vls"));
        writeBytes(other, bytesOf(m_vls));
        QCOMPARE(
            tool({QStringLiteral("--file"), other, QStringLiteral("set"), QStringLiteral("3"), QStringLiteral("--data"),
                  QStringLiteral("THREE"), QStringLiteral("--inverse"), QStringLiteral("yes")})
                .code,
            0);
        QCOMPARE(
            tool(list
                 + QStringList{QStringLiteral("--file"), other, QStringLiteral("update"), QStringLiteral("--displays"),
                               QStringLiteral("2"), QStringLiteral("--vars"), QStringLiteral("3")})
                .code,
            0);
        r = tool(compare);
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out,
                 QStringLiteral("display 2 unit 5 Text Var 3: data \"THREE\" on the display, \"three\" in the set\n"
                                "display 2 unit 5 Text Var 3: inverse yes on the display, no in the set\n"
                                "display 2 unit 6 Text Var 3: data \"THREE\" on the display, \"three\" in the set\n"
                                "display 2 unit 6 Text Var 3: inverse yes on the display, no in the set\n"));

        // The plain report names every unit and what it holds.
        r = tool(list
                 + QStringList{QStringLiteral("audit"), QStringLiteral("--displays"), QStringLiteral("2"),
                               QStringLiteral("--vars"), QStringLiteral("258"), QStringLiteral("--rtf"),
                               m_env->path(QStringLiteral("audit.rtf"))});
        QCOMPARE(r.code, 0);
        QVERIFY2(r.out.contains(QStringLiteral("ID=5\n")) && r.out.contains(QStringLiteral("ID=6\n")),
                 qPrintable(r.out));
        QVERIFY2(r.out.contains(QStringLiteral("Cell Var 2\tNo\tNo\tGreen\t cell \n")), qPrintable(r.out));
        QVERIFY(bytesOf(m_env->path(QStringLiteral("audit.rtf"))).startsWith("{\\rtf1"));
    }

    void updateReportsEachDisplay_data()
    {
        QTest::addColumn<QString>("jobs");
        QTest::newRow("one at a time") << "1";
        QTest::newRow("three at once") << "3";
    }
    void updateReportsEachDisplay()
    {
        QFETCH(QString, jobs);
        EmulatorProcess emulator(QStringLiteral(EMULATOR_PATH));
        QVERIFY2(emulator.start({}, 1, 10000), qPrintable(emulator.error()));
        writeDisplays(emulator.tcpPort());
        const Result r = tool({QStringLiteral("--displays-file"), m_env->path(QStringLiteral("Displays.dat")),
                               QStringLiteral("update"), QStringLiteral("--displays"), QStringLiteral("-"),
                               QStringLiteral("--vars"), QStringLiteral("3"), QStringLiteral("--data-only"),
                               QStringLiteral("--retries"), QStringLiteral("1"), QStringLiteral("--retry-interval"),
                               QStringLiteral("0"), QStringLiteral("--jobs"), jobs});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out.section(u'\n', 0, 1), QStringLiteral("display 1: Updated\ndisplay 2: Updated"));
        QVERIFY2(r.out.section(u'\n', 2).startsWith(QStringLiteral("display 3: FAILED cannot connect")),
                 qPrintable(r.out));
        // Not a terminal: progress comes as plain lines, the retry among them.
        QVERIFY2(r.err.contains(QStringLiteral("display 3: sending, retry 1 of 1\n")), qPrintable(r.err));
    }

    // Several displays at once must not change what any one display receives.
    void eachDisplaysSequenceIsTheSameWithJobs()
    {
        EmulatorProcess emulator(QStringLiteral(EMULATOR_PATH));
        QVERIFY2(
            emulator.start({QStringLiteral("--trace"), QStringLiteral("--group"), QStringLiteral("5:1,0,b")}, 1, 10000),
            qPrintable(emulator.error()));
        QString list;
        for (const char* addresses : {"1", "5", "2,3", "9"})
            list += QStringLiteral("%1|S%1|3|127.0.0.1||%2||%3\n")
                        .arg(list.count(u'\n') + 1)
                        .arg(emulator.tcpPort())
                        .arg(QLatin1String(addresses));
        writeBytes(m_env->path(QStringLiteral("Displays.dat")), list.toUtf8());
        QStringList sequences[2];
        int closed = 0;
        for (int run = 0; run < 2; ++run) {
            const Result r = tool({QStringLiteral("--displays-file"), m_env->path(QStringLiteral("Displays.dat")),
                                   QStringLiteral("update"), QStringLiteral("--displays"), QStringLiteral("-"),
                                   QStringLiteral("--vars"), QStringLiteral("1-40,257-300"), QStringLiteral("--jobs"),
                                   run == 0 ? QStringLiteral("1") : QStringLiteral("4")});
            QCOMPARE(r.code, 0);
            closed += 4;
            QTRY_COMPARE(emulator.log().filter(QStringLiteral("CLOSED ")).size(), closed);
            // Each connection's frames, without the client's port.
            QMap<QString, QStringList> byLink;
            for (const QString& line : emulator.log().filter(QStringLiteral("FRAME tcp ")))
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
