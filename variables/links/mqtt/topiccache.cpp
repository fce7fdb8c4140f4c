#include "topiccache.h"

#include "credentials.h"
#include "mqttclient.h"

#include <QCoreApplication>
#include <QThread>

#include <chrono>

namespace mqtt {

namespace {
// After the broker answers a subscription, how long its retained message may
// take to follow.
constexpr int kRetainedGraceMs = 150;
} // namespace

TopicCache& TopicCache::shared()
{
    static TopicCache* const cache = [] {
        auto* c = new TopicCache;
        qAddPostRoutine([] { TopicCache::shared().stop(); });
        return c;
    }();
    return *cache;
}

TopicCache::TopicCache() = default;

TopicCache::~TopicCache() { stop(); }

void TopicCache::stop()
{
    QThread* thread = nullptr;
    {
        std::lock_guard lock(m_mutex);
        std::swap(thread, m_thread);
        m_home = nullptr;
        for (BrokerState& b : m_brokers) {
            b.client = nullptr;
            b.up = false;
        }
    }
    if (thread) {
        thread->quit();
        thread->wait();
        delete thread;
    }
}

void TopicCache::setSession(const QString& clientId, int keepAliveSeconds)
{
    std::lock_guard lock(m_mutex);
    m_clientId = clientId;
    m_keepAlive = keepAliveSeconds;
}

void TopicCache::follow(const TopicLink& link)
{
    std::lock_guard lock(m_mutex);
    ensureFollowed(link);
}

QList<std::pair<QString, QString>> TopicCache::followed() const
{
    std::lock_guard lock(m_mutex);
    QList<std::pair<QString, QString>> all;
    for (auto b = m_brokers.cbegin(); b != m_brokers.cend(); ++b)
        for (auto t = b->topics.cbegin(); t != b->topics.cend(); ++t)
            all.append({b.key(), t.key()});
    return all;
}

void TopicCache::ensureFollowed(const TopicLink& link)
{
    const QString key = link.broker.key();
    BrokerState& b = m_brokers[key];
    if (b.topics.contains(link.topic))
        return;
    b.broker = link.broker;
    b.topics.insert(link.topic, Topic{});
    if (!m_thread) {
        if (!QCoreApplication::instance())
            return;
        m_thread = new QThread;
        m_thread->setObjectName(QStringLiteral("mqtt"));
        m_home = new QObject;
        m_home->moveToThread(m_thread);
        QObject::connect(m_thread, &QThread::finished, m_home, &QObject::deleteLater);
        m_thread->start();
    }
    const QString topic = link.topic;
    QMetaObject::invokeMethod(
        m_home,
        [this, key, topic] {
            startClient(key);
            Client* client = nullptr;
            {
                std::lock_guard lock(m_mutex);
                client = m_brokers.value(key).client;
            }
            if (client)
                client->subscribe(topic);
        },
        Qt::QueuedConnection);
}

void TopicCache::startClient(const QString& key)
{
    ClientOptions options;
    {
        std::lock_guard lock(m_mutex);
        const BrokerState& b = m_brokers[key];
        if (b.client || !m_home)
            return;
        options.broker = b.broker;
        options.clientId = m_clientId;
        options.persistentSession = !m_clientId.isEmpty();
        options.keepAliveSeconds = m_keepAlive;
    }
    options.credentials = credentialsFor(options.broker);
    auto* client = new Client(options, m_home);
    {
        std::lock_guard lock(m_mutex);
        m_brokers[key].client = client;
    }
    connect(client, &Client::connected, client, [this, key] {
        {
            std::lock_guard lock(m_mutex);
            BrokerState& b = m_brokers[key];
            b.up = b.tried = true;
            b.problem.clear();
        }
        m_changed.notify_all();
        emit brokerBack(key);
    });
    connect(client, &Client::problemChanged, client, [this, key](const QString& reason) {
        {
            std::lock_guard lock(m_mutex);
            BrokerState& b = m_brokers[key];
            b.up = false;
            b.tried = true;
            b.problem = reason;
        }
        m_changed.notify_all();
    });
    connect(client, &Client::connectionLost, client,
            [this, key](const QString& reason) { emit brokerLost(key, reason); });
    connect(client, &Client::subscribed, client, [this, key](const QString& topic, bool granted) {
        {
            std::lock_guard lock(m_mutex);
            Topic& t = m_brokers[key].topics[topic];
            t.answered = true;
            t.refused = !granted;
            t.sinceAnswer.start();
        }
        m_changed.notify_all();
        if (!granted)
            emit topicRefused(key, topic);
    });
    connect(client, &Client::messageReceived, client, [this, key](const QString& topic, const QByteArray& payload) {
        bool changed = false;
        {
            std::lock_guard lock(m_mutex);
            auto t = m_brokers[key].topics.find(topic);
            if (t == m_brokers[key].topics.end())
                return;
            changed = !t->have || t->payload != payload;
            t->payload = payload;
            t->have = true;
        }
        m_changed.notify_all();
        if (changed)
            emit payloadChanged(key, topic);
    });
    client->start();
}

TopicReading TopicCache::read(const TopicLink& link, int waitMs)
{
    using namespace std::chrono;
    const QString key = link.broker.key();
    std::unique_lock lock(m_mutex);
    ensureFollowed(link);
    const auto deadline = steady_clock::now() + milliseconds(std::max(0, waitMs));
    auto ready = [&] {
        const BrokerState& b = m_brokers[key];
        const Topic& t = b.topics[link.topic];
        return t.have || t.refused || (b.tried && !b.up)
               || (t.answered && t.sinceAnswer.isValid() && t.sinceAnswer.elapsed() >= kRetainedGraceMs);
    };
    while (!ready() && steady_clock::now() < deadline)
        m_changed.wait_for(lock, std::min<steady_clock::duration>(milliseconds(20), deadline - steady_clock::now()));

    const BrokerState& b = m_brokers[key];
    const Topic& t = b.topics[link.topic];
    TopicReading reading;
    reading.payload = t.payload;
    reading.have = t.have;
    const QString who = b.broker.user.isEmpty() ? QString() : QStringLiteral(" as ") + b.broker.user;
    if (t.refused) {
        reading.error =
            QStringLiteral("the broker %1 does not allow reading %2%3").arg(b.broker.address(), link.topic, who);
    } else if (!b.up) {
        reading.error = b.tried ? QStringLiteral("broker %1 unreachable: %2").arg(b.broker.address(), b.problem)
                                : QStringLiteral("still connecting to broker %1").arg(b.broker.address());
        reading.stale = t.have;
    } else if (!t.have) {
        // Brokers that filter by their access control when they deliver (Mosquitto
        // does) take a forbidden subscription and then say nothing.
        reading.error = QStringLiteral("no message on %1 yet (or the broker's access control does not let %2 read it)")
                            .arg(link.topic, b.broker.user.isEmpty() ? QStringLiteral("this client") : b.broker.user);
    }
    return reading;
}

} // namespace mqtt
