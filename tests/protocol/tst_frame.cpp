// The frame codec: round trips, damaged frames, resynchronisation and random
// bytes that must never crash the decoder or grow it past its bound.

#include "frame.h"
#include "testenvironment.h"

#include <QRandomGenerator>
#include <QTest>

using namespace wire;

Q_DECLARE_METATYPE(wire::Decoded::Kind)

namespace {
QByteArray allBytes()
{
    QByteArray b(256, Qt::Uninitialized);
    for (int i = 0; i < 256; ++i)
        b[i] = char(i);
    return b;
}

QList<Decoded::Kind> kinds(const QList<Decoded>& found)
{
    QList<Decoded::Kind> out;
    for (const Decoded& d : found)
        out.append(d.kind);
    return out;
}

QList<Decoded> feedInChunks(FrameDecoder& decoder, const QByteArray& bytes, QRandomGenerator& random)
{
    QList<Decoded> out;
    qsizetype at = 0;
    while (at < bytes.size()) {
        const qsizetype n = std::min<qsizetype>(bytes.size() - at, 1 + random.bounded(40));
        out += decoder.feed(QByteArrayView(bytes).sliced(at, n));
        at += n;
    }
    return out;
}

const Frame kSample{0x0105, 9, 'T', QByteArray("\x00\x03hello", 7)};
constexpr int kSampleBody = kHeaderSize + 7 + kCrcSize;

// A frame around an arbitrary body, escaped as the encoder does.
QByteArray wrap(const QByteArray& body)
{
    QByteArray out(1, kStx);
    for (char c : body) {
        if (c == kStx || c == kEtx || c == kDle) {
            out.append(kDle);
            out.append(char(c ^ kEscapeXor));
        } else {
            out.append(c);
        }
    }
    out.append(kEtx);
    return out;
}

QByteArray sampleBody(uint16_t crcXor)
{
    QByteArray body = QByteArray("\x01\x05\x09T", 4) + kSample.payload;
    const uint16_t crc = crc16(body) ^ crcXor;
    body.append(char(crc >> 8));
    body.append(char(crc & 0xFF));
    return body;
}
} // namespace

class TestFrame final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void crcMatchesTheStandardCheckValue();
    void roundTrip_data();
    void roundTrip();
    void damaged_data();
    void damaged();
    void everySingleBitFlipIsCaught();
    void damagedHeaderIsReportedForNak();
    void randomBytesNeverCrashOrOverflow();
    void framesSurviveGarbageBetweenThem();
    void resyncsAfterMutilatedFrames();
    void outsideBytesAreKeptForResultCodes();
};

void TestFrame::crcMatchesTheStandardCheckValue()
{
    // CRC-16 with polynomial 0x1021 and start 0xFFFF, no reflection.
    QCOMPARE(crc16("123456789"), uint16_t(0x29B1));
    QCOMPARE(crc16(""), uint16_t(0xFFFF));
}

void TestFrame::roundTrip_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("sequence");
    QTest::addColumn<int>("command");
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("empty payload") << 1 << 0 << int('D') << QByteArray();
    QTest::newRow("every byte value") << 300 << 255 << int('T') << allBytes();
    QTest::newRow("only marks") << 2 << 2 << int('M') << QByteArray("\x02\x03\x10\x10\x03\x02", 6);
    QTest::newRow("address and sequence are marks") << 0x0203 << 0x10 << 0x02 << QByteArray("x");
    QTest::newRow("highest address") << 0xFFFF << 1 << 0x15 << QByteArray("\x01\x05reason", 8);
    QTest::newRow("largest payload of plain bytes") << 5 << 3 << int('A') << QByteArray(kMaxPayloadSize, 'a');
    QTest::newRow("largest payload of marks") << 5 << 3 << int('A') << QByteArray(kMaxPayloadSize, '\x10');
}

void TestFrame::roundTrip()
{
    QFETCH(int, address);
    QFETCH(int, sequence);
    QFETCH(int, command);
    QFETCH(QByteArray, payload);
    const Frame frame{uint16_t(address), uint8_t(sequence), uint8_t(command), payload};
    const QByteArray wire = encodeFrame(frame);
    // The marks appear only at the ends.
    QCOMPARE(wire.front(), kStx);
    QCOMPARE(wire.back(), kEtx);
    QCOMPARE(wire.count(kStx), 1);
    QCOMPARE(wire.count(kEtx), 1);

    FrameDecoder whole;
    const QList<Decoded> a = whole.feed(wire);
    QCOMPARE(a.size(), 1);
    QCOMPARE(a[0].kind, Decoded::Kind::Frame);
    QCOMPARE(a[0].frame, frame);

    FrameDecoder byByte;
    QList<Decoded> b;
    for (char c : wire)
        b += byByte.feed(QByteArrayView(&c, 1));
    QCOMPARE(b.size(), 1);
    QCOMPARE(b[0].frame, frame);
    QCOMPARE(byByte.discardedBytes(), quint64(0));
    QVERIFY(!byByte.inFrame());
}

