#pragma once

// Framing of the display wire protocol: one frame is
//
//   STX  escaped( address:2  sequence:1  command:1  payload:n  crc:2 )  ETX
//
// with big-endian numbers and a CRC-16 (polynomial 0x1021, start 0xFFFF) over
// address ... payload. STX, ETX and DLE inside the frame are sent as DLE
// followed by the byte XOR 0x20, so an STX or ETX on the line is always a frame
// mark and a receiver can find the next frame after any garbage.

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <cstdint>

namespace wire {

inline constexpr char kStx = 0x02;
inline constexpr char kEtx = 0x03;
inline constexpr char kDle = 0x10;
inline constexpr char kEscapeXor = 0x20;

inline constexpr int kHeaderSize = 4; // address, sequence, command
inline constexpr int kCrcSize = 2;
// The largest frame body (header, payload and CRC, before escaping) a receiver
// keeps; longer frames are dropped whole.
inline constexpr int kMaxBodySize = 2048;
inline constexpr int kMaxPayloadSize = kMaxBodySize - kHeaderSize - kCrcSize;

struct Frame {
    uint16_t address = 0;
    uint8_t sequence = 0;
    uint8_t command = 0;
    QByteArray payload;

    friend bool operator==(const Frame&, const Frame&) = default;
};

uint16_t crc16(QByteArrayView bytes, uint16_t crc = 0xFFFF);

// The frame as it goes on the line, marks and escapes included. The payload must
// not exceed kMaxPayloadSize (longer payloads would be refused by receivers).
QByteArray encodeFrame(const Frame& frame);

// What the decoder found on the line.
struct Decoded {
    enum class Kind {
        Frame,       // a good frame
        BadChecksum, // a complete frame whose CRC does not match
        BadEscape,   // DLE followed by something that is not an escaped mark
        TooShort,    // STX ... ETX with fewer bytes than a header and CRC
        Oversized,   // more than kMaxBodySize bytes before ETX; dropped
    };
    Kind kind = Kind::Frame;
    Frame frame;            // for Frame; for BadChecksum the (unreliable) header as received
    bool hasHeader = false; // BadChecksum/BadEscape: address and sequence were received
};

const char* decodedKindName(Decoded::Kind kind);

// A streaming decoder: feed it bytes as they come; it hands back every frame
// (good or damaged) completed by them. It never holds more than kMaxBodySize
// bytes, skips bytes outside frames, and starts over at every STX.
class FrameDecoder final {
public:
    QList<Decoded> feed(QByteArrayView bytes);
    void reset();

    bool inFrame() const { return m_state != State::Hunting; }
    quint64 discardedBytes() const { return m_discarded; }
    // The last bytes seen between frames (at most 64), oldest first, and
    // forgotten once taken: modem result codes such as "NO CARRIER" arrive there.
    QByteArray takeOutsideBytes();

private:
    enum class State { Hunting, Body, Escape, Overflow };
    void finish(QList<Decoded>& out);
    void damaged(QList<Decoded>& out, Decoded::Kind kind);

    State m_state = State::Hunting;
    QByteArray m_body;
    bool m_badEscape = false;
    quint64 m_discarded = 0;
    QByteArray m_outside;
};

} // namespace wire
