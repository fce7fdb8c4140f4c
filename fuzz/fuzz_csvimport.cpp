// The command-line tool's CSV import: any bytes give changes or an error with
// its line and field, in both encodings; records written out read back the same.

#include "csv.h"
#include "fuzzinput.h"
#include "varcsv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = fuzz::bytes(data, size);
    for (const csv::Encoding encoding : {csv::Encoding::Utf8, csv::Encoding::Windows1252}) {
        varcsv::parse(bytes, encoding);
        const csv::ReadResult read = csv::read(bytes, encoding);
        if (read.error || encoding != csv::Encoding::Utf8)
            continue;
        QList<QStringList> records;
        for (const csv::Record& r : read.records)
            records << r.fields;
        const csv::ReadResult again = csv::read(csv::write(records, encoding), encoding);
        fuzz::require(!again.error && again.records.size() == read.records.size(), "written records read back");
        for (qsizetype i = 0; i < records.size(); ++i)
            fuzz::require(again.records[i].fields == records[i], "written fields read back the same");
    }
    return 0;
}
