#pragma once

// The options that make a long-running command an agent on a message broker
// (watch and serve): --publish, --site, --agent, --accept-commands, --keepalive.

#include "mqttagent.h"
#include "options.h"

#include <optional>

namespace qmdvars::busoptions {

extern const QCommandLineOption publish;
extern const QCommandLineOption site;
extern const QCommandLineOption agentName;
extern const QCommandLineOption acceptCommands;
extern const QCommandLineOption keepAlive;

// --keepalive S, 5 to 3600, default 30.
int keepAliveOf(const Context& c);
// The agent's options; nothing without --publish (and then --site, --agent and
// --accept-commands are refused). Bad values throw Failure. `commands`: whether
// the command has --accept-commands.
std::optional<agent::Options> agentOptionsOf(const Context& c, bool commands);

} // namespace qmdvars::busoptions
