#pragma once

// A JSON feed on 127.0.0.1 for tests, answering on a thread of its own so a
// reader that blocks does not block it: it serves a body, fails with 503, or
// holds every request until released.

#include <QByteArray>
#include <QMutex>
#include <QTcpServer>
#include <QThread>

#include <atomic>

class FeedServer final : public QObject {
public:
    enum class Mode { Serve, Fail, Hold };

    FeedServer();
    ~FeedServer() override;
    QString url(const QString& path = QStringLiteral("/feed.json")) const;
    void setBody(const QByteArray& body);
    void setMode(Mode mode);
    // Answers the held requests with the body.
    void release();
    // Stops listening (connections are refused) or listens again on the same port.
    void setListening(bool on);
    int requests() const { return m_requests; }

private:
    void answer(QTcpSocket* socket);

    QThread m_thread;
    QTcpServer* m_server = nullptr;
    quint16 m_port = 0;
    mutable QMutex m_mutex;
    QByteArray m_body;
    Mode m_mode = Mode::Serve;
    QList<QTcpSocket*> m_held;
    std::atomic<int> m_requests{0};
};
