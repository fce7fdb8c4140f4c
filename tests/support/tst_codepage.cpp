#include "datarow.h"
#include "codepage.h"

#include <QStringEncoder>
#include <QTest>

using namespace Qt::StringLiterals;

static QByteArray allBytes()
{
    QByteArray all(256, Qt::Uninitialized);
    for (int i = 0; i < 256; ++i)
        all[i] = char(i);
    return all;
}

class TestCodepage final : public QObject {
    Q_OBJECT
private slots:
    void everyByteRoundTrips()
    {
        const QByteArray all = allBytes();
        const QString text = codepage::fromAnsi(all);
        QCOMPARE(text.size(), 256);
        QCOMPARE(codepage::toAnsi(text), all);
        codepage::Decoder decode; // one decoder, many pieces
        for (int i = 0; i < 256; ++i) {
            QCOMPARE(codepage::asc(text[i]), i);
            QCOMPARE(codepage::chr(i), text[i]);
            QCOMPARE(decode(all.mid(i, 1)), QString(text[i]));
        }
    }

    // Qt's converter, where the Qt build has one, and the code page table agree:
    // the same text for every byte; for every character the table's byte, or an
    // error where the table has none (toAnsi then writes '?').
    void qtConverterAgreesWithTable()
    {
        QStringDecoder decoder("windows-1252");
        if (!decoder.isValid() || !QStringEncoder("windows-1252").isValid())
            QSKIP("no windows-1252 converter in this Qt build: the table does all the work");
        QString table;
        for (int i = 0; i < 256; ++i)
            table += codepage::chr(i);
        QCOMPARE(decoder.decode(allBytes()), table);
        for (int i = 0; i < 0x10000; ++i) {
            const char16_t u = char16_t(i);
            if (QChar::isSurrogate(u))
                continue;
            QStringEncoder encoder("windows-1252");
            const QByteArray bytes = encoder.encode(QStringView(&u, 1));
            const int code = codepage::asc(u);
            if (code != '?' || u == u'?')
                QVERIFY2(!encoder.hasError() && bytes == QByteArray(1, char(code)), qPrintable(QString::number(u, 16)));
            else
                QVERIFY2(encoder.hasError(), qPrintable(QString::number(u, 16)));
        }
    }

    void toAnsi_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes");
        addRow("euro", u"€"_s, QByteArray("\x80"));
        addRow("e acute", u"é"_s, QByteArray("\xE9"));
        addRow("left quote", u"“"_s, QByteArray("\x93"));
        addRow("y diaeresis", u"Ÿ"_s, QByteArray("\x9F"));
        addRow("letter", u"A"_s, QByteArray("A"));
        addRow("not in the code page", u"Ω"_s, QByteArray("?"));
        addRow("mixed", u"aΩ€b"_s,
               QByteArray("a?\x80"
                          "b"));
        addRow("ignorable, dropped by Qt's converter", u"a\u200Db\uFE0F"_s, QByteArray("a?b?"));
        addRow("outside the BMP: one '?' a UTF-16 unit", u"a\u0100b\U0001F600c"_s, QByteArray("a?b??c"));
    }
    void toAnsi()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        QCOMPARE(codepage::toAnsi(text), bytes);
        if (text.size() == 1)
            QCOMPARE(codepage::asc(text[0]), int(uchar(bytes[0])));
    }
};

QTEST_GUILESS_MAIN(TestCodepage)
#include "datarow.h"
#include "tst_codepage.moc"
