#include "displaychoice.h"

#include "hostsettings.h"

namespace displaychoice {

QString joined(const QStringList& numbers) { return numbers.join(u','); }

void remember(const QStringList& numbers)
{
    if (numbers.isEmpty())
        return;
    settings::write(hostsettings::kRecentDisplays, numbers.join(kRecentSeparator));
    settings::write(hostsettings::kLastOpenedDisplay, joined(numbers));
}

QStringList recent()
{
    const QString text = settings::read(hostsettings::kRecentDisplays);
    QStringList numbers;
    for (const QString& n : text.split(kRecentSeparator, Qt::SkipEmptyParts))
        numbers << n.trimmed();
    return numbers;
}

QString caption(const DisplayRecord& record) { return record.number + QStringLiteral(" - ") + record.name; }

QString connectionText(const DisplayRecord& record)
{
    QString link;
    if (record.kind == 3)
        link = QStringLiteral("TCP %1 port %2").arg(record.linkTarget, record.kind3Param);
    else if (record.kind == 1)
        link = QStringLiteral("serial port %1 at %2").arg(record.linkTarget, record.kind1Param);
    else // any other kind is opened as a modem
        link = QStringLiteral("modem (kind %1) on %2 dialling %3")
                   .arg(record.kind)
                   .arg(record.linkTarget, record.otherKindParam);
    return link + QStringLiteral(", units ") + record.addressList;
}

} // namespace displaychoice
