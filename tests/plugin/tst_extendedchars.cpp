#include "codepage.h"
#include "datarow.h"
#include "extendedchars.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {
// Writes the host's extended-font files into `folder`\Extended: the index
// holds one code unit per two bytes, high byte first.
void writeFont(const QString& folder, const QByteArray& index, bool withFontFile = true)
{
    writeFile(folder + QStringLiteral("/Extended/6X8L.IDX"), index);
    if (withFontFile)
        writeFile(folder + QStringLiteral("/Extended/6X8L.CFF"), "font");
}

QByteArray indexOf(const QString& characters)
{
    QByteArray bytes;
    for (QChar c : characters) {
        bytes.append(char(c.unicode() >> 8));
        bytes.append(char(c.unicode() & 0xFF));
    }
    return bytes;
}
} // namespace

class TestExtendedChars final : public QObject {
    Q_OBJECT
private slots:
    void mapping_data()
    {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        // The first table entry maps to code 128 ("€" in the code page), the second to 129, ...
        addRow("ascii unchanged", QStringLiteral("éü"), QStringLiteral("abc"), QStringLiteral("abc"));
        addRow("first entry -> 128", QStringLiteral("éü"), QStringLiteral("é"), QString(codepage::chr(128)));
        addRow("second entry -> 129", QStringLiteral("éü"), QStringLiteral("xüy"),
               QStringLiteral("x") + codepage::chr(129) + QStringLiteral("y"));
        addRow("missing dropped", QStringLiteral("é"), QStringLiteral("aöb"), QStringLiteral("ab"));
        addRow("first position wins", QStringLiteral("ééü"), QStringLiteral("ü"), QString(codepage::chr(130)));
        addRow("outside code page copied", QStringLiteral("é"), QStringLiteral("Ω"), QStringLiteral("Ω"));
        addRow("empty table drops", QString(), QStringLiteral("é1"), QStringLiteral("1"));
    }
    void mapping()
    {
        QFETCH(QString, table);
        QFETCH(QString, text);
        TestEnvironment env;
        writeFont(env.folder(), indexOf(table));
        QTEST(MapExtendedCharacters(text), "expected");
    }

    void appPathSettingWins()
    {
        TestEnvironment env;
        const QString host = env.path(QStringLiteral("host"));
        writeFont(host, indexOf(QStringLiteral("é")));
        QCOMPARE(MapExtendedCharacters(QStringLiteral("é")), QStringLiteral("é")); // no font in the plug-in folder
        // The host writes its folder Windows-style, with or without the trailing "\".
        settings::write(settings::kAppPath, host + QStringLiteral("\\"));
        QCOMPARE(MapExtendedCharacters(QStringLiteral("é")), QString(codepage::chr(128)));
        settings::write(settings::kAppPath, host);
        QCOMPARE(MapExtendedCharacters(QStringLiteral("é")), QString(codepage::chr(128)));
    }

    void eitherFileMissingLeavesTextAlone()
    {
        TestEnvironment env;
        writeFont(env.folder(), indexOf(QStringLiteral("é")), /*withFontFile=*/false);
        QCOMPARE(MapExtendedCharacters(QStringLiteral("aé")), QStringLiteral("aé"));
    }

    void tableIsReadAfreshEachCall()
    {
        TestEnvironment env;
        writeFont(env.folder(), indexOf(QStringLiteral("é")));
        QCOMPARE(MapExtendedCharacters(QStringLiteral("ü")), QString());
        writeFont(env.folder(), indexOf(QStringLiteral("ü")));
        QCOMPARE(MapExtendedCharacters(QStringLiteral("ü")), QString(codepage::chr(128)));
    }

    void indexFileEdges_data()
    {
        QTest::addColumn<QByteArray>("index");
        QTest::addColumn<QString>("table"); // "!" = Overflow expected
        addRow("even", QByteArray("\x00\xe9\x00\xfc", 4), QStringLiteral("éü"));
        addRow("odd 5 bytes: 2.5 rounds to 2", QByteArray("\x00\xe9\x00\xfc\x01", 5), QStringLiteral("éü"));
        addRow("odd 3 bytes: 1.5 rounds to 2, missing byte reads 0", QByteArray("\x00\xe9\x01", 3),
               QStringLiteral("é") + QChar(char16_t(0x0100)));
        addRow("high byte 127", QByteArray("\x7f\xff", 2), QString(QChar(char16_t(0x7fff))));
        addRow("high byte 128 overflows", QByteArray("\x80\x00", 2), QStringLiteral("!"));
        addRow("empty", QByteArray(), QString());
    }
    void indexFileEdges()
    {
        QFETCH(QByteArray, index);
        QFETCH(QString, table);
        TestEnvironment env;
        writeFont(env.folder(), index);
        const QString path = env.path(QStringLiteral("Extended/6X8L.IDX"));
        if (table == u"!") {
            try {
                readExtendedCharacterTable(path);
                QFAIL("no overflow");
            } catch (const RuntimeError& e) {
                QCOMPARE(e.description(), QStringLiteral("Overflow"));
            }
            // The table is read before the text is looked at, so any text fails.
            QVERIFY_THROWS_EXCEPTION(RuntimeError, MapExtendedCharacters(QStringLiteral("abc")));
        } else {
            QCOMPARE(readExtendedCharacterTable(path), table);
        }
    }
};

QTEST_GUILESS_MAIN(TestExtendedChars)
#include "tst_extendedchars.moc"
