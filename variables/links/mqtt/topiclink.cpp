#include "topiclink.h"

namespace mqtt {

QString Broker::key() const
{
    return (tls ? QStringLiteral("mqtts://") : QStringLiteral("mqtt://")) + (user.isEmpty() ? QString() : user + u'@')
           + address();
}

QString Broker::address() const
{
    const bool v6 = host.contains(u':');
    return (v6 ? u'[' + host + u']' : host) + u':' + QString::number(port);
}

bool isTopicSource(const QString& source)
{
    const QString s = source.trimmed();
    return s.startsWith(QStringLiteral("mqtt://"), Qt::CaseInsensitive)
           || s.startsWith(QStringLiteral("mqtts://"), Qt::CaseInsensitive);
}

namespace {

// "[user@]host[:port]" of a URL; the error when it is not one.
QString parseAuthority(const QString& authority, Broker& broker)
{
    QString hostPort = authority;
    if (const qsizetype at = authority.lastIndexOf(u'@'); at >= 0) {
        broker.user = authority.left(at);
        hostPort = authority.mid(at + 1);
        if (broker.user.contains(u':'))
            return QStringLiteral("a password does not belong in a link; put it in the credentials file or "
                                  "QMDVARS_MQTT_PASSWORD");
        if (broker.user.isEmpty())
            return QStringLiteral("an empty user name before \"@\"");
    }
    QString portText;
    if (hostPort.startsWith(u'[')) {
        const qsizetype close = hostPort.indexOf(u']');
        if (close < 0)
            return QStringLiteral("an unclosed \"[\" in the host");
        broker.host = hostPort.mid(1, close - 1);
        const QString rest = hostPort.mid(close + 1);
        if (!rest.isEmpty() && !rest.startsWith(u':'))
            return QStringLiteral("text after the host \"%1\"").arg(rest);
        portText = rest.mid(1);
        if (rest.startsWith(u':') && portText.isEmpty())
            return QStringLiteral("an empty port");
    } else {
        const qsizetype colon = hostPort.indexOf(u':');
        broker.host = colon < 0 ? hostPort : hostPort.left(colon);
        if (colon >= 0) {
            portText = hostPort.mid(colon + 1);
            if (portText.isEmpty())
                return QStringLiteral("an empty port");
        }
    }
    if (broker.host.isEmpty())
        return QStringLiteral("no broker host");
    for (const QChar c : std::as_const(broker.host))
        if (c.isSpace() || c == u'/' || c == u'?' || c == u'#')
            return QStringLiteral("a bad broker host \"%1\"").arg(broker.host);
    if (!portText.isEmpty()) {
        bool ok = false;
        const uint port = portText.toUInt(&ok);
        if (!ok || port == 0 || port > 65535)
            return QStringLiteral("a bad port \"%1\" (1 to 65535)").arg(portText);
        broker.port = quint16(port);
    }
    return {};
}

// Splits "mqtt[s]://authority/rest"; the error when the scheme is not one of ours.
QString splitUrl(const QString& text, Broker& broker, QString& rest)
{
    const QString s = text.trimmed();
    qsizetype start = 0;
    if (s.startsWith(QStringLiteral("mqtts://"), Qt::CaseInsensitive)) {
        broker.tls = true;
        broker.port = 8883;
        start = 8;
    } else if (s.startsWith(QStringLiteral("mqtt://"), Qt::CaseInsensitive)) {
        start = 7;
    } else {
        return QStringLiteral("not an mqtt:// or mqtts:// address");
    }
    const qsizetype slash = s.indexOf(u'/', start);
    const QString authority = slash < 0 ? s.mid(start) : s.mid(start, slash - start);
    rest = slash < 0 ? QString() : s.mid(slash + 1);
    return parseAuthority(authority, broker);
}

QString topicProblem(const QString& topic, bool prefix)
{
    if (topic.isEmpty())
        return prefix ? QStringLiteral("no topic prefix after the broker")
                      : QStringLiteral("no topic after the broker");
    if (topic.contains(u'+') || topic.contains(u'#'))
        return QStringLiteral("the wildcards + and # name no single topic (\"%1\")").arg(topic);
    for (const QChar c : topic)
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return QStringLiteral("a control character in the topic");
    return {};
}

} // namespace

ParsedTopicLink parseTopicLink(const QString& source)
{
    Broker broker;
    QString rest;
    if (QString error = splitUrl(source, broker, rest); !error.isEmpty())
        return {std::nullopt, error};
    TopicLink link;
    link.broker = broker;
    const qsizetype bang = rest.indexOf(u'!');
    link.topic = bang < 0 ? rest : rest.left(bang);
    if (bang >= 0) {
        link.hasPointer = true;
        link.pointer = rest.mid(bang + 1);
    }
    if (QString error = topicProblem(link.topic, false); !error.isEmpty())
        return {std::nullopt, error};
    return {link, {}};
}

ParsedBrokerUrl parseBrokerUrl(const QString& url)
{
    Broker broker;
    QString prefix;
    if (QString error = splitUrl(url, broker, prefix); !error.isEmpty())
        return {std::nullopt, {}, error};
    while (prefix.endsWith(u'/'))
        prefix.chop(1);
    if (QString error = topicProblem(prefix, true); !error.isEmpty())
        return {std::nullopt, {}, error};
    return {broker, prefix, {}};
}

} // namespace mqtt
