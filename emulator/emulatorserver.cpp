#include "emulatorserver.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace emulator {

EmulatorServer::EmulatorServer(EmulatorCore& core, QObject* parent) : QObject(parent), m_core(core) {}

EmulatorServer::~EmulatorServer()
{
    for (int fd : std::as_const(m_refusingSockets))
        ::close(fd);
}

namespace {
QString hostText(const QHostAddress& address)
{
    return address.protocol() == QAbstractSocket::IPv6Protocol
               ? QLatin1Char('[') + address.toString() + QLatin1Char(']')
               : address.toString();
}

QString errnoText() { return QString::fromLocal8Bit(strerror(errno)); }
} // namespace

QString EmulatorServer::listenTcp(const QHostAddress& address, quint16 port, QString* error)
{
    if (m_core.faults().refuseConnections) {
        // Bound but not listening: every connection attempt is refused at once,
        // and the port stays ours so nobody else answers on it.
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(port);
        sa.sin_addr.s_addr = htonl(address.toIPv4Address());
        socklen_t len = sizeof sa;
        if (fd < 0 || address.protocol() != QAbstractSocket::IPv4Protocol
            || ::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0
            || ::getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) != 0) {
            *error = QStringLiteral("cannot reserve %1:%2: %3").arg(address.toString()).arg(port).arg(errnoText());
            if (fd >= 0)
                ::close(fd);
            return {};
        }
        m_refusingSockets.append(fd);
        m_lastPort = ntohs(sa.sin_port);
        return QStringLiteral("LISTENING tcp %1:%2 refusing").arg(hostText(address)).arg(m_lastPort);
    }
    auto* server = new QTcpServer(this);
    if (!server->listen(address, port)) {
        *error =
            QStringLiteral("cannot listen on %1:%2: %3").arg(address.toString()).arg(port).arg(server->errorString());
        delete server;
        return {};
    }
    connect(server, &QTcpServer::newConnection, this, [this, server] { accept(server); });
    m_lastPort = server->serverPort();
    return QStringLiteral("LISTENING tcp %1:%2").arg(hostText(address)).arg(m_lastPort);
}

void EmulatorServer::accept(QTcpServer* server)
{
    while (QTcpSocket* socket = server->nextPendingConnection()) {
        auto* link = new TcpLink(socket, this);
        new LinkSession(m_core, link, link);
        m_core.log(QStringLiteral("CONNECTED %1").arg(link->name()));
        connect(
            link, &ByteLink::closed, link,
            [this, link] {
                m_core.log(QStringLiteral("CLOSED %1").arg(link->name()));
                link->deleteLater();
            },
            Qt::SingleShotConnection);
    }
}

QString EmulatorServer::openPty(QString* error)
{
    auto* pty = new PtyLink(this);
    if (!pty->open(error)) {
        delete pty;
        return {};
    }
    new LinkSession(m_core, pty, pty);
    m_lastPty = pty->slavePath();
    return QStringLiteral("LISTENING pty ") + pty->slavePath();
}

QString EmulatorServer::openModemPty(const ModemOptions& options, QString* error)
{
    auto* pty = new PtyLink(this);
    if (!pty->open(error)) {
        delete pty;
        return {};
    }
    auto* modem = new ModemLink(pty, options, pty);
    connect(modem, &ModemLink::modemEvent, this, [this, modem](const QString& event) {
        m_core.log(QStringLiteral("MODEM %1 %2").arg(modem->name(), event));
    });
    new LinkSession(m_core, modem, modem);
    m_lastPty = pty->slavePath();
    return QStringLiteral("LISTENING modem ") + pty->slavePath();
}

} // namespace emulator
