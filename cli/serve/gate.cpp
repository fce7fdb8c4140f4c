#include "gate.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSslSocket>
#include <QTimer>

namespace serve {

namespace {
const char* reason(int status)
{
    switch (status) {
    case 400: return "Bad Request";
    case 408: return "Request Timeout";
    case 411: return "Length Required";
    case 413: return "Content Too Large";
    case 431: return "Request Header Fields Too Large";
    case 503: return "Service Unavailable";
    default: return status < 500 ? "Refused" : "Error";
    }
}
} // namespace

QByteArray RequestScanner::header(const QByteArray& head, const QByteArray& name, bool* several)
{
    QByteArray found;
    int count = 0;
    const QList<QByteArray> lines = head.split('\n');
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray& line = lines[i];
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare(name, Qt::CaseInsensitive) == 0) {
            found = line.mid(colon + 1).trimmed();
            ++count;
        }
    }
    if (several)
        *several = count > 1;
    return found;
}

RequestScanner::Verdict RequestScanner::endOfHead()
{
    bool several = false;
    const QByteArray length = header(m_head, "content-length", &several);
    if (several)
        return Verdict::Malformed;
    if (!header(m_head, "transfer-encoding").isEmpty())
        return Verdict::LengthRequired;
    if (header(m_head, "upgrade").compare("websocket", Qt::CaseInsensitive) == 0)
        return Verdict::Upgrade;
    if (!length.isEmpty()) {
        bool ok = false;
        const qint64 n = length.toLongLong(&ok);
        if (!ok || n < 0 || length.size() > 18 || !std::all_of(length.begin(), length.end(), ::isdigit))
            return Verdict::Malformed;
        if (n > m_limits.maxBody)
            return Verdict::BodyTooLarge;
        m_bodyLeft = n;
    }
    m_head.clear();
    m_inHead = m_bodyLeft == 0;
    return Verdict::Ok;
}

RequestScanner::Verdict RequestScanner::feed(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        if (!m_inHead) {
            const qint64 take = std::min<qint64>(m_bodyLeft, bytes.size());
            m_bodyLeft -= take;
            bytes = bytes.sliced(take);
            m_inHead = m_bodyLeft == 0;
            continue;
        }
        // Blank lines between requests are allowed.
        if (m_head.isEmpty() && (bytes.front() == '\r' || bytes.front() == '\n')) {
            bytes = bytes.sliced(1);
            continue;
        }
        const qsizetype before = m_head.size();
        m_head.append(bytes.first(std::min<qsizetype>(bytes.size(), m_limits.maxHeaderBytes + 4 - before)));
        qsizetype end = m_head.indexOf("\r\n\r\n", std::max<qsizetype>(0, before - 3));
        qsizetype endLength = 4;
        if (const qsizetype bare = m_head.indexOf("\n\n", std::max<qsizetype>(0, before - 1));
            bare >= 0 && (end < 0 || bare < end)) {
            end = bare;
            endLength = 2;
        }
        if (end < 0) {
            // Full with no end in it: the block is longer than the cap.
            if (m_head.size() >= m_limits.maxHeaderBytes + 4)
                return Verdict::HeadersTooLarge;
            bytes = bytes.sliced(m_head.size() - before);
            continue;
        }
        if (end > m_limits.maxHeaderBytes)
            return Verdict::HeadersTooLarge;
        const qsizetype used = end + endLength - before;
        m_head.truncate(end + endLength);
        bytes = bytes.sliced(used);
        const Verdict v = endOfHead();
        if (v != Verdict::Ok)
            return v;
    }
    return Verdict::Ok;
}

