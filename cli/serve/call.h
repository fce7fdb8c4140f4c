#pragma once

// One request as the API's areas see it: the path below /api/v1 in parts, the
// client, who it is, its JSON body, and the answer being made.

#include "accounts.h"
#include "httperror.h"
#include "sessions.h"

#include <QHttpServerRequest>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QStringList>

#include <optional>
#include <utility>

namespace serve {

struct Call {
    explicit Call(const QHttpServerRequest& r) : request(r) {}
    const QHttpServerRequest& request;
    QString method; // "GET", "POST", ...
    QString path;
    QStringList parts; // of the path below /api/v1
    QString client;    // the client's address
    bool tls = false;
    std::optional<accounts::Identity> who;
    std::optional<Session> session;

    int status = 200;
    QByteArray body;
    QByteArray contentType = "application/json";
    QList<std::pair<QByteArray, QByteArray>> headers;
    QString changed; // what a changing request did, for the log

    QByteArray header(const QByteArray& name) const { return request.value(name); }
    QString query(const QString& name) const;

    // The body as a JSON object; 400 with the reason otherwise.
    QJsonObject json() const;
    // 401 without an account, 403 when the account's role is below `role`.
    const accounts::Identity& require(accounts::Role role) const;
    void reply(const QJsonObject& object, int code = 200)
    {
        status = code;
        body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    }
    [[noreturn]] void methodNotAllowed(const QString& allowed) const
    {
        throw HttpError{405,
                        QStringLiteral("%1 does not take %2 (it takes %3)").arg(path, method, allowed),
                        {{"Allow", allowed.toLatin1()}}};
    }
};

} // namespace serve
