#include "frame.h"

#include <array>
#include <utility>

namespace wire {

namespace {
// One CRC step per byte instead of per bit.
constexpr std::array<uint16_t, 256> makeCrcTable()
{
    std::array<uint16_t, 256> table{};
    for (int i = 0; i < 256; ++i) {
        uint16_t crc = uint16_t(i << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) ? uint16_t((crc << 1) ^ 0x1021) : uint16_t(crc << 1);
        table[i] = crc;
    }
    return table;
}
constexpr std::array<uint16_t, 256> kCrcTable = makeCrcTable();
} // namespace

uint16_t crc16(QByteArrayView bytes, uint16_t crc)
{
    for (char byte : bytes)
        crc = uint16_t((crc << 8) ^ kCrcTable[((crc >> 8) ^ uint8_t(byte)) & 0xFF]);
    return crc;
}

namespace {
constexpr int kOutsideKept = 64;

bool needsEscape(char byte) { return byte == kStx || byte == kEtx || byte == kDle; }

void appendEscaped(QByteArray& out, char byte)
{
    if (needsEscape(byte)) {
        out.append(kDle);
        out.append(char(byte ^ kEscapeXor));
    } else {
        out.append(byte);
    }
}
} // namespace

QByteArray encodeFrame(const Frame& frame)
{
    QByteArray body;
    body.reserve(kHeaderSize + frame.payload.size() + kCrcSize);
    body.append(char(frame.address >> 8));
    body.append(char(frame.address & 0xFF));
    body.append(char(frame.sequence));
    body.append(char(frame.command));
    body.append(frame.payload);
    const uint16_t crc = crc16(body);
    body.append(char(crc >> 8));
    body.append(char(crc & 0xFF));

    QByteArray out;
    out.reserve(body.size() + body.size() / 8 + 4);
    out.append(kStx);
    for (char byte : std::as_const(body))
        appendEscaped(out, byte);
    out.append(kEtx);
    return out;
}

const char* decodedKindName(Decoded::Kind kind)
{
    switch (kind) {
    case Decoded::Kind::Frame: return "frame";
    case Decoded::Kind::BadChecksum: return "bad checksum";
    case Decoded::Kind::BadEscape: return "bad escape";
    case Decoded::Kind::TooShort: return "too short";
    case Decoded::Kind::Oversized: return "oversized";
    }
    return "?";
}

QByteArray FrameDecoder::takeOutsideBytes() { return std::exchange(m_outside, QByteArray()); }

void FrameDecoder::reset()
{
    m_outside.clear();
    m_state = State::Hunting;
    m_body.clear();
    m_badEscape = false;
}

QList<Decoded> FrameDecoder::feed(QByteArrayView bytes)
{
    QList<Decoded> out;
    for (char byte : bytes) {
        if (byte == kStx) {
            // A new frame starts here; whatever came before it is lost.
            if (m_state == State::Body || m_state == State::Escape)
                m_discarded += quint64(m_body.size()) + 1;
            m_state = State::Body;
            m_body.clear();
            m_badEscape = false;
            continue;
        }
        switch (m_state) {
        case State::Hunting:
            ++m_discarded;
            if (m_outside.size() >= kOutsideKept)
                m_outside.remove(0, 1);
            m_outside.append(byte);
            break;
        case State::Overflow:
            ++m_discarded;
            if (byte == kEtx)
                m_state = State::Hunting;
            break;
        case State::Body:
            if (byte == kEtx) {
                finish(out);
            } else if (byte == kDle) {
                m_state = State::Escape;
            } else if (m_body.size() >= kMaxBodySize) {
                ++m_discarded;
                damaged(out, Decoded::Kind::Oversized);
                m_state = State::Overflow;
            } else {
                m_body.append(byte);
            }
            break;
        case State::Escape: {
            if (byte == kEtx) {
                // DLE right before the end mark: the frame is cut.
                m_badEscape = true;
                finish(out);
                break;
            }
            const char plain = char(byte ^ kEscapeXor);
            if (!needsEscape(plain))
                m_badEscape = true;
            if (m_body.size() >= kMaxBodySize) {
                m_discarded += 2; // the escape pair that did not fit
                damaged(out, Decoded::Kind::Oversized);
                m_state = State::Overflow;
            } else {
                m_body.append(plain);
                m_state = State::Body;
            }
            break;
        }
        }
    }
    return out;
}

void FrameDecoder::damaged(QList<Decoded>& out, Decoded::Kind kind)
{
    Decoded d;
    d.kind = kind;
    if (m_body.size() >= kHeaderSize) {
        d.hasHeader = true;
        d.frame.address = uint16_t((uint8_t(m_body[0]) << 8) | uint8_t(m_body[1]));
        d.frame.sequence = uint8_t(m_body[2]);
        d.frame.command = uint8_t(m_body[3]);
    }
    m_discarded += quint64(m_body.size()) + 1;
    out.append(d);
    m_body.clear();
    m_badEscape = false;
}

void FrameDecoder::finish(QList<Decoded>& out)
{
    m_state = State::Hunting;
    if (m_body.size() < kHeaderSize + kCrcSize) {
        damaged(out, Decoded::Kind::TooShort);
        return;
    }
    if (m_badEscape) {
        damaged(out, Decoded::Kind::BadEscape);
        return;
    }
    const int dataSize = int(m_body.size()) - kCrcSize;
    const uint16_t expected = uint16_t((uint8_t(m_body[dataSize]) << 8) | uint8_t(m_body[dataSize + 1]));
    if (crc16(QByteArrayView(m_body).first(dataSize)) != expected) {
        damaged(out, Decoded::Kind::BadChecksum);
        return;
    }
    Decoded d;
    d.kind = Decoded::Kind::Frame;
    d.hasHeader = true;
    d.frame.address = uint16_t((uint8_t(m_body[0]) << 8) | uint8_t(m_body[1]));
    d.frame.sequence = uint8_t(m_body[2]);
    d.frame.command = uint8_t(m_body[3]);
    d.frame.payload = m_body.mid(kHeaderSize, dataSize - kHeaderSize);
    out.append(d);
    m_body.clear();
}

} // namespace wire
