// qmdvars watch against two emulated displays: a CSV cell edited on disk
// reaches both, a burst of edits is one send, a display that was down gets the
// change once it is up, and SIGTERM ends the command with exit code 0.

#include "datarow.h"
#include "loopbackrig.h"
#include "settingsstore.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <optional>

using namespace Qt::StringLiterals;

class tst_Watch final : public QObject {
    Q_OBJECT
    std::optional<LoopbackRig> m_rig;
    EmulatorProcess* m_first = nullptr;
    quint16 m_secondPort = 0;
    QProcess m_watch;
    QString m_csv;

    // What the display at `port` holds in text variable 5.
    static QString readBack(quint16 port) { return readVariables(port, {5}, false).join(u'|'); }
    void startSecond() { QVERIFY(m_rig->start({}, m_secondPort)); }
    void writeCsv(const QByteArray& value, bool byRename = false)
    {
        writeFile(byRename ? m_csv + u".new"_s : m_csv, "temp," + value + "\n");
        if (byRename)
            QVERIFY(::rename(qPrintable(m_csv + u".new"_s), qPrintable(m_csv)) == 0);
    }
    QStringList sends(const QString& display)
    {
        const QString log = QString::fromUtf8(m_watch.peek(1 << 20));
        return log.split(u'\n').filter(u" display "_s + display + u": "_s);
    }
    void startWatch(const QString& extra)
    {
        m_watch.setWorkingDirectory(m_rig->env.folder());
        m_watch.start(QStringLiteral(QMDVARS_PATH), QStringList{u"--displays-file"_s, m_rig->path(u"Displays.dat"_s)}
                                                        + words(u"watch --displays 1,2 --vars 1-10 "_s + extra));
        QVERIFY(m_watch.waitForStarted());
    }

private slots:
    void init()
    {
        m_rig.emplace(LoopbackRig::Transmission);
        settings::write(settings::kVarFileLoc, m_rig->path(u"set.vls"_s));
        m_first = m_rig->start();
        m_secondPort = LoopbackRig::freePort();
        QVERIFY(m_first && m_rig->list({{"One", m_first->tcpPort()}, {"Two", m_secondPort}}));
        m_csv = m_rig->path(u"live.csv"_s);
        writeCsv("10");
        QCOMPARE(
            runProgram(QStringLiteral(QMDVARS_PATH), {u"set"_s, u"5"_s, u"--link"_s, m_csv + u"!live!R1C2"_s}).code, 0);
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
        m_rig.reset();
    }

    void editReachesBothSigns_data()
    {
        QTest::addColumn<bool>("byRename");
        addRow("written in place", false);
        addRow("saved by renaming a new file over it", true);
    }
    void editReachesBothSigns()
    {
        QFETCH(bool, byRename);
        startSecond();
        startWatch(u"--debounce 100"_s);
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
        startSecond();
        startWatch(u"--debounce 1500"_s);
        QTRY_COMPARE_WITH_TIMEOUT(sends(u"2"_s).size(), 1, 10000);
        for (int i = 1; i <= 10; ++i)
            writeCsv(QByteArray::number(100 + i));
        QTRY_COMPARE_WITH_TIMEOUT(sends(u"2"_s).size(), 2, 10000);
        QCOMPARE(sends(u"1"_s).size(), 2);
        QCOMPARE(readBack(m_first->tcpPort()), u"110"_s);
        QCOMPARE(readBack(m_secondPort), u"110"_s);
    }

    // Rewritten every 300 ms with a debounce of 1000 ms: a send within five
    // seconds while the writes go on (but not one per write), the last value
    // once they stop, and nothing more after it.
    void neverRestingSourceStillGoesOut()
    {
        startSecond();
        startWatch(u"--debounce 1000"_s);
        QTRY_COMPARE_WITH_TIMEOUT(sends(u"2"_s).size(), 1, 10000);
        QElapsedTimer writing;
        writing.start();
        qint64 firstSend = -1;
        int atLastWrite = 0;
        QByteArray last;
        for (int i = 1; writing.elapsed() < 6000; ++i) {
            writeCsv(last = QByteArray::number(200 + i));
            atLastWrite = sends(u"2"_s).size();
            if (firstSend < 0 && atLastWrite > 1)
                firstSend = writing.elapsed();
            QTest::qWait(300);
        }
        QVERIFY2(firstSend >= 0 && firstSend < 5000, qPrintable(QString::number(firstSend)));
        // The start and a send per 3 s (a slow machine may let a debounce through), never one per write.
        QVERIFY2(atLastWrite <= 6, qPrintable(QString::number(atLastWrite)));
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), QString::fromLatin1(last), 10000);
        QTest::qWait(500); // the send's log line follows the sign's change
        const int settled = sends(u"2"_s).size();
        QTest::qWait(2500);
        QVERIFY2(sends(u"2"_s).size() == settled, qPrintable(sends(u"2"_s).join(u'\n')));
    }

    // A source that goes away: the signs keep its last good text, the log says
    // why, and the new value goes out once it is back.
    void sourceThatGoesAwayBlanksNothing()
    {
        startSecond();
        startWatch(u"--debounce 100"_s);
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), u"10"_s, 10000);
        QVERIFY(QFile::remove(m_csv));
        auto logged = [this](const QString& text) { return QString::fromUtf8(m_watch.peek(1 << 20)).count(text); };
        QTRY_COMPARE_WITH_TIMEOUT(logged(u"variable 5: cannot read its source: no such file: "_s), 1, 10000);
        QVERIFY(logged(u"the signs keep \"10\""_s) == 1);
        QTest::qWait(500);
        QCOMPARE(readBack(m_first->tcpPort()), u"10"_s);
        writeCsv("11");
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), u"11"_s, 10000);
        // The line is written before the send, but the pipe may not be read yet.
        QTRY_COMPARE_WITH_TIMEOUT(logged(u"variable 5: its source can be read again"_s), 1, 5000);
        QCOMPARE(logged(u"cannot read its source"_s), 1);
    }

    void displayThatWasDownGetsTheChange()
    {
        startWatch(u"--debounce 100 --retry-interval 1"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!sends(u"2"_s).filter(u"FAILED"_s).isEmpty(), 10000);
        writeCsv("while down");
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_first->tcpPort()), u"while down"_s, 10000);
        startSecond();
        QTRY_COMPARE_WITH_TIMEOUT(readBack(m_secondPort), u"while down"_s, 10000);
    }
};

QTEST_MAIN(tst_Watch)
#include "tst_watch.moc"
