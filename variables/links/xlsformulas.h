#pragma once

#include <QByteArrayView>
#include <QString>

#include <optional>
#include <vector>

namespace links {

// A formula cell of a 97-2003 workbook with the result the workbook last
// computed, as shown text.
struct XlsFormulaResult {
    QString sheet;
    int row = 0;
    int column = 0;
    QString text;
};

// The cached formula results of a 97-2003 workbook (the cell reader this
// project uses skips formula cells), read from the compound document's
// workbook stream record by record. Nothing when the stream is missing, its
// records do not fit together or its shared strings run past their table: the
// cell reader is not to be trusted with such a file. Bytes in, results out.
std::optional<std::vector<XlsFormulaResult>> readXlsFormulaResults(QByteArrayView bytes);

} // namespace links
