#include "transport.h"

#include <QDeadlineTimer>
#include <QHostAddress>
#include <QStringList>
#include <QTcpSocket>
#include <QThread>

#include <algorithm>

namespace wire {

namespace {
// The value `text` names in `names`; nothing for a name it does not hold.
template <typename T>
std::optional<T> named(const QString& text, std::initializer_list<std::pair<QStringView, T>> names)
{
    for (const auto& [name, value] : names)
        if (text == name)
            return value;
    return std::nullopt;
}
} // namespace

std::optional<SerialParams> parseSerialParams(const QString& text)
{
    SerialParams p;
    if (text.trimmed().isEmpty())
        return p;
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() > 4)
        return std::nullopt;
    bool ok = false;
    const int baud = parts[0].trimmed().toInt(&ok);
    if (!ok || baud < 50 || baud > 4000000)
        return std::nullopt;
    p.baud = baud;
    if (parts.size() > 1) {
        const auto parity = named<QSerialPort::Parity>(parts[1].trimmed().toUpper(),
                                                       {{u"N", QSerialPort::NoParity},
                                                        {u"E", QSerialPort::EvenParity},
                                                        {u"O", QSerialPort::OddParity},
                                                        {u"M", QSerialPort::MarkParity},
                                                        {u"S", QSerialPort::SpaceParity}});
        if (!parity)
            return std::nullopt;
        p.parity = *parity;
    }
    if (parts.size() > 2) {
        const int bits = parts[2].trimmed().toInt(&ok);
        if (!ok || bits < 5 || bits > 8)
            return std::nullopt;
        p.dataBits = QSerialPort::DataBits(bits);
    }
    if (parts.size() > 3) {
        const auto stop = named<QSerialPort::StopBits>(
            parts[3].trimmed(),
            {{u"1", QSerialPort::OneStop}, {u"1.5", QSerialPort::OneAndHalfStop}, {u"2", QSerialPort::TwoStop}});
        if (!stop)
            return std::nullopt;
        p.stopBits = *stop;
    }
    return p;
}

// --- DeviceTransport --------------------------------------------------------

bool DeviceTransport::write(const QByteArray& bytes, int timeoutMs, QString* error)
{
    QIODevice* dev = device();
    if (!dev || !isOpen()) {
        *error = QStringLiteral("the connection is closed");
        return false;
    }
    if (dev->write(bytes) != bytes.size()) {
        *error = dev->errorString();
        return false;
    }
    QDeadlineTimer deadline(timeoutMs);
    while (dev->bytesToWrite() > 0) {
        QString reason;
        if (!dev->waitForBytesWritten(int(deadline.remainingTime()))) {
            if (deviceLost(&reason))
                *error = reason;
            else if (deadline.hasExpired())
                *error = QStringLiteral("the link did not take the data within %1 ms").arg(timeoutMs);
            else
                *error = dev->errorString();
            return false;
        }
    }
    return true;
}

ReadResult DeviceTransport::read(int timeoutMs)
{
    ReadResult r;
    QIODevice* dev = device();
    if (!dev || !isOpen()) {
        r.lost = true;
        r.reason = QStringLiteral("the connection is closed");
        return r;
    }
    if (dev->bytesAvailable() > 0 || dev->waitForReadyRead(timeoutMs))
        r.bytes = dev->readAll();
    if (r.bytes.isEmpty())
        r.lost = deviceLost(&r.reason);
    return r;
}

// --- TcpTransport -----------------------------------------------------------

TcpTransport::TcpTransport(const QString& host, quint16 port) : m_host(host), m_port(port) {}

TcpTransport::~TcpTransport()
{
    if (m_socket)
        m_socket->abort();
}

namespace {
QString socketErrorText(const QTcpSocket& socket)
{
    switch (socket.error()) {
    case QAbstractSocket::ConnectionRefusedError: return QStringLiteral("connection refused");
    case QAbstractSocket::HostNotFoundError: return QStringLiteral("host not found");
    case QAbstractSocket::RemoteHostClosedError: return QStringLiteral("the display closed the connection");
    case QAbstractSocket::NetworkError: return QStringLiteral("network error: %1").arg(socket.errorString());
    default: return socket.errorString();
    }
}
} // namespace

bool TcpTransport::open(int timeoutMs, QString* error)
{
    m_socket = std::make_unique<QTcpSocket>();
    m_socket->connectToHost(m_host, m_port);
    if (!m_socket->waitForConnected(timeoutMs)) {
        const QString where = m_host + QLatin1Char(':') + QString::number(m_port);
        if (m_socket->error() == QAbstractSocket::SocketTimeoutError)
            *error = QStringLiteral("cannot connect to %1: no answer within %2 ms").arg(where).arg(timeoutMs);
        else
            *error = QStringLiteral("cannot connect to %1: %2").arg(where, socketErrorText(*m_socket));
        m_socket->abort();
        m_socket.reset();
        return false;
    }
    // Small frames, one at a time: no coalescing delay.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    return true;
}

void TcpTransport::close(int timeoutMs)
{
    if (!m_socket)
        return;
    m_socket->disconnectFromHost();
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->waitForDisconnected(timeoutMs);
    m_socket->abort();
    m_socket.reset();
}

bool TcpTransport::isOpen() const { return m_socket && m_socket->state() == QAbstractSocket::ConnectedState; }

QIODevice* TcpTransport::device() const { return m_socket.get(); }

bool TcpTransport::deviceLost(QString* reason) const
{
    if (m_socket && m_socket->state() == QAbstractSocket::ConnectedState)
        return false;
    *reason = m_socket ? socketErrorText(*m_socket) : QStringLiteral("the connection is closed");
    return true;
}

// --- SerialTransport --------------------------------------------------------

