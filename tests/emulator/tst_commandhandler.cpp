// The display side of each command, in-process: what the emulated units
// store, answer and refuse.

#include "clock.h"
#include "codepage.h"
#include "commandhandler.h"
#include "commands.h"
#include "testenvironment.h"

#include <QTest>

using namespace emulator;
using namespace wire;

namespace {
QByteArray u16(int v)
{
    return indexPayload(uint16_t(v));
}

// The answer's code: 0 for ACK, the NAK code otherwise, -1 for silence.
int answerCode(const std::optional<Frame>& f)
{
    if (!f)
        return -1;
    const auto a = parseAnswer(*f);
    if (!a)
        return -2;
    return a->ack ? 0 : a->nakCode;
}
} // namespace

class TestCommandHandler final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void cleanup() { Clock::reset(); }
    void answers_data();
    void answers();
    void writesAreReadBack_data();
    void writesAreReadBack();
    void attributeBatchIsAllOrNothing();
    void downloadTimeIsPerUnit();
    void groupsAndUnits_data();
    void groupsAndUnits();
    void damagedFramesAreNakedOnlyForOwnAddresses();
    void messageIsKeptAndAnnounced();
    void groupParsing_data();
    void groupParsing();
};

void TestCommandHandler::answers_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    QTest::newRow("write text 255") << int(WriteTextData) << QByteArray(u16(255) + "x") << 0 << QString();
    QTest::newRow("write text 256") << int(WriteTextData) << QByteArray(u16(256) + "x") << int(NoSuchVariable)
                                    << QStringLiteral("text variable 256 does not exist");
    QTest::newRow("write cell 160") << int(WriteCellData) << QByteArray(u16(160) + "x") << int(NoSuchVariable)
                                    << QStringLiteral("cell variable 160 does not exist");
    QTest::newRow("write without index") << int(WriteCellData) << QByteArray("\x01", 1) << int(BadPayload)
                                         << QStringLiteral("no variable index");
    QTest::newRow("write data at the limit") << int(WriteTextData) << QByteArray(u16(0) + QByteArray(kMaxVariableData, 'd'))
                                             << 0 << QString();
    QTest::newRow("write data too long") << int(WriteTextData) << QByteArray(u16(0) + QByteArray(kMaxVariableData + 1, 'd'))
                                         << int(TooLong) << QStringLiteral("data of 1025 bytes, at most 1024");
    QTest::newRow("read text 256") << int(ReadTextVariable) << u16(256) << int(NoSuchVariable)
                                   << QStringLiteral("text variable 256 does not exist");
    QTest::newRow("read with 3-byte index") << int(ReadCellVariable) << QByteArray(3, '\0') << int(BadPayload)
                                            << QStringLiteral("expected a two-byte variable index");
    QTest::newRow("attributes malformed") << int(WriteTextAttributes) << QByteArray("0001A0001") << int(BadPayload)
                                          << QStringLiteral("attribute entry 2 is malformed");
    QTest::newRow("attributes cell 160") << int(WriteCellAttributes) << QByteArray("1591A1601A") << int(NoSuchVariable)
                                         << QStringLiteral("cell variable 160 does not exist");
    QTest::newRow("attributes text 255") << int(WriteTextAttributes) << QByteArray("2551A") << 0 << QString();
    QTest::newRow("download time with data") << int(ReadDownloadTime) << QByteArray("x") << int(BadPayload)
                                             << QStringLiteral("read download time takes no data");
    QTest::newRow("configuration with data") << int(ReadConfiguration) << QByteArray("x") << int(BadPayload)
                                             << QStringLiteral("read configuration takes no data");
    QTest::newRow("message too long") << int(ShowMessage) << QByteArray(kMaxMessage + 1, 'm') << int(TooLong)
                                      << QStringLiteral("message of 2001 bytes, at most 2000");
    QTest::newRow("unknown command") << int('Z') << QByteArray() << int(UnknownCommand)
                                     << QStringLiteral("unknown command command 0x5a");
    QTest::newRow("an answer is not answered") << int(Ack) << QByteArray("T") << -1 << QString();
}

void TestCommandHandler::answers()
{
    QFETCH(int, command);
    QFETCH(QByteArray, payload);
    QFETCH(int, code);
    QFETCH(QString, reason);
    DisplayModel model;
    CommandHandler handler(model);
    const Frame request{3, 44, uint8_t(command), payload};
    const std::optional<Frame> reply = handler.handle(request);
    QCOMPARE(answerCode(reply), code);
    if (!reply)
        return;
    // Answers carry the request's address and sequence number and name the command.
    QCOMPARE(reply->address, request.address);
    QCOMPARE(reply->sequence, request.sequence);
    const auto answer = parseAnswer(*reply);
    QCOMPARE(answer->command, uint8_t(command));
    QCOMPARE(answer->reason, reason);
}

