// The 97-2003 workbook reader: any bytes give a workbook or a ReadError.
// Known to fail: the cell reader library still reads past its buffer on some
// damaged workbooks that pass the checks made before it (see fuzz/known-failing).

#include "fuzzinput.h"
#include "spreadsheetreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    try {
        links::readXls(fuzz::bytes(data, size));
    } catch (const links::ReadError&) {}
    return 0;
}
