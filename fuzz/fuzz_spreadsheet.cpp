// The spreadsheet readers for packages and text: any bytes give a workbook or
// a ReadError, never a crash. The first byte picks the reader (xlsx, ods, csv,
// or by content); the rest is the document. 97-2003 workbooks: fuzz_xls.

#include "fuzzinput.h"
#include "spreadsheetreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArray document = fuzz::bytes(data + 1, size - 1);
    try {
        switch (data[0] % 4) {
        case 0: links::readXlsx(document); break;
        case 1: links::readOds(document); break;
        case 2: links::readCsv(document, QStringLiteral("Sheet")); break;
        default:
            if (links::detectKind(document) != links::DocumentKind::Xls)
                links::readDocument(document, QStringLiteral("Sheet"));
            break;
        }
    } catch (const links::ReadError&) {}
    return 0;
}
