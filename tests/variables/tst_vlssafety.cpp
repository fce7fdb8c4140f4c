// What a save keeps of the file it replaces: one generation of "<name>.vls.bak",
// a dated copy of a file that did not read completely, nothing when no byte
// changes; and files whose lines end in LF or CR alone.

#include "datarow.h"
#include "clock.h"
#include "clsVariableAccess.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "variablefile.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QByteArray kHeader = "\"QMDVariableFileZOL1.1\"\r\n";

// A fresh set whose variable 1 holds `data`, as the file holds it.
QByteArray fileHolding(const QString& data)
{
    vls::RecordSet records;
    for (int n = 1; n <= 416; ++n) {
        const clsVariableAccess::Record r{
            clsVariableAccess::defaultName(n),     u"1"_s, u"2"_s, u"2"_s, n == 1 ? data : QString(), {},
            clsVariableAccess::defaultMaxLength(n)};
        records[n - 1] = r;
    }
    return VariableFile::encode(records);
}

// The first `count` record lines of a complete file.
QByteArray cutAfter(int count)
{
    const QByteArray whole = fileHolding(u"x"_s);
    qsizetype at = 0;
    for (int i = 0; i <= count; ++i)
        at = whole.indexOf('\n', at) + 1;
    return whole.left(at);
}

QStringList entries(const QString& folder) { return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name); }

// Saves a set whose variable 1 holds `data` to `path`, as the plug-in does.
void saveSet(const QString& path, const QString& data)
{
    settings::write(settings::kVarFileLoc, path);
    clsVariableAccess set;
    set.setVariableData(1, data);
} // the set saves itself as it goes
} // namespace

