#include "server.h"

#include "call.h"
#include "runs.h"
#include "workspace.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonArray>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpSocket>
#include <QUrlQuery>
#include <QWebSocket>

namespace serve {

namespace {
const QByteArray kCookie = "qmd_session";

QString methodName(QHttpServerRequest::Method m)
{
    switch (m) {
    case QHttpServerRequest::Method::Get: return QStringLiteral("GET");
    case QHttpServerRequest::Method::Post: return QStringLiteral("POST");
    case QHttpServerRequest::Method::Put: return QStringLiteral("PUT");
    case QHttpServerRequest::Method::Patch: return QStringLiteral("PATCH");
    case QHttpServerRequest::Method::Delete: return QStringLiteral("DELETE");
    case QHttpServerRequest::Method::Head: return QStringLiteral("HEAD");
    case QHttpServerRequest::Method::Options: return QStringLiteral("OPTIONS");
    default: return QStringLiteral("OTHER");
    }
}

QByteArray cookieValue(const QByteArray& cookies, const QByteArray& name)
{
    for (const QByteArray& part : cookies.split(';')) {
        const QByteArray p = part.trimmed();
        if (p.startsWith(QByteArray(name + '=')))
            return p.mid(name.size() + 1);
    }
    return {};
}

// "name:port", "[v6]:port" -> the name, lower case.
QString hostName(const QByteArray& host)
{
    QString h = QString::fromLatin1(host).trimmed().toLower();
    if (h.startsWith(u'[')) {
        const qsizetype end = h.indexOf(u']');
        return end < 0 ? h : h.left(end + 1);
    }
    const qsizetype colon = h.lastIndexOf(u':');
    return colon < 0 ? h : h.left(colon);
}

bool changing(const QString& method) { return method != u"GET" && method != u"HEAD" && method != u"OPTIONS"; }

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200: return "OK";
    case 201: return "Created";
    case 202: return "Accepted";
    case 204: return "No Content";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 409: return "Conflict";
    case 412: return "Precondition Failed";
    case 413: return "Content Too Large";
    case 415: return "Unsupported Media Type";
    case 429: return "Too Many Requests";
    case 503: return "Service Unavailable";
    default: return status >= 500 ? "Internal Server Error" : "Error";
    }
}
} // namespace

QString Call::query(const QString& name) const { return request.query().queryItemValue(name, QUrl::FullyDecoded); }

