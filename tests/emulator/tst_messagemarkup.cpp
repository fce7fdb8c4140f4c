// How a message is laid out with its variables substituted.

#include "datarow.h"
#include "messagemarkup.h"
#include "testenvironment.h"

#include <QTest>

using namespace emulator;

namespace {
const QString RS(QChar(30));
const QString CS(QChar(28));

// A compact picture of the runs: "text/colour[b][i]" joined by " + ", lines by " | ".
QString describe(const QList<MessageLine>& lines)
{
    QStringList out;
    for (const MessageLine& line : lines) {
        QStringList runs;
        for (const MessageRun& r : line)
            runs.append(r.text + QLatin1Char('/') + QString::number(r.color)
                        + (r.blink ? QStringLiteral("b") : QString()) + (r.inverse ? QStringLiteral("i") : QString()));
        out.append(runs.join(QStringLiteral(" + ")));
    }
    return out.join(QStringLiteral(" | "));
}
} // namespace

class TestMessageMarkup final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void layout_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("expected");
        addRow("plain", QStringLiteral("Hello"), QStringLiteral("Hello/1"));
        addRow("text variable", QStringLiteral("T=") + RS + QStringLiteral("A000!"),
               QStringLiteral("T=/1 + 21C/2 + !/1"));
        addRow("cell variable blinking", RS + QStringLiteral("V159"), QStringLiteral("$5/3b"));
        addRow("inverse variable", RS + QStringLiteral("A255"), QStringLiteral("END/4i"));
        addRow("same attributes merge", QStringLiteral("a") + RS + QStringLiteral("A001b"), QStringLiteral("aREDb/1"));
        addRow("missing index is empty", QStringLiteral("x") + RS + QStringLiteral("V160y"), QStringLiteral("xy/1"));
        addRow("too few digits stay text", RS + QStringLiteral("A12"), QStringLiteral("A12/1"));
        addRow("lower case is not a token", RS + QStringLiteral("a000"), QStringLiteral("a000/1"));
        addRow("crlf", QStringLiteral("one\r\ntwo"), QStringLiteral("one/1 | two/1"));
        addRow("lone lf and cr", QStringLiteral("a\nb\rc"), QStringLiteral("a/1 | b/1 | c/1"));
        addRow("empty line kept", QStringLiteral("a\r\n\r\nb"), QStringLiteral("a/1 |  | b/1"));
        addRow("trailing breaks dropped", QStringLiteral("a\r\n\r\n"), QStringLiteral("a/1"));
        addRow("variable with a line break", QStringLiteral("<") + RS + QStringLiteral("A002>"),
               QStringLiteral("</1 + up/5 | down/5 + >/1"));
        addRow("fixed colour", CS + QStringLiteral("6cyan ") + CS + QStringLiteral("7white"),
               QStringLiteral("cyan /6 + white/7"));
        addRow("colour 8 is text", CS + QStringLiteral("8x"), QStringLiteral("8x/1"));
        addRow("other control characters dropped",
               QStringLiteral("a\x01\x1F"
                              "b"),
               QStringLiteral("ab/1"));
        addRow("tokens in data are not expanded", RS + QStringLiteral("A003"), QStringLiteral("A000/1"));
    }
    void layout()
    {
        QFETCH(QString, message);
        DisplayUnit unit;
        *unit.variable(VarKind::Text, 0) = {2, false, false, QStringLiteral("21C")};
        *unit.variable(VarKind::Text, 1) = {1, false, false, QStringLiteral("RED")};
        *unit.variable(VarKind::Text, 2) = {5, false, false, QStringLiteral("up\r\ndown")};
        // Shown, not expanded: the mark is a control character.
        *unit.variable(VarKind::Text, 3) = {1, false, false, RS + QStringLiteral("A000")};
        *unit.variable(VarKind::Text, 255) = {4, false, true, QStringLiteral("END")};
        *unit.variable(VarKind::Cell, 159) = {3, true, false, QStringLiteral("$5")};
        QTEST(describe(layoutMessage(message, &unit)), "expected");
    }
    void withoutUnitVariablesAreEmpty()
    {
        const auto lines = layoutMessage(QStringLiteral("a") + RS + QStringLiteral("A000b\r\nc"), nullptr);
        QCOMPARE(plainText(lines), QStringLiteral("ab\nc"));
    }
};

QTEST_GUILESS_MAIN(TestMessageMarkup)
#include "tst_messagemarkup.moc"
