#include "displaychoice.h"

#include "settingsstore.h"

namespace displaychoice {

QString joined(const QStringList& numbers) { return numbers.join(u','); }

void remember(const QStringList& numbers)
{
    if (numbers.isEmpty())
        return;
    settings::write(settings::kRecentDisplays, numbers.join(kRecentSeparator));
    settings::write(settings::kLastOpenedDisplay, joined(numbers));
}

QStringList recent()
{
    const QString text = settings::read(settings::kRecentDisplays);
    QStringList numbers;
    for (const QString& n : text.split(kRecentSeparator, Qt::SkipEmptyParts))
        numbers << n.trimmed();
    return numbers;
}

QString caption(const DisplayRecord& record) { return record.number + QStringLiteral(" - ") + record.name; }

} // namespace displaychoice