void TestFrame::damaged_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QList<Decoded::Kind>>("expected");
    QTest::addColumn<int>("discarded");
    using K = Decoded::Kind;
    const QByteArray good = encodeFrame(kSample);
    const QByteArray badCrc = wrap(sampleBody(0x0101));
    QByteArray dleBeforeEtx = good;
    dleBeforeEtx.insert(dleBeforeEtx.size() - 1, kDle);
    QByteArray badEscape = good;
    badEscape.insert(3, "\x10" "A");
    QByteArray oversized;
    oversized.append(kStx);
    oversized.append(QByteArray(kMaxBodySize + 1, 'z'));
    oversized.append(kEtx);

    QTest::newRow("good") << good << QList<K>{K::Frame} << 0;
    QTest::newRow("good, escaped by hand") << wrap(sampleBody(0)) << QList<K>{K::Frame} << 0;
    QTest::newRow("marks only") << QByteArray("\x02\x03", 2) << QList<K>{K::TooShort} << 1;
    QTest::newRow("shorter than header and crc") << QByteArray("\x02" "abcde" "\x03", 7) << QList<K>{K::TooShort} << 6;
    QTest::newRow("wrong crc") << badCrc << QList<K>{K::BadChecksum} << kSampleBody + 1;
    QTest::newRow("escape cut by the end mark") << dleBeforeEtx << QList<K>{K::BadEscape} << kSampleBody + 1;
    QTest::newRow("escape of a plain byte") << badEscape << QList<K>{K::BadEscape} << kSampleBody + 2;
    QTest::newRow("truncated, then a good frame") << good.left(6) + good << QList<K>{K::Frame} << 6;
    QTest::newRow("garbage before") << QByteArray("noise\x10\x03") + good << QList<K>{K::Frame} << 7;
    QTest::newRow("end marks without start") << QByteArray("\x03\x03\x03") << QList<K>{} << 3;
    QTest::newRow("back to back") << good + good << QList<K>{K::Frame, K::Frame} << 0;
    QTest::newRow("oversized, then a good frame") << oversized + good << QList<K>{K::Oversized, K::Frame}
                                                  << int(oversized.size());
    QTest::newRow("oversized without end, then a good frame") << oversized.left(oversized.size() - 1) + good
                                                              << QList<K>{K::Oversized, K::Frame}
                                                              << int(oversized.size() - 1);
}

void TestFrame::damaged()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QList<Decoded::Kind>, expected);
    QFETCH(int, discarded);
    FrameDecoder decoder;
    const QList<Decoded> found = decoder.feed(bytes);
    QCOMPARE(kinds(found), expected);
    QCOMPARE(decoder.discardedBytes(), quint64(discarded));
    for (const Decoded& d : found)
        if (d.kind == Decoded::Kind::Frame)
            QCOMPARE(d.frame, kSample);
}

void TestFrame::everySingleBitFlipIsCaught()
{
    const QByteArray good = encodeFrame(kSample);
    for (int at = 0; at < good.size(); ++at) {
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray bad = good;
            bad[at] = char(bad[at] ^ (1 << bit));
            FrameDecoder decoder;
            const QList<Decoded> found = decoder.feed(bad);
            for (const Decoded& d : found)
                QVERIFY2(d.kind != Decoded::Kind::Frame, qPrintable(QStringLiteral("byte %1 bit %2").arg(at).arg(bit)));
            // The decoder is ready for the next frame whatever the damage.
            const QList<Decoded> next = decoder.feed(good);
            QCOMPARE(next.size(), 1);
            QCOMPARE(next[0].frame, kSample);
        }
    }
}

void TestFrame::damagedHeaderIsReportedForNak()
{
    QByteArray bad = encodeFrame(kSample);
    bad[bad.size() - 3] = char(bad[bad.size() - 3] ^ 0x20);   // inside the payload
    FrameDecoder decoder;
    const QList<Decoded> found = decoder.feed(bad);
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0].kind, Decoded::Kind::BadChecksum);
    QVERIFY(found[0].hasHeader);
    QCOMPARE(found[0].frame.address, kSample.address);
    QCOMPARE(found[0].frame.sequence, kSample.sequence);
    QCOMPARE(found[0].frame.command, kSample.command);
    QVERIFY(found[0].frame.payload.isEmpty());
}