QByteArray Gate::errorResponse(int status, const QString& message)
{
    const QByteArray body =
        QJsonDocument(QJsonObject{{QStringLiteral("error"), message}}).toJson(QJsonDocument::Compact);
    return "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason(status)
           + "\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: "
           + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

Gate::Gate(const Limits& limits, UpgradeCheck check, QObject* parent)
    : QTcpServer(parent), m_limits(limits), m_check(std::move(check))
{}

void Gate::setTls(const QSslCertificate& certificate, const QSslKey& key)
{
    m_tls = true;
    m_certificate = certificate;
    m_key = key;
}

void Gate::incomingConnection(qintptr descriptor)
{
    QTcpSocket* socket = nullptr;
    if (m_tls) {
        auto* ssl = new QSslSocket(this);
        socket = ssl;
    } else {
        socket = new QTcpSocket(this);
    }
    if (!socket->setSocketDescriptor(descriptor)) {
        socket->deleteLater();
        return;
    }
    const QString peer = socket->peerAddress().toString();
    if (m_perAddress.value(peer) >= m_limits.maxConnectionsPerAddress) {
        socket->write(errorResponse(503, QStringLiteral("too many connections from your address; close some and "
                                                        "try again")));
        socket->disconnectFromHost();
        connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
        QTimer::singleShot(1000, socket, &QObject::deleteLater);
        return;
    }
    ++m_perAddress[peer];
    connect(socket, &QObject::destroyed, this, [this, peer] {
        if (--m_perAddress[peer] <= 0)
            m_perAddress.remove(peer);
    });
    connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
    watch(socket);
    if (auto* ssl = qobject_cast<QSslSocket*>(socket)) {
        ssl->setLocalCertificate(m_certificate);
        ssl->setPrivateKey(m_key);
        ssl->setProtocol(QSsl::SecureProtocols);
        connect(ssl, &QSslSocket::sslErrors, ssl, [ssl] { ssl->abort(); });
        ssl->startServerEncryption();
    }
    addPendingConnection(socket);
}

void Gate::watch(QTcpSocket* socket)
{
    auto* scanner = new RequestScanner(m_limits);
    connect(socket, &QObject::destroyed, [scanner] { delete scanner; });
    auto* timer = new QTimer(socket);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, socket, [socket] {
        // A request that did not arrive in time, or a connection left idle.
        socket->abort();
    });
    timer->start(m_limits.requestTimeoutMs);
    // Connected before the HTTP server's own reader, so it sees the bytes first.
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(socket, &QIODevice::readyRead, socket, [=, this] {
        const bool wasInRequest = scanner->inRequest();
        const QByteArray bytes = socket->peek(socket->bytesAvailable());
        const RequestScanner::Verdict verdict = scanner->feed(bytes);
        auto refuse = [&](int status, const QString& message) {
            disconnect(*connection);
            timer->stop();
            socket->readAll();
            socket->write(errorResponse(status, message));
            socket->disconnectFromHost();
        };
        switch (verdict) {
        case RequestScanner::Verdict::Ok:
            if (scanner->inRequest() && !wasInRequest)
                timer->start(m_limits.requestTimeoutMs);
            else if (!scanner->inRequest())
                timer->start(m_limits.idleTimeoutMs);
            return;
        case RequestScanner::Verdict::HeadersTooLarge:
            return refuse(
                431, QStringLiteral("the request's headers are longer than %1 bytes").arg(m_limits.maxHeaderBytes));
        case RequestScanner::Verdict::BodyTooLarge:
            return refuse(413, QStringLiteral("the request's body is longer than %1 bytes").arg(m_limits.maxBody));
        case RequestScanner::Verdict::Malformed:
            return refuse(400, QStringLiteral("the request's Content-Length is not one whole number"));
        case RequestScanner::Verdict::LengthRequired:
            return refuse(411, QStringLiteral("send the body with a Content-Length, not chunked"));
        case RequestScanner::Verdict::Upgrade: {
            const QByteArray answer = m_check(scanner->upgradeHead(), socket->peerAddress());
            if (!answer.isEmpty()) {
                disconnect(*connection);
                timer->stop();
                socket->readAll();
                socket->write(answer);
                socket->disconnectFromHost();
                return;
            }
            // The WebSocket takes the connection over; it is no longer HTTP.
            disconnect(*connection);
            timer->stop();
            return;
        }
        }
    });
}

} // namespace serve
