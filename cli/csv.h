#pragma once

// Comma-separated values as RFC 4180 writes them: records end in CR LF (LF
// alone is read too), a field holding a comma, a double quote or a line end is
// put between double quotes, and a double quote inside one is doubled.
//
// The reader is a pure function of the file's bytes, so it can be fed anything.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace csv {

enum class Encoding { Utf8, Windows1252 };

// Where a file stops being readable: 1-based line and field.
struct Error {
    int line = 0;
    int field = 0;
    QString message;
};

struct Record {
    int line = 0; // the line the record starts on
    QStringList fields;
};

struct ReadResult {
    QList<Record> records;
    std::optional<Error> error; // set: `records` holds the records before it
};

// "utf-8" / "windows-1252" (any case; "cp1252" too), or nullopt.
std::optional<Encoding> encodingNamed(const QString& name);

// Splits a whole file into records. Blank lines are skipped; a UTF-8 byte order
// mark is skipped. A quote inside an unquoted field, text after a closing
// quote, a quoted field that never ends and bytes that are not UTF-8 are errors.
ReadResult read(const QByteArray& bytes, Encoding encoding);

// One record's line, without the line end.
QString formatRecord(const QStringList& fields);
// Whole records, each ending in CR LF, encoded.
QByteArray write(const QList<QStringList>& records, Encoding encoding);

} // namespace csv
