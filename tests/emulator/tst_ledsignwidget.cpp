// The LED sign: colours, blinking and inverse on the LED matrix, and a
// rendered window that is dots on black.

#include "ledsignwidget.h"
#include "testenvironment.h"

#include <QSet>
#include <QTest>

using namespace emulator;

namespace {
MessageLine run(const QString& text, int color, bool blink = false, bool inverse = false)
{
    return MessageLine{MessageRun{text, int16_t(color), blink, inverse}};
}

QSet<QRgb> litColours(const QImage& m)
{
    QSet<QRgb> out;
    for (int y = 0; y < m.height(); ++y)
        for (int x = 0; x < m.width(); ++x)
            if (qAlpha(m.pixel(x, y)) != 0)
                out.insert(m.pixel(x, y));
    return out;
}

int litCount(const QImage& m)
{
    int n = 0;
    for (int y = 0; y < m.height(); ++y)
        for (int x = 0; x < m.width(); ++x)
            n += qAlpha(m.pixel(x, y)) != 0;
    return n;
}
} // namespace

class TestLedSignWidget final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void everyColourCodeHasItsOwnLed();
    void linesShowInTheirColours_data();
    void linesShowInTheirColours();
    void blinkingRunsGoDarkInTheOffPhase();
    void inverseLightsTheBackground();
    void growsForLongLines();
    void rendersDotsOnBlack();
};

void TestLedSignWidget::everyColourCodeHasItsOwnLed()
{
    QSet<QRgb> seen;
    for (int code = 1; code <= 7; ++code)
        seen.insert(LedSignWidget::ledColor(code).rgb());
    QCOMPARE(seen.size(), 7);
    QCOMPARE(LedSignWidget::ledColor(0), LedSignWidget::ledColor(1));
    QCOMPARE(LedSignWidget::ledColor(9), LedSignWidget::ledColor(1));
    const QColor red = LedSignWidget::ledColor(1);
    QVERIFY(red.red() > 200 && red.green() < 80 && red.blue() < 80);
}

void TestLedSignWidget::linesShowInTheirColours_data()
{
    QTest::addColumn<QList<int>>("colours");
    QTest::newRow("red") << QList<int>{1};
    QTest::newRow("green and amber") << QList<int>{2, 3};
    QTest::newRow("all seven") << QList<int>{1, 2, 3, 4, 5, 6, 7};
}

void TestLedSignWidget::linesShowInTheirColours()
{
    QFETCH(QList<int>, colours);
    QList<MessageLine> lines;
    QSet<QRgb> expected;
    for (int c : colours) {
        lines.append(run(QStringLiteral("AB%1").arg(c), c));
        expected.insert(LedSignWidget::ledColor(c).rgba());
    }
    LedSignWidget sign;
    sign.setBlinking(false);
    sign.setLines(lines);
    QCOMPARE(litColours(sign.matrix()), expected);
    // Every line has its own band of rows.
    QVERIFY(sign.matrix().height() >= LedSignWidget::kRowsPerLine * colours.size());
}

void TestLedSignWidget::blinkingRunsGoDarkInTheOffPhase()
{
    LedSignWidget sign;
    sign.setBlinking(false);
    MessageLine line = run(QStringLiteral("STAY "), 2);
    line.append(MessageRun{QStringLiteral("FLASH"), 5, true, false});
    sign.setLines({line});
    sign.setBlinkPhase(true);
    const QColor green = LedSignWidget::ledColor(2);
    const QColor magenta = LedSignWidget::ledColor(5);
    QCOMPARE(litColours(sign.matrix()), (QSet<QRgb>{green.rgba(), magenta.rgba()}));
    const int onCount = litCount(sign.matrix());
    sign.setBlinkPhase(false);
    QCOMPARE(litColours(sign.matrix()), QSet<QRgb>{green.rgba()});
    QVERIFY(litCount(sign.matrix()) < onCount);
}

void TestLedSignWidget::inverseLightsTheBackground()
{
    LedSignWidget normal;
    normal.setLines({run(QStringLiteral("INV"), 6)});
    LedSignWidget inverse;
    inverse.setLines({run(QStringLiteral("INV"), 6, false, true)});
    const QImage a = normal.matrix();
    const QImage b = inverse.matrix();
    QCOMPARE(a.size(), b.size());
    QVERIFY(litCount(b) > litCount(a));
    QVERIFY(litCount(a) > 0);
    // The glyphs are the dark LEDs of the inverse run.
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            QVERIFY(!(qAlpha(a.pixel(x, y)) && qAlpha(b.pixel(x, y))));
}

void TestLedSignWidget::growsForLongLines()
{
    LedSignWidget sign;
    sign.setLines({run(QStringLiteral("x"), 1)});
    const int narrow = sign.matrix().width();
    sign.setLines({run(QString(80, QLatin1Char('W')), 1)});
    QVERIFY(sign.matrix().width() > narrow);
    sign.setLines({});
    QCOMPARE(litCount(sign.matrix()), 0);
}

void TestLedSignWidget::rendersDotsOnBlack()
{
    LedSignWidget sign;
    sign.setBlinking(false);
    sign.setLines({run(QStringLiteral("HELLO"), 1)});
    sign.resize(sign.sizeHint());
    const QImage shot = sign.grab().toImage();
    QVERIFY(!shot.isNull());
    int bright = 0;
    int dark = 0;
    for (int y = 0; y < shot.height(); ++y) {
        for (int x = 0; x < shot.width(); ++x) {
            const QColor c = shot.pixelColor(x, y);
            if (c.red() > 180 && c.green() < 120)
                ++bright;
            else if (c.value() < 60)
                ++dark;
        }
    }
    QVERIFY(bright > 100);
    QVERIFY(dark > bright * 5);   // mostly black, the text in red dots
}

QTEST_MAIN(TestLedSignWidget)
#include "tst_ledsignwidget.moc"
