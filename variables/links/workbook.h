#pragma once

#include <QHash>
#include <QString>

#include <stdexcept>
#include <string_view>
#include <vector>

namespace links {

// The shown texts of one sheet's cells, by 0-based row and column. A cell that
// was never written reads as empty text.
class Sheet {
public:
    explicit Sheet(QString name = {}) : m_name(std::move(name)) {}

    const QString& name() const { return m_name; }
    void setName(const QString& name) { m_name = name; }
    QString cell(int row, int column) const { return m_cells.value(key(row, column)); }
    void setCell(int row, int column, const QString& text);
    qsizetype cellCount() const { return m_cells.size(); }

private:
    static quint64 key(int row, int column) { return (quint64(quint32(row)) << 32) | quint32(column); }

    QString m_name;
    QHash<quint64, QString> m_cells;
};

// A parsed spreadsheet document: its sheets in order.
struct Workbook {
    std::vector<Sheet> sheets;

    // Sheet names are matched without regard to case, as office suites do.
    const Sheet* sheet(const QString& name) const;
};

// A document that cannot be read: not a spreadsheet, cut short, damaged.
class ReadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What a number format shows of a number: a date, a time of day, or both
// (neither: a plain number). By the built-in format number of the 97-2003 and
// Office Open XML formats, else by the letters of the format code outside
// quotes, escapes and brackets: y and d for a date, h and s for a time ("m" is
// either and decides nothing).
struct NumberFormatShape {
    bool date = false;
    bool time = false;
};
NumberFormatShape numberFormatShape(size_t builtinId, std::string_view code);

// How a cell's value is shown: numbers in the fewest digits (no ".0" for whole
// numbers), dates and times in ISO form, truth values as TRUE and FALSE.
namespace cellText {
QString number(double value);
QString boolean(bool value);
QString dateTime(int year, int month, int day, int hour, int minute, double second);
// A serial day number of the 1900 date system (day 1 = 1900-01-01, with its
// phantom 29 February) shown as a date, a date and time, or a time only.
QString serialDate(double serial, bool withDate, bool withTime);
} // namespace cellText

} // namespace links
