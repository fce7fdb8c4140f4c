#include "codepage.h"

#include <QTest>

class TestCodepage final : public QObject {
    Q_OBJECT
private slots:
    void everyByteRoundTrips()
    {
        QByteArray all(256, Qt::Uninitialized);
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        const QString text = codepage::fromAnsi(all);
        QCOMPARE(text.size(), 256);
        QCOMPARE(codepage::toAnsi(text), all);
        for (int i = 0; i < 256; ++i) {
            QCOMPARE(codepage::asc(text[i]), i);
            QCOMPARE(codepage::chr(i), text[i]);
        }
    }

    void knownCharacters_data()
    {
        QTest::addColumn<QString>("character");
        QTest::addColumn<int>("code");
        QTest::newRow("euro") << QStringLiteral("€") << 0x80;
        QTest::newRow("e acute") << QStringLiteral("é") << 0xE9;
        QTest::newRow("left quote") << QStringLiteral("“") << 0x93;
        QTest::newRow("y diaeresis") << QStringLiteral("Ÿ") << 0x9F;
        QTest::newRow("letter") << QStringLiteral("A") << 0x41;
        QTest::newRow("not in code page") << QStringLiteral("Ω") << int('?');
    }
    void knownCharacters()
    {
        QFETCH(QString, character);
        QFETCH(int, code);
        QCOMPARE(codepage::asc(character[0]), code);
    }

    void unmappableTextBecomesQuestionMarks()
    {
        QCOMPARE(codepage::toAnsi(QStringLiteral("aΩ€b")), QByteArray("a?\x80" "b"));
    }
};

QTEST_GUILESS_MAIN(TestCodepage)
#include "tst_codepage.moc"
