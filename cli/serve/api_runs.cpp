// Updates and audits: started with POST (answered 202 at once with an id),
// followed with GET or over the WebSocket.

#include "auditrun.h"
#include "call.h"
#include "runs.h"
#include "server.h"
#include "settingsstore.h"
#include "workspace.h"

#include <QJsonArray>

namespace serve {

namespace {
QString rangeField(const QJsonObject& o, const QString& key)
{
    const QJsonValue v = o.value(key);
    if (v.isDouble())
        return QString::number(v.toInteger());
    if (!v.isString() || v.toString().trimmed().isEmpty())
        throw HttpError{400,
                        QStringLiteral("\"%1\" is required: a range such as \"1,3,5-12\" (\"-\" for all)").arg(key)};
    return v.toString();
}

int numberField(const QJsonObject& o, const QString& key, int lowest, int highest, int otherwise)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined())
        return otherwise;
    if (!v.isDouble() || v.toDouble() != double(v.toInteger()) || v.toInteger() < lowest || v.toInteger() > highest)
        throw HttpError{400,
                        QStringLiteral("\"%1\" takes a whole number from %2 to %3").arg(key).arg(lowest).arg(highest)};
    return int(v.toInteger());
}

void onlyFields(const QJsonObject& o, const QStringList& known)
{
    for (auto it = o.begin(); it != o.end(); ++it)
        if (!known.contains(it.key()))
            throw HttpError{400, QStringLiteral("unknown field \"%1\" (the fields are %2)")
                                     .arg(it.key(), known.join(QStringLiteral(", ")))};
}

// "data", "attributes" or "both".
int modeField(const QJsonObject& o)
{
    const QString mode = o.value(u"mode").toString(QStringLiteral("both"));
    if (mode == u"data")
        return 1;
    if (mode == u"attributes")
        return 2;
    if (mode == u"both")
        return 0;
    throw HttpError{400, QStringLiteral("\"mode\" takes data, attributes or both, not \"%1\"").arg(mode.left(40))};
}

void getRuns(Call& call, Runs& runs, const QString& kind)
{
    if (call.method != u"GET")
        call.methodNotAllowed(call.parts.size() == 1 ? QStringLiteral("GET, POST") : QStringLiteral("GET"));
    call.require(accounts::Role::Viewer);
    if (call.parts.size() == 1)
        return call.reply({{kind, runs.list(kind)}});
    const QJsonObject run = runs.run(kind, call.parts[1]);
    if (run.isEmpty() || call.parts.size() > 2)
        throw HttpError{404, QStringLiteral("there is no run \"%1\" (runs are kept while the server runs)")
                                 .arg(call.parts.mid(1).join(u'/').left(40))};
    call.reply(run);
}
} // namespace

void Server::updates(Call& call)
{
    if (!(call.parts.size() == 1 && call.method == u"POST"))
        return getRuns(call, *m_runs, QStringLiteral("updates"));
    const accounts::Identity& who = call.require(accounts::Role::Operator);
    const QJsonObject body = call.json();
    onlyFields(body, {QStringLiteral("displays"), QStringLiteral("variables"), QStringLiteral("mode"),
                      QStringLiteral("delay_minutes"), QStringLiteral("retries"), QStringLiteral("retry_interval")});
    UpdateRequest request;
    request.variables = variablesOf(rangeField(body, QStringLiteral("variables")));
    request.displays = m_workspace->displays(rangeField(body, QStringLiteral("displays")));
    const int mode = modeField(body);
    request.option = mode == 1   ? UpdateOption::DataOnly
                     : mode == 2 ? UpdateOption::AttributesOnly
                                 : UpdateOption::DataAndAttributes;
    request.delayMinutes = numberField(body, QStringLiteral("delay_minutes"), 0, 7 * 24 * 60, 0);
    request.retries = numberField(body, QStringLiteral("retries"), 0, 1000, 0);
    bool ok = false;
    const int setting = settings::read(settings::kRetryInterval).toInt(&ok);
    request.retryIntervalSeconds = numberField(body, QStringLiteral("retry_interval"), 0, 24 * 3600,
                                               ok ? setting : 3600);
    request.account = who.name;
    const QString id = m_runs->startUpdate(request, m_workspace->read());
    QStringList numbers;
    for (const displays::Entry& d : std::as_const(request.displays))
        numbers.append(d.number);
    call.changed = QStringLiteral("update %1 of variables %2 to displays %3")
                       .arg(id, rangeField(body, QStringLiteral("variables")), numbers.join(u','));
    call.headers.append(std::pair<QByteArray, QByteArray>("Location", "/api/v1/updates/" + id.toLatin1()));
    call.reply({{QStringLiteral("id"), id},
                {QStringLiteral("state"), QStringLiteral("running")},
                {QStringLiteral("url"), QString(QStringLiteral("/api/v1/updates/") + id)}},
               202);
}

void Server::audits(Call& call)
{
    if (!(call.parts.size() == 1 && call.method == u"POST"))
        return getRuns(call, *m_runs, QStringLiteral("audits"));
    const accounts::Identity& who = call.require(accounts::Role::Operator);
    const QJsonObject body = call.json();
    onlyFields(body, {QStringLiteral("displays"), QStringLiteral("variables"), QStringLiteral("mode"),
                      QStringLiteral("compare")});
    AuditRequest request;
    request.variables = variablesOf(rangeField(body, QStringLiteral("variables")));
    request.displays = m_workspace->displays(rangeField(body, QStringLiteral("displays")));
    request.everyDisplay = m_workspace->displays(QStringLiteral("-"));
    const int mode = modeField(body);
    request.mode = int(mode == 1   ? audit::Mode::DataOnly
                       : mode == 2 ? audit::Mode::AttributesOnly
                                   : audit::Mode::DataAndAttributes);
    if (body.contains(u"compare") && !body.value(u"compare").isBool())
        throw HttpError{400, QStringLiteral("\"compare\" takes true or false")};
    request.compare = body.value(u"compare").toBool(true);
    request.account = who.name;
    const QString id = m_runs->startAudit(request, m_workspace->read());
    call.changed = QStringLiteral("audit %1").arg(id);
    call.headers.append(std::pair<QByteArray, QByteArray>("Location", "/api/v1/audits/" + id.toLatin1()));
    call.reply({{QStringLiteral("id"), id},
                {QStringLiteral("state"), QStringLiteral("running")},
                {QStringLiteral("url"), QString(QStringLiteral("/api/v1/audits/") + id)}},
               202);
}

} // namespace serve
