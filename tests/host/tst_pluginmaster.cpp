// The plug-in master: the token table kept in the machine-wide hive (seen by
// every instance and by other programs), and running a method of
// another plug-in by ProgID, installed or not. The bad-word checker it runs:
// what it masks and what it leaves, and its word list file.

#include "datarow.h"
#include "badwordfilter.h"
#include "classregistry.h"
#include "latebound.h"
#include "registryroutines.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "zolBadWordChecker.h"
#include "zolPluginMaster.h"

#include <QTest>
#include <QRegularExpression>

namespace {
const QChar kRs(char16_t(30));

// A plug-in whose methods show what the master passes and gives back.
class EchoPlugin final : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void Join(QString& param1, QString param2, bool& status)
    {
        param1 = param1 + u'+' + param2;
        status = !status;
    }
    Q_INVOKABLE void Fail(QString&, QString, bool&) { throw RuntimeError(RuntimeError::InvalidProcedureCall); }
};

// CleanCMD called the way the plug-in master calls it: "text" or "text!" when masked.
QString cleanCmd(QObject* checker, const QString& text)
{
    QVariantList args{text, QString(), false};
    latebound::callMethod(checker, "CleanCMD", args);
    return args[0].toString() + (args[2].toBool() ? QStringLiteral("!") : QString());
}
} // namespace