void TestFrame::randomBytesNeverCrashOrOverflow()
{
    QRandomGenerator random(20240611);
    FrameDecoder decoder;
    quint64 total = 0;
    for (int round = 0; round < 200; ++round) {
        // Mixes of pure noise, noise rich in marks, and long runs without an end.
        QByteArray bytes(2000 + random.bounded(3000), Qt::Uninitialized);
        for (char& c : bytes) {
            const quint32 r = random.generate();
            c = round % 3 == 0 ? char(r) : round % 3 == 1 ? "\x02\x03\x10xy"[r % 5] : char(r % 2 ? 'q' : 0x10);
        }
        for (const Decoded& d : feedInChunks(decoder, bytes, random)) {
            QVERIFY(d.frame.payload.size() <= kMaxPayloadSize);
            if (d.kind == Decoded::Kind::Frame)
                QVERIFY(crc16(QByteArray()) == 0xFFFF);   // a chance frame is possible, and harmless
        }
        total += quint64(bytes.size());
    }
    QVERIFY(decoder.discardedBytes() <= total);
    // Still decodes a good frame afterwards.
    QList<Decoded> last = decoder.feed(encodeFrame(kSample));
    QVERIFY(!last.isEmpty());
    QCOMPARE(last.last().kind, Decoded::Kind::Frame);
    QCOMPARE(last.last().frame, kSample);
}

void TestFrame::framesSurviveGarbageBetweenThem()
{
    QRandomGenerator random(77);
    QList<Frame> sent;
    QByteArray line;
    for (int i = 0; i < 300; ++i) {
        Frame f{uint16_t(random.bounded(65536)), uint8_t(i), uint8_t('A' + i % 20), QByteArray()};
        f.payload.resize(random.bounded(64));
        for (char& c : f.payload)
            c = char(random.generate());
        sent.append(f);
        QByteArray noise(random.bounded(30), Qt::Uninitialized);
        for (char& c : noise)
            c = char(random.generate());
        line += noise + encodeFrame(f);
    }
    FrameDecoder decoder;
    QList<Frame> got;
    for (const Decoded& d : feedInChunks(decoder, line, random))
        if (d.kind == Decoded::Kind::Frame)
            got.append(d.frame);
    // Every frame sent arrives, in order; noise may add (rare) chance frames.
    qsizetype at = 0;
    for (const Frame& f : got)
        if (at < sent.size() && f == sent[at])
            ++at;
    QCOMPARE(at, sent.size());
    QVERIFY(got.size() - sent.size() <= 1);
}

void TestFrame::resyncsAfterMutilatedFrames()
{
    QRandomGenerator random(4711);
    FrameDecoder decoder;
    const QByteArray good = encodeFrame(kSample);
    for (int i = 0; i < 2000; ++i) {
        QByteArray bad = good;
        switch (i % 4) {
        case 0: bad.truncate(random.bounded(int(bad.size()))); break;
        case 1: bad[random.bounded(int(bad.size()))] = char(random.generate()); break;
        case 2: bad.insert(random.bounded(int(bad.size())), char(random.generate())); break;
        case 3: bad.remove(random.bounded(int(bad.size())), 1); break;
        }
        decoder.feed(bad);
        const QList<Decoded> found = decoder.feed(good);
        QVERIFY(!found.isEmpty());
        QCOMPARE(found.last().kind, Decoded::Kind::Frame);
        QCOMPARE(found.last().frame, kSample);
    }
}

void TestFrame::outsideBytesAreKeptForResultCodes()
{
    FrameDecoder decoder;
    decoder.feed(QByteArray(encodeFrame(kSample) + QByteArray("\r\nNO CARRIER\r\n")));
    QCOMPARE(decoder.takeOutsideBytes(), QByteArray("\r\nNO CARRIER\r\n"));
    QCOMPARE(decoder.takeOutsideBytes(), QByteArray());
    // Bytes inside frames never count, and only the latest 64 are kept.
    decoder.feed(QByteArray(QByteArray(100, 'x') + encodeFrame(Frame{1, 1, 'M', "NO CARRIER"}) + "tail"));
    const QByteArray outside = decoder.takeOutsideBytes();
    QCOMPARE(outside.size(), 64);
    QVERIFY(outside.endsWith("xtail"));
    QVERIFY(!outside.contains("NO CARRIER"));
}

QTEST_GUILESS_MAIN(TestFrame)
#include "tst_frame.moc"
