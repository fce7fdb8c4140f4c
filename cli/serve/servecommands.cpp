#include "servecommands.h"

#include "accounts.h"
#include "displays.h"
#include "httperror.h"
#include "server.h"
#include "stopsignals.h"
#include "workspace.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>

#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace serve {

namespace {
const QStringList kOurs{QStringLiteral("serve"), QStringLiteral("user"), QStringLiteral("token")};
const QStringList kGlobalWithValue{QStringLiteral("--file"), QStringLiteral("--displays-file"),
                                   QStringLiteral("--refresh"), QStringLiteral("--feed-wait")};

struct Failure {
    int code;
    QString message;
};

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

accounts::Role roleOf(const QCommandLineParser& p, const QCommandLineOption& option)
{
    if (!p.isSet(option))
        throw Failure{qmdvars::BadArguments, QStringLiteral("--role is required (viewer, operator or admin)")};
    const auto role = accounts::roleNamed(p.value(option));
    if (!role)
        throw Failure{qmdvars::BadArguments,
                      QStringLiteral("unknown role \"%1\" (viewer, operator or admin)").arg(p.value(option))};
    return *role;
}

int userCommand(const QStringList& args, QCommandLineParser& p, qmdvars::Console& console)
{
    const QCommandLineOption role(QStringLiteral("role"), QStringLiteral("viewer, operator or admin."),
                                  QStringLiteral("ROLE"));
    p.addOption(role);
    p.addPositionalArgument(QStringLiteral("ACTION"), QStringLiteral("add, passwd, role, remove or list."));
    p.addPositionalArgument(QStringLiteral("NAME"), QStringLiteral("The account's name."));
    if (!p.parse(args))
        throw Failure{qmdvars::BadArguments, p.errorText()};
    const QStringList pos = p.positionalArguments();
    const QString action = pos.value(0);
    if (action == u"list" && pos.size() == 1) {
        const accounts::Store store = loadedAccounts();
        for (const accounts::User& u : store.users())
            console.out << u.name << '\t' << accounts::roleName(u.role) << '\n';
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
        const accounts::Role r = roleOf(p, role);
        if (store.user(name))
            throw Failure{qmdvars::BadArguments, QStringLiteral("there is already an account \"%1\"").arg(name)};
        error = store.addUser(name, r, readPassword(console, QStringLiteral("Password for %1: ").arg(name)));
    } else if (action == u"passwd") {
        if (!store.user(name))
            throw Failure{qmdvars::BadArguments, QStringLiteral("there is no account \"%1\"").arg(name)};
        error = store.setPassword(name, readPassword(console, QStringLiteral("New password for %1: ").arg(name)));
    } else if (action == u"role") {
        error = store.setRole(name, roleOf(p, role));
    } else {
        error = store.removeUser(name);
    }
    if (!error.isEmpty())
        throw Failure{qmdvars::BadArguments, error};
    saveAccounts(store);
    console.err << "account " << name << ": done (" << store.path() << ")\n";
    return qmdvars::AllDone;
}

int tokenCommand(const QStringList& args, QCommandLineParser& p, qmdvars::Console& console)
{
    const QCommandLineOption role(QStringLiteral("role"), QStringLiteral("viewer, operator or admin."),
                                  QStringLiteral("ROLE"));
    p.addOption(role);
    p.addPositionalArgument(QStringLiteral("ACTION"), QStringLiteral("create, revoke or list."));
    p.addPositionalArgument(QStringLiteral("NAME"), QStringLiteral("The token's name, or its id to revoke."));
    if (!p.parse(args))
        throw Failure{qmdvars::BadArguments, p.errorText()};
    const QStringList pos = p.positionalArguments();
    accounts::Store store = loadedAccounts();
    if (pos.value(0) == u"list" && pos.size() == 1) {
        for (const accounts::Token& t : store.tokens())
            console.out << t.id << '\t' << t.name << '\t' << accounts::roleName(t.role) << '\t'
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
        console.err << "token " << pos[1] << " revoked\n";
        return qmdvars::AllDone;
    }
    QString error;
    const QString token = store.createToken(pos[1], roleOf(p, role), &error);
    if (token.isEmpty())
        throw Failure{qmdvars::BadArguments, error};
    saveAccounts(store);
    console.err << "The token is shown this once; keep it where the script reads it:\n";
    console.err.flush();
    console.out << token << '\n';
    return qmdvars::AllDone;
}

int serveCommand(const QStringList& args, QCommandLineParser& p, qmdvars::Console& console, const QString& file,
                 const QString& displaysFile)
{
    const QCommandLineOption listen(QStringLiteral("listen"),
                                    QStringLiteral("Address and port (default 127.0.0.1:47080; plain HTTP only on a "
                                                   "loopback address)."),
                                    QStringLiteral("ADDR:PORT"));
    const QCommandLineOption cert(QStringLiteral("tls-cert"), QStringLiteral("PEM certificate for HTTPS."),
                                  QStringLiteral("F"));
    const QCommandLineOption key(QStringLiteral("tls-key"), QStringLiteral("PEM private key for HTTPS."),
                                 QStringLiteral("F"));
    const QCommandLineOption jobs(QStringLiteral("jobs"),
                                  QStringLiteral("Update up to N displays at once (default 1)."), QStringLiteral("N"));
    const QCommandLineOption host(QStringLiteral("host"),
                                  QStringLiteral("A further name the server answers to (its Host header); repeatable."),
                                  QStringLiteral("NAME"));
    const QCommandLineOption proxy(QStringLiteral("trusted-proxy"),
                                   QStringLiteral("A reverse proxy whose X-Forwarded-For is believed; repeatable."),
                                   QStringLiteral("ADDR"));
    const QCommandLineOption idle(QStringLiteral("session-idle"),
                                  QStringLiteral("Minutes after which an unused session ends (default 30)."),
                                  QStringLiteral("MIN"));
    const QCommandLineOption timeout(QStringLiteral("request-timeout"),
                                     QStringLiteral("Seconds a client has to send a whole request (default 10)."),
                                     QStringLiteral("S"));
    const QCommandLineOption connections(QStringLiteral("max-connections"),
                                         QStringLiteral("Connections one address may hold at once (default 32)."),
                                         QStringLiteral("N"));
    p.addOptions({listen, cert, key, jobs, host, proxy, idle, timeout, connections});
    if (!p.parse(args))
        throw Failure{qmdvars::BadArguments, p.errorText()};
    if (!p.positionalArguments().isEmpty())
        throw Failure{qmdvars::BadArguments,
                      QStringLiteral("unexpected argument \"%1\"").arg(p.positionalArguments().first())};
    Options options;
    const QString where = p.value(listen).isEmpty() ? QStringLiteral("127.0.0.1:47080") : p.value(listen);
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
    options.tlsCert = p.value(cert);
    options.tlsKey = p.value(key);
    if (options.tlsCert.isEmpty() != options.tlsKey.isEmpty())
        throw Failure{qmdvars::BadArguments, QStringLiteral("--tls-cert and --tls-key go together")};
    if (options.tlsCert.isEmpty() && !options.address.isLoopback())
        throw Failure{qmdvars::BadArguments, QStringLiteral("plain HTTP is served on a loopback address only: give "
                                                            "--tls-cert and --tls-key to listen on %1")
                                                 .arg(options.address.toString())};
    auto number = [&](const QCommandLineOption& o, int lowest, int highest, int otherwise) {
        if (!p.isSet(o))
            return otherwise;
        bool ok = false;
        const int v = p.value(o).toInt(&ok);
        if (!ok || v < lowest || v > highest)
            throw Failure{qmdvars::BadArguments, QStringLiteral("--%1 takes a whole number from %2 to %3, not \"%4\"")
                                                     .arg(o.names().constFirst())
                                                     .arg(lowest)
                                                     .arg(highest)
                                                     .arg(p.value(o))};
        return v;
    };
    options.jobs = number(jobs, 1, 64, 1);
    options.sessionIdleMinutes = number(idle, 1, 24 * 60, 30);
    options.limits.requestTimeoutMs = number(timeout, 1, 600, 10) * 1000;
    options.limits.maxConnectionsPerAddress = number(connections, 1, 10000, 32);
    options.hosts = p.values(host);
    for (const QString& a : p.values(proxy)) {
        const QHostAddress address(a);
        if (address.isNull())
            throw Failure{qmdvars::BadArguments, QStringLiteral("--trusted-proxy takes an address, not \"%1\"").arg(a)};
        options.trustedProxies.append(address);
    }
    options.accountsFile = accounts::Store::defaultPath();
    if (!displaysFile.isEmpty())
        displays::useListFile(displays::listFile(displaysFile));

    Workspace workspace(file, displaysFile);
    try {
        workspace.read();
    } catch (const HttpError& e) {
        throw Failure{qmdvars::BadInputFile, e.message};
    }
    Server server(options, &workspace, console.err);
    QString error;
    if (!server.start(&error))
        throw Failure{qmdvars::BadInputFile, error};
    accounts::Store store(options.accountsFile);
    if (store.load() && store.users().isEmpty() && store.tokens().isEmpty())
        console.err << "qmdvars: no accounts yet: add one with qmdvars user add NAME --role admin\n";
    console.err << "serving " << workspace.variableFile() << " on " << server.url() << '\n';
    console.err.flush();
    console.out << "LISTENING " << server.url() << '\n';
    console.out.flush();

    QEventLoop loop;
    StopSignals stop;
    QObject::connect(&stop, &StopSignals::stopRequested, &loop, [&](int signal) {
        console.err << "stopping on signal " << signal << '\n';
        loop.quit();
    });
    loop.exec();
    server.stop();
    console.err << "stopped\n";
    return qmdvars::AllDone;
}
} // namespace

