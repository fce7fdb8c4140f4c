// Loading and saving the set: the current file in the settings store, the copy
// of every variable's data for the host, incompatible, damaged and missing
// files, and saves that fail.

#include "clsVariableAccess.h"
#include "privatelabel.h"
#include "registryroutines.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "vlsfixture.h"
#include "filefaults.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString kIncompatible = u"Error, this file version is not compatible with this plugin!"_s;
const QString kVariablesKey = u"Software\\Morvel\\Lumarex3\\Variables"_s;

QString fileLocation() { return settings::read(settings::kVarFileLoc, u"<missing>"_s); }
QString hostValue(int n) { return settings::ReadMachineSetting(u"Lumarex3"_s, u"Variables"_s, u"VBL%1"_s.arg(n, 3, 10, QChar(u'0')), u"<missing>"_s); }

// A file of `records` records whose data reads "data n".
QByteArray fileWith(int records)
{
    QByteArray out = fixture::kHeaderLine;
    for (int n = 1; n <= records; ++n) {
        const std::string data = "data " + std::to_string(n);
        out += fixture::line({n <= 256 ? "Text Var" : "Cell Var", "1", "2", "2", data, "", n <= 256 ? "250" : "58"});
    }
    return out;
}

// Remembers where the current file pointed when the message was shown.
class RecordingMessageBox final : public msgbox::Service {
public:
    RecordingMessageBox() { msgbox::setService(this); }
    ~RecordingMessageBox() override { msgbox::setService(nullptr); }
    msgbox::Answer show(QWidget*, const msgbox::Request& request) override
    {
        shown << request;
        locationWhenShown << fileLocation();
        return msgbox::OK;
    }
    QList<msgbox::Request> shown;
    QStringList locationWhenShown;
};
} // namespace

class TestVariableStorage final : public QObject {
    Q_OBJECT
private slots:
    void firstSaveCreatesDefaultFile();
    void windowsFileLoadsAndSavesUnchanged();
    void typedTextRoundTrips_data();
    void typedTextRoundTrips();
    void incompatibleHeader_data();
    void incompatibleHeader();
    void loadFailures_data();
    void loadFailures();
    void saveIntoReadOnlyFolderKeepsOldFile();
};

void TestVariableStorage::firstSaveCreatesDefaultFile()
{
    TestEnvironment env;
    ScriptedMessageBox messages;
    {
        clsVariableAccess set;
        QCOMPARE(fileLocation(), u"<missing>"_s);  // nothing to load yet, nothing recorded
        QCOMPARE(set.CurrFileName(), QString());
        set.setVariableData(5, u"five"_s);
        set.setVariableData(416, u"last €"_s);
    }
    const QString expectedPath = env.folder() + QDir::separator() + u"QMDvarinfo.vls"_s;
    QCOMPARE(fileLocation(), expectedPath);
    vls::RecordSet expected = fixture::defaultSet();
    expected[4][4] = u"five"_s;
    expected[415][4] = u"last €"_s;
    QCOMPARE(fixture::readBytes(expectedPath), VariableFile::encode(expected));
    QStringList names = RegistryRoutines(RegistryRoutines::LocalMachine).valueNames(kVariablesKey);
    names.sort();
    QCOMPARE(names.size(), 416);
    for (int n = 1; n <= 416; ++n) {
        QCOMPARE(names[n - 1], u"VBL%1"_s.arg(n, 3, 10, QChar(u'0')));
        QCOMPARE(hostValue(n), expected[n - 1][4]);
    }
    QVERIFY(messages.shown().isEmpty());
}

void TestVariableStorage::windowsFileLoadsAndSavesUnchanged()
{
    TestEnvironment env;
    ScriptedMessageBox messages;
    const QString path = env.path(u"win.vls"_s);
    QVERIFY(fixture::writeBytes(path, fixture::windowsFile()));
    settings::write(settings::kVarFileLoc, path);
    const vls::RecordSet expected = fixture::windowsSet();
    {
        clsVariableAccess set;
        for (int16_t n = 1; n <= 416; ++n)
            QVERIFY2(set.record(n) == expected[n - 1], qPrintable(u"variable %1"_s.arg(n)));
        QCOMPARE(set.VariableMaxLength(416), u"58"_s);  // stored empty
        QCOMPARE(set.CurrFileName(), u"win.vls"_s);
    }
    QCOMPARE(fixture::readBytes(path), fixture::windowsFile());
    QCOMPARE(hostValue(1), expected[0][4]);

    // The same set typed in by hand is written with the same bytes.
    const QString typed = env.path(u"typed.vls"_s);
    settings::write(settings::kVarFileLoc, typed);
    {
        clsVariableAccess set;
        for (int16_t n : {1, 2, 257, 416}) {
            const auto& r = expected[n - 1];
            set.setVariableName(n, r[0]);
            set.setVariableColor(n, r[1]);
            set.setVariableBlink(n, r[2]);
            set.setVariableInverse(n, r[3]);
            set.setVariableData(n, r[4]);
            set.setVariableOLELink(n, r[5]);
            set.setVariableMaxLength(n, r[6]);
        }
    }
    QCOMPARE(fixture::readBytes(typed), fixture::windowsFile());
    QVERIFY(messages.shown().isEmpty());
}

