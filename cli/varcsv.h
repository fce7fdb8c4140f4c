#pragma once

// The variable set as a CSV table: a header, then one row per variable with
// number, name, data, color, blink, inverse, max_length and link.

#include "csv.h"
#include "variablefile.h"

#include <QList>
#include <QStringList>

#include <optional>

namespace varcsv {

inline const QStringList kHeader{QStringLiteral("number"),     QStringLiteral("name"),  QStringLiteral("data"),
                                 QStringLiteral("color"),      QStringLiteral("blink"), QStringLiteral("inverse"),
                                 QStringLiteral("max_length"), QStringLiteral("link")};

// The header and the rows of the given variables, in the given order.
QList<QStringList> table(const vls::RecordSet& records, const QList<int>& numbers);

// A row of a file read: the variable's whole new record.
struct Change {
    int varNum = 0;
    vls::Record record;
};

struct ImportResult {
    QList<Change> changes;
    std::optional<csv::Error> error; // set: nothing may be changed
};

// Reads and checks a whole file; any bad row makes the whole file an error.
ImportResult parse(const QByteArray& bytes, csv::Encoding encoding);

// "line 4, field 4 (color): ..." for a message.
QString describe(const csv::Error& error);

} // namespace varcsv
