// The variables (read with their ETag, changed one at a time), the displays
// of the display list, and the send history.

#include "call.h"
#include "historyview.h"
#include "sendhistory.h"
#include "server.h"
#include "varfields.h"
#include "workspace.h"

#include <QJsonArray>

namespace serve {

void Server::variables(Call& call)
{
    if (call.parts.size() == 1) {
        if (call.method != u"GET")
            call.methodNotAllowed(QStringLiteral("GET"));
        call.require(accounts::Role::Viewer);
        const QString range = call.query(QStringLiteral("range"));
        const QList<int> numbers = variablesOf(range.isEmpty() ? QStringLiteral("-") : range);
        const Snapshot snapshot = m_workspace->read();
        QJsonArray list;
        for (int n : numbers)
            list.append(variableJson(snapshot.records, n));
        call.headers.append(std::pair<QByteArray, QByteArray>("ETag", snapshot.etag));
        return call.reply(
            {{QStringLiteral("etag"), QString::fromLatin1(snapshot.etag)}, {QStringLiteral("variables"), list}});
    }
    if (call.parts.size() != 2)
        throw HttpError{404, QStringLiteral("there is no %1").arg(call.path)};
    const auto number = varfields::varNumber(call.parts[1]);
    if (!number)
        throw HttpError{404, QStringLiteral("there is no variable \"%1\" (1 to 416)").arg(call.parts[1].left(20))};
    if (call.method == u"GET") {
        call.require(accounts::Role::Viewer);
        const Snapshot snapshot = m_workspace->read();
        call.headers.append(std::pair<QByteArray, QByteArray>("ETag", snapshot.etag));
        return call.reply({{QStringLiteral("etag"), QString::fromLatin1(snapshot.etag)},
                           {QStringLiteral("variable"), variableJson(snapshot.records, *number)}});
    }
    if (call.method != u"PATCH" && call.method != u"PUT")
        call.methodNotAllowed(QStringLiteral("GET, PATCH"));
    call.require(accounts::Role::Operator);
    // Every value is checked before the file is touched, so a bad one changes nothing.
    const Fields fields = fieldsOf(call.json(), *number);
    const Snapshot snapshot = m_workspace->change(*number, fields, call.header("if-match"), call.who->name);
    call.changed = QStringLiteral("changed variable %1 (%2)").arg(*number).arg(fieldNames(fields).join(u','));
    call.headers.append(std::pair<QByteArray, QByteArray>("ETag", snapshot.etag));
    call.reply({{QStringLiteral("etag"), QString::fromLatin1(snapshot.etag)},
                {QStringLiteral("variable"), variableJson(snapshot.records, *number)}});
}

void Server::displaysApi(Call& call)
{
    if (call.method != u"GET")
        call.methodNotAllowed(QStringLiteral("GET"));
    call.require(accounts::Role::Viewer);
    if (call.parts.size() > 2)
        throw HttpError{404, QStringLiteral("there is no %1").arg(call.path)};
    QList<displays::Entry> list;
    try {
        list = m_workspace->displays(call.parts.size() == 2 ? call.parts[1] : QStringLiteral("-"));
    } catch (const HttpError& e) {
        if (call.parts.size() == 2 && e.status == 400)
            throw HttpError{404, e.message};
        throw;
    }
    QJsonArray rows;
    for (const displays::Entry& d : std::as_const(list)) {
        QJsonArray units;
        for (const QString& u : d.units.split(u',', Qt::SkipEmptyParts))
            units.append(u.trimmed().toInt());
        rows.append(QJsonObject{
            {QStringLiteral("number"), d.number}, {QStringLiteral("name"), d.name}, {QStringLiteral("units"), units}});
    }
    if (call.parts.size() == 2)
        return call.reply({{QStringLiteral("display"), rows.first()}});
    call.reply({{QStringLiteral("displays"), rows}});
}

void Server::historyApi(Call& call)
{
    if (call.method != u"GET")
        call.methodNotAllowed(QStringLiteral("GET"));
    call.require(accounts::Role::Viewer);
    if (call.parts.size() != 1)
        throw HttpError{404, QStringLiteral("there is no %1").arg(call.path)};
    history::Filter filter;
    filter.display = call.query(QStringLiteral("display")).trimmed();
    if (const QString var = call.query(QStringLiteral("var")); !var.isEmpty()) {
        const auto number = varfields::varNumber(var);
        if (!number)
            throw HttpError{400, QStringLiteral("unknown variable number \"%1\" (1 to 416)").arg(var.left(20))};
        filter.variable = *number;
    }
    if (const QString since = call.query(QStringLiteral("since")); !since.isEmpty()) {
        const auto when = historyview::parseSince(since);
        if (!when)
            throw HttpError{400, QStringLiteral("since takes a date such as 2026-11-25 or an age such as 3d, not "
                                                "\"%1\"")
                                     .arg(since.left(40))};
        filter.since = *when;
    }
    int limit = 500;
    if (const QString l = call.query(QStringLiteral("limit")); !l.isEmpty()) {
        bool ok = false;
        limit = l.toInt(&ok);
        if (!ok || limit < 1 || limit > 10000)
            throw HttpError{400, QStringLiteral("limit takes a whole number from 1 to 10000")};
    }
    history::SendHistory history;
    if (!history.open())
        throw HttpError{500, QStringLiteral("cannot open the send history: ") + history.errorText()};
    QJsonArray rows;
    const QList<history::Entry> entries = history.entries(filter);
    for (const history::Entry& e : entries) {
        if (rows.size() >= limit)
            break;
        QJsonArray vars;
        for (int v : e.variables)
            vars.append(v);
        QJsonArray sent;
        for (const auto& [v, text] : e.sentTexts)
            sent.append(QJsonObject{{QStringLiteral("variable"), v}, {QStringLiteral("text"), text}});
        rows.append(QJsonObject{{QStringLiteral("when"), e.when.toString(Qt::ISODate)},
                                {QStringLiteral("kind"), e.kind},
                                {QStringLiteral("display"), e.display},
                                {QStringLiteral("display_name"), e.displayName},
                                {QStringLiteral("units"), e.units},
                                {QStringLiteral("mode"), e.mode},
                                {QStringLiteral("variables"), vars},
                                {QStringLiteral("result"), e.result},
                                {QStringLiteral("error"), e.error},
                                {QStringLiteral("sent"), sent},
                                {QStringLiteral("account"), e.account}});
    }
    call.reply({{QStringLiteral("entries"), rows}, {QStringLiteral("total"), int(entries.size())}});
}

} // namespace serve
