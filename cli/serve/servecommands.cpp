#include "servecommands.h"

#include "busoptions.h"
#include "mqttagent.h"
#include "runs.h"

#include "accounts.h"
#include "commands/commandtable.h"
#include "displays.h"
#include "httperror.h"
#include "server.h"
#include "stopsignals.h"
#include "workspace.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace serve {

namespace {
using qmdvars::Command;
using qmdvars::Context;
using qmdvars::Failure;
using qmdvars::valued;

const QCommandLineOption kRole = valued("role", "viewer, operator or admin.", "ROLE");
const QCommandLineOption kListen = valued("listen",
                                          "Address and port (default 127.0.0.1:47080; plain HTTP only on a "
                                          "loopback address; port 0 picks a free one).",
                                          "ADDR:PORT");
const QCommandLineOption kCert = valued("tls-cert", "PEM certificate for HTTPS.", "F");
const QCommandLineOption kKey = valued("tls-key", "PEM private key for HTTPS.", "F");
const QCommandLineOption kJobs = valued("jobs", "Update up to N displays at once (default 1).", "N");
const QCommandLineOption kHost = valued("host", "A further name the server answers to (its Host header); repeatable.",
                                        "NAME");
const QCommandLineOption kProxy = valued("trusted-proxy",
                                         "A reverse proxy whose X-Forwarded-For is believed; repeatable.", "ADDR");
const QCommandLineOption kIdle = valued("session-idle",
                                        "Seconds after which an unused session ends (1 to 86400, default 1800).", "S");
const QCommandLineOption kTimeout = valued("request-timeout",
                                           "Seconds a client has to send a whole request (default 10).", "S");
const QCommandLineOption kConnections = valued("max-connections",
                                               "Connections one address may hold at once (default 32).", "N");

// The password from the terminal without echo, or a line of standard input.
QString readPassword(qmdvars::Console& console, const QString& prompt)
{
    const bool terminal = isatty(fileno(stdin)) != 0;
    termios saved{};
    if (terminal) {
        console.err << prompt;
        console.err.flush();
        tcgetattr(fileno(stdin), &saved);
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(fileno(stdin), TCSANOW, &quiet);
    }
    char buffer[1024];
    const bool got = std::fgets(buffer, sizeof buffer, stdin) != nullptr;
    if (terminal) {
        tcsetattr(fileno(stdin), TCSANOW, &saved);
        console.err << '\n';
    }
    if (!got)
        throw Failure{qmdvars::BadArguments, QStringLiteral("no password given on standard input")};
    QString password = QString::fromUtf8(buffer);
    while (password.endsWith(u'\n') || password.endsWith(u'\r'))
        password.chop(1);
    return password;
}

accounts::Store loadedAccounts()
{
    accounts::Store store;
    if (!store.load())
        throw Failure{qmdvars::BadInputFile, store.error()};
    return store;
}

void saveAccounts(accounts::Store& store)
{
    if (!store.save())
        throw Failure{qmdvars::BadInputFile, store.error()};
}

accounts::Role roleOf(const Context& c)
{
    const auto role = accounts::roleNamed(qmdvars::required(c, kRole));
    if (!role)
        throw Failure{qmdvars::BadArguments,
                      QStringLiteral("unknown role \"%1\" (viewer, operator or admin)").arg(c.parser.value(kRole))};
    return *role;
}

int user(Context& c)
{
    const QStringList pos = qmdvars::positionals(c, 1, 2);
    const QString action = pos[0];
    if (action == u"list" && pos.size() == 1) {
        const accounts::Store store = loadedAccounts();
        for (const accounts::User& u : store.users())
            c.console.out << u.name << '\t' << accounts::roleName(u.role) << '\n';
        return qmdvars::AllDone;
    }
    if (pos.size() != 2
        || !QStringList{QStringLiteral("add"), QStringLiteral("passwd"), QStringLiteral("role"),
                        QStringLiteral("remove")}
                .contains(action))
        throw Failure{qmdvars::BadArguments, QStringLiteral("user takes add NAME --role ROLE, passwd NAME, role NAME "
                                                            "--role ROLE, remove NAME or list")};
    const QString name = pos[1];
    accounts::Store store = loadedAccounts();
    QString error;
    if (action == u"add") {
        const accounts::Role role = roleOf(c);
        if (store.user(name))
            throw Failure{qmdvars::BadArguments, QStringLiteral("there is already an account \"%1\"").arg(name)};
        error = store.addUser(name, role, readPassword(c.console, QStringLiteral("Password for %1: ").arg(name)));
    } else if (action == u"passwd") {
        if (!store.user(name))
            throw Failure{qmdvars::BadArguments, QStringLiteral("there is no account \"%1\"").arg(name)};
        error = store.setPassword(name, readPassword(c.console, QStringLiteral("New password for %1: ").arg(name)));
    } else if (action == u"role") {
        error = store.setRole(name, roleOf(c));
    } else {
        error = store.removeUser(name);
    }
    if (!error.isEmpty())
        throw Failure{qmdvars::BadArguments, error};
    saveAccounts(store);
    c.console.err << "account " << name << ": done (" << store.path() << ")\n";
    return qmdvars::AllDone;
}

int token(Context& c)
{
    const QStringList pos = qmdvars::positionals(c, 1, 2);
    accounts::Store store = loadedAccounts();
    if (pos[0] == u"list" && pos.size() == 1) {
        for (const accounts::Token& t : store.tokens())
            c.console.out << t.id << '\t' << t.name << '\t' << accounts::roleName(t.role) << '\t'
                          << t.created.toString(Qt::ISODate) << '\n';
        return qmdvars::AllDone;
    }
    if (pos.size() != 2 || (pos[0] != u"create" && pos[0] != u"revoke"))
        throw Failure{qmdvars::BadArguments,
                      QStringLiteral("token takes create NAME --role ROLE, revoke NAME|ID or list")};
    if (pos[0] == u"revoke") {
        if (const QString error = store.revokeToken(pos[1]); !error.isEmpty())
            throw Failure{qmdvars::BadArguments, error};
        saveAccounts(store);
        c.console.err << "token " << pos[1] << " revoked\n";
        return qmdvars::AllDone;
    }
    QString error;
    const QString text = store.createToken(pos[1], roleOf(c), &error);
    if (text.isEmpty())
        throw Failure{qmdvars::BadArguments, error};
    saveAccounts(store);
    c.console.err << "The token is shown this once; keep it where the script reads it:\n";
    c.console.err.flush();
    c.console.out << text << '\n';
    return qmdvars::AllDone;
}

Options serveOptions(const Context& c)
{
    Options options;
    const QString where = c.parser.isSet(kListen) ? c.parser.value(kListen) : QStringLiteral("127.0.0.1:47080");
    const qsizetype colon = where.lastIndexOf(u':');
    bool portOk = false;
    const uint port = where.mid(colon + 1).toUInt(&portOk);
    QString addressText = where.left(colon);
    if (addressText.startsWith(u'[') && addressText.endsWith(u']'))
        addressText = addressText.mid(1, addressText.size() - 2);
    options.address = QHostAddress(addressText);
    if (colon < 0 || !portOk || port > 65535 || options.address.isNull())
        throw Failure{
            qmdvars::BadArguments,
            QStringLiteral("--listen takes ADDRESS:PORT, for example 127.0.0.1:47080, not \"%1\"").arg(where)};
    options.port = quint16(port);
    options.tlsCert = c.parser.value(kCert);
    options.tlsKey = c.parser.value(kKey);
    if (options.tlsCert.isEmpty() != options.tlsKey.isEmpty())
        throw Failure{qmdvars::BadArguments, QStringLiteral("--tls-cert and --tls-key go together")};
    if (options.tlsCert.isEmpty() && !options.address.isLoopback())
        throw Failure{qmdvars::BadArguments, QStringLiteral("plain HTTP is served on a loopback address only: give "
                                                            "--tls-cert and --tls-key to listen on %1")
                                                 .arg(options.address.toString())};
    options.jobs = qmdvars::numberOption(c, kJobs, 1, 64, 1);
    options.sessionIdleSeconds = qmdvars::numberOption(c, kIdle, 1, 24 * 3600, 30 * 60);
    options.limits.requestTimeoutMs = qmdvars::numberOption(c, kTimeout, 1, 600, 10) * 1000;
    options.limits.maxConnectionsPerAddress = qmdvars::numberOption(c, kConnections, 1, 10000, 32);
    options.hosts = c.parser.values(kHost);
    for (const QString& a : c.parser.values(kProxy)) {
        const QHostAddress address(a);
        if (address.isNull())
            throw Failure{qmdvars::BadArguments, QStringLiteral("--trusted-proxy takes an address, not \"%1\"").arg(a)};
        options.trustedProxies.append(address);
    }
    options.accountsFile = accounts::Store::defaultPath();
    return options;
}

// Every display of a finished update, as its state and a send on the message bus.
void publishUpdates(Runs& runs, agent::Agent& bus)
{
    QObject::connect(&runs, &Runs::changed, &bus, [&bus](const QJsonObject& run) {
        if (run.value(QStringLiteral("type")).toString() != u"update"
            || run.value(QStringLiteral("state")).toString() != u"finished")
            return;
        for (const QJsonValue& value : run.value(QStringLiteral("displays")).toArray()) {
            const QJsonObject row = value.toObject();
            agent::SendReport report;
            report.display = row.value(QStringLiteral("number")).toString();
            report.name = row.value(QStringLiteral("name")).toString();
            report.ok = row.value(QStringLiteral("result")).toString() == u"Updated";
            report.error = row.value(QStringLiteral("error")).toString();
            report.cause = QStringLiteral("update ") + run.value(QStringLiteral("id")).toString();
            for (const QJsonValue& u : row.value(QStringLiteral("units")).toArray())
                report.units.append({u[QStringLiteral("address")].toInt(), u[QStringLiteral("sent")].toBool(),
                                     u[QStringLiteral("error")].toString()});
            bus.publishSend(report);
        }
    });
}

int serveCommand(Context& c)
{
    qmdvars::positionals(c, 0, 0);
    const Options options = serveOptions(c);
    Workspace workspace(c.file, c.displaysFile);
    try {
        workspace.read();
    } catch (const HttpError& e) {
        throw Failure{qmdvars::BadInputFile, e.message};
    }
    Server server(options, &workspace, c.console.err);
    QString error;
    if (!server.start(&error))
        throw Failure{qmdvars::BadInputFile, error};
    accounts::Store store(options.accountsFile);
    if (store.load() && store.users().isEmpty() && store.tokens().isEmpty())
        c.console.err << "qmdvars: no accounts yet: add one with qmdvars user add NAME --role admin\n";
    c.console.err << "serving " << workspace.variableFile() << " on " << server.url() << '\n';
    c.console.err.flush();
    c.console.out << "LISTENING " << server.url() << '\n';
    c.console.out.flush();
    std::unique_ptr<agent::Agent> bus;
    if (const std::optional<agent::Options> busOptions = qmdvars::busoptions::agentOptionsOf(c, false)) {
        bus = std::make_unique<agent::Agent>(*busOptions, QStringList());
        publishUpdates(*server.runs(), *bus);
        c.console.err << "publishing to " << busOptions->broker.key() << " under " << bus->topics().base()
                      << " as agent " << bus->topics().name << '\n';
        c.console.err.flush();
        bus->start();
    }

    QEventLoop loop;
    StopSignals stop;
    QObject::connect(&stop, &StopSignals::stopRequested, &loop, [&](int signal) {
        c.console.err << "stopping on signal " << signal << '\n';
        loop.quit();
    });
    loop.exec();
    server.stop();
    c.console.err << "stopped\n";
    return qmdvars::AllDone;
}
} // namespace

