// The server's request reading: the gate's scan of a connection's bytes, fed
// in pieces whose sizes the input chooses, never takes a header block or body
// over its cap and answers the same however the bytes are split; a JSON body
// as a variable change is either refused with a status and a reason or gives
// only values the variable file can hold.

#include "fuzzinput.h"
#include "gate.h"
#include "httperror.h"
#include "varfields.h"
#include "workspace.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    serve::Limits limits;
    limits.maxBody = 64 + data[0];
    limits.maxHeaderBytes = 128 + data[1];
    const QByteArray input = fuzz::bytes(data + 2, size - 2);

    serve::RequestScanner whole(limits);
    const auto expected = whole.feed(input);
    serve::RequestScanner pieces(limits);
    auto verdict = serve::RequestScanner::Verdict::Ok;
    for (qsizetype at = 0, step = 1; at < input.size() && verdict == serve::RequestScanner::Verdict::Ok;
         at += step, step = 1 + (step * 7 + at) % 13)
        verdict = pieces.feed(QByteArrayView(input).sliced(at, std::min(step, input.size() - at)));
    fuzz::require(verdict == expected, "the same verdict however the bytes arrive");
    if (verdict == serve::RequestScanner::Verdict::Upgrade)
        fuzz::require(whole.upgradeHead().size() <= limits.maxHeaderBytes + 4, "an upgrade head within the cap");

    const QJsonDocument doc = QJsonDocument::fromJson(input);
    if (!doc.isObject())
        return 0;
    const int number = 1 + data[0] % 416;
    try {
        const serve::Fields fields = serve::fieldsOf(doc.object(), number);
        for (const auto& f : fields)
            fuzz::require(!f || varfields::storable(*f), "only storable values");
    } catch (const serve::HttpError& e) {
        fuzz::require(e.status == 400 && !e.message.isEmpty(), "a refusal is a 400 with a reason");
    }
    return 0;
}
