// Link sources typed or stored in a ".vls" file, and the clipboard's link
// flavour turned into one: a source that parses names a cell inside the sheet's
// limits, and a flavour gives a source or nothing.

#include "clipboardlink.h"
#include "fuzzinput.h"
#include "linkitem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (const auto link = links::parseLinkSource(
            QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size))))
        fuzz::require(link->row >= 0 && link->column >= 0, "a cell has no negative row or column");
    const QString source = links::linkSourceFromFlavour(fuzz::bytes(data, size));
    if (!source.isEmpty())
        links::parseLinkSource(source);
    return 0;
}
