#include "credentials.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace mqtt {

QString credentialsFile()
{
    if (const QString named = qEnvironmentVariable("QMDVARS_MQTT_CREDENTIALS"); !named.isEmpty())
        return named;
    const QString config = qEnvironmentVariable("XDG_CONFIG_HOME", QDir::homePath() + QStringLiteral("/.config"));
    for (const QString& path : {QString(config + QStringLiteral("/Morvel/mqtt-credentials")),
                                QStringLiteral("/etc/lumarex/mqtt-credentials")})
        if (QFile::exists(path))
            return path;
    return {};
}

Credentials credentialsFor(const Broker& broker)
{
    Credentials found;
    found.user = broker.user;
    found.caFile = qEnvironmentVariable("QMDVARS_MQTT_CAFILE");
    if (qEnvironmentVariableIsSet("QMDVARS_MQTT_PASSWORD")) {
        found.password = qEnvironmentVariable("QMDVARS_MQTT_PASSWORD");
        if (found.user.isEmpty())
            found.user = qEnvironmentVariable("QMDVARS_MQTT_USER");
        found.source = QStringLiteral("QMDVARS_MQTT_PASSWORD");
        return found;
    }
    const QString path = credentialsFile();
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return found;
    static const QRegularExpression line(QStringLiteral("^\\s*(\\S+)\\s+(\\S+)\\s+(.*?)\\s*$"));
    while (!file.atEnd()) {
        const QString text = QString::fromUtf8(file.readLine());
        if (text.trimmed().startsWith(u'#'))
            continue;
        const QRegularExpressionMatch m = line.match(text);
        if (!m.hasMatch())
            continue;
        const QString where = m.captured(1);
        const qsizetype colon = where.lastIndexOf(u':');
        const bool withPort = colon > 0 && !where.endsWith(u']');
        QString host = withPort ? where.left(colon) : where;
        host.remove(u'[').remove(u']');
        if (host.compare(broker.host, Qt::CaseInsensitive) != 0)
            continue;
        if (withPort && where.mid(colon + 1).toUInt() != broker.port)
            continue;
        if (!broker.user.isEmpty() && m.captured(2) != broker.user)
            continue;
        found.user = m.captured(2);
        found.password = m.captured(3);
        found.source = path;
        return found;
    }
    return found;
}

} // namespace mqtt
