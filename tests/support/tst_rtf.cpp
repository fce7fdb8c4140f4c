#include "datarow.h"
#include "richtextdocument.h"

#include <QTest>
#include <QTextCursor>
#include <QTextDocument>

using Runs = QList<rtf::Run>;

namespace {
rtf::Run run(const QString& text, rtf::Color color = {}, double size = 12,
             const QString& family = QStringLiteral("Arial"), const QString& style = {})
{
    return {text, {color, size, family, style.contains(u'b'), style.contains(u'i'), style.contains(u'u')}};
}

QString describe(const Runs& runs)
{
    QStringList out;
    for (const rtf::Run& r : runs)
        out << QStringLiteral("[%1|%2|%3|%4|%5]")
                   .arg(r.text, r.format.color ? QString::number(*r.format.color, 16) : QStringLiteral("auto"))
                   .arg(r.format.pointSize)
                   .arg(r.format.family, QString(r.format.bold ? "b" : "") + (r.format.italic ? "i" : "")
                                             + (r.format.underline ? "u" : ""));
    return out.join(u' ');
}
} // namespace

class TestRtf final : public QObject {
    Q_OBJECT
private slots:
    void roundTrip_data()
    {
        QTest::addColumn<Runs>("runs");
        addRow("report styles", Runs{run("Heading\n", rtf::rgb(0, 0, 255), 18, "Arial", "b"),
                                     run("Failed no answer\n", rtf::rgb(255, 0, 0), 10),
                                     run("Updated", rtf::rgb(0, 255, 0), 10), run(" auto", rtf::Color(), 7.5)});
        addRow("rtf's own characters, paragraphs, tabs", Runs{run("a\\b {c}\n\nd\te\n")});
        addRow("code page and beyond", Runs{run("café € ½ ÿ Ω 日本 \U0001F600")});
        addRow("fonts and styles", Runs{run("led ", rtf::rgb(255, 0, 0), 14, "Terminal", "iu"),
                                        run("mono", rtf::Color(), 9, "Courier New")});
        addRow("empty", Runs{});
    }
    void roundTrip()
    {
        QFETCH(Runs, runs);
        const QByteArray data = rtf::write(runs);
        QVERIFY(rtf::isRtf(data));
        QVERIFY2(std::all_of(data.begin(), data.end(), [](char c) { return uchar(c) < 128; }), "7-bit text only");
        QCOMPARE(describe(rtf::read(data)), describe(runs));
        // The same through text documents.
        QTextDocument document, copy;
        QTextCursor cursor(&document);
        rtf::insert(cursor, runs);
        rtf::read(rtf::write(document), copy);
        QCOMPARE(describe(rtf::runsOf(copy)), describe(runs));
    }

    void reader_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("text");
        addRow("word processor output",
               QByteArray("{\\rtf1\\ansi\\deff0\\nouicompat{\\fonttbl{\\f0\\fnil\\fcharset0 Calibri;}}\r\n"
                          "{\\*\\generator Riched20 10.0}\\viewkind4\\uc1 \r\n\\pard\\sa200\\f0\\fs22 "
                          "Line one\\par\r\nLine two\\par\r\n}"),
               "Line one\nLine two\n");
        addRow("skipped groups, field result",
               QByteArray("{\\rtf1{\\stylesheet{\\s0 Normal;}}{\\info{\\title R}}{\\*\\foo x}{\\pict 01}a\\bin2 xyb"
                          "{\\field{\\*\\fldinst HYPERLINK \"x\"}{\\fldrslt c}}}"),
               "abc");
        // A group ends its fallback count and any fallback still to skip.
        addRow("unicode fallbacks", QByteArray("{\\rtf1\\uc1 a\\u8364\\'80{\\uc2 \\u937??\\u937?}\\u937?x}"), "a€ΩΩΩx");
        // Escaped control characters are dropped as the writer drops them, fallback and all (found by fuzzing).
        addRow("escaped control characters", QByteArray("{\\rtf1 a\\u8?b\\'07c\\u9?d\\'09e}"), "abc\td\te");
    }
    void reader()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, text);
        QString read;
        for (const rtf::Run& r : rtf::read(data))
            read += r.text;
        QCOMPARE(read, text);
    }
};

QTEST_MAIN(TestRtf)
#include "datarow.h"
#include "tst_rtf.moc"
