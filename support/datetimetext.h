#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

// Date and time texts of reports and file names, in the forms the original wrote.
namespace datetimetext {

// "mm/dd/yyyy hh:nn:ss AMPM": "03/05/2010 02:07:09 PM" (12-hour clock).
QString reportStamp(const QDateTime& when);
// month-day-year without leading zeros: "3-5-2010".
QString fileDate(const QDate& date);

} // namespace datetimetext