void TestVariableStorage::typedTextRoundTrips_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("held");    // what the set holds at once
    QTest::addColumn<QString>("loaded");  // what a load gives back
    QString ascii;
    for (char16_t c = 32; c < 127; ++c)
        ascii += QChar(c);
    const QString letters = u"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞßàáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ"_s;
    const QString signs = u"€‚ƒ„…†‡ˆ‰Š‹ŒŽ‘’“”•–—˜™š›œžŸ\u00a0¡¢£¤¥¦§¨©ª«¬\u00ad®¯°±²³´µ¶·¸¹º»¼½¾¿"_s;
    QTest::newRow("double quotes") << u"He said \"hi\" \"\""_s << u"He said \"hi\" \"\""_s << u"He said \"hi\" \"\""_s;
    QTest::newRow("commas") << u",a, b,, c,"_s << u",a, b,, c,"_s << u",a, b,, c,"_s;
    QTest::newRow("blanks kept") << u"  padded  "_s << u"  padded  "_s << u"  padded  "_s;
    QTest::newRow("printable ASCII") << ascii << ascii << ascii;
    QTest::newRow("letters") << letters << letters << letters;
    QTest::newRow("signs") << signs << signs << signs;
    QTest::newRow("empty") << QString() << QString() << QString();
    // The file cannot carry these: they are dropped as soon as they are set.
    QTest::newRow("field separator dropped") << u"a\u0001b\u0001"_s << u"ab"_s << u"ab"_s;
    QTest::newRow("quote carrier dropped") << u"a"_s + QChar(0) + u"b"_s << u"ab"_s << u"ab"_s;
    QTest::newRow("line breaks dropped") << u"one\r\ntwo\nthree\r"_s << u"onetwothree"_s << u"onetwothree"_s;
    // Characters outside the code page are held as typed and saved as '?'.
    QTest::newRow("outside the code page") << u"Ā中"_s << u"Ā中"_s << u"??"_s;
}

void TestVariableStorage::typedTextRoundTrips()
{
    QFETCH(QString, typed);
    QFETCH(QString, held);
    QFETCH(QString, loaded);
    TestEnvironment env;
    ScriptedMessageBox messages;
    const int16_t numbers[] = {1, 256, 257, 416};
    {
        clsVariableAccess set;
        for (int16_t n : numbers) {
            set.setVariableName(n, typed);
            set.setVariableData(n, u"<"_s + typed + u">"_s);
            set.setVariableOLELink(n, typed);
            QCOMPARE(set.VariableName(n), held);
            QCOMPARE(set.VariableData(n), u"<"_s + held + u">"_s);
        }
    }
    clsVariableAccess set;
    for (int16_t n : numbers) {
        const auto r = set.record(n);
        QCOMPARE(r[0], loaded);
        QCOMPARE(r[4], u"<"_s + loaded + u">"_s);
        QCOMPARE(r[5], loaded);
        // The fields around them are where they were.
        QCOMPARE(r[1] + r[2] + r[3], u"122"_s);
        QCOMPARE(r[6], clsVariableAccess::defaultMaxLength(n));
    }
    QCOMPARE(hostValue(257), u"<"_s + held + u">"_s);  // as the set held it when saved
    QVERIFY(messages.shown().isEmpty());
}

void TestVariableStorage::incompatibleHeader_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::newRow("older version") << QByteArray("QMDVariableFileZOL1.0");
    QTest::newRow("other case") << QByteArray("qmdvariablefilezol1.1");
    QTest::newRow("trailing blank") << QByteArray("QMDVariableFileZOL1.1 ");
    QTest::newRow("leading blank") << QByteArray(" QMDVariableFileZOL1.1");
    QTest::newRow("one more character") << QByteArray("QMDVariableFileZOL1.11");
    QTest::newRow("one less character") << QByteArray("QMDVariableFileZOL1.");
    QTest::newRow("empty") << QByteArray();
}

