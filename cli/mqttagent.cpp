#include "mqttagent.h"

#include "credentials.h"
#include "mqttclient.h"
#include "varfields.h"

#include <QSysInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

namespace agent {

bool validLevel(const QString& name)
{
    if (name.isEmpty())
        return false;
    for (const QChar c : name)
        if (c == u'/' || c == u'+' || c == u'#' || c.unicode() < 0x20)
            return false;
    return true;
}

QString Topics::base() const { return site.isEmpty() ? prefix : prefix + QStringLiteral("/sites/") + site; }

QStringList Topics::commandFilters() const
{
    QStringList filters{base() + QStringLiteral("/variables/+/set")};
    if (!site.isEmpty())
        filters.append(prefix + QStringLiteral("/all/variables/+/set"));
    return filters;
}

namespace {

// The variable number of BASE/variables/<n>/set, or 0.
int commandVariable(const QString& filterBase, const QString& topic)
{
    const QString head = filterBase + QStringLiteral("/variables/");
    if (!topic.startsWith(head) || !topic.endsWith(QStringLiteral("/set")))
        return 0;
    const QString number = topic.mid(head.size(), topic.size() - head.size() - 4);
    return varfields::varNumber(number).value_or(-1);
}

std::optional<QString> yesNo(const QJsonValue& v)
{
    if (v.isBool())
        return v.toBool() ? QStringLiteral("1") : QStringLiteral("2");
    return varfields::yesNoCode(v.toString());
}

} // namespace

ParsedCommand parseCommand(const Topics& topics, const QString& topic, const QByteArray& payload)
{
    int variable = commandVariable(topics.base(), topic);
    if (variable == 0 && !topics.site.isEmpty())
        variable = commandVariable(topics.prefix + QStringLiteral("/all"), topic);
    if (variable == 0)
        return {};
    if (variable < 0)
        return {std::nullopt, QStringLiteral("no variable (1 to 416) in the topic")};
    Command command;
    command.variable = variable;
    const QByteArray trimmed = payload.trimmed();
    if (!trimmed.startsWith('{')) {
        command.data = QString::fromUtf8(payload);
    } else {
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(trimmed, &error);
        if (!doc.isObject())
            return {std::nullopt, QStringLiteral("not a JSON object: ") + error.errorString()};
        const QJsonObject o = doc.object();
        for (auto it = o.begin(); it != o.end(); ++it) {
            const QString key = it.key();
            const QJsonValue v = it.value();
            if (key == u"data") {
                if (!v.isString() && !v.isDouble())
                    return {std::nullopt, QStringLiteral("\"data\" is not a text or a number")};
                command.data = v.isString() ? v.toString() : QString::number(v.toDouble());
            } else if (key == u"color" || key == u"colour") {
                command.color = varfields::colourCode(v.isDouble() ? QString::number(v.toInt()) : v.toString());
                if (!command.color)
                    return {std::nullopt, QStringLiteral("unknown colour (red, green, yellow, blue, magenta, cyan, "
                                                         "white or 1 to 7)")};
            } else if (key == u"blink" || key == u"inverse") {
                const std::optional<QString> code = yesNo(v);
                if (!code)
                    return {std::nullopt, QStringLiteral("\"%1\" is not yes, no, true or false").arg(key)};
                (key == u"blink" ? command.blink : command.inverse) = code;
            } else {
                return {std::nullopt, QStringLiteral("unknown field \"%1\" (data, color, blink, inverse)").arg(key)};
            }
        }
        if (!command.data && !command.hasAttributes())
            return {std::nullopt, QStringLiteral("neither data nor an attribute")};
    }
    if (command.data && !varfields::storable(*command.data))
        return {std::nullopt, QStringLiteral("the data holds a line end or a control character")};
    return {command, {}};
}

QByteArray stateJson(const SendReport& r)
{
    QJsonArray units;
    for (const SendReport::Unit& u : r.units) {
        QJsonObject unit{{QStringLiteral("address"), u.address},
                         {QStringLiteral("result"), u.sent ? QStringLiteral("Updated") : QStringLiteral("FAILED")}};
        if (!u.error.isEmpty())
            unit.insert(QStringLiteral("error"), u.error);
        units.append(unit);
    }
    QJsonObject variables;
    for (auto it = r.variables.cbegin(); it != r.variables.cend(); ++it)
        variables.insert(QString::number(it.key()), it.value());
    QJsonObject o{{QStringLiteral("display"), r.display},
                  {QStringLiteral("name"), r.name},
                  {QStringLiteral("result"), r.ok ? QStringLiteral("Updated") : QStringLiteral("FAILED")},
                  {QStringLiteral("units"), units},
                  {QStringLiteral("time"), r.time.toString(Qt::ISODateWithMs)},
                  {QStringLiteral("cause"), r.cause}};
    if (!variables.isEmpty())
        o.insert(QStringLiteral("variables"), variables);
    if (!r.ok)
        o.insert(QStringLiteral("error"), r.error);
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

Agent::Agent(const Options& options, const QStringList& displays, QObject* parent)
    : QObject(parent), m_options(options), m_displays(displays)
{
    m_topics.prefix = options.prefix;
    m_topics.site = options.site;
    m_topics.name = options.name.isEmpty() ? (options.site.isEmpty() ? QSysInfo::machineHostName() : options.site)
                                           : options.name;
}

Agent::~Agent()
{
    if (!m_thread)
        return;
    // "offline" and a clean goodbye before the thread ends.
    const QByteArray offline =
        QJsonDocument(QJsonObject{{QStringLiteral("state"), QStringLiteral("offline")}}).toJson(QJsonDocument::Compact);
    QMetaObject::invokeMethod(
        m_client,
        [client = m_client, topic = m_topics.presence(), offline] {
            client->publish(topic, offline, true);
            client->stop();
            delete client;
        },
        Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

void Agent::start()
{
    mqtt::ClientOptions o;
    o.broker = m_options.broker;
    o.credentials = mqtt::credentialsFor(o.broker);
    o.clientId = QStringLiteral("qmdvars-") + (m_topics.site.isEmpty() ? QString() : m_topics.site + u'-')
                 + m_topics.name;
    o.persistentSession = true;
    o.keepAliveSeconds = m_options.keepAliveSeconds;
    o.willTopic = m_topics.presence();
    o.willPayload =
        QJsonDocument(QJsonObject{{QStringLiteral("state"), QStringLiteral("offline")}}).toJson(QJsonDocument::Compact);
    o.willRetain = true;

    m_thread = new QThread;
    m_thread->setObjectName(QStringLiteral("mqtt-agent"));
    m_client = new mqtt::Client(o);
    m_client->moveToThread(m_thread);
    connect(m_client, &mqtt::Client::messageReceived, this, &Agent::onMessage);
    connect(m_client, &mqtt::Client::connectionLost, this, &Agent::brokerLost);
    QJsonArray displays;
    for (const QString& d : std::as_const(m_displays))
        displays.append(d);
    const QByteArray online = QJsonDocument(QJsonObject{{QStringLiteral("state"), QStringLiteral("online")},
                                                        {QStringLiteral("site"), m_topics.site},
                                                        {QStringLiteral("displays"), displays},
                                                        {QStringLiteral("commands"), m_options.acceptCommands},
                                                        {QStringLiteral("since"),
                                                         QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}})
                                  .toJson(QJsonDocument::Compact);
    connect(m_client, &mqtt::Client::connected, this, [this, online] {
        publish(m_topics.presence(), online, true);
        emit brokerBack();
    });
    m_thread->start();
    const QStringList filters = m_options.acceptCommands ? m_topics.commandFilters() : QStringList();
    QMetaObject::invokeMethod(m_client, [client = m_client, filters] {
        for (const QString& f : filters)
            client->subscribe(f);
        client->start();
    });
}

void Agent::publish(const QString& topic, const QByteArray& payload, bool retain)
{
    QMetaObject::invokeMethod(m_client,
                              [client = m_client, topic, payload, retain] { client->publish(topic, payload, retain); });
}

void Agent::publishSend(const SendReport& report)
{
    const QByteArray state = stateJson(report);
    publish(m_topics.state(report.display), state, true);
    publish(m_topics.sends(), state, false);
}

void Agent::onMessage(const QString& topic, const QByteArray& payload)
{
    const ParsedCommand parsed = parseCommand(m_topics, topic, payload);
    if (parsed.command)
        emit commandReceived(*parsed.command);
    else if (!parsed.error.isEmpty())
        emit commandRefused(topic, parsed.error);
}

} // namespace agent
