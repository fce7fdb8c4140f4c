// The display side of each command, in-process: what the emulated units
// store, answer and refuse.

#include "attributecases.h"
#include "datarow.h"
#include "clock.h"
#include "commandhandler.h"
#include "commands.h"
#include "testenvironment.h"

#include <QTest>

using namespace emulator;
using namespace wire;

namespace {
QByteArray u16(int v) { return indexPayload(uint16_t(v)); }

// "ACK", "<NAK code>: <reason>", or "" for silence.
QString answer(const std::optional<Frame>& f)
{
    const auto a = f ? parseAnswer(*f) : std::nullopt;
    return !f       ? QString()
           : !a     ? QStringLiteral("?")
           : a->ack ? QStringLiteral("ACK")
                    : nakCodeName(a->nakCode) + ": " + a->reason;
}
} // namespace

class TestCommandHandler final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void cleanup() { Clock::reset(); }
    void answers_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("expected");
        const QByteArray longest = u16(0) + QByteArray(kMaxVariableData, 'd');
        addRow("write text 255", int(WriteTextData), QByteArray(u16(255) + "x"), "ACK");
        addRow("write text 256", int(WriteTextData), QByteArray(u16(256) + "x"),
               "no such variable: text variable 256 does not exist");
        addRow("write cell 160", int(WriteCellData), QByteArray(u16(160) + "x"),
               "no such variable: cell variable 160 does not exist");
        addRow("write without index", int(WriteCellData), QByteArray("\x01", 1), "bad payload: no variable index");
        addRow("write data at the limit", int(WriteTextData), longest, "ACK");
        addRow("write data too long", int(WriteTextData), longest + "d", "too long: data of 1025 bytes, at most 1024");
        addRow("read text 256", int(ReadTextVariable), u16(256), "no such variable: text variable 256 does not exist");
        addRow("read with 3-byte index", int(ReadCellVariable), QByteArray(3, '\0'),
               "bad payload: expected a two-byte variable index");
        addRow("attributes cell 160", int(WriteCellAttributes), QByteArray("1591A1601A"),
               "no such variable: cell variable 160 does not exist");
        for (const auto& [tag, text, parsed, answer] : kAttributeCases)
            QTest::addRow("attributes, %s", tag) << int(WriteTextAttributes) << text << QString::fromLatin1(answer);
        addRow("download time with data", int(ReadDownloadTime), QByteArray("x"),
               "bad payload: read download time takes no data");
        addRow("configuration with data", int(ReadConfiguration), QByteArray("x"),
               "bad payload: read configuration takes no data");
        addRow("message at the limit", int(ShowMessage), QByteArray(kMaxMessage, 'm'), "ACK");
        addRow("message too long", int(ShowMessage), QByteArray(kMaxMessage + 1, 'm'),
               "too long: message of 2001 bytes, at most 2000");
        addRow("unknown command", int('Z'), QByteArray(), "unknown command: command 0x5a");
        addRow("an answer is not answered", int(Ack), QByteArray("T"), "");
    }
    void answers()
    {
        QFETCH(int, command);
        QFETCH(QByteArray, payload);
        DisplayModel model;
        CommandHandler handler(model);
        const Frame request{3, 44, uint8_t(command), payload};
        const std::optional<Frame> reply = handler.handle(request);
        QTEST(answer(reply), "expected");
        if (!reply)
            return;
        // Answers carry the request's address and sequence number and name the command.
        QCOMPARE(reply->address, request.address);
        QCOMPARE(reply->sequence, request.sequence);
        QCOMPARE(parseAnswer(*reply)->command, uint8_t(command));
    }
    void downloadsAreAllOrNothingAndTimed()
    {
        Clock::setFixed(QDateTime(QDate(2031, 12, 31), QTime(23, 59, 58)));
        DisplayModel model;
        CommandHandler handler(model);
        auto timeOf = [&](uint16_t address) {
            const auto t = *parseDownloadTime(
                parseAnswer(*handler.handle(Frame{address, 9, ReadDownloadTime, {}}))->data);
            return QDateTime(QDate(t.Year, t.Month, t.Day), QTime(t.Hour, t.Minute, t.Second));
        };
        // A refused batch changes nothing; neither it nor reads and messages are downloads.
        QCOMPARE(answer(handler.handle(Frame{1, 1, WriteTextAttributes, "0012A2996B"})),
                 "no such variable: text variable 299 does not exist");
        QCOMPARE(*model.unit(1)->variable(VarKind::Text, 1), VariableState());
        handler.handle(Frame{1, 2, ReadCellVariable, u16(0)});
        handler.handle(Frame{1, 3, ShowMessage, "hi"});
        QVERIFY(!timeOf(1).isValid());
        QCOMPARE(answer(handler.handle(Frame{1, 4, WriteCellData, writeDataPayload(0, "x")})), "ACK");
        Clock::advance(3);
        // The last entry for an index wins.
        QCOMPARE(answer(handler.handle(Frame{2, 1, WriteTextAttributes, "0095A0096B"})), "ACK");
        QCOMPARE(*model.unit(2)->variable(VarKind::Text, 9), (VariableState{6, true, false, {}}));
        Clock::advance(60);
        QCOMPARE(timeOf(1), QDateTime(QDate(2031, 12, 31), QTime(23, 59, 58)));
        QCOMPARE(timeOf(2), QDateTime(QDate(2032, 1, 1), QTime(0, 0, 1)));
    }
    void damagedFramesAreNakedOnlyForOwnAddresses()
    {
        DisplayModel model;
        model.restrictTo({4});
        CommandHandler handler(model);
        Decoded d{Decoded::Kind::BadChecksum, Frame{4, 17, WriteTextData, {}}, true};
        const auto nak = handler.handleDamaged(d);
        QCOMPARE(answer(nak), QStringLiteral("damaged frame: bad checksum"));
        QCOMPARE(nak->sequence, uint8_t(17));
        d.frame.address = 5;
        QVERIFY(!handler.handleDamaged(d));
        d.frame.address = 4;
        d.hasHeader = false;
        QVERIFY(!handler.handleDamaged(d));
    }
    void groupParsing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // base, units, flag b; "" = refused
        addRow("2x2", "5:1,1", "5 x4");
        addRow("single as group", "0:0,0", "0 x1");
        addRow("flag b", "7:2,3,b", "7 x12 b");
        addRow("no spans", "5", "");
        addRow("one span", "5:1", "");
        addRow("negative span", "5:-1,1", "");
        addRow("bad flag", "5:1,1,x", "");
        addRow("beyond the addresses", "65535:1,0", "");
    }
    void groupParsing()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const auto g = parseGroup(text);
        QCOMPARE(g ? QStringLiteral("%1 x%2%3").arg(g->base).arg(g->unitCount()).arg(g->flagB ? " b" : "") : QString(),
                 expected);
        if (!g)
            return;
        // Overlapping groups are refused; adjacent ones are fine.
        DisplayModel model;
        QVERIFY(model.addGroup(*g));
        QVERIFY(!model.addGroup(GroupConfig{uint16_t(g->base + g->unitCount() - 1), 0, 0, false}));
        QVERIFY(model.addGroup(GroupConfig{uint16_t(g->base + g->unitCount()), 0, 0, false}));
    }
    void onlyWritesMakeState_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<int>("units"); // after the frame went to every address
        addRow("read text", int(ReadTextVariable), u16(7), 0);
        addRow("read cell", int(ReadCellVariable), u16(159), 0);
        addRow("read download time", int(ReadDownloadTime), QByteArray(), 0);
        addRow("read configuration", int(ReadConfiguration), QByteArray(), 0);
        addRow("refused data", int(WriteTextData), u16(256), 0);
        addRow("refused attributes", int(WriteCellAttributes), QByteArray("0010A"), 0);
        addRow("unknown command", int('Z'), QByteArray(), 0);
        addRow("write data", int(WriteCellData), QByteArray(u16(3) + "x"), 65536);
        addRow("message", int(ShowMessage), QByteArray("m"), 65536);
    }
    // A client sweeping every address with reads leaves no state behind; only what
    // a unit took makes it remember anything.
    void onlyWritesMakeState()
    {
        QFETCH(int, command);
        QFETCH(QByteArray, payload);
        QFETCH(int, units);
        DisplayModel model;
        CommandHandler handler(model);
        for (int address = 0; address <= 65535; ++address)
            QVERIFY(handler.handle(Frame{uint16_t(address), 1, uint8_t(command), payload}));
        QCOMPARE(model.unitCount(), units);
        // A written unit reads back its own state; the others read as fresh units.
        QCOMPARE(answer(handler.handle(Frame{9, 2, WriteTextData, writeDataPayload(4, "kept")})), "ACK");
        auto read = [&](uint16_t address) {
            return parseVariable(parseAnswer(*handler.handle(Frame{address, 3, ReadTextVariable, u16(4)}))->data)->Data;
        };
        QCOMPARE(read(9), QStringLiteral("kept"));
        QCOMPARE(read(10), QString());
        QCOMPARE(model.unitCount(), std::max(units, 1));
    }
    void colourPresets_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("taken");
        QTest::addColumn<int>("textColour"); // read back from text variable 12 of unit 5
        QTest::addColumn<int>("cellColour"); // ... and from cell variable 0
        addRow("unknown text colour", "5:T12=0", true, 0, 1);
        addRow("unknown cell colour", " 5 : c0 = 255 ", true, 1, 255);
        addRow("beyond one byte", "5:T12=256", false, 1, 1);
        addRow("beyond the cells", "5:C160=9", false, 1, 1);
        addRow("no kind", "5:12=9", false, 1, 1);
        addRow("unit that does not answer", "6:T12=9", false, 1, 1);
    }
    void colourPresets()
    {
        QFETCH(QString, text);
        DisplayModel model;
        model.restrictTo({5});
        CommandHandler handler(model);
        const auto preset = parseColourPreset(text);
        QTEST(preset && model.apply(*preset), "taken");
        auto colour = [&](uint8_t command, int index) {
            return int(parseVariable(parseAnswer(*handler.handle(Frame{5, 1, command, u16(index)}))->data)->Color);
        };
        QTEST(colour(ReadTextVariable, 12), "textColour");
        QTEST(colour(ReadCellVariable, 0), "cellColour");
    }
};

QTEST_GUILESS_MAIN(TestCommandHandler)
#include "tst_commandhandler.moc"
