#pragma once

// A site agent on the message bus: `qmdvars watch --publish mqtt[s]://broker/PREFIX`.
// It publishes, retained, each display's last result on
// BASE/displays/<number>/state, an event per send on BASE/sends, and its own
// presence on BASE/agents/<name> ("online", with "offline" as its last will, so
// a dashboard sees a site go away). With commands accepted it takes
// BASE/variables/<n>/set (plain text: the data; JSON: "data" and the
// attributes "color", "blink", "inverse"). BASE is PREFIX, or with a site
// PREFIX/sites/<site>, and a site also takes PREFIX/all/variables/<n>/set.
// The connection is a persistent session at QoS 1, so commands published while
// the agent was cut off arrive once it is back. The client lives on a thread
// of its own: a send to the displays blocks the agent's thread.

#include "topiclink.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

#include <optional>

class QThread;

namespace mqtt {
class Client;
}

namespace agent {

struct Options {
    mqtt::Broker broker;
    QString prefix;
    QString site; // empty: no site level
    QString name; // the agent's name; default: the site, or the host's name
    bool acceptCommands = false;
    int keepAliveSeconds = 30;
};

// The topics of one agent.
struct Topics {
    QString prefix, site, name;
    QString base() const;
    QString state(const QString& display) const
    {
        return base() + QStringLiteral("/displays/") + display + QStringLiteral("/state");
    }
    QString sends() const { return base() + QStringLiteral("/sends"); }
    QString presence() const { return base() + QStringLiteral("/agents/") + name; }
    // The subscriptions for commands: this agent's own, and with a site the fleet's.
    QStringList commandFilters() const;
};

// A change of one variable asked for on the bus. Attributes are the stored codes.
struct Command {
    int variable = 0;
    std::optional<QString> data, color, blink, inverse;
    bool hasAttributes() const { return color || blink || inverse; }
};
struct ParsedCommand {
    std::optional<Command> command;
    QString error; // empty with no command: not a command topic of this agent
};
ParsedCommand parseCommand(const Topics& topics, const QString& topic, const QByteArray& payload);

// What one send to one display did, as published.
struct SendReport {
    struct Unit {
        int address = 0;
        bool sent = false;
        QString error;
    };
    QString display, name;
    bool ok = false;
    QString error;
    QList<Unit> units;
    QMap<int, QString> variables; // number -> data text sent
    QString cause;                // "start", "link", "command", "retry"
    QDateTime time = QDateTime::currentDateTimeUtc();
};
QByteArray stateJson(const SendReport& report);

class Agent final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Agent)
public:
    explicit Agent(const Options& options, const QStringList& displays, QObject* parent = nullptr);
    ~Agent() override; // "offline", said properly

    const Topics& topics() const { return m_topics; }
    void start();
    void publishSend(const SendReport& report);

signals:
    void commandReceived(const agent::Command& command);
    // A message on a command topic that is not a good command (logged, not acted on).
    void commandRefused(const QString& topic, const QString& reason);
    void brokerLost(const QString& reason);
    void brokerBack();

private:
    void onMessage(const QString& topic, const QByteArray& payload);
    void publish(const QString& topic, const QByteArray& payload, bool retain);

    Options m_options;
    Topics m_topics;
    QStringList m_displays;
    QThread* m_thread = nullptr;
    mqtt::Client* m_client = nullptr; // on m_thread
};

// --site and --agent names: one topic level, no wildcards.
bool validLevel(const QString& name);

} // namespace agent
