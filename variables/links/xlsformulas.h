#pragma once

#include <QByteArrayView>
#include <QString>

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
// project uses skips formula cells). Reads the compound document's workbook
// stream and walks its records; anything malformed ends the walk, keeping
// what was found. Bytes in, results out.
std::vector<XlsFormulaResult> readXlsFormulaResults(QByteArrayView bytes);

} // namespace links