bool isServeCommand(const QStringList& arguments)
{
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& a = arguments[i];
        if (kGlobalWithValue.contains(a)) {
            ++i;
            continue;
        }
        if (a.startsWith(u'-'))
            continue;
        return kOurs.contains(a);
    }
    return false;
}

int run(const QStringList& arguments, qmdvars::Console& console)
{
    // The global options before the command, then the command's own.
    QString file;
    QString displaysFile;
    qsizetype i = 1;
    for (; i < arguments.size() && !kOurs.contains(arguments[i]); ++i) {
        const QString& a = arguments[i];
        const QString value = i + 1 < arguments.size() ? arguments[i + 1] : QString();
        if (a == u"--file")
            file = value;
        else if (a == u"--displays-file")
            displaysFile = value;
        if (kGlobalWithValue.contains(a))
            ++i;
        else if (a.startsWith(QStringLiteral("--file=")))
            file = a.mid(7);
        else if (a.startsWith(QStringLiteral("--displays-file=")))
            displaysFile = a.mid(16);
    }
    const QString command = arguments.value(i);
    const QStringList args = QStringList{QStringLiteral("qmdvars ") + command} + arguments.mid(i + 1);
    QCommandLineParser parser;
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    parser.addOption(help);
    try {
        int code = 0;
        if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
            QCommandLineParser shown;
            shown.addOption(help);
            if (command == u"serve") {
                console.out << "Usage: qmdvars [--file F] [--displays-file F] serve [--listen ADDR:PORT] "
                               "[--tls-cert F --tls-key F] [--jobs N] [--host NAME] [--trusted-proxy ADDR] "
                               "[--session-idle MIN] [--request-timeout S] [--max-connections N]\n\nServes the HTTP "
                               "API (/api/v1, docs/api.md) and the web "
                               "console until SIGINT or SIGTERM.\n";
            } else if (command == u"user") {
                console.out << "Usage: qmdvars user add NAME --role viewer|operator|admin | passwd NAME | role NAME "
                               "--role ROLE | remove NAME | list\n\nThe password is read from the terminal, or "
                               "from standard input when it is not one.\n";
            } else {
                console.out << "Usage: qmdvars token create NAME --role viewer|operator|admin | revoke NAME|ID | "
                               "list\n\nA new token is printed once.\n";
            }
            console.out << '\n' << qmdvars::exitCodesHelp();
            return qmdvars::AllDone;
        }
        if (command == u"serve")
            code = serveCommand(args, parser, console, file, displaysFile);
        else if (command == u"user")
            code = userCommand(args, parser, console);
        else
            code = tokenCommand(args, parser, console);
        console.out.flush();
        return code;
    } catch (const Failure& f) {
        console.out.flush();
        console.err << "qmdvars: " << f.message << '\n';
        if (f.code == qmdvars::BadArguments)
            console.err << "Try 'qmdvars " << command << " --help'.\n";
        return f.code;
    }
}

} // namespace serve
