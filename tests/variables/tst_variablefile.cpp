// The variable file on its own: its bytes, its code page, odd and damaged files,
// and writes that fail without harming the file already there.

#include "codepage.h"
#include "testenvironment.h"
#include "variablefile.h"
#include "vlsfixture.h"
#include "windows1252.h"
#include "filefaults.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestVariableFile final : public QObject {
    Q_OBJECT
private slots:
    void codePageAgreesWithTable();
    void readsWindowsFile();
    void writesWindowsBytes();
    void oddFiles_data();
    void oddFiles();
    void failedWriteKeepsOldFile_data();
    void failedWriteKeepsOldFile();
    void defaultPath_data();
    void defaultPath();
};

void TestVariableFile::codePageAgreesWithTable()
{
    qInfo("Qt's windows-1252 converter in use: %s", windows1252::usesQtConverter() ? "yes" : "no");
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all += char(b);
    QCOMPARE(windows1252::decode(all), codepage::fromAnsi(all));
    QString bmp;
    for (int u = 0; u < 0x10000; ++u) {
        if (u < 0xD800 || u > 0xDFFF)
            bmp += QChar(char16_t(u));
    }
    QCOMPARE(windows1252::encode(bmp), codepage::toAnsi(bmp));
    // Characters the code page lacks become '?', one per UTF-16 unit.
    QCOMPARE(windows1252::encode(u"a\u0100b\U0001F600c"_s), QByteArray("a?b??c"));
    QCOMPARE(windows1252::encode(u"ok"_s), QByteArray("ok"));  // no error left over from before
}

void TestVariableFile::readsWindowsFile()
{
    TestEnvironment env;
    const QString path = env.path(u"win.vls"_s);
    QVERIFY(fixture::writeBytes(path, fixture::windowsFile()));
    vls::RecordSet set = fixture::defaultSet();
    const auto result = VariableFile::read(path, set);
    QVERIFY(result.opened && result.headerRead && result.compatible);
    QCOMPARE(result.recordsRead, 416);
    const vls::RecordSet expected = fixture::windowsSet();
    for (int i = 0; i < 416; ++i)
        QVERIFY2(set[i] == expected[i], qPrintable(u"record %1"_s.arg(i + 1)));
}

void TestVariableFile::writesWindowsBytes()
{
    TestEnvironment env;
    QCOMPARE(VariableFile::encode(fixture::windowsSet()), fixture::windowsFile());
    const QString path = env.path(u"out.vls"_s);
    QVERIFY(fixture::writeBytes(path, "an older, longer file that must be replaced entirely"));
    QString error;
    QVERIFY2(VariableFile::write(path, fixture::windowsSet(), &error), qPrintable(error));
    QCOMPARE(fixture::readBytes(path), fixture::windowsFile());
}

void TestVariableFile::oddFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("headerRead");
    QTest::addColumn<bool>("compatible");
    QTest::addColumn<int>("recordsRead");
    QTest::addColumn<QStringList>("first");  // record 1 when read

    const QByteArray h = fixture::kHeaderLine;
    const QStringList defaults{u"Text Var 1"_s, u"1"_s, u"2"_s, u"2"_s, {}, {}, u"250"_s};
    const QStringList ab{u"a"_s, u"b"_s, {}, {}, {}, {}, {}};
    QByteArray full = h;
    for (int n = 1; n <= 416; ++n)
        full += fixture::defaultLine(n);

    QTest::newRow("empty file") << QByteArray() << false << false << 0 << QStringList();
    QTest::newRow("first line without quotes") << QByteArray("QMDVariableFileZOL1.1\r\n") << false << false << 0 << QStringList();
    QTest::newRow("wrong header") << QByteArray("\"QMDVariableFileZOL1.0\"\r\n") + fixture::defaultLine(1) << true << false << 0 << QStringList();
    QTest::newRow("header only") << h << true << true << 0 << QStringList();
    QTest::newRow("short record padded") << h + "\"a\x01" "b\"\r\n" << true << true << 1 << ab;
    QTest::newRow("long record cut") << h + fixture::line({"Text Var 1", "1", "2", "2", "", "", "250", "extra", "more"})
                                     << true << true << 1 << defaults;
    QTest::newRow("empty record") << h + "\"\"\r\n" << true << true << 1 << QStringList(7, QString());
    QTest::newRow("all of the file") << full << true << true << 416 << defaults;
    QTest::newRow("lines after the last record ignored") << full + "\"junk\"\r\nno quotes\r\n" << true << true << 416 << defaults;
    QTest::newRow("blank lines skipped") << h + "\r\n  \r\n" + fixture::defaultLine(1) << true << true << 1 << defaults;
    QTest::newRow("LF line ends") << QByteArray("\"QMDVariableFileZOL1.1\"\n\"a\x01" "b\"\n") << true << true << 1 << ab;
    QTest::newRow("no line end at the end") << h + "\"a\x01" "b\"" << true << true << 1 << ab;
    QTest::newRow("text around the quotes") << h + "  x\"a\x01" "b\"y\"z\"\r\n" << true << true << 1 << ab;
    QTest::newRow("line without quotes stops") << h + fixture::defaultLine(1) + "garbage\r\n" + fixture::defaultLine(2)
                                               << true << true << 1 << defaults;
    QTest::newRow("cut inside a record") << h + fixture::defaultLine(1) + "\"Text Var 2\x01" "1\x01" << true << true << 1 << defaults;
    QTest::newRow("cut inside the header") << QByteArray("\"QMDVariable") << false << false << 0 << QStringList();
    QTest::newRow("huge field") << h + "\"" + QByteArray(4 * 1024 * 1024, 'x') + "\"\r\n" << true << true << 1
                                << (QStringList{QString(4 * 1024 * 1024, u'x')} << QStringList(6, QString()));
    QTest::newRow("line over the limit stops")
        << h + "\"a\"" + QByteArray(VariableFile::kMaxLineBytes, 'x') + "\"b\"\r\n" + fixture::defaultLine(2) << true << true << 0
        << QStringList();
    QTest::newRow("binary junk") << QByteArray("\x00\x01\xff\xfe\r\n\x1a", 7) << false << false << 0 << QStringList();
}

