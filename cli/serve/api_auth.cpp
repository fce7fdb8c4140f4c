// Logging in and out, and the accounts (admins only).

#include "call.h"
#include "server.h"

#include <QJsonArray>

namespace serve {

namespace {
QString textField(const QJsonObject& o, const QString& key, bool required = true)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined() && !required)
        return {};
    if (!v.isString())
        throw HttpError{400, QStringLiteral("\"%1\" is required and takes a text").arg(key)};
    return v.toString();
}

accounts::Role roleField(const QJsonObject& o)
{
    const auto role = accounts::roleNamed(textField(o, QStringLiteral("role")));
    if (!role)
        throw HttpError{400, QStringLiteral("\"role\" takes viewer, operator or admin")};
    return *role;
}
} // namespace

void Server::auth(Call& call)
{
    const QString what = call.parts.value(0);
    if (call.parts.size() != 1)
        throw HttpError{404, QStringLiteral("there is no %1").arg(call.path)};
    if (what == u"session") {
        if (call.method != u"GET")
            call.methodNotAllowed(QStringLiteral("GET"));
        const accounts::Identity& who = call.require(accounts::Role::Viewer);
        QJsonObject o{{QStringLiteral("name"), who.name}, {QStringLiteral("role"), accounts::roleName(who.role)}};
        if (call.session)
            o.insert(QStringLiteral("csrf"), call.session->csrf);
        return call.reply(o);
    }
    if (call.method != u"POST")
        call.methodNotAllowed(QStringLiteral("POST"));
    if (what == u"logout") {
        if (call.session)
            m_sessions.end(call.session->id);
        call.headers.append(std::pair<QByteArray, QByteArray>(
            "Set-Cookie", "qmd_session=; Path=/; HttpOnly; SameSite=Strict; Max-Age=0"));
        call.changed = QStringLiteral("logged out");
        return call.reply({{QStringLiteral("ok"), true}});
    }
    // login
    if (const qint64 wait = m_logins.waitMs(call.client); wait > 0) {
        const QString seconds = QString::number((wait + 999) / 1000);
        throw HttpError{429,
                        QStringLiteral("too many failed logins from your address: wait %1 s").arg(seconds),
                        {{"Retry-After", seconds.toLatin1()}}};
    }
    const QJsonObject body = call.json();
    const QString name = textField(body, QStringLiteral("name"));
    const auto who = accountStore().login(name, textField(body, QStringLiteral("password")));
    if (!who) {
        m_logins.failed(call.client);
        call.who = accounts::Identity{name.left(64), accounts::Role::Viewer, false};
        throw HttpError{401, QStringLiteral("wrong name or password")};
    }
    m_logins.succeeded(call.client);
    const Session session = m_sessions.start(*who);
    call.who = who;
    QByteArray cookie = "qmd_session=" + session.id.toLatin1() + "; Path=/; HttpOnly; SameSite=Strict";
    if (call.tls)
        cookie += "; Secure";
    call.headers.append(std::pair<QByteArray, QByteArray>("Set-Cookie", cookie));
    call.changed = QStringLiteral("logged in");
    call.reply({{QStringLiteral("name"), who->name},
                {QStringLiteral("role"), accounts::roleName(who->role)},
                {QStringLiteral("csrf"), session.csrf}});
}

void Server::accountsApi(Call& call)
{
    call.require(accounts::Role::Admin);
    accounts::Store& store = accountStore();
    if (call.parts.size() == 1) {
        if (call.method == u"GET") {
            QJsonArray users;
            for (const accounts::User& u : store.users())
                users.append(QJsonObject{{QStringLiteral("name"), u.name},
                                         {QStringLiteral("role"), accounts::roleName(u.role)}});
            QJsonArray tokens;
            for (const accounts::Token& t : store.tokens())
                tokens.append(QJsonObject{{QStringLiteral("id"), t.id},
                                          {QStringLiteral("name"), t.name},
                                          {QStringLiteral("role"), accounts::roleName(t.role)},
                                          {QStringLiteral("created"), t.created.toString(Qt::ISODate)}});
            return call.reply({{QStringLiteral("users"), users}, {QStringLiteral("tokens"), tokens}});
        }
        if (call.method != u"POST")
            call.methodNotAllowed(QStringLiteral("GET, POST"));
        const QJsonObject body = call.json();
        const QString name = textField(body, QStringLiteral("name"));
        if (store.user(name))
            throw HttpError{409, QStringLiteral("there is already an account \"%1\"").arg(name)};
        if (const QString error = store.addUser(name, roleField(body), textField(body, QStringLiteral("password")));
            !error.isEmpty())
            throw HttpError{400, error};
        if (!store.save())
            throw HttpError{500, store.error()};
        call.changed = QStringLiteral("added account %1").arg(name);
        return call.reply(
            {{QStringLiteral("name"), name}, {QStringLiteral("role"), accounts::roleName(store.user(name)->role)}},
            201);
    }
    if (call.parts.size() != 2)
        throw HttpError{404, QStringLiteral("there is no %1").arg(call.path)};
    const QString name = call.parts[1];
    if (!store.user(name))
        throw HttpError{404, QStringLiteral("there is no account \"%1\"").arg(name)};
    if (call.method == u"DELETE") {
        store.removeUser(name);
        if (!store.save())
            throw HttpError{500, store.error()};
        m_sessions.endAllOf(name);
        call.changed = QStringLiteral("removed account %1").arg(name);
        call.status = 204;
        return;
    }
    if (call.method != u"PATCH")
        call.methodNotAllowed(QStringLiteral("PATCH, DELETE"));
    const QJsonObject body = call.json();
    for (auto it = body.begin(); it != body.end(); ++it)
        if (it.key() != u"role" && it.key() != u"password")
            throw HttpError{400, QStringLiteral("unknown field \"%1\" (role, password)").arg(it.key())};
    if (body.contains(u"role"))
        store.setRole(name, roleField(body));
    if (body.contains(u"password"))
        if (const QString error = store.setPassword(name, textField(body, QStringLiteral("password")));
            !error.isEmpty())
            throw HttpError{400, error};
    if (!store.save())
        throw HttpError{500, store.error()};
    m_sessions.endAllOf(name);
    call.changed = QStringLiteral("changed account %1").arg(name);
    call.reply({{QStringLiteral("name"), name}, {QStringLiteral("role"), accounts::roleName(store.user(name)->role)}});
}

} // namespace serve