QJsonObject Call::json() const
{
    const QByteArray type = header("content-type").toLower();
    if (!type.startsWith("application/json"))
        throw HttpError{415, QStringLiteral("send the body as JSON (Content-Type: application/json)")};
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(request.body(), &error);
    if (error.error != QJsonParseError::NoError)
        throw HttpError{
            400,
            QStringLiteral("the body is not valid JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset)};
    if (!doc.isObject())
        throw HttpError{400, QStringLiteral("the body must be a JSON object")};
    return doc.object();
}

const accounts::Identity& Call::require(accounts::Role role) const
{
    if (!who)
        throw HttpError{401, QStringLiteral("log in first, or send Authorization: Bearer TOKEN")};
    if (int(who->role) < int(role))
        throw HttpError{403, QStringLiteral("the account \"%1\" (%2) may not do this: it needs the role %3")
                                 .arg(who->name, accounts::roleName(who->role), accounts::roleName(role))};
    return *who;
}

Server::Server(const Options& options, Workspace* workspace, QTextStream& log, QObject* parent)
    : QAbstractHttpServer(parent), m_options(options), m_workspace(workspace), m_log(log),
      m_runs(std::make_unique<Runs>(workspace, options.jobs)), m_sessions(qint64(options.sessionIdleSeconds) * 1000),
      m_accounts(options.accountsFile)
{
    connect(m_runs.get(), &Runs::changed, this, &Server::broadcast);
    connect(this, &QAbstractHttpServer::newWebSocketConnection, this, &Server::takeWebSockets);
    for (const QString& h : options.hosts)
        m_hostNames.insert(h.toLower());
    m_hostNames.insert(QStringLiteral("localhost"));
    m_hostNames.insert(QStringLiteral("127.0.0.1"));
    m_hostNames.insert(QStringLiteral("[::1]"));
    if (!options.address.isNull() && options.address != QHostAddress::Any && options.address != QHostAddress::AnyIPv6)
        m_hostNames.insert(options.address.protocol() == QAbstractSocket::IPv6Protocol
                               ? u'[' + options.address.toString() + u']'
                               : options.address.toString());
}

Server::~Server() { stop(); }

bool Server::start(QString* error)
{
    m_gate = new Gate(
        m_options.limits, [this](const QByteArray& head, const QHostAddress& peer) { return upgradeCheck(head, peer); },
        this);
    if (!m_options.tlsCert.isEmpty()) {
        QFile certFile(m_options.tlsCert);
        QFile keyFile(m_options.tlsKey);
        if (!certFile.open(QIODevice::ReadOnly) || !keyFile.open(QIODevice::ReadOnly)) {
            *error =
                QStringLiteral("cannot read the certificate %1 or the key %2").arg(m_options.tlsCert, m_options.tlsKey);
            return false;
        }
        const QSslCertificate certificate(&certFile, QSsl::Pem);
        QSslKey key(&keyFile, QSsl::Rsa, QSsl::Pem);
        if (key.isNull()) {
            keyFile.seek(0);
            key = QSslKey(&keyFile, QSsl::Ec, QSsl::Pem);
        }
        if (certificate.isNull() || key.isNull()) {
            *error = QStringLiteral("%1 is not a PEM certificate or %2 not a PEM key (RSA or EC)")
                         .arg(m_options.tlsCert, m_options.tlsKey);
            return false;
        }
        m_gate->setTls(certificate, key);
    }
    if (!m_gate->listen(m_options.address, m_options.port)) {
        *error = QStringLiteral("cannot listen on %1:%2: %3")
                     .arg(m_options.address.toString())
                     .arg(m_options.port)
                     .arg(m_gate->errorString());
        return false;
    }
    m_port = m_gate->serverPort();
    bind(m_gate);
    return true;
}

QString Server::url() const
{
    const QString host = m_options.address == QHostAddress::Any ? QStringLiteral("127.0.0.1")
                         : m_options.address.protocol() == QAbstractSocket::IPv6Protocol
                             ? u'[' + m_options.address.toString() + u']'
                             : m_options.address.toString();
    return QStringLiteral("%1://%2:%3/").arg(m_options.tlsCert.isEmpty() ? u"http" : u"https", host).arg(m_port);
}

void Server::stop()
{
    if (m_gate)
        m_gate->close();
    for (QWebSocket* ws : std::as_const(m_webSockets))
        ws->close();
    m_runs.reset(); // waits for the runs still going
}

accounts::Store& Server::accountStore()
{
    const QFileInfo info(m_accounts.path());
    if (info.lastModified() != m_accountsModified || info.size() != m_accountsSize) {
        m_accountsModified = info.lastModified();
        m_accountsSize = info.exists() ? info.size() : -1;
        if (!m_accounts.load())
            m_log << QDateTime::currentDateTime().toString(Qt::ISODate)
                  << " cannot read the accounts: " << m_accounts.error() << Qt::endl;
        m_knownTokens.clear();
    }
    return m_accounts;
}

std::optional<accounts::Identity> Server::tokenIdentity(const QString& token)
{
    accounts::Store& store = accountStore();
    // A token checked once is known by its digest until the accounts change.
    const QByteArray digest = QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256);
    if (const auto it = m_knownTokens.constFind(digest); it != m_knownTokens.constEnd())
        return *it;
    const auto who = store.tokenIdentity(token);
    if (who)
        m_knownTokens.insert(digest, *who);
    return who;
}

QString Server::clientOf(const QHostAddress& peer, const QByteArray& forwardedFor) const
{
    const bool proxy = std::any_of(m_options.trustedProxies.begin(), m_options.trustedProxies.end(),
                                   [&](const QHostAddress& a) { return a.isEqual(peer); });
    if (proxy && !forwardedFor.isEmpty()) {
        const QHostAddress client(QString::fromLatin1(forwardedFor.split(',').last().trimmed()));
        if (!client.isNull())
            return client.toString();
    }
    return peer.toString();
}

void Server::checkHost(const QByteArray& host) const
{
    if (!m_hostNames.contains(hostName(host)))
        throw HttpError{421, QStringLiteral("this server does not answer to the name \"%1\" (start it with --host "
                                            "NAME to add one)")
                                 .arg(QString::fromLatin1(host.left(100)))};
}

void Server::checkOrigin(const QByteArray& origin, const QByteArray& host) const
{
    if (origin.isEmpty())
        return;
    const QUrl url(QString::fromLatin1(origin));
    const QString originHost = url.host().contains(u':') ? u'[' + url.host() + u']' : url.host();
    const QString withPort = url.port() < 0 ? originHost : originHost + u':' + QString::number(url.port());
    if (withPort.compare(QString::fromLatin1(host).trimmed(), Qt::CaseInsensitive) != 0)
        throw HttpError{403, QStringLiteral("requests from another site's page are refused")};
}

void Server::identify(Call& call)
{
    const QByteArray authorization = call.header("authorization");
    if (!authorization.isEmpty()) {
        if (!authorization.startsWith("Bearer "))
            throw HttpError{401, QStringLiteral("Authorization takes \"Bearer TOKEN\"")};
        call.who = tokenIdentity(QString::fromLatin1(authorization.mid(7).trimmed()));
        if (!call.who)
            throw HttpError{401, QStringLiteral("the token is unknown or revoked")};
        return;
    }
    const QByteArray id = cookieValue(call.header("cookie"), kCookie);
    if (id.isEmpty())
        return;
    call.session = m_sessions.touch(QString::fromLatin1(id));
    if (!call.session)
        return;
    // An account removed since, or whose role changed, ends its sessions.
    const accounts::User* user = accountStore().user(call.session->who.name);
    if (!user || user->role != call.session->who.role) {
        m_sessions.endAllOf(call.session->who.name);
        call.session.reset();
        return;
    }
    call.who = call.session->who;
    // A change made from the page carries the session's CSRF token.
    if (changing(call.method) && call.parts.value(0) != u"login") {
        const QByteArray sent = call.header("x-csrf-token");
        if (sent.isEmpty() || sent != call.session->csrf.toLatin1())
            throw HttpError{403, QStringLiteral("missing or wrong CSRF token: reload the page and try again")};
    }
}

bool Server::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket)
{
    // A WebSocket upgrade the gate let through (it checked the account, the
    // host and the origin) is taken over by the WebSocket server when it is
    // handled here without an answer.
    if (request.value("upgrade").compare("websocket", Qt::CaseInsensitive) == 0)
        return request.url().path() == u"/api/v1/events";
    const bool tls = !m_options.tlsCert.isEmpty();
    Call call(request);
    call.method = methodName(request.method());
    call.path = request.url().path();
    call.client = clientOf(request.remoteAddress(), request.value("x-forwarded-for"));
    call.tls = tls;
    try {
        dispatch(call);
    } catch (const HttpError& e) {
        call.status = e.status;
        call.contentType = "application/json";
        call.headers = e.headers;
        call.body = QJsonDocument(QJsonObject{{QStringLiteral("error"), e.message}}).toJson(QJsonDocument::Compact);
        if (call.status == 401 || call.status == 403 || call.status == 429 || call.status == 421
            || (call.status == 412 && changing(call.method)))
            logLine(call, call.status, e.message);
    } catch (const std::exception& e) {
        call.status = 500;
        call.body = QJsonDocument(QJsonObject{{QStringLiteral("error"), QString::fromLocal8Bit(e.what())}})
                        .toJson(QJsonDocument::Compact);
    }
    if (!call.changed.isEmpty())
        logLine(call, call.status, call.changed);

    QHttpServerResponder responder = makeResponder(request, socket);
    responder.writeStatusLine(QHttpServerResponder::StatusCode(call.status));
    // Write the reason phrase 6.4 may not know: the status line above carries the number.
    Q_UNUSED(reasonOf);
    responder.writeHeader("Content-Type", call.contentType);
    responder.writeHeader("Content-Length", QByteArray::number(call.body.size()));
    responder.writeHeader("Content-Security-Policy",
                          "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'self'");
    responder.writeHeader("X-Frame-Options", "DENY");
    responder.writeHeader("X-Content-Type-Options", "nosniff");
    responder.writeHeader("Referrer-Policy", "no-referrer");
    responder.writeHeader("Cache-Control", "no-store");
    if (tls)
        responder.writeHeader("Strict-Transport-Security", "max-age=31536000");
    for (const auto& [name, value] : std::as_const(call.headers))
        responder.writeHeader(name, value);
    responder.writeBody(call.body);
    return true;
}