void TestVariableStorage::incompatibleHeader()
{
    QFETCH(QByteArray, header);
    TestEnvironment env;
    RecordingMessageBox messages;
    const QString previous = env.path(u"previous.vls"_s);
    const QString path = env.path(u"other.vls"_s);
    QVERIFY(fixture::writeBytes(previous, fileWith(416)));
    QVERIFY(fixture::writeBytes(path, '"' + header + "\"\r\n" + fileWith(416).mid(fixture::kHeaderLine.size())));
    settings::write(settings::kVarFileLoc, previous);
    clsVariableAccess set;
    QCOMPARE(set.VariableData(1), u"data 1"_s);
    set.LoadVariables(path);
    QCOMPARE(messages.shown.size(), 1);
    QCOMPARE(messages.shown[0].text, kIncompatible);
    QCOMPARE(messages.shown[0].buttons, msgbox::OKOnly);
    QCOMPARE(messages.shown[0].icon, msgbox::NoIcon);
    QCOMPARE(messages.shown[0].title, privatelabel::kAppTitle);
    // The message comes first; then the file still becomes the current one.
    QCOMPARE(messages.locationWhenShown[0], previous);
    QCOMPARE(fileLocation(), path);
    QCOMPARE(set.CurrFileName(), u"other.vls"_s);
    const vls::RecordSet defaults = fixture::defaultSet();
    for (int16_t n = 1; n <= 416; ++n)
        QVERIFY(set.record(n) == defaults[n - 1]);
}

void TestVariableStorage::loadFailures_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("loaded");       // records "data n" read, from 1 on
    QTest::addColumn<bool>("becomesCurrent");
    QTest::newRow("missing file") << u"missing"_s << QByteArray() << 0 << false;
    QTest::newRow("unreadable file") << u"unreadable"_s << fileWith(416) << 0 << false;
    QTest::newRow("empty file") << u"plain"_s << QByteArray() << 0 << false;
    QTest::newRow("no quotes on the first line") << u"plain"_s << QByteArray("QMDVariableFileZOL1.1\r\n") << 0 << false;
    QTest::newRow("header only") << u"plain"_s << fixture::kHeaderLine << 0 << true;
    QTest::newRow("100 records") << u"plain"_s << fileWith(100) << 100 << true;
    QTest::newRow("cut inside record 101") << u"plain"_s << fileWith(101).chopped(9) << 100 << true;
    QTest::newRow("damaged line 300") << u"plain"_s << fileWith(299) + "damaged\r\n" + fileWith(416).mid(fixture::kHeaderLine.size()) << 299 << true;
    QTest::newRow("complete") << u"plain"_s << fileWith(416) << 416 << true;
}

void TestVariableStorage::loadFailures()
{
    QFETCH(QString, kind);
    QFETCH(QByteArray, bytes);
    QFETCH(int, loaded);
    QFETCH(bool, becomesCurrent);
    TestEnvironment env;
    ScriptedMessageBox messages;
    const QString previous = env.path(u"previous.vls"_s);
    const QString path = env.path(u"target.vls"_s);
    QVERIFY(fixture::writeBytes(previous, fixture::windowsFile()));
    if (kind != u"missing")
        QVERIFY(fixture::writeBytes(path, bytes));
    if (kind == u"unreadable")
        QVERIFY(QFile::setPermissions(path, QFile::WriteOwner));
    settings::write(settings::kVarFileLoc, previous);
    clsVariableAccess set;
    {
        WithoutFileRights plainUser;
        if (!plainUser.active())
            QSKIP("file permissions cannot be made to count here");
        set.LoadVariables(path);
    }
    const vls::RecordSet defaults = fixture::defaultSet();
    for (int16_t n = 1; n <= 416; ++n) {
        if (n <= loaded)
            QCOMPARE(set.VariableData(n), u"data %1"_s.arg(n));
        else
            QVERIFY2(set.record(n) == defaults[n - 1], qPrintable(u"variable %1"_s.arg(n)));
    }
    QCOMPARE(fileLocation(), becomesCurrent ? path : previous);
    QCOMPARE(set.CurrFileName(), becomesCurrent ? u"target.vls"_s : u"previous.vls"_s);
    QVERIFY(messages.shown().isEmpty());
}

void TestVariableStorage::saveIntoReadOnlyFolderKeepsOldFile()
{
    TestEnvironment env;
    ScriptedMessageBox messages;
    const QString folder = env.path(u"vars"_s);
    QVERIFY(QDir().mkpath(folder));
    const QString path = folder + u"/QMDvarinfo.vls"_s;
    settings::write(settings::kVarFileLoc, path);
    {
        clsVariableAccess set;
        set.setVariableData(1, u"old"_s);
    }
    const QByteArray old = fixture::readBytes(path);
    QVERIFY(old.contains("old"));
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
    {
        WithoutFileRights plainUser;
        if (!plainUser.active())
            QSKIP("file permissions cannot be made to count here");
        clsVariableAccess set;
        QCOMPARE(set.VariableData(1), u"old"_s);
        set.setVariableData(1, u"new"_s);
        set.SaveVariables();
    }  // and the destructor's save
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCOMPARE(fixture::readBytes(path), old);
    QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList{u"QMDvarinfo.vls"_s});
    QCOMPARE(hostValue(1), u"old"_s);  // the host's copy still matches the file
    QVERIFY(messages.shown().isEmpty());
}

QTEST_GUILESS_MAIN(TestVariableStorage)
#include "tst_variablestorage.moc"
