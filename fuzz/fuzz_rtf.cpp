// The RTF reader: any bytes give runs; written as RTF they read back with the
// same text, and from then on unchanged. (The first round may name the default
// font that a run without one stood for.)

#include "fuzzinput.h"
#include "rtf.h"

namespace {
QString textOf(const QList<rtf::Run>& runs)
{
    QString out;
    for (const rtf::Run& run : runs)
        out += run.text;
    return out;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QList<rtf::Run> runs = rtf::read(fuzz::bytes(data, size));
    const QList<rtf::Run> once = rtf::read(rtf::write(runs));
    fuzz::require(textOf(once) == textOf(runs), "written runs keep their text");
    fuzz::require(rtf::read(rtf::write(once)) == once, "written twice, runs read back the same");
    return 0;
}