void Server::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket)
{
    makeResponder(request, socket)
        .write(QJsonDocument(QJsonObject{{QStringLiteral("error"), QStringLiteral("not found")}}),
               QHttpServerResponder::StatusCode::NotFound);
}

void Server::dispatch(Call& call)
{
    checkHost(call.header("host"));
    if (changing(call.method))
        checkOrigin(call.header("origin"), call.header("host"));
    if (call.path.startsWith(u"/api/v1/") || call.path == u"/api/v1") {
        call.parts = call.path.mid(8).split(u'/', Qt::SkipEmptyParts);
        identify(call);
        api(call);
        return;
    }
    if (call.path.startsWith(u"/api/"))
        throw HttpError{404, QStringLiteral("this server speaks the API under /api/v1")};
    staticFile(call);
}

void Server::staticFile(Call& call)
{
    if (call.method != u"GET" && call.method != u"HEAD")
        call.methodNotAllowed(QStringLiteral("GET"));
    // Only the console's own resources, by plain names: nothing from the file system.
    static const QRegularExpression plainName(QStringLiteral("^/([A-Za-z0-9_-]+\\.(html|css|js|svg|png|ico))$"));
    const QString path = call.path == u"/" ? QStringLiteral("/index.html") : call.path;
    const QRegularExpressionMatch match = plainName.match(path);
    QFile file(QStringLiteral(":/console/") + match.captured(1));
    if (!match.hasMatch() || !file.open(QIODevice::ReadOnly))
        throw HttpError{404, QStringLiteral("there is no page %1").arg(call.path.left(200))};
    static const QHash<QString, QByteArray> types{{QStringLiteral("html"), "text/html; charset=utf-8"},
                                                  {QStringLiteral("css"), "text/css; charset=utf-8"},
                                                  {QStringLiteral("js"), "text/javascript; charset=utf-8"},
                                                  {QStringLiteral("svg"), "image/svg+xml"},
                                                  {QStringLiteral("png"), "image/png"},
                                                  {QStringLiteral("ico"), "image/x-icon"}};
    call.contentType = types.value(match.captured(2));
    call.body = file.readAll();
}