void TestCommandHandler::writesAreReadBack_data()
{
    QTest::addColumn<bool>("cell");
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<int>("color");
    QTest::addColumn<int>("blink");
    QTest::addColumn<int>("inverse");
    QTest::newRow("text 0 green") << false << 0 << QByteArray("0002A") << 2 << 2 << 2;
    QTest::newRow("text 255 blink") << false << 255 << QByteArray("2553B") << 3 << 1 << 2;
    QTest::newRow("cell 0 inverse") << true << 0 << QByteArray("0004C") << 4 << 2 << 1;
    QTest::newRow("cell 159 both") << true << 159 << QByteArray("1597D") << 7 << 1 << 1;
    QTest::newRow("last entry of a batch wins") << false << 9 << QByteArray("0095A0096B") << 6 << 1 << 2;
}

void TestCommandHandler::writesAreReadBack()
{
    QFETCH(bool, cell);
    QFETCH(int, index);
    QFETCH(QByteArray, attributes);
    QFETCH(int, color);
    QFETCH(int, blink);
    QFETCH(int, inverse);
    DisplayModel model;
    CommandHandler handler(model);
    const QByteArray text = codepage::toAnsi(QStringLiteral("\u20AC 12 \u00FC"));
    QCOMPARE(answerCode(handler.handle(Frame{1, 1, uint8_t(cell ? WriteCellData : WriteTextData), writeDataPayload(uint16_t(index), text)})), 0);
    QCOMPARE(answerCode(handler.handle(Frame{1, 2, uint8_t(cell ? WriteCellAttributes : WriteTextAttributes), attributes})), 0);
    const auto reply = handler.handle(Frame{1, 3, uint8_t(cell ? ReadCellVariable : ReadTextVariable), u16(index)});
    QCOMPARE(answerCode(reply), 0);
    const auto v = parseVariable(parseAnswer(*reply)->data);
    QVERIFY(v);
    QCOMPARE(v->Data, QStringLiteral("\u20AC 12 \u00FC"));
    QCOMPARE(v->Color, int16_t(color));
    QCOMPARE(v->Blink, int16_t(blink));
    QCOMPARE(v->Inverse, int16_t(inverse));
    // The other kind keeps its defaults.
    const VariableState* other = model.unit(1)->variable(cell ? VarKind::Text : VarKind::Cell, std::min(index, 159));
    QCOMPARE(*other, VariableState());
}

void TestCommandHandler::attributeBatchIsAllOrNothing()
{
    DisplayModel model;
    CommandHandler handler(model);
    QCOMPARE(answerCode(handler.handle(Frame{1, 1, WriteTextAttributes, "0012A2996B"})), int(NoSuchVariable));
    QCOMPARE(model.unit(1)->variable(VarKind::Text, 1)->color, int16_t(1));
    QVERIFY(!model.unit(1)->downloaded.isValid());
}

void TestCommandHandler::downloadTimeIsPerUnit()
{
    Clock::setFixed(QDateTime(QDate(2031, 12, 31), QTime(23, 59, 58)));
    DisplayModel model;
    CommandHandler handler(model);
    auto timeOf = [&](uint16_t address) {
        const auto reply = handler.handle(Frame{address, 9, ReadDownloadTime, {}});
        return *parseDownloadTime(parseAnswer(*reply)->data);
    };
    QCOMPARE(timeOf(1).Year, int16_t(0));
    QCOMPARE(answerCode(handler.handle(Frame{1, 1, WriteCellData, writeDataPayload(0, "x")})), 0);
    Clock::advance(3);
    QCOMPARE(answerCode(handler.handle(Frame{2, 1, WriteTextAttributes, "0001A"})), 0);
    // Reads and messages are not downloads.
    Clock::advance(60);
    handler.handle(Frame{1, 2, ReadCellVariable, u16(0)});
    handler.handle(Frame{1, 3, ShowMessage, "hi"});
    const disptrans::DownloadTime t1 = timeOf(1);
    QCOMPARE(t1.Year, int16_t(2031));
    QCOMPARE(t1.Month, int16_t(12));
    QCOMPARE(t1.Day, int16_t(31));
    QCOMPARE(t1.Hour, int16_t(23));
    QCOMPARE(t1.Minute, int16_t(59));
    QCOMPARE(t1.Second, int16_t(58));
    const disptrans::DownloadTime t2 = timeOf(2);
    QCOMPARE(t2.Year, int16_t(2032));
    QCOMPARE(t2.Month, int16_t(1));
    QCOMPARE(t2.Second, int16_t(1));
}

