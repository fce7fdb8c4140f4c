#pragma once

// An MQTT 3.1.1 client on libmosquitto, driven by the event loop of the thread
// it lives in: socket notifiers call the library when its socket can be read
// or written, and a one-second timer does its housekeeping (keep-alive pings,
// retries of unanswered QoS 1 messages). No thread of its own. A connection
// that fails or is lost is made again after a growing delay (1 s, 2 s, 4 s ...
// up to the limit); subscriptions are made again after every connect, and
// what is published while away goes out once the broker is back (the last
// payload of a retained topic, the others in order up to a limit).

#include "credentials.h"
#include "topiclink.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>

struct mosquitto;
struct mosquitto_message;
class QSocketNotifier;

namespace mqtt {

struct ClientOptions {
    Broker broker;
    Credentials credentials;
    // Empty: a random identity and a clean session. Otherwise, with
    // persistentSession, the broker keeps the subscriptions and the QoS 1
    // messages that came while the client was away.
    QString clientId;
    bool persistentSession = false;
    int keepAliveSeconds = 30;
    int maxReconnectDelaySeconds = 30;
    // The last will, published by the broker when the client goes without saying goodbye.
    QString willTopic;
    QByteArray willPayload;
    bool willRetain = true;
};

class Client final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Client)
public:
    explicit Client(const ClientOptions& options, QObject* parent = nullptr);
    // Says goodbye to the broker (so no last will) when connected.
    ~Client() override;

    const ClientOptions& options() const { return m_options; }
    // Connects, and keeps connecting until stop().
    void start();
    // A clean goodbye; no more reconnects.
    void stop();

    // QoS 1; made again after every connect. The answer comes with subscribed().
    void subscribe(const QString& topic);
    void publish(const QString& topic, const QByteArray& payload, bool retain, int qos = 1);

    bool isConnected() const { return m_connected; }
    // Why the client is not connected now; empty when it is.
    QString problem() const { return m_problem; }
    // The delay before the next connection attempt, in seconds (0 while connected).
    int reconnectDelaySeconds() const { return m_connected ? 0 : m_delaySeconds; }

    static constexpr int kQueueLimit = 10000; // unsent non-retained messages kept while away

signals:
    void connected();
    // Once per loss (or per failed attempt before the first connect), with the reason.
    void connectionLost(const QString& reason);
    // Whenever the reason it is not connected changes (at a loss, and while away:
    // a broker that went away, then refuses the certificate), before connectionLost.
    void problemChanged(const QString& reason);
    void messageReceived(const QString& topic, const QByteArray& payload, bool retained);
    // The broker's answer to a subscription: false when its access control refused it.
    void subscribed(const QString& topic, bool granted);

private:
    static void onConnect(mosquitto*, void* self, int rc);
    static void onMessage(mosquitto*, void* self, const mosquitto_message* message);
    static void onSubscribe(mosquitto*, void* self, int mid, int count, const int* granted);
    static void onLog(mosquitto*, void* self, int level, const char* text);

    void connectNow();
    void lost(const QString& reason);
    void dropSocket();
    void watchSocket();
    void updateWriteInterest();
    void readable();
    void writable();
    void housekeeping();
    void flushPending();
    bool check(int rc, const char* what);
    QString tlsProblem() const;

    ClientOptions m_options;
    mosquitto* m_mosq = nullptr;
    QSocketNotifier* m_read = nullptr;
    QSocketNotifier* m_write = nullptr;
    QTimer m_misc; // children, so they move with the client to another thread
    QTimer m_reconnect;
    int m_delaySeconds = 1;
    bool m_running = false;
    bool m_connected = false;
    bool m_lossReported = false;
    QString m_problem;
    QString m_libraryError; // the library's last error message
    QString m_setupProblem; // why no connection can be tried (an unreadable authorities' file)
    QStringList m_topics;
    QHash<int, QString> m_pendingSubscriptions; // message id -> topic
    struct Pending {
        QString topic;
        QByteArray payload;
        bool retain;
        int qos;
    };
    QList<Pending> m_pending; // published while away
};

// The library's text for one of its result codes.
QString describe(int rc);

} // namespace mqtt
