// The chooser's range parser: rows ascending, each once, within 1 ... count;
// the only error it may raise is Overflow.

#include "fuzzinput.h"
#include "runtimeerror.h"
#include "varrange.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const int count = 1 + data[0] % 255;
    QList<int> rows;
    try {
        rows = varrange::parse(fuzz::latin1(data + 1, size - 1), count);
    } catch (const RuntimeError& e) {
        fuzz::require(e.number() == RuntimeError::Overflow, "only Overflow is raised");
        return 0;
    }
    for (qsizetype i = 0; i < rows.size(); ++i) {
        fuzz::require(rows[i] >= 1 && rows[i] <= count, "rows within 1 ... count");
        fuzz::require(i == 0 || rows[i - 1] < rows[i], "rows ascending, each once");
    }
    return 0;
}
