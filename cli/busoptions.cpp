#include "busoptions.h"

namespace qmdvars::busoptions {

const QCommandLineOption publish = valued("publish",
                                          "Publish each display's state, every send and this agent's presence on the "
                                          "broker URL, under its topic prefix.",
                                          "mqtt[s]://[USER@]HOST[:PORT]/PREFIX");
const QCommandLineOption site = valued(
    "site", "This agent's site: its topics under PREFIX/sites/NAME, and commands from PREFIX/all/ too.", "NAME");
const QCommandLineOption agentName = valued("agent", "This agent's name (default: the site, or the host's name).",
                                            "NAME");
const QCommandLineOption acceptCommands = flag("accept-commands", "Act on PREFIX/variables/<n>/set messages.");
const QCommandLineOption keepAlive = valued("keepalive", "Seconds between signs of life to the brokers (default 30).",
                                            "S");

int keepAliveOf(const Context& c) { return numberOption(c, keepAlive, 5, 3600, 30); }

std::optional<agent::Options> agentOptionsOf(const Context& c, bool commands)
{
    if (!c.parser.isSet(publish)) {
        for (const QCommandLineOption* o : {&site, &agentName, &acceptCommands})
            if ((commands || o != &acceptCommands) && c.parser.isSet(*o))
                throw Failure{BadArguments, QStringLiteral("--%1 needs --publish").arg(o->names().first())};
        return std::nullopt;
    }
    const mqtt::ParsedBrokerUrl url = mqtt::parseBrokerUrl(c.parser.value(publish));
    if (!url.broker)
        throw Failure{BadArguments, QStringLiteral("bad --publish \"%1\": %2").arg(c.parser.value(publish), url.error)};
    agent::Options options;
    options.broker = *url.broker;
    options.prefix = url.prefix;
    options.site = c.parser.value(site);
    options.name = c.parser.value(agentName);
    if (c.parser.isSet(site) && options.site.isEmpty())
        throw Failure{BadArguments, QStringLiteral("an empty --site")};
    for (const QString& name : {options.site, options.name})
        if (!name.isEmpty() && !agent::validLevel(name))
            throw Failure{BadArguments, QStringLiteral("\"%1\" cannot be a topic level (no /, + or #)").arg(name)};
    options.acceptCommands = commands && c.parser.isSet(acceptCommands);
    options.keepAliveSeconds = keepAliveOf(c);
    return options;
}

} // namespace qmdvars::busoptions
