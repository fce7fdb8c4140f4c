// qmdvars watch against two emulated displays: a CSV cell edited on disk
// reaches both, a burst of edits is one send, a display that was down gets the
// change once it is up, and SIGTERM ends the command with exit code 0.

#include "classregistry.h"
#include "emulatorprocess.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// What the display at `port` holds in text variable 5.
QString readBack(quint16 port)
{
    return readFromLoopbackDisplay(port, [](disptrans::IDispTrans& d) -> QString {
        disptrans::VarReadRequest fifth{4};
        return d.ReadTextVariable(fifth).Data;
    });
}

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}
} // namespace

class tst_Watch final : public QObject {
    Q_OBJECT
    std::unique_ptr<TestEnvironment> m_env;
    std::unique_ptr<EmulatorProcess> m_first, m_second;
    quint16 m_secondPort = 0;
    QProcess m_watch;
    QString m_csv;

    void writeCsv(const QByteArray& value, bool byRename = false)
    {
        QFile f(byRename ? m_csv + u".new"_s : m_csv);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("temp," + value + "\n");
        f.close();
        if (byRename)
            QVERIFY(::rename(qPrintable(f.fileName()), qPrintable(m_csv)) == 0);
    }
    QStringList sends(const QString& display)
    {
        const QString log = QString::fromUtf8(m_watch.peek(1 << 20));
        return log.split(u'\n').filter(u" display "_s + display + u": "_s);
    }
    void startWatch(const QStringList& extra)
    {
        m_watch.setWorkingDirectory(m_env->folder());
        m_watch.start(QStringLiteral(QMDVARS_PATH),
                      QStringList{u"--displays-file"_s, m_env->path(u"Displays.dat"_s), u"watch"_s, u"--displays"_s,
                                  u"1,2"_s, u"--vars"_s, u"1-10"_s}
                          + extra);
        QVERIFY(m_watch.waitForStarted());
    }

private slots:
    void init()
    {
        m_env = std::make_unique<TestEnvironment>();
        QCOMPARE(ComponentLoader::registerLibrary(QStringLiteral(TRANSMISSION_LIBRARY)), 0);
        settings::write(settings::kVarFileLoc, m_env->path(u"set.vls"_s));
        m_first = std::make_unique<EmulatorProcess>(QStringLiteral(EMULATOR_PATH));
        m_second = std::make_unique<EmulatorProcess>(QStringLiteral(EMULATOR_PATH));
        QVERIFY2(m_first->start({u"--tcp"_s, u"127.0.0.1:0"_s}, 1, 10000), qPrintable(m_first->error()));
        m_secondPort = freePort();
        QFile list(m_env->path(u"Displays.dat"_s));
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write(u"1|One|3|127.0.0.1||%1||1\n2|Two|3|127.0.0.1||%2||1\n"_s.arg(m_first->tcpPort())
                       .arg(m_secondPort)
                       .toLatin1());
        list.close();
        m_csv = m_env->path(u"live.csv"_s);
        writeCsv("10");
        QCOMPARE(
            QProcess::execute(QStringLiteral(QMDVARS_PATH), {u"set"_s, u"5"_s, u"--link"_s, m_csv + u"!live!R1C2"_s}),
            0);
    }
    void cleanup()
    {
        // Every test ends the way a service manager ends it.
        if (m_watch.state() == QProcess::Running) {
            m_watch.terminate();
            QVERIFY(m_watch.waitForFinished(10000));
            QCOMPARE(m_watch.exitStatus(), QProcess::NormalExit);
            QCOMPARE(m_watch.exitCode(), 0);
        }
        m_first.reset();
        m_second.reset();
        m_env.reset();
    }

    void editReachesBothSigns_data()
    {
        QTest::addColumn<bool>("byRename");
        QTest::newRow("written in place") << false;
        QTest::newRow("saved by renaming a new file over it") << true;
    }
    void editReachesBothSigns()
    {
        QFETCH(bool, byRename);
        QVERIFY(m_second->start({u"--tcp"_s, u"127.0.0.1:%1"_s.arg(m_secondPort)}, 1, 10000));
        startWatch({u"--debounce"_s, u"100"_s});
        QTRY_COMPARE_WITH_TIMEOUT(sends(u"2"_s).size(), 1, 10000);
        QCOMPARE(readBack(m_first->tcpPort()), u"10"_s);
        writeCsv("21.5", byRename);
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_first->tcpPort()), u"21.5"_s, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), u"21.5"_s, 10000);
        writeCsv("22", byRename); // the file is still followed after the first change
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), u"22"_s, 10000);
    }

    void burstIsOneSend()
    {
        QVERIFY(m_second->start({u"--tcp"_s, u"127.0.0.1:%1"_s.arg(m_secondPort)}, 1, 10000));
        startWatch({u"--debounce"_s, u"1500"_s});
        QTRY_COMPARE_WITH_TIMEOUT(sends(u"2"_s).size(), 1, 10000);
        for (int i = 1; i <= 10; ++i)
            writeCsv(QByteArray::number(100 + i));
        QTRY_COMPARE_WITH_TIMEOUT(sends(u"2"_s).size(), 2, 10000);
        QCOMPARE(sends(u"1"_s).size(), 2);
        QCOMPARE(readBack(m_first->tcpPort()), u"110"_s);
        QCOMPARE(readBack(m_secondPort), u"110"_s);
    }

    void displayThatWasDownGetsTheChange()
    {
        startWatch({u"--debounce"_s, u"100"_s, u"--retry-interval"_s, u"1"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!sends(u"2"_s).filter(u"FAILED"_s).isEmpty(), 10000);
        writeCsv("while down");
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_first->tcpPort()), u"while down"_s, 10000);
        QVERIFY(m_second->start({u"--tcp"_s, u"127.0.0.1:%1"_s.arg(m_secondPort)}, 1, 10000));
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), u"while down"_s, 10000);
    }
};

QTEST_MAIN(tst_Watch)
#include "tst_watch.moc"
