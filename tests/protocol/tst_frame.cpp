// The frame codec: round trips, damaged frames, resynchronisation and random
// bytes that must never crash the decoder or grow it past its bound.

#include "datarow.h"
#include "frame.h"
#include "testenvironment.h"

#include <QRandomGenerator>
#include <QTest>

using namespace wire;

Q_DECLARE_METATYPE(wire::Decoded::Kind)
Q_DECLARE_METATYPE(wire::Frame)

namespace {
const Frame kSample{0x0105, 9, 'T', QByteArray("\x00\x03hello", 7)};
constexpr int kSampleBody = kHeaderSize + 7 + kCrcSize;

// kSample escaped by hand, its CRC XORed with crcXor.
QByteArray handMadeSample(uint16_t crcXor)
{
    QByteArray body = QByteArray("\x01\x05\x09T", 4) + kSample.payload;
    const uint16_t crc = crc16(body) ^ crcXor;
    body.append(char(crc >> 8)).append(char(crc & 0xFF));
    QByteArray out(1, kStx);
    for (char c : std::as_const(body))
        (c == kStx || c == kEtx || c == kDle) ? out.append(kDle).append(char(c ^ kEscapeXor)) : out.append(c);
    return out.append(kEtx);
}

QByteArray randomBytes(QRandomGenerator& random, int size)
{
    QByteArray b(size, Qt::Uninitialized);
    for (char& c : b)
        c = char(random.generate());
    return b;
}

} // namespace