void TestVariableFile::oddFiles()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, headerRead);
    QFETCH(bool, compatible);
    QFETCH(int, recordsRead);
    QFETCH(QStringList, first);
    TestEnvironment env;
    const QString path = env.path(u"odd.vls"_s);
    QVERIFY(fixture::writeBytes(path, bytes));
    vls::RecordSet set = fixture::windowsSet();  // what is not read must stay
    const vls::RecordSet before = set;
    const auto result = VariableFile::read(path, set);
    QVERIFY(result.opened);
    QCOMPARE(result.headerRead, headerRead);
    QCOMPARE(result.compatible, compatible);
    QCOMPARE(result.recordsRead, recordsRead);
    if (recordsRead > 0)
        QCOMPARE(QStringList(set[0].begin(), set[0].end()), first);
    for (int i = recordsRead; i < 416; ++i)
        QVERIFY(set[i] == before[i]);
}

void TestVariableFile::failedWriteKeepsOldFile_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("read-only folder") << u"folder"_s;
    QTest::newRow("read-only file") << u"file"_s;
    QTest::newRow("missing folder") << u"missing"_s;
    QTest::newRow("path is a folder") << u"directory"_s;
    QTest::newRow("disk full part-way") << u"full"_s;
}

void TestVariableFile::failedWriteKeepsOldFile()
{
    QFETCH(QString, kind);
    TestEnvironment env;
    const QString folder = env.path(u"vars"_s);
    QVERIFY(QDir().mkpath(folder));
    QString path = folder + u"/QMDvarinfo.vls"_s;
    const QByteArray old = fixture::windowsFile();
    QVERIFY(fixture::writeBytes(path, old));
    if (kind == u"missing")
        path = env.path(u"nowhere/QMDvarinfo.vls"_s);
    if (kind == u"directory") {
        path = folder + u"/sub"_s;
        QVERIFY(QDir().mkpath(path));
    }
    if (kind == u"folder")
        QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther));
    if (kind == u"file")
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadOther));
    bool written = true;
    {
        WithoutFileRights plainUser;
        if (!plainUser.active())
            QSKIP("file permissions cannot be made to count here");
        if (kind == u"full") {
            FileSizeLimit full(1000);
            written = VariableFile::write(path, fixture::defaultSet());
        } else {
            written = VariableFile::write(path, fixture::defaultSet());
        }
    }
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QVERIFY(!written);
    QCOMPARE(fixture::readBytes(folder + u"/QMDvarinfo.vls"_s), old);
    const QStringList left = QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    QStringList expected{u"QMDvarinfo.vls"_s};
    if (kind == u"directory")
        expected << u"sub"_s;
    QCOMPARE(left, expected);
    QVERIFY(!QFileInfo::exists(env.path(u"nowhere"_s)));
}

void TestVariableFile::defaultPath_data()
{
    const QString sep = QDir::separator();
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("expected");
    QTest::newRow("drive root") << u"C:\\"_s << u"C:\\QMDvarinfo.vls"_s;
    QTest::newRow("four characters") << u"C:\\X"_s << u"C:\\X"_s + sep + u"QMDvarinfo.vls"_s;
    QTest::newRow("long folder") << u"/opt/lumarex/plugins"_s << u"/opt/lumarex/plugins"_s + sep + u"QMDvarinfo.vls"_s;
    QTest::newRow("root") << u"/"_s << u"/QMDvarinfo.vls"_s;
    // The rule counts characters only: four characters ending in "/" still get one.
    QTest::newRow("four characters ending in a separator") << u"/ab/"_s << u"/ab/"_s + sep + u"QMDvarinfo.vls"_s;
    QTest::newRow("short folder") << u"/ab"_s << u"/ab"_s + sep + u"QMDvarinfo.vls"_s;
}

void TestVariableFile::defaultPath()
{
    QFETCH(QString, folder);
    QFETCH(QString, expected);
    QCOMPARE(VariableFile::defaultPathIn(folder), expected);
}

QTEST_GUILESS_MAIN(TestVariableFile)
#include "tst_variablefile.moc"