SerialTransport::SerialTransport(const QString& portName, const SerialParams& params)
    : m_portName(portName), m_params(params)
{}

SerialTransport::~SerialTransport() = default;

bool SerialTransport::open(int, QString* error)
{
    m_port = std::make_unique<QSerialPort>();
    m_port->setPortName(m_portName);
    if (!m_port->open(QIODevice::ReadWrite)) {
        *error = QStringLiteral("cannot open serial port %1: %2").arg(m_portName, m_port->errorString());
        m_port.reset();
        return false;
    }
    if (!m_port->setBaudRate(m_params.baud) || !m_port->setParity(m_params.parity)
        || !m_port->setDataBits(m_params.dataBits) || !m_port->setStopBits(m_params.stopBits)
        || !m_port->setFlowControl(QSerialPort::NoFlowControl)) {
        *error = QStringLiteral("cannot set up serial port %1: %2").arg(m_portName, m_port->errorString());
        m_port->close();
        m_port.reset();
        return false;
    }
    // Whatever a previous user left in the buffers is not ours.
    m_port->clear();
    return true;
}

void SerialTransport::close(int)
{
    if (!m_port)
        return;
    m_port->close();
    m_port.reset();
}

bool SerialTransport::isOpen() const { return m_port && m_port->isOpen(); }

QIODevice* SerialTransport::device() const { return m_port.get(); }

bool SerialTransport::deviceLost(QString* reason) const
{
    if (!m_port || !m_port->isOpen()) {
        *reason = QStringLiteral("serial port %1 is closed").arg(m_portName);
        return true;
    }
    if (m_port->error() == QSerialPort::ResourceError) {
        *reason = QStringLiteral("serial port %1 went away: %2").arg(m_portName, m_port->errorString());
        return true;
    }
    return false;
}

// --- ModemTransport ---------------------------------------------------------

ModemTransport::ModemTransport(const QString& portName, const SerialParams& params, const QString& number)
    : SerialTransport(portName, params), m_number(number)
{}

namespace {
const QStringList& finalResults()
{
    static const QStringList codes = {
        QStringLiteral("OK"),        QStringLiteral("CONNECT"),     QStringLiteral("NO CARRIER"),
        QStringLiteral("BUSY"),      QStringLiteral("NO DIALTONE"), QStringLiteral("NO DIAL TONE"),
        QStringLiteral("NO ANSWER"), QStringLiteral("ERROR"),
    };
    return codes;
}

bool isFinalResult(const QString& line)
{
    for (const QString& code : finalResults())
        if (line == code || (code == u"CONNECT" && line.startsWith(u"CONNECT")))
            return true;
    return false;
}
} // namespace

QString ModemTransport::command(const QByteArray& line, int timeoutMs, QString* error)
{
    if (!SerialTransport::write(line + '\r', timeoutMs, error))
        return {};
    return waitResult(QString::fromLatin1(line), timeoutMs, error);
}

QString ModemTransport::waitResult(const QString& what, int timeoutMs, QString* error)
{
    QByteArray buffer;
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        const ReadResult r = SerialTransport::read(int(deadline.remainingTime()));
        if (r.lost) {
            *error = r.reason;
            return {};
        }
        buffer += r.bytes;
        // Result codes are lines; the modem may echo our command first.
        qsizetype end;
        while ((end = buffer.indexOf('\r')) >= 0 || (end = buffer.indexOf('\n')) >= 0) {
            const QString text = QString::fromLatin1(buffer.left(end)).trimmed();
            buffer.remove(0, end + 1);
            if (isFinalResult(text)) {
                if (text.startsWith(u"CONNECT"))
                    m_pending = buffer;
                return text;
            }
        }
        if (buffer.size() > 1024)
            buffer.clear(); // a modem does not talk this much; not a modem
    }
    *error = QStringLiteral("no answer from the modem on %1 to %2 within %3 ms").arg(portName(), what).arg(timeoutMs);
    return {};
}

bool ModemTransport::open(int timeoutMs, QString* error)
{
    m_connected = false;
    m_pending.clear();
    if (!SerialTransport::open(timeoutMs, error))
        return false;
    auto fail = [&](const QString& reason) {
        *error = reason;
        SerialTransport::close(timeoutMs);
        return false;
    };
    QString result = command("ATZ", timeoutMs, error);
    if (result.isEmpty())
        return fail(*error);
    if (result != u"OK")
        return fail(QStringLiteral("the modem on %1 answered %2 to ATZ").arg(portName(), result));
    const int dialMs = timeoutMs * kDialTimeouts;
    result = command("ATDT" + m_number.toLatin1(), dialMs, error);
    if (result.isEmpty())
        return fail(QStringLiteral("dialling %1: %2").arg(m_number, *error));
    if (!result.startsWith(u"CONNECT"))
        return fail(QStringLiteral("dialling %1: %2").arg(m_number, result));
    m_connected = true;
    return true;
}

ReadResult ModemTransport::read(int timeoutMs)
{
    if (!m_pending.isEmpty()) {
        ReadResult r;
        r.bytes = std::exchange(m_pending, QByteArray());
        return r;
    }
    return SerialTransport::read(timeoutMs);
}

void ModemTransport::close(int timeoutMs)
{
    if (!isOpen())
        return;
    if (m_connected) {
        // Guard time, escape to command mode, guard time, hang up.
        const int guardMs = std::clamp(timeoutMs / 2, 100, 1000);
        QString error;
        QThread::msleep(guardMs);
        if (SerialTransport::write("+++", timeoutMs, &error)) {
            QThread::msleep(guardMs);
            if (!waitResult(QStringLiteral("+++"), timeoutMs, &error).isEmpty())
                command("ATH", timeoutMs, &error);
        }
        m_connected = false;
    }
    SerialTransport::close(timeoutMs);
}

} // namespace wire
