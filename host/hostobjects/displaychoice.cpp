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

} // namespace displaychoice
