#pragma once

// The byte links the emulator answers on: accepted TCP connections, the
// master side of a pseudo terminal, and a Hayes modem in front of a pty.

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class QSocketNotifier;
class QTcpSocket;

namespace emulator {

class ByteLink : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual void send(const QByteArray& bytes) = 0;
    // End the conversation as the device would: TCP closes, a modem reports
    // NO CARRIER; a bare serial line cannot, and says false.
    virtual bool drop() = 0;
    // Sends the last bytes, then ends the conversation as drop() does, but
    // only once those bytes are out.
    virtual bool dropAfter(const QByteArray& last)
    {
        send(last);
        return drop();
    }
    // Bytes taken by send() and not yet handed to the line.
    virtual qint64 backlog() const { return 0; }
    virtual void discardBacklog() {}
    virtual QString name() const = 0;

signals:
    void received(const QByteArray& bytes);
    void connected(); // a new conversation starts (a modem call)
    void closed();    // the link is gone for good
};

class TcpLink final : public ByteLink {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TcpLink)
public:
    TcpLink(QTcpSocket* socket, QObject* parent); // takes the socket
    void send(const QByteArray& bytes) override;
    bool drop() override;
    bool dropAfter(const QByteArray& last) override;
    qint64 backlog() const override;
    QString name() const override { return m_name; }

private:
    QTcpSocket* m_socket;
    QString m_name;
};

// The master side of a pty whose slave path is slavePath(). The emulator keeps
// the slave open itself, so a client closing it does not hang the master up.
class PtyLink final : public ByteLink {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PtyLink)
public:
    explicit PtyLink(QObject* parent = nullptr);
    ~PtyLink() override;
    bool open(QString* error);
    QString slavePath() const { return m_slavePath; }
    void send(const QByteArray& bytes) override;
    bool drop() override { return false; }
    qint64 backlog() const override { return m_out.size(); }
    void discardBacklog() override;
    QString name() const override { return QStringLiteral("pty ") + m_slavePath; }

private:
    void readMaster();
    void flushOut();

    int m_master = -1;
    int m_slave = -1;
    QString m_slavePath;
    QSocketNotifier* m_readNotifier = nullptr;
    QSocketNotifier* m_writeNotifier = nullptr;
    QByteArray m_out;
};

// How the emulated modem answers a dial command.
struct ModemOptions {
    QString dialResult = QStringLiteral("CONNECT 9600"); // or "BUSY", "NO CARRIER", "NO DIALTONE", "" = silence
    int dialDelayMs = 50;
    int guardMs = 80; // silence around "+++"
    bool echo = true;
};

// A Hayes modem in front of a line: AT commands in command mode, the
// display's protocol in data mode after "CONNECT".
class ModemLink final : public ByteLink {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ModemLink)
public:
    ModemLink(ByteLink* line, const ModemOptions& options, QObject* parent = nullptr);
    void send(const QByteArray& bytes) override;
    bool drop() override;
    qint64 backlog() const override { return m_line ? m_line->backlog() : 0; }
    void discardBacklog() override
    {
        if (m_line)
            m_line->discardBacklog();
    }
    QString name() const override { return QStringLiteral("modem on ") + m_line->name(); }
    bool inDataMode() const { return m_mode == Mode::Data; }

signals:
    void modemEvent(const QString& text);

private:
    enum class Mode { Command, Dialling, Data };
    void fromLine(const QByteArray& bytes);
    void commandBytes(const QByteArray& bytes);
    void execute(const QString& line);
    void result(const QString& code);
    void escapeComplete();

    QPointer<ByteLink> m_line;
    ModemOptions m_options;
    Mode m_mode = Mode::Command;
    QByteArray m_lineBuffer;
    QElapsedTimer m_sinceLastByte;
    int m_plusHeld = 0;
    QTimer m_guardTimer;
    QTimer m_dialTimer;
};

} // namespace emulator
