#include "emulatorprocess.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>

EmulatorProcess::EmulatorProcess(const QString& program) : m_program(program) {}

EmulatorProcess::~EmulatorProcess() { stop(); }

void EmulatorProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(3000);
}

void EmulatorProcess::readLines()
{
    m_partial += m_process.readAllStandardOutput();
    qsizetype end;
    while ((end = m_partial.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_partial.left(end)).trimmed();
        m_partial.remove(0, end + 1);
        m_lines.append(line);
        const QStringList parts = line.split(QLatin1Char(' '));
        if (parts.size() >= 3 && parts[0] == u"LISTENING") {
            if (parts[1] == u"tcp")
                m_tcpPort = quint16(parts[2].mid(parts[2].lastIndexOf(QLatin1Char(':')) + 1).toUInt());
            else if (parts[1] == u"pty")
                m_ptyPath = parts[2];
            else if (parts[1] == u"modem")
                m_modemPath = parts[2];
        }
    }
}

bool EmulatorProcess::start(const QStringList& args, int listeners, int timeoutMs)
{
    // Errors go straight to the test's own output: an unread pipe could fill and stall the emulator.
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setProgram(m_program);
    m_process.setArguments(QStringList{QStringLiteral("--headless")} + args);
    m_process.start();
    if (!m_process.waitForStarted(timeoutMs)) {
        m_error = QStringLiteral("cannot start %1: %2").arg(m_program, m_process.errorString());
        return false;
    }
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        readLines();
        int found = 0;
        for (const QString& line : std::as_const(m_lines))
            if (line.startsWith(u"LISTENING "))
                ++found;
        if (found >= listeners)
            return true;
        if (m_process.state() == QProcess::NotRunning || deadline.hasExpired()) {
            m_error = QStringLiteral("the emulator did not come up: %1")
                          .arg(QString::fromLocal8Bit(m_process.readAllStandardError()));
            return false;
        }
        m_process.waitForReadyRead(int(std::max<qint64>(1, deadline.remainingTime())));
    }
}

QStringList EmulatorProcess::log()
{
    if (m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(0);
    readLines();
    return m_lines;
}

QString EmulatorProcess::waitForLine(const QString& text, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        readLines();
        for (const QString& line : std::as_const(m_lines))
            if (line.contains(text))
                return line;
        if (m_process.state() == QProcess::NotRunning || deadline.hasExpired())
            return {};
        m_process.waitForReadyRead(int(std::max<qint64>(1, deadline.remainingTime())));
    }
}

std::unique_ptr<EmulatorProcess> startEmulator(const QString& program, const QStringList& args, int listeners)
{
    auto e = std::make_unique<EmulatorProcess>(program);
    if (!e->start(args, listeners, 10000))
        qWarning("%s", qPrintable(e->error()));
    return e;
}

bool writeDisplayList(const QString& folder, const QList<LoopbackDisplay>& displays)
{
    QFile file(QDir(folder).filePath(QStringLiteral("Displays.dat")));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    int number = 0;
    for (const LoopbackDisplay& d : displays)
        file.write(QStringLiteral("%1|%2|3|127.0.0.1||%3||%4\n")
                       .arg(++number)
                       .arg(d.name)
                       .arg(d.port)
                       .arg(d.addresses)
                       .toLatin1());
    return true;
}
