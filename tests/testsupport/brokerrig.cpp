#include "brokerrig.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QThread>

namespace {
quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}
} // namespace

BrokerRig::BrokerRig() : m_port(freePort()) {}

BrokerRig::~BrokerRig() { stop(); }

void BrokerRig::addUser(const QString& name, const QString& password) { m_users.insert(name, password); }

QString BrokerRig::url(const QString& user, bool tls) const
{
    return (tls ? QStringLiteral("mqtts://") : QStringLiteral("mqtt://")) + (user.isEmpty() ? QString() : user + u'@')
           + QStringLiteral("127.0.0.1:") + QString::number(tls ? m_tlsPort : m_port);
}

QString BrokerRig::caFile() const { return m_dir.filePath(QStringLiteral("ca%1.crt").arg(m_authority)); }

bool BrokerRig::makeCertificates()
{
    if (!m_tlsPort)
        m_tlsPort = freePort();
    ++m_authority;
    QProcess openssl;
    openssl.setWorkingDirectory(m_dir.path());
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(QStringLiteral("sh"),
                  {QStringLiteral("-ec"),
                   QStringLiteral("new='openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2'\n"
                                  "$new -subj /CN=authority -keyout ca%1.key -out ca%1.crt\n"
                                  "$new -subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1,DNS:localhost "
                                  "-addext basicConstraints=CA:FALSE -CA ca%1.crt -CAkey ca%1.key "
                                  "-keyout server.key -out server.crt")
                       .arg(m_authority)});
    if (openssl.waitForFinished(30000) && openssl.exitStatus() == QProcess::NormalExit && openssl.exitCode() == 0)
        return true;
    m_error = QStringLiteral("openssl failed: ") + QString::fromUtf8(openssl.readAll());
    return false;
}

bool BrokerRig::start(int timeoutMs)
{
    const QString passwd = m_dir.filePath(QStringLiteral("passwd"));
    QFile::remove(passwd);
    QFile(passwd).open(QIODevice::WriteOnly);
    for (auto u = m_users.cbegin(); u != m_users.cend(); ++u) {
        if (QProcess::execute(QStringLiteral("mosquitto_passwd"), {QStringLiteral("-b"), passwd, u.key(), u.value()})
            != 0) {
            m_error = QStringLiteral("mosquitto_passwd failed for ") + u.key();
            return false;
        }
    }
    QFile acl(m_dir.filePath(QStringLiteral("acl")));
    acl.open(QIODevice::WriteOnly);
    acl.write(m_acl.isEmpty() ? QByteArrayLiteral("pattern readwrite #\n") : m_acl.toUtf8());
    acl.close();
    QFile conf(m_dir.filePath(QStringLiteral("mosquitto.conf")));
    conf.open(QIODevice::WriteOnly);
    conf.write(QStringLiteral("listener %1 127.0.0.1\nallow_anonymous false\npassword_file %2\nacl_file %3\n"
                              "persistence true\npersistence_location %4/\nlog_dest stderr\nlog_type all\nuser root\n")
                   .arg(m_port)
                   .arg(passwd, acl.fileName(), m_dir.path())
                   .toUtf8());
    if (m_tlsPort)
        conf.write(QStringLiteral("listener %1 127.0.0.1\ncertfile %2\nkeyfile %3\n")
                       .arg(m_tlsPort)
                       .arg(m_dir.filePath(QStringLiteral("server.crt")), m_dir.filePath(QStringLiteral("server.key")))
                       .toUtf8());
    conf.close();
    m_log.clear();
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(QStringLiteral("mosquitto"), {QStringLiteral("-c"), conf.fileName()});
    if (!m_process.waitForStarted()) {
        m_error = QStringLiteral("cannot start mosquitto: ") + m_process.errorString();
        return false;
    }
    if (!waitForLog(QStringLiteral(" running"), timeoutMs)) {
        m_error = QStringLiteral("mosquitto did not come up: ") + log();
        stop();
        return false;
    }
    return true;
}

void BrokerRig::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
    log();
}

QString BrokerRig::log()
{
    m_log += m_process.readAll();
    return QString::fromUtf8(m_log);
}

bool BrokerRig::waitForLog(const QString& text, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!log().contains(text)) {
        if (timer.hasExpired(timeoutMs) || m_process.state() == QProcess::NotRunning)
            return false;
        m_process.waitForReadyRead(50);
    }
    return true;
}

QStringList BrokerRig::clientArgs(const QString& user) const
{
    return {QStringLiteral("-h"),    QStringLiteral("127.0.0.1"), QStringLiteral("-p"),
            QString::number(m_port), QStringLiteral("-u"),        user,
            QStringLiteral("-P"),    m_users.value(user),         QStringLiteral("-q"),
            QStringLiteral("1")};
}

bool BrokerRig::publish(const QString& user, const QString& topic, const QByteArray& payload, bool retain)
{
    QStringList args = clientArgs(user)
                       + QStringList{QStringLiteral("-t"), topic, QStringLiteral("-m"), QString::fromUtf8(payload)};
    if (retain)
        args << QStringLiteral("-r");
    return QProcess::execute(QStringLiteral("mosquitto_pub"), args) == 0;
}

QByteArray BrokerRig::retained(const QString& user, const QString& topic, int timeoutMs)
{
    QProcess sub;
    sub.start(QStringLiteral("mosquitto_sub"),
              clientArgs(user)
                  + QStringList{QStringLiteral("-t"), topic, QStringLiteral("-C"), QStringLiteral("1"),
                                QStringLiteral("-W"), QString::number(std::max(1, timeoutMs / 1000))});
    sub.waitForFinished(timeoutMs + 2000);
    QByteArray out = sub.readAllStandardOutput();
    if (out.endsWith('\n'))
        out.chop(1);
    return out;
}
