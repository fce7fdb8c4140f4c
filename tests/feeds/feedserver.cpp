#include "feedserver.h"

#include <QTcpSocket>

FeedServer::FeedServer()
{
    m_thread.start();
    moveToThread(&m_thread);
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_server = new QTcpServer(this);
            m_server->listen(QHostAddress::LocalHost, 0);
            m_port = m_server->serverPort();
            connect(m_server, &QTcpServer::newConnection, this, [this] {
                while (QTcpSocket* socket = m_server->nextPendingConnection()) {
                    connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                        if (socket->property("asked").toBool() || !socket->peek(65536).contains("\r\n\r\n"))
                            return;
                        socket->setProperty("asked", true);
                        ++m_requests;
                        QMutexLocker lock(&m_mutex);
                        if (m_mode == Mode::Hold)
                            m_held.append(socket);
                        else
                            answer(socket);
                    });
                    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
                }
            });
        },
        Qt::BlockingQueuedConnection);
}

FeedServer::~FeedServer()
{
    QMetaObject::invokeMethod(
        this, [this] { delete m_server; }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QString FeedServer::url(const QString& path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
}

void FeedServer::setBody(const QByteArray& body)
{
    QMutexLocker lock(&m_mutex);
    m_body = body;
}

void FeedServer::setMode(Mode mode)
{
    QMutexLocker lock(&m_mutex);
    m_mode = mode;
}

// Called with the lock held, on the server's thread.
void FeedServer::answer(QTcpSocket* socket)
{
    const bool fail = m_mode == Mode::Fail;
    const QByteArray body = fail ? QByteArray("down") : m_body;
    socket->write((fail ? "HTTP/1.1 503 Service Unavailable\r\n" : "HTTP/1.1 200 OK\r\n")
                  + QByteArray("Content-Type: application/json\r\nConnection: close\r\nContent-Length: ")
                  + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    socket->disconnectFromHost();
}

void FeedServer::release()
{
    QMetaObject::invokeMethod(
        this,
        [this] {
            QMutexLocker lock(&m_mutex);
            m_mode = Mode::Serve;
            for (QTcpSocket* socket : std::as_const(m_held))
                answer(socket);
            m_held.clear();
        },
        Qt::BlockingQueuedConnection);
}

void FeedServer::setListening(bool on)
{
    QMetaObject::invokeMethod(
        this,
        [this, on] {
            if (on)
                m_server->listen(QHostAddress::LocalHost, m_port);
            else
                m_server->close();
        },
        Qt::BlockingQueuedConnection);
}
