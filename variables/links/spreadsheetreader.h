#pragma once

#include "workbook.h"

#include <QByteArrayView>
#include <QString>

// Readers of spreadsheet documents: bytes in, the shown text of every cell out.
// They know nothing of links or windows, so a fuzzer can drive them directly.
// Each throws ReadError for a document it cannot read.
namespace links {

enum class DocumentKind { Xlsx, Ods, Xls, Csv };

// What the bytes are, from their content: a zip package holding an
// OpenDocument spreadsheet or an Office Open XML workbook, a compound document
// (97-2003 workbook), and anything else as comma-separated text.
DocumentKind detectKind(QByteArrayView bytes);

Workbook readXlsx(QByteArrayView bytes);
Workbook readOds(QByteArrayView bytes);
Workbook readXls(QByteArrayView bytes);
// One sheet named `sheetName`. The text is UTF-8 when it is valid UTF-8 (a byte
// order mark is skipped), Windows-1252 otherwise. A field that reads wholly as
// a number shows as that number ("2.50" as "2.5"), as office suites show it.
Workbook readCsv(QByteArrayView bytes, const QString& sheetName);
Workbook readDocument(QByteArrayView bytes, const QString& csvSheetName);

// The file's content read by kind; a CSV file's sheet is named after the file
// without its extension. Throws ReadError also for a file that cannot be opened.
Workbook readFile(const QString& path);

// The CSV text decoding rule above, on its own.
QString decodeCsvText(QByteArrayView bytes);

} // namespace links
