// The lumarex-emulator program: starts with its window and every kind of link,
// shows and renders the demo, and quits by itself. (Every test that starts it
// headless reads the links it announces.)

#include "loopbackrig.h"

#include <QImage>

class TestEmulatorProgram final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void smoke()
    {
        const QString file = env.path(QStringLiteral("sign.png"));
        const ProgramRun r = runProgram(
            QStringLiteral(EMULATOR_PATH),
            words("--tcp 127.0.0.1:0 --pty --modem-pty --demo --quit-after 8000 --geometry 940x280+30+40 --screenshot")
                << file,
            {}, 10000);
        QCOMPARE(r.code, 0);
        const QString out = r.out + r.err;
        QVERIFY2(out.contains(QStringLiteral("SHOW 1 TEMP 21\u00B0C  SHOP OPEN|COFFEE $4.99|FLIGHT GATE 7 ON TIME")),
                 qPrintable(out));
        QVERIFY2(out.contains(QStringLiteral("SCREENSHOT ") + file), qPrintable(out));
        QVERIFY2(out.contains(QStringLiteral("WINDOW 940x280+30+40")), qPrintable(out));
        // Lit dots in the demo's colours (amber, red, white, blue, green, cyan, magenta) on a dark sign.
        const QImage shot(file);
        QVERIFY(!shot.isNull());
        QCOMPARE(shot.size() / shot.devicePixelRatio(), QSize(940, 280));
        QSet<int> hues;
        int lit = 0, dark = 0;
        for (int y = 0; y < shot.height(); y += 2) {
            for (int x = 0; x < shot.width(); x += 2) {
                const QColor c = shot.pixelColor(x, y).toHsv();
                if (c.value() > 200 && c.saturation() > 150) {
                    ++lit;
                    hues.insert(c.hue() / 30);
                }
                dark += c.value() < 60;
            }
        }
        QVERIFY2(lit > 200, qPrintable(QString::number(lit)));
        QVERIFY2(hues.size() >= 5, qPrintable(QString::number(hues.size())));
        QVERIFY2(dark > lit * 3, qPrintable(QString::number(dark)));
    }
};

QTEST_GUILESS_MAIN(TestEmulatorProgram)
#include "tst_emulatorprogram.moc"
