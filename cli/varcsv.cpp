#include "varcsv.h"

#include "clsVariableAccess.h"
#include "varfields.h"

#include <QHash>

namespace varcsv {

namespace {
enum Column { Number, Name, Data, Color, Blink, Inverse, MaxLength, Link, ColumnCount };

QString quoted(const QString& text) { return u'"' + text + u'"'; }

std::optional<csv::Error> checkHeader(const csv::Record& record)
{
    for (int i = 0; i < ColumnCount; ++i) {
        const QString got = i < record.fields.size() ? record.fields[i].trimmed() : QString();
        if (got.compare(kHeader[i], Qt::CaseInsensitive) != 0)
            return csv::Error{record.line, i + 1,
                              QStringLiteral("the header must be %1, found %2")
                                  .arg(kHeader.join(u','), got.isEmpty() ? QStringLiteral("nothing") : quoted(got))};
    }
    if (record.fields.size() > ColumnCount)
        return csv::Error{record.line, ColumnCount + 1, QStringLiteral("the header has more than 8 fields")};
    return std::nullopt;
}

// One row as a change, or the first field that is wrong.
std::optional<csv::Error> changeOf(const csv::Record& row, Change& change)
{
    auto error = [&](int column, const QString& message) { return csv::Error{row.line, column + 1, message}; };
    if (row.fields.size() != ColumnCount)
        return error(std::min<int>(row.fields.size(), ColumnCount),
                     QStringLiteral("a row has 8 fields, this one %1").arg(row.fields.size()));
    const QStringList& f = row.fields;
    const auto number = varfields::varNumber(f[Number]);
    if (!number)
        return error(Number, QStringLiteral("unknown variable number %1 (1 to 416)").arg(quoted(f[Number])));
    const auto colour = varfields::colourCode(f[Color]);
    if (!colour)
        return error(Color,
                     QStringLiteral("unknown colour %1 (red, green, yellow, blue, magenta, cyan, white or 1 to 7)")
                         .arg(quoted(f[Color])));
    const auto blink = varfields::yesNoCode(f[Blink]);
    if (!blink)
        return error(Blink, QStringLiteral("blink must be yes or no, not %1").arg(quoted(f[Blink])));
    const auto inverse = varfields::yesNoCode(f[Inverse]);
    if (!inverse)
        return error(Inverse, QStringLiteral("inverse must be yes or no, not %1").arg(quoted(f[Inverse])));
    const auto length = varfields::maxLength(f[MaxLength], *number);
    if (!length)
        return error(MaxLength, QStringLiteral("maximum length %1 out of range (1 to %2)")
                                    .arg(quoted(f[MaxLength]))
                                    .arg(varfields::longestLength(*number)));
    for (int column : {Name, Data, Link})
        if (!varfields::storable(f[column]))
            return error(column, QStringLiteral("a line break or control character cannot be stored"));
    change.varNum = *number;
    change.record = vls::Record{f[Name], *colour, *blink, *inverse, f[Data], f[Link].trimmed(), *length};
    return std::nullopt;
}
} // namespace

QList<QStringList> table(const vls::RecordSet& records, const QList<int>& numbers)
{
    QList<QStringList> rows{kHeader};
    for (int n : numbers) {
        const vls::Record& r = records[n - 1];
        const QString length = r[clsVariableAccess::MaxLength].isEmpty() ? clsVariableAccess::defaultMaxLength(n)
                                                                         : r[clsVariableAccess::MaxLength];
        rows.append({QString::number(n), r[clsVariableAccess::Name], r[clsVariableAccess::Data],
                     varfields::colourName(r[clsVariableAccess::Color]).toLower(),
                     varfields::yesNoName(r[clsVariableAccess::Blink]),
                     varfields::yesNoName(r[clsVariableAccess::Inverse]), length, r[clsVariableAccess::OLELink]});
    }
    return rows;
}

ImportResult parse(const QByteArray& bytes, csv::Encoding encoding)
{
    ImportResult result;
    const csv::ReadResult file = csv::read(bytes, encoding);
    if (file.error) {
        result.error = file.error;
        return result;
    }
    if (file.records.isEmpty()) {
        result.error = csv::Error{1, 1, QStringLiteral("the file is empty; it needs the header line")};
        return result;
    }
    if ((result.error = checkHeader(file.records.first())))
        return result;
    QHash<int, int> lineOf;
    for (qsizetype i = 1; i < file.records.size(); ++i) {
        Change change;
        if ((result.error = changeOf(file.records[i], change))) {
            result.changes.clear();
            return result;
        }
        if (lineOf.contains(change.varNum)) {
            result.error = csv::Error{file.records[i].line, Number + 1,
                                      QStringLiteral("variable %1 is already on line %2")
                                          .arg(change.varNum)
                                          .arg(lineOf.value(change.varNum))};
            result.changes.clear();
            return result;
        }
        lineOf.insert(change.varNum, file.records[i].line);
        result.changes.append(change);
    }
    return result;
}

QString describe(const csv::Error& error)
{
    QString where = QStringLiteral("line %1").arg(error.line);
    if (error.field > 0) {
        where += QStringLiteral(", field %1").arg(error.field);
        if (error.field <= kHeader.size())
            where += QStringLiteral(" (%1)").arg(kHeader[error.field - 1]);
    }
    return where + QStringLiteral(": ") + error.message;
}

} // namespace varcsv
