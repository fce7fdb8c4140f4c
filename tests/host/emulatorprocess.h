#pragma once

#include <QProcess>
#include <QStringList>

// One lumarex-emulator process for a test: headless, on a free loopback port,
// killed when the object goes.
class EmulatorProcess final {
public:
    explicit EmulatorProcess(const QString& program, const QStringList& options = {});
    ~EmulatorProcess();
    EmulatorProcess(const EmulatorProcess&) = delete;
    EmulatorProcess& operator=(const EmulatorProcess&) = delete;

    quint16 port() const { return m_port; }  // 0 when it did not start
    // Waits up to `ms` for a line of its output that contains `text`.
    bool waitForOutput(const QString& text, int ms = 5000);
    QStringList lines() const { return m_lines; }

private:
    bool waitForLine(int ms);

    QProcess m_process;
    QStringList m_lines;
    quint16 m_port = 0;
};
