// The "Displays.dat" parser: every line is a record or an error, and the
// records written out parse back to the same records.

#include "displaylistfile.h"
#include "fuzzinput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const DisplayListFile::Contents contents = DisplayListFile::parse(fuzz::latin1(data, size));
    const DisplayListFile::Contents again = DisplayListFile::parse(DisplayListFile::format(contents.records));
    fuzz::require(again.errors.isEmpty(), "a written list has no errors");
    fuzz::require(again.records.size() == contents.records.size(), "a written list keeps every record");
    for (qsizetype i = 0; i < again.records.size(); ++i)
        fuzz::require(again.records[i].sameContent(contents.records[i]), "a written record reads back the same");
    return 0;
}
