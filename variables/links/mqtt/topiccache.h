#pragma once

// The latest payload of every linked topic, for readers on any thread. The
// first read of a topic connects to its broker (one connection per broker and
// user) and subscribes; retained messages give the value at once, and the
// value is kept across reconnects. The clients live in a thread of their own
// with its own event loop, so a reader can wait for a first value with a limit
// whether or not its own thread runs one (`qmdvars show`, the update jobs).

#include "topiclink.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QString>

#include <condition_variable>
#include <mutex>

class QThread;

namespace mqtt {

class Client;

struct TopicReading {
    QByteArray payload;
    bool have = false;  // a message came, now or before
    QString error;      // why there is no value, or why the value is stale; empty when all is well
    bool stale = false; // the value is the last one, and the broker cannot be reached now
};

class TopicCache final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TopicCache)
public:
    // The one the link readers use; its thread stops when the application object goes.
    static TopicCache& shared();

    TopicCache();
    ~TopicCache() override;

    // Before the first read: a stable client identity, so the broker keeps the
    // subscriptions and QoS 1 messages while the link is down (the watch).
    void setSession(const QString& clientId, int keepAliveSeconds);
    // Subscribes without waiting.
    void follow(const TopicLink& link);
    // Waits at most `waitMs` for a first answer of the broker.
    TopicReading read(const TopicLink& link, int waitMs);
    // Every followed topic's broker key and topic.
    QList<std::pair<QString, QString>> followed() const;

    void stop();

signals:
    // Emitted on the cache's own thread; connect with the default connection.
    void payloadChanged(const QString& brokerKey, const QString& topic);
    void brokerLost(const QString& brokerKey, const QString& reason);
    void brokerBack(const QString& brokerKey);
    void topicRefused(const QString& brokerKey, const QString& topic);

private:
    struct Topic {
        QByteArray payload;
        bool have = false;
        bool answered = false; // the broker answered the subscription
        bool refused = false;
        QElapsedTimer sinceAnswer;
    };
    struct BrokerState {
        Broker broker;
        bool up = false;
        bool tried = false; // a first attempt to connect has ended, one way or the other
        QString problem;
        QHash<QString, Topic> topics;
        Client* client = nullptr; // on the cache's thread
    };
    void ensureFollowed(const TopicLink& link); // with the lock held
    void startClient(const QString& key);       // on the cache's thread

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    QHash<QString, BrokerState> m_brokers;
    QString m_clientId;
    int m_keepAlive = 30;
    QThread* m_thread = nullptr;
    QObject* m_home = nullptr; // lives on m_thread; parent of the clients
};

} // namespace mqtt
