#include "datetimetext.h"

#include "legacy.h"

namespace datetimetext {

QString reportStamp(const QDateTime& when)
{
    const QDate d = when.date();
    const QTime t = when.time();
    int hour12 = t.hour() % 12;
    if (hour12 == 0)
        hour12 = 12;
    return legacy::formatZeros(d.month(), 2) + u'/' + legacy::formatZeros(d.day(), 2) + u'/'
           + legacy::formatZeros(d.year(), 4) + u' ' + legacy::formatZeros(hour12, 2) + u':'
           + legacy::formatZeros(t.minute(), 2) + u':' + legacy::formatZeros(t.second(), 2)
           + (t.hour() < 12 ? QStringLiteral(" AM") : QStringLiteral(" PM"));
}

QString fileDate(const QDate& date)
{
    return QString::number(date.month()) + u'-' + QString::number(date.day()) + u'-' + QString::number(date.year());
}

} // namespace datetimetext
