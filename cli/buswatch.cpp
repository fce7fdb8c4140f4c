#include "buswatch.h"

#include "changerecord.h"
#include "clsVariableAccess.h"
#include "topiccache.h"
#include "varstore.h"

namespace watch {

TopicFollower::TopicFollower(clsVariableAccess* set, const VarSelection& chosen, std::function<void()> changed,
                             std::function<void(const QString&)> log)
    : m_changed(std::move(changed)), m_log(std::move(log))
{
    mqtt::TopicCache& cache = mqtt::TopicCache::shared();
    QList<mqtt::TopicLink> links;
    for (const clsVarSetupInfo& member : chosen) {
        const mqtt::ParsedTopicLink parsed = mqtt::parseTopicLink(set->VariableOLELink(member.VarNum));
        if (!parsed.link)
            continue;
        links.append(*parsed.link);
        m_brokers.insert(parsed.link->broker.key());
        const QString name = parsed.link->broker.key() + u'/' + parsed.link->topic;
        if (!m_topics.contains(name))
            m_topics.append(name);
    }
    if (links.isEmpty())
        return;
    // Connected before the first subscription, so no answer of the broker is missed.
    connect(&cache, &mqtt::TopicCache::payloadChanged, this, [this](const QString& broker) {
        if (m_brokers.contains(broker))
            m_changed();
    });
    connect(&cache, &mqtt::TopicCache::brokerLost, this, [this](const QString& broker, const QString& reason) {
        if (m_brokers.contains(broker) && !m_down.contains(broker)) {
            m_down.insert(broker);
            m_log(QStringLiteral("link to broker %1 lost: %2; the linked values keep their last value")
                      .arg(broker, reason));
        }
    });
    connect(&cache, &mqtt::TopicCache::brokerBack, this, [this](const QString& broker) {
        if (m_brokers.contains(broker)) {
            m_log(QStringLiteral("link to broker %1 %2")
                      .arg(broker, m_down.remove(broker) ? QStringLiteral("back") : QStringLiteral("up")));
            m_changed(); // a broker that restarted may have lost messages: read again
        }
    });
    for (const mqtt::TopicLink& link : std::as_const(links))
        cache.follow(link);
}

bool applyCommand(const QString& fileOption, clsVariableAccess* set, const agent::Command& command, QString* error)
{
    const auto n = int16_t(command.variable);
    if (command.data && !set->VariableOLELink(n).isEmpty()) {
        *error = QStringLiteral("variable %1 is linked: its link gives its data").arg(n);
        return false;
    }
    // Read, change and write under the variable file's lock.
    VarStore target(fileOption);
    vls::RecordSet before, after;
    const bool saved = target.store().modifyRecords(
        [&](vls::RecordSet& records) {
            before = records;
            vls::Record& record = records[n - 1];
            if (command.data)
                record[clsVariableAccess::Data] = *command.data;
            if (command.color)
                record[clsVariableAccess::Color] = *command.color;
            if (command.blink)
                record[clsVariableAccess::Blink] = *command.blink;
            if (command.inverse)
                record[clsVariableAccess::Inverse] = *command.inverse;
            after = records;
        },
        error);
    if (!saved)
        return false;
    history::recordChange(before, after);
    if (command.data)
        set->setVariableData(n, *command.data);
    if (command.color)
        set->setVariableColor(n, *command.color);
    if (command.blink)
        set->setVariableBlink(n, *command.blink);
    if (command.inverse)
        set->setVariableInverse(n, *command.inverse);
    return true;
}

} // namespace watch
