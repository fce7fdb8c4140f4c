// The lumarex-emulator program: starts, announces its links, quits by
// itself, refuses bad options, and renders the sign.

#include "testenvironment.h"

#include <QImage>
#include <QProcess>
#include <QTest>

class TestEmulatorProgram final : public QObject {
    Q_OBJECT
    TestEnvironment env;
    const QString program = QStringLiteral(LUMAREX_EMULATOR_PATH);

    QString run(const QStringList& args, int* exitCode)
    {
        QProcess p;
        p.start(program, args);
        if (!p.waitForFinished(10000)) {
            p.kill();
            p.waitForFinished();
            *exitCode = -1;
            return {};
        }
        *exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
        return QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError());
    }

private slots:
    void startsAndQuits();
    void badOptions_data();
    void badOptions();
    void screenshotShowsTheDemoMessage();
};

void TestEmulatorProgram::startsAndQuits()
{
    int code = 0;
    const QString out = run({"--headless", "--tcp", "127.0.0.1:0", "--pty", "--modem-pty", "--demo", "--quit-after", "200"}, &code);
    QCOMPARE(code, 0);
    QVERIFY2(out.contains(QRegularExpression(QStringLiteral("LISTENING tcp 127\\.0\\.0\\.1:[1-9][0-9]*\n"))), qPrintable(out));
    QVERIFY2(out.contains(QRegularExpression(QStringLiteral("LISTENING pty /dev/pts/[0-9]+\n"))), qPrintable(out));
    QVERIFY2(out.contains(QRegularExpression(QStringLiteral("LISTENING modem /dev/pts/[0-9]+\n"))), qPrintable(out));
    QVERIFY2(out.contains(QStringLiteral("SHOW 1 TEMP 21\u00B0C  SHOP OPEN|COFFEE $4.99|FLIGHT GATE 7 ON TIME")), qPrintable(out));
}

void TestEmulatorProgram::badOptions_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("message");
    QTest::newRow("bad group") << QStringList{"--group", "5"} << QStringLiteral("bad --group \"5\"");
    QTest::newRow("overlapping groups") << QStringList{"--group", "5:1,1", "--group", "7:0,0"}
                                        << QStringLiteral("--group \"7:0,0\" overlaps another group");
    QTest::newRow("fraction above 1") << QStringList{"--nak", "1.5"} << QStringLiteral("bad value \"1.5\" for --nak");
    QTest::newRow("bad tcp") << QStringList{"--tcp", "localhost:x"} << QStringLiteral("bad --tcp \"localhost:x\"");
    QTest::newRow("bad unit") << QStringList{"--units", "1,70000"} << QStringLiteral("bad address \"70000\" in --units");
}

void TestEmulatorProgram::badOptions()
{
    QFETCH(QStringList, args);
    QFETCH(QString, message);
    int code = 0;
    const QString out = run(QStringList{"--headless", "--quit-after", "2000"} + args, &code);
    QCOMPARE(code, 2);
    QVERIFY2(out.contains(message), qPrintable(out));
}

void TestEmulatorProgram::screenshotShowsTheDemoMessage()
{
    const QString file = env.path(QStringLiteral("sign.png"));
    int code = 0;
    const QString out = run({"--demo", "--tcp", "127.0.0.1:0", "--screenshot", file, "--quit-after", "8000"}, &code);
    QCOMPARE(code, 0);
    QVERIFY2(out.contains(QStringLiteral("SCREENSHOT ") + file), qPrintable(out));
    const QImage shot(file);
    QVERIFY(!shot.isNull());
    // The demo's colours are all there: amber, red, white, blue, green, cyan, magenta LEDs.
    QSet<int> hues;
    int lit = 0;
    for (int y = 0; y < shot.height(); y += 2) {
        for (int x = 0; x < shot.width(); x += 2) {
            const QColor c = shot.pixelColor(x, y).toHsv();
            if (c.value() > 200 && c.saturation() > 150) {
                ++lit;
                hues.insert(c.hue() / 30);
            }
        }
    }
    QVERIFY2(lit > 200, qPrintable(QString::number(lit)));
    QVERIFY2(hues.size() >= 5, qPrintable(QString::number(hues.size())));
}

QTEST_GUILESS_MAIN(TestEmulatorProgram)
#include "tst_emulatorprogram.moc"
