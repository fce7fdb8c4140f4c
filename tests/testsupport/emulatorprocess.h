#pragma once

// Starts lumarex-emulator as a separate process (headless) and reads what it
// announces: the TCP port, the pty paths and its log lines.

#include <QProcess>
#include <QString>
#include <QStringList>

class EmulatorProcess final {
public:
    explicit EmulatorProcess(const QString& program);
    ~EmulatorProcess();
    EmulatorProcess(const EmulatorProcess&) = delete;
    EmulatorProcess& operator=(const EmulatorProcess&) = delete;

    // Starts with --headless plus args and waits for `listeners` LISTENING
    // lines. False with the reason in error() when it does not come up.
    bool start(const QStringList& args, int listeners = 1, int timeoutMs = 5000);
    void stop();

    quint16 tcpPort() const { return m_tcpPort; }
    QString ptyPath() const { return m_ptyPath; }
    QString modemPath() const { return m_modemPath; }
    QString error() const { return m_error; }

    // Every line the emulator printed so far.
    QStringList log();
    // Waits until a line containing `text` has been printed; gives that line.
    QString waitForLine(const QString& text, int timeoutMs = 3000);

private:
    void readLines();

    QString m_program;
    QProcess m_process;
    QByteArray m_partial;
    QStringList m_lines;
    quint16 m_tcpPort = 0;
    QString m_ptyPath;
    QString m_modemPath;
    QString m_error;
};
