#include "links.h"

#include <QSocketNotifier>
#include <QTcpSocket>

#include <cerrno>
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace emulator {

// --- TcpLink ----------------------------------------------------------------

TcpLink::TcpLink(QTcpSocket* socket, QObject* parent) : ByteLink(parent), m_socket(socket)
{
    m_socket->setParent(this);
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_name = QStringLiteral("tcp %1:%2").arg(socket->peerAddress().toString()).arg(socket->peerPort());
    connect(m_socket, &QTcpSocket::readyRead, this, [this] { emit received(m_socket->readAll()); });
    connect(m_socket, &QTcpSocket::disconnected, this, &ByteLink::closed);
}

void TcpLink::send(const QByteArray& bytes)
{
    if (m_socket->state() == QAbstractSocket::ConnectedState)
        m_socket->write(bytes);
}

bool TcpLink::drop()
{
    m_socket->abort();
    emit closed();
    return true;
}

bool TcpLink::dropAfter(const QByteArray& last)
{
    // Closed once the bytes are out; the socket's disconnected() says closed().
    send(last);
    m_socket->disconnectFromHost();
    return true;
}

qint64 TcpLink::backlog() const { return m_socket->bytesToWrite(); }

// --- PtyLink ----------------------------------------------------------------

PtyLink::PtyLink(QObject* parent) : ByteLink(parent) {}

PtyLink::~PtyLink()
{
    if (m_master >= 0)
        ::close(m_master);
    if (m_slave >= 0)
        ::close(m_slave);
}

bool PtyLink::open(QString* error)
{
    char name[256] = {};
    if (::openpty(&m_master, &m_slave, name, nullptr, nullptr) != 0) {
        *error = QStringLiteral("openpty: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    m_slavePath = QString::fromLocal8Bit(name);
    // Raw from the start: no echo or line editing before a client sets the line up.
    termios tio{};
    if (::tcgetattr(m_slave, &tio) == 0) {
        ::cfmakeraw(&tio);
        ::tcsetattr(m_slave, TCSANOW, &tio);
    }
    ::fcntl(m_master, F_SETFL, ::fcntl(m_master, F_GETFL) | O_NONBLOCK);
    m_readNotifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, [this] { readMaster(); });
    m_writeNotifier = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, [this] { flushOut(); });
    return true;
}

void PtyLink::readMaster()
{
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n > 0) {
            emit received(QByteArray(buffer, n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break;
    }
}

void PtyLink::send(const QByteArray& bytes)
{
    m_out += bytes;
    flushOut();
}

void PtyLink::discardBacklog()
{
    m_out.clear();
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(false);
}

void PtyLink::flushOut()
{
    while (!m_out.isEmpty()) {
        const ssize_t n = ::write(m_master, m_out.constData(), size_t(m_out.size()));
        if (n > 0) {
            m_out.remove(0, n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break;
    }
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(!m_out.isEmpty());
}

// --- ModemLink --------------------------------------------------------------

ModemLink::ModemLink(ByteLink* line, const ModemOptions& options, QObject* parent)
    : ByteLink(parent), m_line(line), m_options(options)
{
    m_sinceLastByte.start();
    m_guardTimer.setSingleShot(true);
    m_dialTimer.setSingleShot(true);
    connect(&m_guardTimer, &QTimer::timeout, this, &ModemLink::escapeComplete);
    connect(line, &ByteLink::received, this, &ModemLink::fromLine);
    connect(line, &ByteLink::closed, this, &ByteLink::closed);
    connect(&m_dialTimer, &QTimer::timeout, this, [this] {
        const QString code = m_options.dialResult;
        if (code.isEmpty())
            return; // a dead line: the caller times out
        result(code);
        if (code.startsWith(u"CONNECT")) {
            m_mode = Mode::Data;
            m_plusHeld = 0;
            emit modemEvent(QStringLiteral("CONNECT"));
            emit connected();
        } else {
            m_mode = Mode::Command;
            emit modemEvent(code);
        }
    });
}

void ModemLink::send(const QByteArray& bytes)
{
    if (m_mode == Mode::Data && m_line)
        m_line->send(bytes);
}

bool ModemLink::drop()
{
    if (m_mode != Mode::Data)
        return false;
    m_mode = Mode::Command;
    m_guardTimer.stop();
    m_plusHeld = 0;
    result(QStringLiteral("NO CARRIER"));
    emit modemEvent(QStringLiteral("NO CARRIER"));
    return true;
}

void ModemLink::result(const QString& code)
{
    if (m_line)
        m_line->send("\r\n" + code.toLatin1() + "\r\n");
}

void ModemLink::fromLine(const QByteArray& bytes)
{
    const qint64 silenceMs = m_sinceLastByte.restart();
    if (m_mode != Mode::Data) {
        commandBytes(bytes);
        return;
    }
    // "+++" counts as an escape only with a guard time of silence before it
    // and after it; anything else is data for the display.
    const bool allPlus = !bytes.isEmpty() && bytes.count('+') == bytes.size();
    if (allPlus && m_plusHeld + bytes.size() <= 3 && (m_plusHeld > 0 || silenceMs >= m_options.guardMs)) {
        m_plusHeld += int(bytes.size());
        m_guardTimer.stop();
        if (m_plusHeld == 3)
            m_guardTimer.start(m_options.guardMs);
        return;
    }
    m_guardTimer.stop();
    QByteArray data(m_plusHeld, '+');
    m_plusHeld = 0;
    data += bytes;
    emit received(data);
}

void ModemLink::escapeComplete()
{
    m_plusHeld = 0;
    m_mode = Mode::Command;
    emit modemEvent(QStringLiteral("ESCAPE"));
    result(QStringLiteral("OK"));
}

void ModemLink::commandBytes(const QByteArray& bytes)
{
    // Characters are echoed as they are read, so "ATE0" stops the echo of
    // what follows it.
    QByteArray echo;
    auto flushEcho = [&] {
        if (m_options.echo && m_line && !echo.isEmpty())
            m_line->send(echo);
        echo.clear();
    };
    for (char c : bytes) {
        echo.append(c);
        if (c == '\r' || c == '\n') {
            flushEcho();
            if (!m_lineBuffer.isEmpty())
                execute(QString::fromLatin1(m_lineBuffer).trimmed().toUpper());
            m_lineBuffer.clear();
        } else if (m_lineBuffer.size() < 256) {
            m_lineBuffer.append(c);
        }
    }
    flushEcho();
}

void ModemLink::execute(const QString& line)
{
    if (!line.startsWith(u"AT"))
        return;
    if (m_mode == Mode::Dialling) {
        // Any key aborts a dial.
        m_dialTimer.stop();
        m_mode = Mode::Command;
        result(QStringLiteral("NO CARRIER"));
        return;
    }
    const QString cmd = line.mid(2);
    if (cmd.startsWith(u"D")) {
        m_mode = Mode::Dialling;
        QString number = cmd.mid(1);
        if (number.startsWith(u'T') || number.startsWith(u'P'))
            number.remove(0, 1); // tone or pulse
        emit modemEvent(QStringLiteral("DIAL ") + number);
        m_dialTimer.start(m_options.dialDelayMs);
        return;
    }
    if (cmd.isEmpty() || cmd == u"Z" || cmd.startsWith(u"H") || cmd.startsWith(u"&F") || cmd.startsWith(u"S")
        || cmd.startsWith(u"V") || cmd.startsWith(u"Q") || cmd.startsWith(u"X") || cmd.startsWith(u"M")
        || cmd.startsWith(u"L")) {
        if (cmd.startsWith(u"H"))
            emit modemEvent(QStringLiteral("HANGUP"));
        result(QStringLiteral("OK"));
        return;
    }
    if (cmd == u"E0" || cmd == u"E1" || cmd == u"E") {
        m_options.echo = cmd == u"E1";
        result(QStringLiteral("OK"));
        return;
    }
    result(QStringLiteral("ERROR"));
}

} // namespace emulator