void TestCommandHandler::groupsAndUnits_data()
{
    QTest::addColumn<QString>("units");   // "" = every address
    QTest::addColumn<QStringList>("groups");
    QTest::addColumn<int>("address");
    QTest::addColumn<bool>("answers");
    QTest::addColumn<bool>("isGroup");
    const QStringList g = {QStringLiteral("5:1,1"), QStringLiteral("10:2,0")};
    QTest::newRow("any address answers") << QString() << QStringList() << 4711 << true << false;
    QTest::newRow("unlisted address") << QStringLiteral("1,2") << QStringList() << 3 << false << false;
    QTest::newRow("listed address") << QStringLiteral("1,2") << QStringList() << 2 << true << false;
    QTest::newRow("group base") << QStringLiteral("1") << g << 5 << true << true;
    QTest::newRow("last of 2x2") << QStringLiteral("1") << g << 8 << true << false;
    QTest::newRow("after 2x2") << QStringLiteral("1") << g << 9 << false << false;
    QTest::newRow("before group") << QStringLiteral("1") << g << 4 << false << false;
    QTest::newRow("3x1 base") << QStringLiteral("1") << g << 10 << true << true;
    QTest::newRow("last of 3x1") << QStringLiteral("1") << g << 12 << true << false;
    QTest::newRow("after 3x1") << QStringLiteral("1") << g << 13 << false << false;
}

void TestCommandHandler::groupsAndUnits()
{
    QFETCH(QString, units);
    QFETCH(QStringList, groups);
    QFETCH(int, address);
    QFETCH(bool, answers);
    QFETCH(bool, isGroup);
    DisplayModel model;
    if (!units.isEmpty()) {
        QSet<uint16_t> set;
        for (const QString& u : units.split(QLatin1Char(',')))
            set.insert(uint16_t(u.toUInt()));
        model.restrictTo(set);
    }
    for (const QString& g : groups)
        QVERIFY(model.addGroup(*parseGroup(g)));
    CommandHandler handler(model);
    const auto reply = handler.handle(Frame{uint16_t(address), 1, ReadConfiguration, {}});
    QCOMPARE(reply.has_value(), answers);
    if (!answers)
        return;
    const auto config = parseConfiguration(parseAnswer(*reply)->data);
    QVERIFY(config);
    QCOMPARE(config->IsDisplayGroup, isGroup);
}

void TestCommandHandler::damagedFramesAreNakedOnlyForOwnAddresses()
{
    DisplayModel model;
    model.restrictTo({4});
    CommandHandler handler(model);
    Decoded d;
    d.kind = Decoded::Kind::BadChecksum;
    d.hasHeader = true;
    d.frame = Frame{4, 17, WriteTextData, {}};
    const auto nak = handler.handleDamaged(d);
    QCOMPARE(answerCode(nak), int(Damaged));
    QCOMPARE(nak->sequence, uint8_t(17));
    QCOMPARE(parseAnswer(*nak)->reason, QStringLiteral("bad checksum"));
    d.frame.address = 5;
    QVERIFY(!handler.handleDamaged(d));
    d.frame.address = 4;
    d.hasHeader = false;
    QVERIFY(!handler.handleDamaged(d));
}

void TestCommandHandler::messageIsKeptAndAnnounced()
{
    DisplayModel model;
    CommandHandler handler(model);
    QList<uint16_t> shown;
    handler.onMessageShown = [&](uint16_t a) { shown.append(a); };
    QCOMPARE(answerCode(handler.handle(Frame{6, 1, ShowMessage, "caf\xE9 \x1E" "A001"})), 0);
    QCOMPARE(shown, QList<uint16_t>{6});
    QCOMPARE(model.unit(6)->message, QStringLiteral("caf\u00E9 \x1E" "A001"));
}

void TestCommandHandler::groupParsing_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("base");
    QTest::addColumn<int>("units");
    QTest::addColumn<bool>("flagB");
    QTest::newRow("2x2") << "5:1,1" << true << 5 << 4 << false;
    QTest::newRow("single as group") << "0:0,0" << true << 0 << 1 << false;
    QTest::newRow("flag b") << "7:2,3,b" << true << 7 << 12 << true;
    QTest::newRow("no spans") << "5" << false << 0 << 0 << false;
    QTest::newRow("one span") << "5:1" << false << 0 << 0 << false;
    QTest::newRow("negative span") << "5:-1,1" << false << 0 << 0 << false;
    QTest::newRow("bad flag") << "5:1,1,x" << false << 0 << 0 << false;
    QTest::newRow("beyond the addresses") << "65535:1,0" << false << 0 << 0 << false;
}

void TestCommandHandler::groupParsing()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    const auto g = parseGroup(text);
    QCOMPARE(g.has_value(), valid);
    if (!valid)
        return;
    QFETCH(int, base);
    QFETCH(int, units);
    QFETCH(bool, flagB);
    QCOMPARE(int(g->base), base);
    QCOMPARE(g->unitCount(), units);
    QCOMPARE(g->flagB, flagB);
    // Overlapping groups are refused.
    DisplayModel model;
    QVERIFY(model.addGroup(*g));
    QVERIFY(!model.addGroup(GroupConfig{uint16_t(base + units - 1), 0, 0, false}));
    QVERIFY(model.addGroup(GroupConfig{uint16_t(base + units), 0, 0, false}));
}

QTEST_GUILESS_MAIN(TestCommandHandler)
#include "tst_commandhandler.moc"
