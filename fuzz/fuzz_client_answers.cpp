// The client's side of the wire: answers and the data of the read commands.

#include "commands.h"
#include "fuzzinput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArray input = fuzz::bytes(data, size);
    const wire::Frame frame{1, 1, uint8_t(input[0]), input.mid(1)};
    if (const auto answer = wire::parseAnswer(frame); answer && answer->ack) {
        if (const auto v = wire::parseVariable(answer->data))
            fuzz::require(wire::parseVariable(wire::variablePayload(*v))->Data == v->Data, "variable data round trip");
        if (const auto t = wire::parseDownloadTime(answer->data))
            fuzz::require(wire::downloadTimePayload(*t) == answer->data.first(7), "download time round trip");
        wire::parseConfiguration(answer->data);
    }
    return 0;
}
