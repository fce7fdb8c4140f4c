// The bad-word checker: what it masks and what it leaves, its word list file,
// and CleanCMD as the plug-in master calls it (late-bound, by reference).

#include "badwordfilter.h"
#include "latebound.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "zolBadWordChecker.h"

#include <QFile>
#include <QTest>

namespace {
const QChar kRs(char16_t(30));

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

// CleanCMD called the way the plug-in master calls it.
std::pair<QString, bool> cleanCmd(QObject* checker, const QString& text)
{
    QVariantList args{text, QString(), false};
    latebound::callMethod(checker, "CleanCMD", args);
    return {args[0].toString(), args[2].toBool()};
}
} // namespace

class TestBadWordChecker final : public QObject {
    Q_OBJECT
private slots:
    void clean_data();
    void clean();
    void parseWordList_data();
    void parseWordList();
    void cleanCmdUsesListBesideLibrary();
    void cleanCmdUsesConfiguredList();
    void cleanCmdSeesChangedList();

private:
    // The cases without settings of their own still run in a world of their own.
    TestEnvironment m_env;
};

void TestBadWordChecker::clean_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    const QStringList darn{QStringLiteral("darn")};
    QTest::newRow("whole word") << darn << "darn it" << "**** it";
    QTest::newRow("any case") << darn << "DaRn IT" << "**** IT";
    QTest::newRow("every occurrence") << darn << "darn darn" << "**** ****";
    QTest::newRow("inside a longer word") << darn << "darned undarn" << "darned undarn";
    QTest::newRow("digit attached") << darn << "darn1 2darn" << "darn1 2darn";
    QTest::newRow("underscore attached") << darn << "darn_x" << "darn_x";
    QTest::newRow("punctuation around") << darn << "darn, darn! (darn) \"darn\"" << "****, ****! (****) \"****\"";
    QTest::newRow("apostrophe ends the word") << darn << "darn's" << "****'s";
    QTest::newRow("hyphen ends the word") << darn << "darn-it" << "****-it";
    QTest::newRow("at both ends of the text") << darn << "darn" << "****";
    QTest::newRow("variable tokens untouched") << darn << QString(kRs + "A000 darn " + kRs + "V001")
                                               << QString(kRs + "A000 **** " + kRs + "V001");
    QTest::newRow("line breaks around") << darn << "x\r\ndarn\r\ny" << "x\r\n****\r\ny";
    QTest::newRow("several words") << QStringList{"darn", "heck"} << "heck, darn." << "****, ****.";
    QTest::newRow("phrase, any blanks between") << QStringList{"bad word"} << "a bad  word here" << "a ********* here";
    QTest::newRow("phrase not across a longer word") << QStringList{"bad word"} << "bad words" << "bad words";
    QTest::newRow("longer entry wins") << QStringList{"bad", "bad word"} << "bad word, bad" << "********, ***";
    QTest::newRow("regular expression characters") << QStringList{"c++", "a.b"} << "c++ and axb, a.b"
                                                   << "*** and axb, ***";
    QTest::newRow("letters beyond ASCII") << QStringList{QStringLiteral("fl\u00f6t")} << QStringLiteral("FL\u00d6T!")
                                          << "****!";
    QTest::newRow("accented letter attached") << darn << QStringLiteral("darn\u00e9") << QStringLiteral("darn\u00e9");
    QTest::newRow("empty list") << QStringList{} << "darn it" << "darn it";
    QTest::newRow("empty text") << darn << "" << "";
}

void TestBadWordChecker::clean()
{
    QFETCH(QStringList, words);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    bool masked = true;
    QCOMPARE(BadWordFilter(words).clean(text, &masked), expected);
    QCOMPARE(masked, expected != text);
}

void TestBadWordChecker::parseWordList_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("words");
    QTest::newRow("one a line") << "darn\nheck\n" << QStringList{"darn", "heck"};
    QTest::newRow("CR LF and blanks") << "  darn \r\n\r\n\theck\r\n" << QStringList{"darn", "heck"};
    QTest::newRow("comments") << "# mild words\ndarn\n  # heck\n" << QStringList{"darn"};
    QTest::newRow("phrases") << "bad word\n" << QStringList{"bad word"};
    QTest::newRow("empty") << "" << QStringList{};
}

void TestBadWordChecker::parseWordList()
{
    QFETCH(QString, text);
    QTEST(BadWordFilter::parseWordList(text), "words");
}

void TestBadWordChecker::cleanCmdUsesListBesideLibrary()
{
    TestEnvironment env;  // also the library's folder
    writeFile(env.path(QStringLiteral("BadWords.txt")), "darn\nfl\xf6t\n");
    zolBadWordChecker checker;
    QCOMPARE(checker.WordListPath(), env.path(QStringLiteral("BadWords.txt")));
    QCOMPARE(cleanCmd(&checker, QStringLiteral("Darn! fl\u00f6t")), std::make_pair(QStringLiteral("****! ****"), true));
    QCOMPARE(cleanCmd(&checker, QStringLiteral("all fine")), std::make_pair(QStringLiteral("all fine"), false));
}

void TestBadWordChecker::cleanCmdUsesConfiguredList()
{
    TestEnvironment env;
    writeFile(env.path(QStringLiteral("BadWords.txt")), "darn\n");
    writeFile(env.path(QStringLiteral("Other.txt")), "heck\n");
    settings::write(zolBadWordChecker::kWordListSetting, env.path(QStringLiteral("Other.txt")));
    zolBadWordChecker checker;
    QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")).first, QStringLiteral("darn ****"));
}

void TestBadWordChecker::cleanCmdSeesChangedList()
{
    TestEnvironment env;
    const QString path = env.path(QStringLiteral("BadWords.txt"));
    writeFile(path, "darn\n");
    zolBadWordChecker checker;
    QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")).first, QStringLiteral("**** heck"));
    writeFile(path, "darn\nheck\n");
    QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")).first, QStringLiteral("**** ****"));
    QVERIFY(QFile::remove(path));
    QCOMPARE(cleanCmd(&checker, QStringLiteral("darn heck")).first, QStringLiteral("darn heck"));
}

QTEST_GUILESS_MAIN(TestBadWordChecker)
#include "tst_badwordchecker.moc"
