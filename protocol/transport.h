#pragma once

// The byte links a DisplayClient talks over: a TCP connection, a serial port,
// or a Hayes modem dialled on a serial port. All calls block, bounded by the
// time they are given.

#include <QByteArray>
#include <QSerialPort>
#include <QString>

#include <memory>
#include <optional>

class QIODevice;
class QTcpSocket;

namespace wire {

// Serial line settings as display records write them: "9600,N,8,1".
struct SerialParams {
    qint32 baud = 9600;
    QSerialPort::Parity parity = QSerialPort::NoParity;
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;
};
// Empty text gives the defaults; anything unreadable gives no value.
std::optional<SerialParams> parseSerialParams(const QString& text);

struct ReadResult {
    QByteArray bytes;  // empty when the time ran out
    bool lost = false; // the link is gone; see reason
    QString reason;
};

class Transport {
public:
    virtual ~Transport() = default;
    // Connects; false with a reason in *error.
    virtual bool open(int timeoutMs, QString* error) = 0;
    virtual void close(int timeoutMs) = 0;
    virtual bool isOpen() const = 0;
    virtual bool write(const QByteArray& bytes, int timeoutMs, QString* error) = 0;
    // Waits up to timeoutMs for bytes; gives what arrived (maybe nothing).
    virtual ReadResult read(int timeoutMs) = 0;
    // True when the link reports a lost connection in-band (a modem's "NO CARRIER").
    virtual bool reportsCarrierInBand() const { return false; }
    // The far end is known to be gone: close without saying goodbye.
    virtual void markLost() {}
};

// The common blocking read/write over a QIODevice.
class DeviceTransport : public Transport {
public:
    bool write(const QByteArray& bytes, int timeoutMs, QString* error) override;
    ReadResult read(int timeoutMs) override;

protected:
    virtual QIODevice* device() const = 0;
    // Whether the device has gone away (peer closed, port removed), with the reason.
    virtual bool deviceLost(QString* reason) const = 0;
};

class TcpTransport final : public DeviceTransport {
public:
    TcpTransport(const QString& host, quint16 port);
    ~TcpTransport() override;
    bool open(int timeoutMs, QString* error) override;
    void close(int timeoutMs) override;
    bool isOpen() const override;

protected:
    QIODevice* device() const override;
    bool deviceLost(QString* reason) const override;

private:
    QString m_host;
    quint16 m_port;
    std::unique_ptr<QTcpSocket> m_socket;
};

class SerialTransport : public DeviceTransport {
public:
    SerialTransport(const QString& portName, const SerialParams& params);
    ~SerialTransport() override;
    bool open(int timeoutMs, QString* error) override;
    void close(int timeoutMs) override;
    bool isOpen() const override;

protected:
    QIODevice* device() const override;
    bool deviceLost(QString* reason) const override;
    const QString& portName() const { return m_portName; }

private:
    QString m_portName;
    SerialParams m_params;
    std::unique_ptr<QSerialPort> m_port;
};

// A Hayes modem: "ATZ", "ATDT<number>", wait for "CONNECT"; hangs up with the
// escape "+++" between guard times and "ATH".
class ModemTransport final : public SerialTransport {
public:
    ModemTransport(const QString& portName, const SerialParams& params, const QString& number);
    bool open(int timeoutMs, QString* error) override;
    void close(int timeoutMs) override;
    ReadResult read(int timeoutMs) override;
    bool reportsCarrierInBand() const override { return true; }
    void markLost() override { m_connected = false; }

    // How long dialling may take, in command timeouts: a call is set up in
    // seconds, not milliseconds.
    static constexpr int kDialTimeouts = 15;

private:
    // Sends a command line and waits for a final result code; gives it, or an
    // empty text when the time ran out.
    QString command(const QByteArray& line, int timeoutMs, QString* error);
    QString waitResult(const QString& what, int timeoutMs, QString* error);
    QByteArray m_pending; // data that came with the CONNECT line
    QString m_number;
    bool m_connected = false;
};

} // namespace wire
