#include "emulatorprocess.h"

#include <QDeadlineTimer>
#include <QRegularExpression>

#include <algorithm>

EmulatorProcess::EmulatorProcess(const QString& program, const QStringList& options)
{
    m_process.setProgram(program);
    m_process.setArguments(QStringList{QStringLiteral("--headless"), QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")}
                           + options);
    m_process.start();
    static const QRegularExpression listening(QStringLiteral("^LISTENING tcp 127\\.0\\.0\\.1:(\\d+)"));
    while (m_port == 0 && waitForLine(10000)) {
        const auto match = listening.match(m_lines.last());
        if (match.hasMatch())
            m_port = match.captured(1).toUShort();
    }
}

EmulatorProcess::~EmulatorProcess()
{
    m_process.kill();
    m_process.waitForFinished(3000);
}

bool EmulatorProcess::waitForOutput(const QString& text, int ms)
{
    QDeadlineTimer deadline(ms);
    for (int seen = 0;;) {
        for (; seen < m_lines.size(); ++seen) {
            if (m_lines[seen].contains(text))
                return true;
        }
        if (deadline.hasExpired() || !waitForLine(int(deadline.remainingTime())))
            return false;
    }
}

bool EmulatorProcess::waitForLine(int ms)
{
    QDeadlineTimer deadline(ms);
    while (!m_process.canReadLine()) {
        if (m_process.state() == QProcess::NotRunning || deadline.hasExpired())
            return false;
        m_process.waitForReadyRead(int(std::max<qint64>(1, deadline.remainingTime())));
    }
    m_lines << QString::fromLocal8Bit(m_process.readLine()).trimmed();
    return true;
}