void addCommands()
{
    qmdvars::commands::add(
        {QStringLiteral("serve"),
         QStringLiteral("serve [--listen ADDR:PORT] [--tls-cert F --tls-key F] [--jobs N] [--host NAME] "
                        "[--trusted-proxy ADDR] [--session-idle S] [--request-timeout S] [--max-connections N]\n"
                        "      [--publish mqtt[s]://[USER@]HOST[:PORT]/PREFIX [--site NAME] [--agent NAME] "
                        "[--keepalive S]]"),
         QStringLiteral("Serves the web console and the HTTP API (/api/v1, docs/api.md) on the variable file, the "
                        "display list and the send history until SIGINT or SIGTERM (exit code 0). Prints "
                        "\"LISTENING URL\" when ready; one line per change, login and refusal goes to the error "
                        "output."),
         {kListen, kCert, kKey, kJobs, kHost, kProxy, kIdle, kTimeout, kConnections, qmdvars::busoptions::publish,
          qmdvars::busoptions::site, qmdvars::busoptions::agentName, qmdvars::busoptions::keepAlive},
         {},
         serveCommand});
    qmdvars::commands::add(
        {QStringLiteral("user"),
         QStringLiteral("user add NAME --role viewer|operator|admin | passwd NAME | role NAME --role ROLE | "
                        "remove NAME | list"),
         QStringLiteral("Manages the accounts of the web console and the HTTP API, kept beside the machine-wide "
                        "settings. add and passwd read the password from the terminal, or a line of standard "
                        "input when it is not one."),
         {kRole},
         {{QStringLiteral("ACTION"), QStringLiteral("add, passwd, role, remove or list.")},
          {QStringLiteral("NAME"), QStringLiteral("The account's name.")}},
         user});
    qmdvars::commands::add(
        {QStringLiteral("token"),
         QStringLiteral("token create NAME --role viewer|operator|admin | revoke NAME|ID | list"),
         QStringLiteral("Manages the tokens scripts send as \"Authorization: Bearer TOKEN\". A new token is "
                        "printed once."),
         {kRole},
         {{QStringLiteral("ACTION"), QStringLiteral("create, revoke or list.")},
          {QStringLiteral("NAME"), QStringLiteral("The token's name, or its id to revoke.")}},
         token});
}

} // namespace serve
