#pragma once

// `qmdvars serve`: the HTTP API under /api/v1, the WebSocket of live progress
// and the web console from the program's resources, over Qt HTTP Server bound
// to a Gate (connection limits, timeouts, body caps before the body is read).

#include "accounts.h"
#include "gate.h"
#include "ratelimiter.h"
#include "sessions.h"

#include <QAbstractHttpServer>
#include <QDateTime>
#include <QHash>
#include <QHostAddress>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QTextStream>

#include <memory>
#include <optional>

class QWebSocket;

namespace serve {

class Workspace;
class Runs;
struct Call;

struct Options {
    QHostAddress address = QHostAddress::LocalHost;
    quint16 port = 47080;
    QString tlsCert;
    QString tlsKey;
    int jobs = 1;
    QStringList hosts;                  // further names the server answers to
    QList<QHostAddress> trustedProxies; // whose X-Forwarded-For is believed
    int sessionIdleSeconds = 30 * 60;
    QString accountsFile;
    Limits limits;
};

class Server final : public QAbstractHttpServer {
    Q_OBJECT
public:
    Server(const Options& options, Workspace* workspace, QTextStream& log, QObject* parent = nullptr);
    ~Server() override;

    // Listens; false with the reason.
    bool start(QString* error);
    quint16 port() const { return m_port; }
    QString url() const;
    // The updates and audits started over the API.
    Runs* runs() const { return m_runs.get(); }
    // Stops taking connections and waits for the runs still going.
    void stop();

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    friend struct Call;
    void dispatch(Call& call);
    void api(Call& call);
    void staticFile(Call& call);
    void identify(Call& call);
    void checkHost(const QByteArray& host) const;
    void checkOrigin(const QByteArray& origin, const QByteArray& host) const;
    QString clientOf(const QHostAddress& peer, const QByteArray& forwardedFor) const;
    QByteArray upgradeCheck(const QByteArray& head, const QHostAddress& peer);
    std::optional<accounts::Identity> tokenIdentity(const QString& token);
    accounts::Store& accountStore(); // read again when the file changed
    void takeWebSockets();
    void broadcast(const QJsonObject& message);
    void logLine(const Call& call, int status, const QString& what);

    // The API's areas.
    void auth(Call& call);
    void accountsApi(Call& call);
    void variables(Call& call);
    void displaysApi(Call& call);
    void updates(Call& call);
    void audits(Call& call);
    void historyApi(Call& call);

    Options m_options;
    Workspace* m_workspace;
    QTextStream& m_log;
    Gate* m_gate = nullptr;
    quint16 m_port = 0;
    QSet<QString> m_hostNames;
    std::unique_ptr<Runs> m_runs;
    Sessions m_sessions;
    RateLimiter m_logins;
    accounts::Store m_accounts;
    QDateTime m_accountsModified;
    qint64 m_accountsSize = -2;
    QHash<QByteArray, accounts::Identity> m_knownTokens; // token digest -> who
    QList<QWebSocket*> m_webSockets;
};

} // namespace serve
