#pragma once

// The message bus side of `qmdvars watch`: the linked topics it follows (a
// message on one is a change of a source, like a file saved), the log lines
// when the link to a broker is lost and back, and a command from the bus
// carried into the variable file.

#include "clsVarSetupInfo.h"
#include "mqttagent.h"

#include <QObject>
#include <QSet>
#include <QTextStream>

#include <functional>

class clsVariableAccess;

namespace watch {

class TopicFollower final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TopicFollower)
public:
    // Follows the topics that the variables of `chosen` are linked to; `changed`
    // is called on this thread after a message changed one. `log` gets a line
    // when a broker's link is lost and when it is back, once per change.
    TopicFollower(clsVariableAccess* set, const VarSelection& chosen, std::function<void()> changed,
                  std::function<void(const QString&)> log);

    // "mqtt://host:port/topic" of every followed topic.
    QStringList topics() const { return m_topics; }

private:
    QStringList m_topics;
    QSet<QString> m_brokers; // keys of the brokers linked to
    QSet<QString> m_down;    // of those, the ones whose link is down
    std::function<void()> m_changed;
    std::function<void(const QString&)> m_log;
};

// Stores a command's data and attributes in the variable file named by
// `fileOption` (empty: the current one) and in `set`. A linked variable's data
// is refused (the link decides it); false with the reason then.
bool applyCommand(const QString& fileOption, clsVariableAccess* set, const agent::Command& command, QString* error);

} // namespace watch
