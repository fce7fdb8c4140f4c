// The host program started as a person or a script starts it: the self-test
// loads the libraries of its folder and lists the variable plug-in; the
// screenshot run shows the main window and saves it.

#include "classregistry.h"
#include "emulatorprocess.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QTest>

namespace {
const QString kLumarex = QStringLiteral(LUMAREX_PROGRAM);

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

Run run(const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    process.setProcessEnvironment(environment);  // with the test's settings stores
    process.start(kLumarex, arguments);
    Run r;
    if (!process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished();
        r.err = QStringLiteral("did not finish");
        return r;
    }
    r.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    r.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(process.readAllStandardError());
    return r;
}
} // namespace

class TestLumarexSmoke final : public QObject {
    Q_OBJECT
private slots:
    void selfTest();
    void screenshot();
    void transmitAndQuit_data();
    void transmitAndQuit();
};

void TestLumarexSmoke::selfTest()
{
    TestEnvironment env;
    const Run r = run({QStringLiteral("--self-test")});
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    QVERIFY2(r.out.contains(QStringLiteral("plug-in: Variable Access/QMD (zolQMDVariablePlugin.zolQMDVariables)")),
             qPrintable(r.out));
    QVERIFY(r.out.contains(QStringLiteral("SELF-TEST OK")));
    // The host told the plug-ins where it lives and registered its libraries.
    const QString folder = QFileInfo(kLumarex).absolutePath();
    QCOMPARE(settings::read(settings::kAppPath), folder);
    QCOMPARE(ClassRegistry().libraryOf(QStringLiteral("zolDTCon4.zolDispTrans")), folder + QStringLiteral("/libzolTransmissionControl4.so"));
    QCOMPARE(ClassRegistry().libraryOf(QStringLiteral("Lumarex.DisplayChooser")), folder + QStringLiteral("/libLumarexHostObjects.so"));
}

void TestLumarexSmoke::screenshot()
{
    TestEnvironment env;
    const QString file = env.path(QStringLiteral("lumarex.png"));
    const Run r = run({QStringLiteral("--screenshot"), file});
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    const QImage image(file);
    QVERIFY(!image.isNull());
    QVERIFY(image.width() >= 400 && image.height() >= 300);
}

void TestLumarexSmoke::transmitAndQuit_data()
{
    QTest::addColumn<QByteArray>("displays");  // "PORT" becomes the emulator's port; empty: no file
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("shown");        // the emulator's line for the message, "" for none
    QTest::addColumn<QString>("error");        // part of the host's error output
    QTest::newRow("sent to the display's address")
        << QByteArray("2|Emulated|3|127.0.0.1||PORT||7\n") << 0 << "SHOW 7 HELLO|WORLD" << "";
    QTest::newRow("every address of the display")
        << QByteArray("2|Emulated|3|127.0.0.1||PORT||3,4\n") << 0 << "SHOW 4 HELLO|WORLD" << "";
    QTest::newRow("nobody listening") << QByteArray("2|Emulated|3|127.0.0.1||1||7\n") << 1 << "" << "";
    QTest::newRow("no display list") << QByteArray() << 1 << "" << "There is no display to transmit to";
}

void TestLumarexSmoke::transmitAndQuit()
{
    TestEnvironment env;
    QFETCH(QByteArray, displays);
    QFETCH(int, exitCode);
    QFETCH(QString, shown);
    QFETCH(QString, error);
    EmulatorProcess emulator(QStringLiteral(LUMAREX_EMULATOR));
    QVERIFY(emulator.port() != 0);
    if (!displays.isEmpty()) {
        QFile file(env.path(QStringLiteral("Displays.dat")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(displays.replace("PORT", QByteArray::number(emulator.port())));
    }
    const Run r = run({QStringLiteral("--app-path"), env.folder(), QStringLiteral("--playfile"),
                       QStringLiteral("HELLO\\nWORLD"), QStringLiteral("--transmit-and-quit")});
    QVERIFY2(r.exitCode == exitCode, qPrintable(r.out + r.err));
    QVERIFY2(r.err.contains(error), qPrintable(r.err));
    if (!shown.isEmpty()) {
        QVERIFY2(emulator.waitForOutput(shown), qPrintable(emulator.lines().join(u'\n')));
        QCOMPARE(settings::read(settings::kLastOpenedDisplay), QStringLiteral("2"));
    }
    QCOMPARE(settings::read(settings::kAppPath), env.folder());
}

QTEST_GUILESS_MAIN(TestLumarexSmoke)
#include "tst_lumarex_smoke.moc"