class tst_VlsSafety final : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { Clock::reset(); }

    void backupKeepsOneGeneration()
    {
        TestEnvironment env;
        ScriptedMessageBox box;
        const QString vls = env.path(u"show.vls"_s), bak = vls + u".bak"_s;
        saveSet(vls, u"first"_s);
        QVERIFY(!QFileInfo::exists(bak)); // nothing was replaced
        saveSet(vls, u"second"_s);
        QCOMPARE(readFile(bak), fileHolding(u"first"_s));
        const QDateTime bakTime = QFileInfo(bak).lastModified();
        saveSet(vls, u"second"_s); // the same bytes: nothing rotates
        QCOMPARE(readFile(bak), fileHolding(u"first"_s));
        QCOMPARE(QFileInfo(bak).lastModified(), bakTime);
        saveSet(vls, u"third"_s);
        QCOMPARE(readFile(bak), fileHolding(u"second"_s));
        QCOMPARE(readFile(vls), fileHolding(u"third"_s));
        QCOMPARE(entries(env.folder()), (QStringList{u"machine.ini"_s, u"show.vls"_s, u"show.vls.bak"_s}));
    }

    void damagedFileKeptBeforeOverwrite_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("problem"); // why the warning says it did not read; "" = it did
        const QByteArray whole = fileHolding(u"x"_s);
        addRow("wrong header", QByteArray(whole).replace("ZOL1.1", "ZOL1.0"),
               u"its first line is not \"QMDVariableFileZOL1.1\""_s);
        addRow("binary junk", QByteArray("\x00\xff\x13\"\x80\r\x01\x02junk\n\x7f", 14),
               u"line 1 has no pair of double quotes"_s);
        addRow("line without quotes", cutAfter(100) + "no quotes here\r\n" + whole.mid(cutAfter(100).size()),
               u"line 102 has no pair of double quotes"_s);
        addRow("200 records", cutAfter(200), u"it ends after 200 of 416 records"_s);
        addRow("empty", QByteArray(), u"the file is empty"_s);
        addRow("line over 16 MiB, blank lines counted",
               cutAfter(1) + "\r\n\n\"" + QByteArray(VariableFile::kMaxLineBytes, 'x') + "\"\r\n",
               u"line 5 is longer than 16 MiB"_s);
        addRow("CR line ends", QByteArray(whole).replace("\r\n", "\r"), QString());
        addRow("LF line ends", QByteArray(whole).replace("\r\n", "\n"), QString());
        addRow("complete", whole, QString());
    }

    void damagedFileKeptBeforeOverwrite()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, problem);
        const bool unreadable = !problem.isEmpty(); // a dated copy is kept besides the .bak
        TestEnvironment env;
        ScriptedMessageBox box;
        const QString vls = env.path(u"show.vls"_s);
        writeFile(vls, bytes);
        QCOMPARE(VariableFile::readBytes(bytes).problem, problem);
        Clock::setFixed(QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7)));
        const QString copy = vls + u".unreadable-20260304-050607"_s;
        QCOMPARE(VariableFile::unreadableCopyPath(vls, Clock::now()), copy);
        if (unreadable)
            QTest::ignoreMessage(
                QtWarningMsg,
                QRegularExpression(u"could not be read completely \\("_s + QRegularExpression::escape(problem)
                                   + u"\\); its content is kept as "_s + QRegularExpression::escape(copy)));
        saveSet(vls, u"edited"_s);
        vls::RecordSet saved;
        QVERIFY(VariableFile::read(vls, saved).complete());
        QCOMPARE(saved[0][4], u"edited"_s);
        QCOMPARE(readFile(vls + u".bak"_s), bytes);
        QCOMPARE(QFileInfo::exists(copy), unreadable);
        if (unreadable)
            QCOMPARE(readFile(copy), bytes);
        // The replaced file is whole now: the next save keeps no dated copy.
        Clock::advance(60);
        saveSet(vls, u"again"_s);
        QCOMPARE(entries(env.folder()).filter(u"unreadable"_s).size(), unreadable ? 1 : 0);
    }

    // Two damaged files replaced within one second each keep their copy.
    void unreadableCopiesNeverReplaceEachOther()
    {
        TestEnvironment env;
        ScriptedMessageBox box;
        const QString vls = env.path(u"show.vls"_s);
        Clock::setFixed(QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7)));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"kept as"_s));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"kept as"_s));
        for (const QByteArray& damaged : {QByteArray("first junk"), QByteArray("second junk")}) {
            writeFile(vls, damaged);
            saveSet(vls, u"edited"_s);
        }
        const QString copy = VariableFile::unreadableCopyPath(vls, Clock::now());
        QCOMPARE(readFile(copy), QByteArray("first junk"));
        QCOMPARE(readFile(copy + u"-2"_s), QByteArray("second junk"));
    }

    // A backup that cannot be written does not stop the save: the operator's
    // newest data goes to the file, and a warning says the old content was not kept.
    void saveGoesAheadWhenItsBackupCannotBeWritten()
    {
        TestEnvironment env;
        ScriptedMessageBox box;
        const QString vls = env.path(u"show.vls"_s);
        writeFile(vls, fileHolding(u"old"_s));
        QVERIFY(QDir().mkpath(vls + u".bak"_s)); // a folder sits where the backup goes
        vls::RecordSet records;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"could not be kept"_s));
        QVERIFY(VariableFile::write(vls, records, nullptr));
        QCOMPARE(readFile(vls), VariableFile::encode(records));
    }

    void lineEnds_data()
    {
        QTest::addColumn<QByteArray>("end");
        addRow("CR LF", QByteArray("\r\n"));
        addRow("LF", QByteArray("\n"));
        addRow("CR", QByteArray("\r"));
        addRow("LF CR", QByteArray("\n\r"));
    }

    void lineEnds()
    {
        QFETCH(QByteArray, end);
        TestEnvironment env;
        ScriptedMessageBox box;
        const QString vls = env.path(u"ends.vls"_s);
        writeFile(vls, QByteArray(fileHolding(u"a \"quoted\" text"_s)).replace("\r\n", end));
        vls::RecordSet records;
        const VariableFile::ReadResult result = VariableFile::read(vls, records);
        QVERIFY(result.complete());
        QCOMPARE(records[0][4], u"a \"quoted\" text"_s);
        QCOMPARE(records[415][0], u"Cell Var 160"_s);
        QCOMPARE(records[415][6], u"58"_s);
    }
};

QTEST_GUILESS_MAIN(tst_VlsSafety)
#include "tst_vlssafety.moc"
