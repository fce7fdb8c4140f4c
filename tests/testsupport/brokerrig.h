#pragma once

// A Mosquitto broker of a test's own: on 127.0.0.1 at a free port, with a
// password file made by mosquitto_passwd, an ACL and persistence in its own
// temporary folder (so sessions survive a restart), stopped with the object.
// Messages go in and out through mosquitto_pub and mosquitto_sub. With
// makeCertificates() it listens with TLS too, on a port of its own.

#include <QByteArray>
#include <QHash>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

class BrokerRig final {
public:
    BrokerRig();
    ~BrokerRig();
    BrokerRig(const BrokerRig&) = delete;
    BrokerRig& operator=(const BrokerRig&) = delete;

    // Before start(): users, and the ACL file's text (empty: everyone may do everything).
    void addUser(const QString& name, const QString& password);
    void setAcl(const QString& text) { m_acl = text; }
    // Before start(): a TLS listener with a certificate for 127.0.0.1 and
    // localhost, signed by a throw-away authority (caFile()), both made by
    // openssl. Called again: a new authority, in a file of its own, and a
    // certificate signed by it (the broker takes it at its next start).
    bool makeCertificates();
    QString caFile() const;

    // Starts, or starts again on the same port; false with the reason in error().
    bool start(int timeoutMs = 10000);
    void stop();

    quint16 port(bool tls = false) const { return tls ? m_tlsPort : m_port; }
    QString folder() const { return m_dir.path(); }
    // "mqtt://USER@127.0.0.1:PORT" (no user: none in the text), with tls
    // "mqtts://USER@127.0.0.1:TLSPORT".
    QString url(const QString& user = {}, bool tls = false) const;
    QString error() const { return m_error; }
    QString log();
    // Waits until the broker's log holds `text`.
    bool waitForLog(const QString& text, int timeoutMs = 10000);

    // As USER with the password given to addUser, QoS 1.
    bool publish(const QString& user, const QString& topic, const QByteArray& payload, bool retain = false);
    // The retained payload of `topic` as USER, or nothing within the time.
    QByteArray retained(const QString& user, const QString& topic, int timeoutMs = 3000);

private:
    QStringList clientArgs(const QString& user) const;

    QTemporaryDir m_dir;
    QProcess m_process;
    QByteArray m_log;
    quint16 m_port = 0;
    quint16 m_tlsPort = 0;
    int m_authority = 0; // the number in the names of the current authority's files
    QString m_acl;
    QHash<QString, QString> m_users;
    QString m_error;
};
