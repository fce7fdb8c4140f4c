#include "rtf.h"

#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

using Runs = QList<rtf::Run>;

namespace {
rtf::Run run(const QString& text, QColor color = {}, double size = 12, bool bold = false,
             const QString& family = QStringLiteral("Arial"))
{
    rtf::Run r;
    r.text = text;
    r.format.color = color;
    r.format.pointSize = size;
    r.format.bold = bold;
    r.format.family = family;
    return r;
}

QString textOf(const Runs& runs)
{
    QString text;
    for (const rtf::Run& r : runs)
        text += r.text;
    return text;
}

QString describe(const Runs& runs)
{
    QStringList out;
    for (const rtf::Run& r : runs)
        out << QStringLiteral("[%1|%2|%3|%4|%5%6%7]")
                   .arg(r.text, r.format.color.isValid() ? r.format.color.name() : QStringLiteral("auto"))
                   .arg(r.format.pointSize)
                   .arg(r.format.family)
                   .arg(r.format.bold ? "b" : "")
                   .arg(r.format.italic ? "i" : "")
                   .arg(r.format.underline ? "u" : "");
    return out.join(u' ');
}
} // namespace

class TestRtf final : public QObject {
    Q_OBJECT
private slots:
    void roundTrip_data()
    {
        QTest::addColumn<Runs>("runs");
        QTest::newRow("plain") << Runs{run(QStringLiteral("Hello world"))};
        QTest::newRow("colours, sizes, bold")
            << Runs{run(QStringLiteral("Heading\n"), QColor(0, 0, 255), 18, true),
                    run(QStringLiteral("Status= "), QColor(0, 0, 0), 10),
                    run(QStringLiteral("Failed no answer\n"), QColor(255, 0, 0), 10),
                    run(QStringLiteral("Updated"), QColor(0, 255, 0), 10),
                    run(QStringLiteral(" auto"), QColor(), 10)};
        QTest::newRow("rtf's own characters") << Runs{run(QStringLiteral("a\\b {c} d"))};
        QTest::newRow("code page") << Runs{run(QStringLiteral("café € ½ ÿ"))};
        QTest::newRow("beyond the code page") << Runs{run(QStringLiteral("Ω 日本 \U0001F600"))};
        QTest::newRow("paragraphs and tabs") << Runs{run(QStringLiteral("a\n\nb\tc\n"))};
        QTest::newRow("fonts") << Runs{run(QStringLiteral("led "), QColor(255, 0, 0), 14, false,
                                           QStringLiteral("Terminal")),
                                       run(QStringLiteral("mono"), QColor(), 9, false, QStringLiteral("Courier New"))};
        rtf::Run styled = run(QStringLiteral("styled"));
        styled.format.italic = true;
        styled.format.underline = true;
        QTest::newRow("italic and underline") << Runs{styled, run(QStringLiteral(" plain"))};
        QTest::newRow("half points") << Runs{run(QStringLiteral("small"), QColor(), 7.5)};
        QTest::newRow("empty") << Runs{};
    }
    void roundTrip()
    {
        QFETCH(Runs, runs);
        const QByteArray data = rtf::write(runs);
        QVERIFY(rtf::isRtf(data));
        for (char c : data)
            QVERIFY2(uchar(c) < 128, "the writer writes 7-bit text only");
        const Runs back = rtf::read(data);
        QCOMPARE(describe(back), describe(runs));
    }