class TestFrame final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void crcMatchesTheStandardCheckValue()
    {
        QCOMPARE(crc16("123456789"), uint16_t(0x29B1)); // polynomial 0x1021, start 0xFFFF, not reflected
    }
    void roundTrip_data()
    {
        QTest::addColumn<Frame>("frame");
        QByteArray all(256, Qt::Uninitialized);
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        addRow("empty payload", Frame{1, 0, 'D', {}});
        addRow("every byte value", Frame{300, 255, 'T', all});
        addRow("only marks", Frame{2, 2, 'M', QByteArray("\x02\x03\x10\x10\x03\x02", 6)});
        addRow("address and sequence are marks", Frame{0x0203, 0x10, 0x02, "x"});
        addRow("highest address", Frame{0xFFFF, 1, 0x15, QByteArray("\x01\x05reason", 8)});
        addRow("largest payload of plain bytes", Frame{5, 3, 'A', QByteArray(kMaxPayloadSize, 'a')});
        addRow("largest payload of marks", Frame{5, 3, 'A', QByteArray(kMaxPayloadSize, '\x10')});
    }
    void roundTrip()
    {
        QFETCH(Frame, frame);
        const QByteArray wire = encodeFrame(frame);
        // The marks appear only at the ends.
        QCOMPARE(wire.lastIndexOf(kStx), 0);
        QCOMPARE(wire.indexOf(kEtx), wire.size() - 1);

        FrameDecoder byByte;
        QList<Decoded> b;
        for (char c : wire)
            b += byByte.feed(QByteArrayView(&c, 1));
        QCOMPARE(b.size(), 1);
        QCOMPARE(b[0].kind, Decoded::Kind::Frame);
        QCOMPARE(b[0].frame, frame);
        QCOMPARE(byByte.discardedBytes(), quint64(0));
        QVERIFY(!byByte.inFrame());
    }
    void damaged_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QList<Decoded::Kind>>("expected");
        QTest::addColumn<int>("discarded");
        using K = Decoded::Kind;
        const QByteArray good = encodeFrame(kSample);
        QByteArray dleBeforeEtx = good;
        dleBeforeEtx.insert(dleBeforeEtx.size() - 1, kDle);
        QByteArray badEscape = good;
        badEscape.insert(8, "\x10"
                            "A"); // inside the payload
        const QByteArray oversized = kStx + QByteArray(kMaxBodySize + 1, 'z') + kEtx;

        addRow("good", good, QList<K>{K::Frame}, 0);
        addRow("good, escaped by hand", handMadeSample(0), QList<K>{K::Frame}, 0);
        addRow("marks only", QByteArray("\x02\x03", 2), QList<K>{K::TooShort}, 1);
        addRow("shorter than header and crc",
               QByteArray("\x02"
                          "abcde"
                          "\x03",
                          7),
               QList<K>{K::TooShort}, 6);
        addRow("wrong crc", handMadeSample(0x0101), QList<K>{K::BadChecksum}, kSampleBody + 1);
        addRow("escape cut by the end mark", dleBeforeEtx, QList<K>{K::BadEscape}, kSampleBody + 1);
        addRow("escape of a plain byte", badEscape, QList<K>{K::BadEscape}, kSampleBody + 2);
        addRow("truncated, then a good frame", good.left(6) + good, QList<K>{K::Frame}, 6);
        addRow("garbage before", QByteArray("noise\x10\x03") + good, QList<K>{K::Frame}, 7);
        addRow("end marks without start", QByteArray("\x03\x03\x03"), QList<K>{}, 3);
        addRow("back to back", good + good, QList<K>{K::Frame, K::Frame}, 0);
        addRow("oversized, then a good frame", oversized + good, QList<K>{K::Oversized, K::Frame},
               int(oversized.size()));
        addRow("oversized without end, then a good frame", oversized.chopped(1) + good,
               QList<K>{K::Oversized, K::Frame}, int(oversized.size() - 1));
    }
    void damaged()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, discarded);
        FrameDecoder decoder;
        const QList<Decoded> found = decoder.feed(bytes);
        QList<Decoded::Kind> kinds;
        for (const Decoded& d : found) {
            kinds.append(d.kind);
            if (d.kind == Decoded::Kind::Frame) {
                QCOMPARE(d.frame, kSample);
            } else if (d.kind == Decoded::Kind::BadChecksum || d.kind == Decoded::Kind::BadEscape) {
                // The header as received, so the display can NAK the right sequence number.
                QVERIFY(d.hasHeader);
                QCOMPARE(d.frame, (Frame{kSample.address, kSample.sequence, kSample.command, {}}));
            }
        }
        QTEST(kinds, "expected");
        QCOMPARE(decoder.discardedBytes(), quint64(discarded));
    }
    void everySingleBitFlipIsCaught()
    {
        const QByteArray good = encodeFrame(kSample);
        FrameDecoder decoder;
        for (int bit = 0; bit < good.size() * 8; ++bit) {
            QByteArray bad = good;
            bad[bit / 8] = char(bad[bit / 8] ^ (1 << bit % 8));
            for (const Decoded& d : decoder.feed(bad))
                QVERIFY2(d.kind != Decoded::Kind::Frame, qPrintable(QStringLiteral("bit %1").arg(bit)));
            // Ready for the next frame whatever the damage.
            const QList<Decoded> next = decoder.feed(good);
            QVERIFY(!next.isEmpty());
            QCOMPARE(next.last().frame, kSample);
        }
    }
    void framesSurviveNoiseAndMutilatedFrames()
    {
        QRandomGenerator random(4711);
        const QByteArray sample = encodeFrame(kSample);
        QList<Frame> sent;
        QByteArray line;
        for (int i = 0; i < 420; ++i) {
            // Before each good frame: noise (plain, rich in marks, or a long run without
            // an end), or a cut, altered, grown or shrunk copy of another frame.
            QByteArray before = sample;
            const int at = random.bounded(int(before.size()));
            switch (i % 7) {
            case 0: before = randomBytes(random, random.bounded(30)); break;
            case 1:
                before = randomBytes(random, 200);
                for (char& c : before)
                    c = "\x02\x03\x10xy"[uint8_t(c) % 5];
                break;
            case 2:
                before = randomBytes(random, kMaxBodySize + random.bounded(3000));
                for (char& c : before)
                    c = c & 1 ? 'q' : kDle;
                before.prepend(kStx);
                break;
            case 3: before.truncate(at); break;
            case 4: before[at] = char(random.generate()); break;
            case 5: before.insert(at, char(random.generate())); break;
            case 6: before.remove(at, 1); break;
            }
            const Frame f{uint16_t(random.bounded(65536)), uint8_t(i), uint8_t('A' + i % 20),
                          randomBytes(random, random.bounded(64))};
            sent.append(f);
            line += before + encodeFrame(f);
        }
        // Fed in chunks of random size.
        FrameDecoder decoder;
        QList<Frame> got;
        for (qsizetype at = 0, n = 0; at < line.size(); at += n) {
            n = std::min<qsizetype>(line.size() - at, 1 + random.bounded(40));
            for (const Decoded& d : decoder.feed(QByteArrayView(line).sliced(at, n))) {
                QVERIFY(d.frame.payload.size() <= kMaxPayloadSize);
                if (d.kind == Decoded::Kind::Frame && d.frame != kSample) // a harmless change leaves the sample whole
                    got.append(d.frame);
            }
        }
        QVERIFY(decoder.discardedBytes() <= quint64(line.size()));
        QCOMPARE(got, sent); // all of them, in order (and with this seed no chance frame out of the noise)
    }
    void outsideBytesAreKeptForResultCodes()
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
};

QTEST_GUILESS_MAIN(TestFrame)
#include "tst_frame.moc"
