// The host program started as a person or a script starts it: the self-test
// loads the libraries of its folder and lists the variable plug-in; the
// screenshot run saves the main window; --transmit-and-quit sends the playfile
// to an emulated display.

#include "classregistry.h"
#include "datarow.h"
#include "loopbackrig.h"
#include "settingsstore.h"

#include <QImage>

namespace {
const QString kLumarex = QStringLiteral(LUMAREX_PATH);
} // namespace

class TestLumarexSmoke final : public QObject {
    Q_OBJECT
private slots:
    void selfTestAndScreenshot()
    {
        TestEnvironment env;
        auto [code, out, errors] = runProgram(kLumarex, {QStringLiteral("--self-test")});
        QVERIFY2(code == 0, qPrintable(out + errors));
        QVERIFY2(out.contains("plug-in: Variable Access/QMD (zolQMDVariablePlugin.zolQMDVariables)"), qPrintable(out));
        QVERIFY(out.contains(QStringLiteral("SELF-TEST OK")));
        // The host told the plug-ins where it lives and registered its libraries.
        const QString folder = QFileInfo(kLumarex).absolutePath();
        QCOMPARE(settings::read(settings::kAppPath), folder);
        QCOMPARE(ClassRegistry().libraryOf("zolDTCon4.zolDispTrans"), folder + "/libzolTransmissionControl4.so");
        QCOMPARE(ClassRegistry().libraryOf("Lumarex.DisplayChooser"), folder + "/libLumarexHostObjects.so");

        const QString file = env.path(QStringLiteral("lumarex.png"));
        const ProgramRun shot = runProgram(kLumarex, words("--geometry 640x330+5+5 --screenshot") << file);
        QVERIFY2(shot.code == 0, qPrintable(shot.out + shot.err));
        QCOMPARE(QImage(file).size(), QSize(640, 330));
    }
    void transmitAndQuit_data()
    {
        QTest::addColumn<QByteArray>("displays"); // "PORT" becomes the emulator's port; empty: no file
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("shown"); // the emulator's lines for the message
        QTest::addColumn<QString>("error");     // part of the host's error output
        addRow("every address of the display", QByteArray("2|Emulated|3|127.0.0.1||PORT||3,4\n"), 0,
               QStringList{"SHOW 3 HELLO|WORLD", "SHOW 4 HELLO|WORLD"}, QString());
        addRow("nobody listening", QByteArray("2|Emulated|3|127.0.0.1||1||7\n"), 1, QStringList{}, QString());
        addRow("no display list", QByteArray(), 1, QStringList{}, QString("There is no display to transmit to"));
    }
    void transmitAndQuit()
    {
        TestEnvironment env;
        QFETCH(QByteArray, displays);
        QFETCH(QStringList, shown);
        QFETCH(QString, error);
        EmulatorProcess emulator(QStringLiteral(EMULATOR_PATH));
        QVERIFY2(emulator.start({QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")}),
                 qPrintable(emulator.error()));
        if (!displays.isEmpty())
            writeFile(env.path("Displays.dat"), displays.replace("PORT", QByteArray::number(emulator.tcpPort())));
        const auto [code, out, errors] = runProgram(
            kLumarex, {QStringLiteral("--app-path"), env.folder(), QStringLiteral("--playfile"),
                       QStringLiteral("HELLO\\nWORLD"), QStringLiteral("--transmit-and-quit")});
        QTEST(code, "exitCode");
        QVERIFY2(errors.contains(error), qPrintable(errors));
        for (const QString& line : shown)
            QVERIFY2(!emulator.waitForLine(line, 5000).isEmpty(), qPrintable(emulator.log().join(u'\n')));
        // Remembered only when the display was really reached.
        QCOMPARE(settings::read(settings::kLastOpenedDisplay), shown.isEmpty() ? QString() : QStringLiteral("2"));
        QCOMPARE(settings::read(settings::kAppPath), env.folder());
    }
};

QTEST_GUILESS_MAIN(TestLumarexSmoke)
#include "tst_lumarex_smoke.moc"
