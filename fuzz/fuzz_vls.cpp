// The ".vls" reader: any bytes give a record set or a clean refusal, and a set
// that was read is written and read back unchanged.

#include "fuzzinput.h"
#include "variablefile.h"

#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QByteArray input = fuzz::bytes(data, size);
    QBuffer device(&input);
    device.open(QIODevice::ReadOnly);
    vls::RecordSet records;
    if (!VariableFile::read(device, records).compatible)
        return 0;
    QByteArray written = VariableFile::encode(records);
    QBuffer again(&written);
    again.open(QIODevice::ReadOnly);
    vls::RecordSet reread;
    fuzz::require(VariableFile::read(again, reread).complete(), "a written file reads whole");
    fuzz::require(VariableFile::encode(reread) == written, "a written file reads back unchanged");
    return 0;
}