class TestPluginMaster final : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ComponentLoader::clearFactories(); }
    void tokenTable()
    {
        TestEnvironment env;
        RegistryRoutines machine(RegistryRoutines::LocalMachine);
        auto inHive = [&](const char* name) { return machine.readValue(zolPluginMaster::kTokenKey, name); };
        {
            zolPluginMaster master, other;
            QCOMPARE(master.Status().toInt(), int(zolPluginMaster::Ready));
            master.SetTokenText(QStringLiteral("vbl001"), QStringLiteral("one"));
            master.SetTokenText(QStringLiteral("VBL002"), QStringLiteral("two"));
            master.SetTokenText(QStringLiteral(" VBL001"), QStringLiteral("uno")); // names ignore case and blanks
            // Seen at once by every master of this program...
            QCOMPARE(other.GetTokenText(QStringLiteral("Vbl001")), QStringLiteral("uno"));
            QCOMPARE(other.TokenNames(), (QStringList{"VBL001", "VBL002"}));
            QCOMPARE(other.GetTokenText(QStringLiteral("VBL003")), QString());
            // ...and by other programs once the event loop turns.
            QTRY_COMPARE(inHive("VBL001"), QStringLiteral("uno"));
            QCOMPARE(inHive("VBL002"), QStringLiteral("two"));
            master.SetTokenText(QStringLiteral("VBL003"), kRs + QStringLiteral("A002"));
        }
        // Releasing the master writes without waiting for the event loop.
        QCOMPARE(inHive("VBL003"), kRs + QStringLiteral("A002"));
        QCOMPARE(machine.valueNames(zolPluginMaster::kTokenKey).size(), 3);
    }
    void runPluginMethod_data()
    {
        QTest::addColumn<QString>("progId");
        QTest::addColumn<QString>("method");
        QTest::addColumn<bool>("statusIn");
        QTest::addColumn<QString>("text"); // param1 afterwards
        QTest::addColumn<bool>("status");
        QTest::addColumn<int>("error");
        auto row = [](const char* tag, const char* progId, const char* method, bool in, const char* text, bool out,
                      int error = 0) { addRow(tag, progId, method, in, text, out, error); };
        row("both ways", "Test.Echo", "Join", false, "left+right", true);
        row("status comes back", "Test.Echo", "Join", true, "left+right", false);
        row("registered, library gone", "Test.Gone", "Join", true, "left", false);
        row("no such method", "Test.Echo", "NoSuch", false, "left", false, RuntimeError::ObjectDoesNotSupportMethod);
        row("method raises", "Test.Echo", "Fail", false, "left", false, RuntimeError::InvalidProcedureCall);
    }
    void runPluginMethod()
    {
        // As the variable updater calls it: by name, param1 and status by reference.
        TestEnvironment env;
        QFETCH(QString, progId);
        QFETCH(QString, method);
        QFETCH(bool, statusIn);
        QFETCH(int, error);
        ComponentLoader::setFactory(QStringLiteral("Test.Echo"), [] { return new EchoPlugin; });
        ClassRegistry().registerClass(QStringLiteral("Test.Gone"), env.path(QStringLiteral("libgone.so")));
        if (progId == u"Test.Gone")
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot load .*libgone.so")));
        zolPluginMaster master;
        QVERIFY(qobject_cast<pluginmaster::IPluginMaster*>(&master));
        QVariantList args{progId, method, QStringLiteral("left"), QStringLiteral("right"), statusIn};
        QCOMPARE(errorOf([&] { latebound::callMethod(&master, "RunPluginMethod", args); }).number(), error);
        QTEST(args[2].toString(), "text");
        if (!error)
            QTEST(args[4].toBool(), "status");
    }
    void clean_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const QStringList darn{QStringLiteral("darn")};
        addRow("any case, every time", darn, "DaRn it darn", "**** it ****");
        addRow("inside a longer word", darn, "darned undarn", "darned undarn");
        addRow("digit, underscore or accent attached", darn, QStringLiteral("darn1 2darn darn_x darn\u00e9"),
               QStringLiteral("darn1 2darn darn_x darn\u00e9"));
        addRow("punctuation, apostrophe, hyphen end the word", darn, "(darn) \"darn\" darn's darn-it",
               "(****) \"****\" ****'s ****-it");
        addRow("variable tokens untouched", darn, QString(kRs + "A000 darn " + kRs + "V001"),
               QString(kRs + "A000 **** " + kRs + "V001"));
        addRow("phrase, any blanks between", QStringList{"bad word"}, "a bad  word here", "a ********* here");
        addRow("longer entry wins", QStringList{"bad", "bad word"}, "bad word, bad", "********, ***");
        addRow("regular expression characters", QStringList{"c++", "a.b"}, "c++ and axb, a.b", "*** and axb, ***");
        addRow("letters beyond ASCII", QStringList{QStringLiteral("fl\u00f6t")}, QStringLiteral("FL\u00d6T!"), "****!");
    }
    void clean()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        bool masked = true;
        QCOMPARE(BadWordFilter(words).clean(text, &masked), expected);
        QCOMPARE(masked, expected != text);
    }
    void cleanCmdReadsWordList()
    {
        TestEnvironment env; // also the library's folder
        const QString beside = env.path(QStringLiteral("BadWords.txt"));
        writeFile(beside, "# heck\r\n  darn \r\n\r\nfl\xf6t\r\n"); // comments, blanks, the code page
        zolBadWordChecker checker;
        QCOMPARE(checker.WordListPath(), beside);
        QCOMPARE(cleanCmd(&checker, QStringLiteral("Darn! fl\u00f6t # heck")), QStringLiteral("****! **** # heck!"));

        // Changed and removed files are seen at the next call.
        writeFile(beside, "darn\nheck\n");
        QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")), QStringLiteral("**** ****!"));
        QVERIFY(QFile::remove(beside));
        QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")), QStringLiteral("darn heck"));

        // A configured list wins over the one beside the library.
        writeFile(beside, "darn\n");
        writeFile(env.path(QStringLiteral("Other.txt")), "heck\n");
        settings::write(zolBadWordChecker::kWordListSetting, env.path(QStringLiteral("Other.txt")));
        QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")), QStringLiteral("darn ****!"));

        // A relative list with an empty AppPath stays relative: read from the working folder.
        settings::write(settings::kAppPath, QString());
        settings::write(zolBadWordChecker::kWordListSetting, QStringLiteral("lists\\Words.txt"));
        writeFile(env.path(QStringLiteral("lists/Words.txt")), "heck\n");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(env.folder()));
        const QString path = checker.WordListPath(), cleaned = cleanCmd(&checker, QStringLiteral("darn heck"));
        QDir::setCurrent(before);
        QCOMPARE(path, QDir::toNativeSeparators(QStringLiteral("lists/Words.txt")));
        QCOMPARE(cleaned, QStringLiteral("darn ****!"));
    }
};

QTEST_GUILESS_MAIN(TestPluginMaster)
#include "tst_pluginmaster.moc"
