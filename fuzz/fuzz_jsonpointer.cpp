// The JSON link reader: any document and pointer give a value or an error.
// The input is the pointer, a NUL byte, then the document.

#include "fuzzinput.h"
#include "jsonpointer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input = fuzz::bytes(data, size);
    const qsizetype cut = input.indexOf('\0');
    const QString pointer = QString::fromUtf8(cut < 0 ? input : input.left(cut));
    const links::JsonPointerResult r = links::resolveJsonPointer(cut < 0 ? QByteArray() : input.mid(cut + 1), pointer);
    fuzz::require(r.ok == r.error.isEmpty(), "a value or an error, not both");
    return 0;
}
