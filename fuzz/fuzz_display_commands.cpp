// The display's side of the wire: any request frame gets at most one answer,
// and the display model stays within its variables.

#include "commandhandler.h"
#include "displaymodel.h"
#include "fuzzinput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    const QByteArray input = fuzz::bytes(data, size);
    static emulator::DisplayModel model;
    emulator::CommandHandler handler(model);
    const wire::Frame request{uint16_t(uint8_t(input[0]) % 4), uint8_t(input[1]), uint8_t(input[2]), input.mid(3)};
    if (const auto answer = handler.handle(request)) {
        fuzz::require(answer->sequence == request.sequence, "the answer carries the request's sequence");
        fuzz::require(answer->payload.size() <= wire::kMaxPayloadSize, "the answer fits a frame");
    }
    return 0;
}