void Server::api(Call& call)
{
    const QString area = call.parts.value(0);
    if (area == u"login" || area == u"logout" || area == u"session")
        return auth(call);
    if (area == u"accounts")
        return accountsApi(call);
    if (area == u"variables")
        return variables(call);
    if (area == u"displays")
        return displaysApi(call);
    if (area == u"updates")
        return updates(call);
    if (area == u"audits")
        return audits(call);
    if (area == u"history")
        return historyApi(call);
    throw HttpError{404, QStringLiteral("there is no %1 in the API (see docs/api.md)").arg(call.path.left(200))};
}

QByteArray Server::upgradeCheck(const QByteArray& head, const QHostAddress& peer)
{
    const QByteArray requestLine = head.left(head.indexOf('\n')).trimmed();
    const QByteArray target = requestLine.split(' ').value(1);
    const QByteArray host = RequestScanner::header(head, "host");
    try {
        if (QUrl(QString::fromLatin1(target)).path() != u"/api/v1/events")
            throw HttpError{404, QStringLiteral("WebSockets are served at /api/v1/events only")};
        checkHost(host);
        checkOrigin(RequestScanner::header(head, "origin"), host);
        const QByteArray authorization = RequestScanner::header(head, "authorization");
        bool allowed = false;
        if (authorization.startsWith("Bearer "))
            allowed = tokenIdentity(QString::fromLatin1(authorization.mid(7).trimmed())).has_value();
        else if (const QByteArray id = cookieValue(RequestScanner::header(head, "cookie"), kCookie); !id.isEmpty())
            allowed = m_sessions.touch(QString::fromLatin1(id)).has_value();
        if (!allowed)
            throw HttpError{401, QStringLiteral("log in first, or send Authorization: Bearer TOKEN")};
    } catch (const HttpError& e) {
        m_log << QDateTime::currentDateTime().toString(Qt::ISODate) << ' ' << peer.toString() << " - GET "
              << QString::fromLatin1(target.left(200)) << ' ' << e.status << ' ' << e.message << Qt::endl;
        return Gate::errorResponse(e.status, e.message);
    }
    return {};
}

void Server::takeWebSockets()
{
    while (hasPendingWebSocketConnections()) {
        QWebSocket* ws = nextPendingWebSocketConnection().release();
        ws->setParent(this);
        ws->setMaxAllowedIncomingMessageSize(4096);
        ws->setMaxAllowedIncomingFrameSize(4096);
        m_webSockets.append(ws);
        connect(ws, &QWebSocket::disconnected, this, [this, ws] {
            m_webSockets.removeAll(ws);
            ws->deleteLater();
        });
        ws->sendTextMessage(QStringLiteral("{\"type\":\"hello\"}"));
    }
}

void Server::broadcast(const QJsonObject& message)
{
    const QString text = QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact));
    for (QWebSocket* ws : std::as_const(m_webSockets))
        ws->sendTextMessage(text);
}

void Server::logLine(const Call& call, int status, const QString& what)
{
    m_log << QDateTime::currentDateTime().toString(Qt::ISODate) << ' ' << call.client << ' '
          << (call.who ? call.who->name : QStringLiteral("-")) << ' ' << call.method << ' ' << call.path.left(200)
          << ' ' << status << ' ' << what << Qt::endl;
}

} // namespace serve
