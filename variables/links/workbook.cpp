#include "workbook.h"

#include <QDate>
#include <QTime>

#include <cctype>
#include <cmath>

namespace links {

void Sheet::setCell(int row, int column, const QString& text)
{
    if (text.isEmpty())
        m_cells.remove(key(row, column));
    else
        m_cells.insert(key(row, column), text);
}

const Sheet* Workbook::sheet(const QString& name) const
{
    for (const Sheet& s : sheets)
        if (s.name().compare(name, Qt::CaseInsensitive) == 0)
            return &s;
    return nullptr;
}

NumberFormatShape numberFormatShape(size_t builtinId, std::string_view code)
{
    if ((builtinId >= 14 && builtinId <= 17) || builtinId == 22)
        return {true, builtinId == 22};
    if ((builtinId >= 18 && builtinId <= 21) || (builtinId >= 45 && builtinId <= 47))
        return {false, true};
    NumberFormatShape shape;
    bool quoted = false;
    bool bracket = false;
    for (size_t i = 0; i < code.size(); ++i) {
        const char c = char(std::tolower(static_cast<unsigned char>(code[i])));
        if (quoted) {
            quoted = c != '"';
        } else if (c == '"') {
            quoted = true;
        } else if (c == '\\' || c == '_' || c == '*') {
            ++i;
        } else if (c == '[') {
            bracket = true;
        } else if (c == ']') {
            bracket = false;
        } else if (!bracket && (c == 'y' || c == 'd')) {
            shape.date = true;
        } else if (!bracket && (c == 'h' || c == 's')) {
            shape.time = true;
        }
    }
    return shape;
}

namespace cellText {

QString number(double value)
{
    if (value == 0)
        return QStringLiteral("0"); // no "-0"
    // Fifteen significant digits hide binary noise such as 0.30000000000000004.
    return QString::number(value, 'g', 15);
}

QString boolean(bool value) { return value ? QStringLiteral("TRUE") : QStringLiteral("FALSE"); }

QString dateTime(int year, int month, int day, int hour, int minute, double second)
{
    const QDate date(year, month, day);
    const QTime time(hour, minute, int(second));
    if (time == QTime(0, 0))
        return date.toString(Qt::ISODate);
    return date.toString(Qt::ISODate) + u' ' + time.toString(QStringLiteral("HH:mm:ss"));
}

QString serialDate(double serial, bool withDate, bool withTime)
{
    // Serials from 61 on count from 1899-12-30; below that the phantom
    // 1900-02-29 has not happened yet.
    qint64 days = qint64(std::floor(serial));
    const qint64 seconds = qint64(std::llround((serial - double(days)) * 86400.0));
    const QDate epoch = days < 61 ? QDate(1899, 12, 31) : QDate(1899, 12, 30);
    days += seconds / 86400;
    const QTime time = QTime(0, 0).addSecs(int(seconds % 86400));
    const QString date = epoch.addDays(days).toString(Qt::ISODate);
    const QString clock = time.toString(QStringLiteral("HH:mm:ss"));
    if (!withDate)
        return clock;
    return withTime && time != QTime(0, 0) ? date + u' ' + clock : date;
}

} // namespace cellText

} // namespace links
