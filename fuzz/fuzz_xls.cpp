// The 97-2003 workbook reader: any bytes give a workbook or a ReadError.

#include "fuzzinput.h"
#include "spreadsheetreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    try {
        links::readXls(fuzz::bytes(data, size));
    } catch (const links::ReadError&) {}
    return 0;
}