    void writerForms_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("brace") << "{" << QByteArray("\\{");
        QTest::newRow("backslash") << "\\" << QByteArray("\\\\");
        QTest::newRow("e acute") << "é" << QByteArray("\\'e9");
        QTest::newRow("euro") << "€" << QByteArray("\\'80");
        QTest::newRow("omega") << "Ω" << QByteArray("\\u937?");
        QTest::newRow("surrogates") << "\U0001F600" << QByteArray("\\u-10179?\\u-8704?");
        QTest::newRow("crlf is one paragraph") << "a\r\nb" << QByteArray("a\\par\r\nb");
    }
    void writerForms()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, written);
        const QByteArray data = rtf::write({run(text)});
        QVERIFY2(data.contains(written), data.constData());
    }

    void writerHeader()
    {
        const QByteArray data =
            rtf::write({run(QStringLiteral("x"), QColor(255, 0, 0), 18, true), run(QStringLiteral("y"), QColor(255, 0, 0), 10)});
        QVERIFY(data.startsWith("{\\rtf1\\ansi\\ansicpg1252\\deff0"));
        QVERIFY(data.contains("{\\fonttbl{\\f0\\fnil\\fcharset0 Arial;}}"));
        QVERIFY(data.contains("{\\colortbl ;\\red255\\green0\\blue0;}"));  // one entry for one colour
        QVERIFY(data.contains("\\cf1\\fs36\\b x"));
        QVERIFY(data.contains("\\fs20\\b0 y"));
        QVERIFY(data.trimmed().endsWith('}'));
    }

    void reader_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("text");
        QTest::newRow("word processor output")
            << QByteArray("{\\rtf1\\ansi\\ansicpg1252\\deff0\\nouicompat\\deflang1033{\\fonttbl{\\f0\\fnil\\fcharset0 "
                          "Calibri;}}\r\n{\\*\\generator Riched20 10.0.19041}\\viewkind4\\uc1 \r\n\\pard\\sa200\\sl276"
                          "\\slmult1\\f0\\fs22\\lang9 Line one\\par\r\nLine two\\par\r\n}\r\n")
            << "Line one\nLine two\n";
        QTest::newRow("style sheet and information skipped")
            << QByteArray("{\\rtf1\\ansi\\deff3{\\fonttbl{\\f3\\fswiss Arial;}}{\\stylesheet{\\s0\\snext0 Normal;}}"
                          "{\\info{\\title Report}{\\author Someone}}\\pard\\plain \\f3\\fs20 body}")
            << "body";
        QTest::newRow("ignorable destination") << QByteArray("{\\rtf1 {\\*\\foo hidden}shown}") << "shown";
        QTest::newRow("unknown group keeps its text") << QByteArray("{\\rtf1 {\\foo bar}baz}") << "barbaz";
        QTest::newRow("field result only")
            << QByteArray("{\\rtf1 {\\field{\\*\\fldinst HYPERLINK \"x\"}{\\fldrslt link}}}") << "link";
        QTest::newRow("code page escapes") << QByteArray("{\\rtf1\\ansi caf\\'e9 \\'80}") << "café €";
        QTest::newRow("unicode with fallback") << QByteArray("{\\rtf1\\uc1 a\\u8364\\'80b}") << "a€b";
        QTest::newRow("two fallback characters") << QByteArray("{\\rtf1\\uc2 \\u937??x}") << "Ωx";
        QTest::newRow("no fallback") << QByteArray("{\\rtf1\\uc0\\u937 x}") << "Ωx";
        QTest::newRow("negative unicode") << QByteArray("{\\rtf1\\uc1\\u-10179?\\u-8704?}") << "\U0001F600";
        QTest::newRow("fallback count ends with its group")
            << QByteArray("{\\rtf1 {\\uc1\\u937}x}") << "Ωx";
        QTest::newRow("binary skipped") << QByteArray("{\\rtf1 a\\bin3 {}}b}") << "ab";
        QTest::newRow("symbols") << QByteArray("{\\rtf1 a\\~b\\tab c\\emdash d\\line e\\{\\}\\\\}")
                                 << "a\u00A0b\tc\u2014d\u2028e{}\\";
        QTest::newRow("raw line breaks are not text") << QByteArray("{\\rtf1 a\r\nb\nc}") << "abc";
        QTest::newRow("picture skipped") << QByteArray("{\\rtf1 x{\\pict\\wmetafile8 0123abcd}y}") << "xy";
    }
    void reader()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, text);
        QCOMPARE(textOf(rtf::read(data)), text);
    }

    void readerFormats()
    {
        const QByteArray data =
            "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0\\fnil\\fcharset0 Calibri;}{\\f1\\fmodern\\fprq1 Terminal;}}\r\n"
            "{\\colortbl ;\\red255\\green0\\blue0;\\red0\\green176\\blue80;}\r\n"
            "\\pard\\cf1\\f1\\fs28 Red \\cf2\\b green\\b0\\cf0\\f0\\fs22 plain {\\i\\ul it}\\plain  reset}";
        const Runs runs = rtf::read(data);
        QCOMPARE(describe(runs), QStringLiteral("[Red |#ff0000|14|Terminal|] [green|#00b050|14|Terminal|b] "
                                                "[plain |auto|11|Calibri|] [it|auto|11|Calibri|iu] "
                                                "[ reset|auto|12|Calibri|]"));  // one blank ends the word, the next is text
    }

    void readerFontTableWithoutGroups()
    {
        const Runs runs = rtf::read(QByteArray("{\\rtf1\\ansi{\\fonttbl\\f0\\fswiss Helvetica;\\f1 Courier;}\\f1 Hi}"));
        QCOMPARE(describe(runs), QStringLiteral("[Hi|auto|12|Courier|]"));
    }

    void readFromText()
    {
        QCOMPARE(textOf(rtf::read(QStringLiteral("{\\rtf1 caf\\'e9}"))), QStringLiteral("café"));
        QVERIFY(rtf::isRtf(QStringLiteral("  {\\rtf1 x}")));
        QVERIFY(!rtf::isRtf(QStringLiteral("plain text")));
    }

    void documentRoundTrip()
    {
        QTextDocument source;
        source.setDefaultFont(QFont(QStringLiteral("Arial"), 10));
        QTextCursor cursor(&source);
        QTextCharFormat heading;
        heading.setForeground(QColor(0, 0, 255));
        heading.setFontPointSize(18);
        heading.setFontWeight(QFont::Bold);
        cursor.insertText(QStringLiteral("Title"), heading);
        cursor.insertBlock();
        QTextCharFormat red;
        red.setForeground(QColor(255, 0, 0));
        red.setFontPointSize(10);
        cursor.insertText(QStringLiteral("Failed "), red);
        cursor.insertText(QStringLiteral("plain"), QTextCharFormat());

        QTextDocument copy;
        rtf::read(rtf::write(source), copy);
        QCOMPARE(copy.toPlainText(), QStringLiteral("Title\nFailed plain"));
        const QTextBlock first = copy.begin();
        const QTextCharFormat f1 = first.begin().fragment().charFormat();
        QCOMPARE(f1.foreground().color(), QColor(0, 0, 255));
        QCOMPARE(f1.fontPointSize(), 18.0);
        QCOMPARE(f1.fontWeight(), int(QFont::Bold));
        const QTextBlock second = first.next();
        auto it = second.begin();
        QCOMPARE(it.fragment().text(), QStringLiteral("Failed "));
        QCOMPARE(it.fragment().charFormat().foreground().color(), QColor(255, 0, 0));
        ++it;
        QCOMPARE(it.fragment().text(), QStringLiteral("plain"));
        QCOMPARE(it.fragment().charFormat().fontPointSize(), 10.0);  // the document's default size
        QCOMPARE(it.fragment().charFormat().foreground().style(), Qt::NoBrush);
    }
};

QTEST_MAIN(TestRtf)
#include "tst_rtf.moc"
