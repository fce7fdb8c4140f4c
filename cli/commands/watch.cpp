// watch: keeps the displays current with their variables' linked sources until stopped.

#include "commandtable.h"

#include "busoptions.h"
#include "buswatch.h"
#include "displaysender.h"
#include "feedlinks.h"
#include "mqttagent.h"
#include "stopsignals.h"
#include "topiccache.h"
#include "varrange.h"
#include "watch.h"

#include <QDateTime>
#include <QEventLoop>

namespace qmdvars::commands {

namespace {

const QCommandLineOption kDebounce(QStringLiteral("debounce"),
                                   QStringLiteral("Send changes that come within MS milliseconds of each "
                                                  "other at once (default %1).")
                                       .arg(::watch::Options{}.debounceMs),
                                   QStringLiteral("MS"));

// Publishes the watch's sends, logs the agent's link and carries commands out.
void wire(Context& c, agent::Agent& bus, const agent::Options& options, watch::Watcher& watcher, clsVariableAccess* set)
{
    auto logLine = [&c](const QString& text) {
        c.console.out << QDateTime::currentDateTime().toString(Qt::ISODate) << ' ' << text << '\n';
        c.console.out.flush();
    };
    const QString broker = options.broker.key();
    QObject::connect(&watcher, &watch::Watcher::sent, &bus, &agent::Agent::publishSend);
    QObject::connect(&bus, &agent::Agent::brokerLost, &bus, [=](const QString& reason) {
        logLine(QStringLiteral("link to broker %1 for publishing lost: %2").arg(broker, reason));
    });
    QObject::connect(&bus, &agent::Agent::brokerBack, &bus,
                     [=] { logLine(QStringLiteral("link to broker %1 for publishing up").arg(broker)); });
    QObject::connect(&bus, &agent::Agent::commandRefused, &bus, [=](const QString& topic, const QString& why) {
        logLine(QStringLiteral("command on %1 refused: %2").arg(topic, why));
    });
    QObject::connect(
        &bus, &agent::Agent::commandReceived, &bus, [&c, &watcher, set, logLine](const agent::Command& command) {
            QString error;
            if (!watch::applyCommand(c.file, set, command, &error)) {
                logLine(QStringLiteral("command for variable %1 refused: %2").arg(command.variable).arg(error));
                return;
            }
            const UpdateOption option = !command.hasAttributes() ? UpdateOption::DataOnly
                                        : command.data           ? UpdateOption::DataAndAttributes
                                                                 : UpdateOption::AttributesOnly;
            logLine(QStringLiteral("command: variable %1 changed").arg(command.variable));
            watcher.sendNow(varrange::selectionOf({command.variable}), option);
        });
}

int run(Context& c)
{
    positionals(c, 0, 0);
    watch::Options options;
    options.selection = varrange::selectionOf(
        variablesOf(c.parser.isSet(options::vars) ? c.parser.value(options::vars) : QStringLiteral("-")));
    options.debounceMs = numberOption(c, kDebounce, 0, 3600 * 1000, watch::Options{}.debounceMs);
    options.retryIntervalSeconds = std::max(1, retryIntervalOf(c));
    options.pollSeconds = links::FeedCache::shared().refreshSeconds();
    const int keepAlive = busoptions::keepAliveOf(c);
    const std::optional<agent::Options> agentOptions = busoptions::agentOptionsOf(c, true);
    const QList<displays::Entry> chosen = chosenDisplays(c);
    const VarStore store = loadedStore(c);
    const auto engine = engineFor(store);
    QStringList numbers;
    for (const displays::Entry& e : chosen)
        numbers.append(e.number);
    std::unique_ptr<agent::Agent> bus;
    if (agentOptions) {
        bus = std::make_unique<agent::Agent>(*agentOptions, numbers);
        // The linked topics in a session of their own that the broker keeps while the link is down.
        mqtt::TopicCache::shared().setSession(
            QStringLiteral("qmdvars-links-") + (agentOptions->site.isEmpty() ? QString() : agentOptions->site + u'-')
                + bus->topics().name,
            keepAlive);
    }

    watch::Watcher watcher(engine->get(), chosen, options, c.console.out);
    if (watcher.linked().isEmpty() && !(agentOptions && agentOptions->acceptCommands))
        throw Failure{BadArguments, QStringLiteral("none of the chosen variables is linked: nothing to watch")};
    c.console.err << "watching " << watcher.linked().size() << " linked variable(s) in "
                  << watcher.files().size() + watcher.urls().size() + watcher.topics().size()
                  << " source(s) for display(s) " << numbers.join(u',') << '\n';
    if (bus) {
        c.console.err << "publishing to " << agentOptions->broker.key() << " under " << bus->topics().base()
                      << " as agent " << bus->topics().name
                      << (agentOptions->acceptCommands ? "; commands accepted" : "; commands ignored") << '\n';
        wire(c, *bus, *agentOptions, watcher, engine->get());
        bus->start();
    }
    c.console.err.flush();

    QEventLoop loop;
    StopSignals stop;
    QObject::connect(&stop, &StopSignals::stopRequested, &loop, [&](int number) {
        c.console.err << "stopping on signal " << number << '\n';
        loop.quit();
    });
    watcher.start();
    loop.exec();
    return AllDone;
}

} // namespace

Command watch()
{
    return {QStringLiteral("watch"),
            QStringLiteral("watch --displays LIST [--vars RANGE] [--debounce MS] [--retry-interval S] [--keepalive S]\n"
                           "      [--publish mqtt[s]://[USER@]HOST[:PORT]/PREFIX [--site NAME] [--agent NAME] "
                           "[--accept-commands]]"),
            QStringLiteral("Runs until stopped (SIGINT or SIGTERM, exit code 0): sends every linked variable of "
                           "RANGE (default: all) to the displays once, then watches the linked files and polls "
                           "the linked URLs (every --refresh seconds) and sends the data of the variables that "
                           "changed, also when a message arrives on a linked topic of a message broker. Changes within "
                           "the debounce time go out as one send. A display that fails is tried again after the "
                           "retry interval with everything that changed meanwhile. One line per send and per "
                           "failure goes to the output. With --publish it also publishes each display's state, its "
                           "sends and its presence on the broker, and with --accept-commands changes and sends "
                           "variables on PREFIX/variables/<n>/set (docs/mqtt.md)."),
            {options::displays, options::vars, kDebounce, options::retryInterval, busoptions::keepAlive,
             busoptions::publish, busoptions::site, busoptions::agentName, busoptions::acceptCommands},
            {},
            run};
}

} // namespace qmdvars::commands
