// The frame decoder, fed the input in pieces whose sizes come from the input:
// it keeps its bound, and every good frame encodes back to a frame it decodes again.

#include "frame.h"
#include "fuzzinput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input = fuzz::bytes(data, size);
    wire::FrameDecoder decoder;
    qsizetype at = 0;
    while (at < input.size()) {
        const qsizetype piece = 1 + uint8_t(input[at]) % 64;
        for (const wire::Decoded& d :
             decoder.feed(QByteArrayView(input).sliced(at, std::min(piece, input.size() - at)))) {
            if (d.kind != wire::Decoded::Kind::Frame)
                continue;
            fuzz::require(d.frame.payload.size() <= wire::kMaxPayloadSize, "a decoded payload fits a frame");
            wire::FrameDecoder fresh;
            const QList<wire::Decoded> again = fresh.feed(wire::encodeFrame(d.frame));
            fuzz::require(again.size() == 1 && again[0].kind == wire::Decoded::Kind::Frame && again[0].frame == d.frame,
                          "an encoded frame decodes to itself");
        }
        at += piece;
    }
    return 0;
}
