// The LED sign: colours, blinking and inverse on the LED matrix (one pixel per
// LED, transparent when dark). The rendered window is checked by the emulator's smoke test.

#include "emulatorwindow.h"
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

// The colour of every lit LED.
QList<QRgb> lit(const QImage& m)
{
    QList<QRgb> out;
    for (int y = 0; y < m.height(); ++y)
        for (int x = 0; x < m.width(); ++x)
            if (qAlpha(m.pixel(x, y)) != 0)
                out.append(m.pixel(x, y));
    return out;
}

QSet<QRgb> colours(const QList<QRgb>& leds) { return QSet<QRgb>(leds.begin(), leds.end()); }
} // namespace

class TestLedSignWidget final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void everyColourCodeHasItsOwnLed()
    {
        QList<MessageLine> lines;
        QSet<QRgb> expected;
        for (int c = 1; c <= 7; ++c) {
            lines.append(run(QStringLiteral("AB%1").arg(c), c));
            expected.insert(LedSignWidget::ledColor(c).rgba());
        }
        QCOMPARE(expected.size(), 7);
        LedSignWidget sign;
        sign.setBlinking(false);
        sign.setLines(lines);
        QCOMPARE(colours(lit(sign.matrix())), expected);
        QVERIFY(sign.matrix().height() >= LedSignWidget::kRowsPerLine * 7); // a band of rows per line
        // Codes beyond 1 ... 7 show as 1, red.
        const QColor red = LedSignWidget::ledColor(1);
        QVERIFY(red.red() > 200 && red.green() < 80 && red.blue() < 80);
        QCOMPARE(LedSignWidget::ledColor(0), red);
        QCOMPARE(LedSignWidget::ledColor(9), red);
    }
    void blinkingRunsGoDarkInTheOffPhase()
    {
        LedSignWidget sign;
        sign.setBlinking(false);
        MessageLine line = run(QStringLiteral("STAY "), 2);
        line.append(MessageRun{QStringLiteral("FLASH"), 5, true, false});
        sign.setLines({line});
        sign.setBlinkPhase(true);
        const QRgb green = LedSignWidget::ledColor(2).rgba();
        const QList<QRgb> on = lit(sign.matrix());
        QCOMPARE(colours(on), (QSet<QRgb>{green, LedSignWidget::ledColor(5).rgba()}));
        sign.setBlinkPhase(false);
        const QList<QRgb> off = lit(sign.matrix());
        QCOMPARE(colours(off), QSet<QRgb>{green});
        QVERIFY(off.size() < on.size());
    }
    void inverseLightsTheBackground()
    {
        LedSignWidget normal, inverse;
        normal.setLines({run(QStringLiteral("INV"), 6)});
        inverse.setLines({run(QStringLiteral("INV"), 6, false, true)});
        const QImage a = normal.matrix(), b = inverse.matrix();
        QCOMPARE(a.size(), b.size());
        QVERIFY(!lit(a).isEmpty() && lit(b).size() > lit(a).size());
        // The glyphs are the dark LEDs of the inverse run.
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x)
                QVERIFY(!(qAlpha(a.pixel(x, y)) && qAlpha(b.pixel(x, y))));
        // Longer lines make a wider sign; no lines, a dark one.
        inverse.setLines({run(QString(80, QLatin1Char('W')), 1)});
        QVERIFY(inverse.matrix().width() > a.width());
        inverse.setLines({});
        QVERIFY(lit(inverse.matrix()).isEmpty());
    }
    // Two emulator windows side by side can be told apart by their titles.
    void windowTitleNamesTheDisplay()
    {
        emulator::EmulatorCore core;
        emulator::EmulatorWindow window(core);
        window.setIdentity(QStringLiteral("Lobby"),
                           {QStringLiteral("TCP 127.0.0.1:1"), QStringLiteral("pty /dev/pts/3")});
        QCOMPARE(window.windowTitle(),
                 QStringLiteral("Lumarex display emulator - Lobby - TCP 127.0.0.1:1, pty /dev/pts/3"));
        window.showAddress(4);
        QVERIFY(window.windowTitle().endsWith(QStringLiteral("pty /dev/pts/3 - address 4")));
    }
};

QTEST_MAIN(TestLedSignWidget)
#include "tst_ledsignwidget.moc"
