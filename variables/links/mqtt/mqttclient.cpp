#include "mqttclient.h"

#include <QSocketNotifier>
#include <QUuid>

#include <mosquitto.h>

#include <cerrno>
#include <cstring>
#include <mutex>

namespace mqtt {

QString describe(int rc)
{
    if (rc == MOSQ_ERR_ERRNO)
        return QString::fromLocal8Bit(std::strerror(errno));
    if (rc == MOSQ_ERR_CONN_LOST)
        return QStringLiteral("the connection was lost");
    return QString::fromUtf8(mosquitto_strerror(rc));
}

namespace {
void initLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}
} // namespace

Client::Client(const ClientOptions& options, QObject* parent)
    : QObject(parent), m_options(options), m_misc(this), m_reconnect(this)
{
    initLibrary();
    const bool persistent = m_options.persistentSession && !m_options.clientId.isEmpty();
    const QByteArray id = m_options.clientId.isEmpty()
                              ? QByteArrayLiteral("qmdvars-") + QUuid::createUuid().toByteArray(QUuid::Id128).left(12)
                              : m_options.clientId.toUtf8();
    m_mosq = mosquitto_new(id.constData(), !persistent, this);
    mosquitto_int_option(m_mosq, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
    // Small packets at once: a value is one small message, and waiting for more costs up to 40 ms.
    mosquitto_int_option(m_mosq, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_callback_set(m_mosq, &Client::onConnect);
    mosquitto_message_callback_set(m_mosq, &Client::onMessage);
    mosquitto_subscribe_callback_set(m_mosq, &Client::onSubscribe);
    mosquitto_log_callback_set(m_mosq, &Client::onLog);
    const Credentials& c = m_options.credentials;
    if (!c.user.isEmpty())
        mosquitto_username_pw_set(m_mosq, c.user.toUtf8().constData(),
                                  c.password.isEmpty() ? nullptr : c.password.toUtf8().constData());
    if (m_options.broker.tls) {
        const QByteArray caFile = c.caFile.toLocal8Bit();
        if (mosquitto_tls_set(m_mosq, caFile.isEmpty() ? nullptr : caFile.constData(),
                              caFile.isEmpty() ? "/etc/ssl/certs" : nullptr, nullptr, nullptr, nullptr)
            != MOSQ_ERR_SUCCESS)
            m_setupProblem = QStringLiteral("cannot read the authorities' file %1 (QMDVARS_MQTT_CAFILE)").arg(c.caFile);
    }
    if (!m_options.willTopic.isEmpty())
        mosquitto_will_set(m_mosq, m_options.willTopic.toUtf8().constData(), int(m_options.willPayload.size()),
                           m_options.willPayload.constData(), 1, m_options.willRetain);
    m_misc.setInterval(1000);
    connect(&m_misc, &QTimer::timeout, this, &Client::housekeeping);
    m_reconnect.setSingleShot(true);
    connect(&m_reconnect, &QTimer::timeout, this, &Client::connectNow);
}

Client::~Client()
{
    stop();
    mosquitto_destroy(m_mosq);
}

void Client::start()
{
    if (m_running)
        return;
    m_running = true;
    m_delaySeconds = 1;
    connectNow();
}

void Client::stop()
{
    m_running = false;
    m_reconnect.stop();
    m_misc.stop();
    if (m_connected) {
        mosquitto_disconnect(m_mosq);
        mosquitto_loop_write(m_mosq, 1);
    }
    m_connected = false;
    dropSocket();
}

bool Client::check(int rc, const char* what)
{
    if (rc == MOSQ_ERR_SUCCESS)
        return true;
    if (rc == MOSQ_ERR_TLS)
        lost(tlsProblem());
    else if (rc == MOSQ_ERR_NO_CONN || rc == MOSQ_ERR_CONN_LOST || rc == MOSQ_ERR_ERRNO || rc == MOSQ_ERR_PROTOCOL
             || rc == MOSQ_ERR_KEEPALIVE)
        lost(describe(rc));
    else
        qWarning("mqtt: %s failed: %s", what, qPrintable(describe(rc)));
    return false;
}

QString Client::tlsProblem() const
{
    // The library tells what went wrong only in its log: "OpenSSL Error[0]: error:0A000086:SSL routines::certificate
    // verify failed".
    const qsizetype at = m_libraryError.lastIndexOf(QStringLiteral("::"));
    const QString detail = at >= 0                    ? m_libraryError.mid(at + 2)
                           : m_libraryError.isEmpty() ? describe(MOSQ_ERR_TLS)
                                                      : m_libraryError;
    if (!detail.contains(QStringLiteral("certificate verify failed")))
        return QStringLiteral("TLS failed: ") + detail;
    const QString& ca = m_options.credentials.caFile;
    return QStringLiteral("the broker's certificate is not trusted by %1 (%2: signed by another authority, made out to "
                          "another host, or out of date)")
        .arg(ca.isEmpty() ? QStringLiteral("the system's authorities") : ca, detail);
}

void Client::connectNow()
{
    if (!m_running)
        return;
    dropSocket();
    const Broker& b = m_options.broker;
    if (!m_setupProblem.isEmpty()) {
        lost(m_setupProblem);
        return;
    }
    m_libraryError.clear();
    errno = 0;
    const int rc = mosquitto_connect_async(m_mosq, b.host.toUtf8().constData(), b.port, m_options.keepAliveSeconds);
    if (rc != MOSQ_ERR_SUCCESS) {
        lost(rc == MOSQ_ERR_EAI   ? QStringLiteral("cannot find the host %1").arg(b.host)
             : rc == MOSQ_ERR_TLS ? tlsProblem()
                                  : describe(rc));
        return;
    }
    watchSocket();
    m_misc.start();
}

void Client::watchSocket()
{
    const int fd = mosquitto_socket(m_mosq);
    if (fd < 0)
        return;
    m_read = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_read, &QSocketNotifier::activated, this, &Client::readable);
    m_write = new QSocketNotifier(fd, QSocketNotifier::Write, this);
    connect(m_write, &QSocketNotifier::activated, this, &Client::writable);
    updateWriteInterest();
}

void Client::dropSocket()
{
    // The library closes its socket itself; the notifiers must go before the
    // number is used again.
    for (QSocketNotifier** n : {&m_read, &m_write}) {
        if (*n) {
            (*n)->setEnabled(false);
            (*n)->deleteLater();
            *n = nullptr;
        }
    }
}

void Client::updateWriteInterest()
{
    if (m_write)
        m_write->setEnabled(mosquitto_want_write(m_mosq));
}

void Client::readable()
{
    if (check(mosquitto_loop_read(m_mosq, 1), "read"))
        updateWriteInterest();
}

void Client::writable()
{
    if (check(mosquitto_loop_write(m_mosq, 1), "write"))
        updateWriteInterest();
}

void Client::housekeeping()
{
    if (check(mosquitto_loop_misc(m_mosq), "housekeeping"))
        updateWriteInterest();
}

void Client::lost(const QString& reason)
{
    const bool was = m_connected;
    const bool news = reason != std::exchange(m_problem, reason);
    m_connected = false;
    dropSocket();
    m_misc.stop();
    if (!m_running)
        return;
    if (news)
        emit problemChanged(reason);
    if (was || !m_lossReported) {
        m_lossReported = true;
        emit connectionLost(reason);
    }
    if (!m_reconnect.isActive()) {
        m_reconnect.start(m_delaySeconds * 1000);
        m_delaySeconds = std::min(m_delaySeconds * 2, std::max(1, m_options.maxReconnectDelaySeconds));
    }
}

void Client::onConnect(mosquitto*, void* self, int rc)
{
    auto* c = static_cast<Client*>(self);
    if (rc != 0) {
        // Refused (bad user name or password, not authorised): not worth
        // hammering, but the access control may change, so keep trying slowly.
        const QString reason = QStringLiteral("the broker refused the connection: ")
                               + QString::fromUtf8(mosquitto_connack_string(rc));
        mosquitto_disconnect(c->m_mosq);
        c->m_delaySeconds = std::max(c->m_delaySeconds, std::min(8, c->m_options.maxReconnectDelaySeconds));
        c->lost(reason);
        return;
    }
    c->m_connected = true;
    c->m_lossReported = false;
    c->m_problem.clear();
    c->m_delaySeconds = 1;
    c->m_pendingSubscriptions.clear();
    for (const QString& topic : std::as_const(c->m_topics)) {
        int mid = 0;
        if (mosquitto_subscribe(c->m_mosq, &mid, topic.toUtf8().constData(), 1) == MOSQ_ERR_SUCCESS)
            c->m_pendingSubscriptions.insert(mid, topic);
    }
    c->flushPending();
    emit c->connected();
    QMetaObject::invokeMethod(c, &Client::updateWriteInterest, Qt::QueuedConnection);
}

void Client::onLog(mosquitto*, void* self, int level, const char* text)
{
    if (level == MOSQ_LOG_ERR)
        static_cast<Client*>(self)->m_libraryError = QString::fromUtf8(text);
}

void Client::onMessage(mosquitto*, void* self, const mosquitto_message* message)
{
    auto* c = static_cast<Client*>(self);
    emit c->messageReceived(QString::fromUtf8(message->topic),
                            QByteArray(static_cast<const char*>(message->payload), message->payloadlen),
                            message->retain);
}

void Client::onSubscribe(mosquitto*, void* self, int mid, int count, const int* granted)
{
    auto* c = static_cast<Client*>(self);
    const QString topic = c->m_pendingSubscriptions.take(mid);
    if (!topic.isEmpty())
        emit c->subscribed(topic, count > 0 && granted[0] <= 2);
}

void Client::subscribe(const QString& topic)
{
    if (m_topics.contains(topic))
        return;
    m_topics.append(topic);
    if (!m_connected)
        return;
    int mid = 0;
    if (check(mosquitto_subscribe(m_mosq, &mid, topic.toUtf8().constData(), 1), "subscribe"))
        m_pendingSubscriptions.insert(mid, topic);
    updateWriteInterest();
}

void Client::publish(const QString& topic, const QByteArray& payload, bool retain, int qos)
{
    if (!m_connected) {
        if (retain)
            m_pending.removeIf([&topic](const Pending& p) { return p.retain && p.topic == topic; });
        else if (m_pending.size() >= kQueueLimit)
            m_pending.removeFirst();
        m_pending.append({topic, payload, retain, qos});
        return;
    }
    check(mosquitto_publish(m_mosq, nullptr, topic.toUtf8().constData(), int(payload.size()), payload.constData(), qos,
                            retain),
          "publish");
    updateWriteInterest();
}

void Client::flushPending()
{
    const QList<Pending> pending = std::exchange(m_pending, {});
    for (const Pending& p : pending)
        mosquitto_publish(m_mosq, nullptr, p.topic.toUtf8().constData(), int(p.payload.size()), p.payload.constData(),
                          p.qos, p.retain);
}

} // namespace mqtt
