#pragma once

// The listening side of the server: every connection is counted per client
// address, timed (a request must arrive whole within a limit, an idle
// connection is closed) and its bytes are scanned as they arrive, before the
// HTTP server reads them, so a header block or a body over its cap is refused
// without more of it being read, and a WebSocket upgrade is checked first.

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>

#include <functional>

class QTcpSocket;

namespace serve {

struct Limits {
    qint64 maxBody = 64 * 1024;
    int maxHeaderBytes = 16 * 1024;
    int maxConnectionsPerAddress = 32;
    int requestTimeoutMs = 10000; // from a request's first byte to its last
    int idleTimeoutMs = 60000;    // between requests
};

// Follows one connection's bytes: header blocks and the bodies their
// Content-Length announces. Bodies without a length are not taken.
class RequestScanner final {
public:
    enum class Verdict { Ok, HeadersTooLarge, BodyTooLarge, Malformed, LengthRequired, Upgrade };
    explicit RequestScanner(const Limits& limits) : m_limits(limits) {}

    // Takes the next bytes; anything but Ok ends the scan (Upgrade: the header
    // block of the upgrade request is in upgradeHead()).
    Verdict feed(QByteArrayView bytes);
    // Between the first byte of a request and its last.
    bool inRequest() const { return (m_inHead && !m_head.isEmpty()) || m_bodyLeft > 0; }
    const QByteArray& upgradeHead() const { return m_head; }

    // A header's value from a header block ("" when absent); `several` is set
    // when it is there more than once.
    static QByteArray header(const QByteArray& head, const QByteArray& name, bool* several = nullptr);

private:
    Verdict endOfHead();
    const Limits& m_limits;
    bool m_inHead = true;
    QByteArray m_head;
    qint64 m_bodyLeft = 0;
};

class Gate final : public QTcpServer {
    Q_OBJECT
public:
    // Answers an upgrade request: empty to let it through, else a whole HTTP
    // response to send before closing.
    using UpgradeCheck = std::function<QByteArray(const QByteArray& head, const QHostAddress& peer)>;

    Gate(const Limits& limits, UpgradeCheck check, QObject* parent = nullptr);
    void setTls(const QSslCertificate& certificate, const QSslKey& key);
    int connectionsOf(const QHostAddress& address) const { return m_perAddress.value(address.toString()); }

    static QByteArray errorResponse(int status, const QString& message);

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void watch(QTcpSocket* socket);

    Limits m_limits;
    UpgradeCheck m_check;
    bool m_tls = false;
    QSslCertificate m_certificate;
    QSslKey m_key;
    QHash<QString, int> m_perAddress;
};

} // namespace serve
