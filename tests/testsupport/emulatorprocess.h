#pragma once

// Starts lumarex-emulator as a separate process (headless) and reads what it
// announces: the TCP port, the pty paths and its log lines.

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

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

// Starts `program` with `args`; when it does not come up the reason is logged
// and tcpPort() is 0.
std::unique_ptr<EmulatorProcess> startEmulator(const QString& program, const QStringList& args = {}, int listeners = 1);

// A display on a loopback TCP port, as a line of the host's display list.
struct LoopbackDisplay {
    QString name;
    quint16 port;
    QString addresses = QStringLiteral("1");
};
// Writes "Displays.dat" into `folder`, numbering the displays 1, 2, ... in order.
bool writeDisplayList(const QString& folder, const QList<LoopbackDisplay>& displays);
