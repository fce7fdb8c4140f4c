// Payload layouts of the commands and answers, the attribute text as the
// display reads it, and the serial line settings.

#include "commands.h"
#include "transport.h"
#include "testenvironment.h"

#include <QTest>

using namespace wire;
using namespace disptrans;

class TestCommands final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void attributeListReadsBackAsSent_data();
    void attributeListReadsBackAsSent();
    void attributeTextErrors_data();
    void attributeTextErrors();
    void answersRoundTrip_data();
    void answersRoundTrip();
    void truncatedAnswersAreRejected_data();
    void truncatedAnswersAreRejected();
    void variableTextIsWindows1252();
    void nakCarriesCodeAndReason();
    void serialParams_data();
    void serialParams();
};

void TestCommands::attributeListReadsBackAsSent_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("color");
    QTest::addColumn<int>("blink");
    QTest::addColumn<int>("inverse");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("defaults") << 0 << 1 << 2 << 2 << QByteArray("0001A");
    QTest::newRow("blink") << 7 << 2 << 1 << 2 << QByteArray("0072B");
    QTest::newRow("inverse") << 42 << 7 << 2 << 1 << QByteArray("0427C");
    QTest::newRow("both") << 255 << 5 << 1 << 1 << QByteArray("2555D");
    QTest::newRow("last cell") << 159 << 6 << 2 << 2 << QByteArray("1596A");
    QTest::newRow("colour 0 kept") << 3 << 0 << 2 << 2 << QByteArray("0030A");
    QTest::newRow("blink code 0 is off") << 3 << 3 << 0 << 0 << QByteArray("0033A");
}

void TestCommands::attributeListReadsBackAsSent()
{
    QFETCH(int, index);
    QFETCH(int, color);
    QFETCH(int, blink);
    QFETCH(int, inverse);
    QFETCH(QByteArray, text);
    VarAttributeList list;
    list.setEntryCount(2);
    list.setEntryVarIndex(1, 100);
    list.setEntryColor(1, 4);
    list.setEntryBlink(1, 2);
    list.setEntryInverse(1, 2);
    list.setEntryVarIndex(2, int16_t(index));
    list.setEntryColor(2, int16_t(color));
    list.setEntryBlink(2, int16_t(blink));
    list.setEntryInverse(2, int16_t(inverse));
    const QByteArray wire = list.CommandText().toLatin1();
    QCOMPARE(wire, QByteArray("1004A") + text);
    const auto entries = parseAttributeText(wire);
    QVERIFY(entries);
    QCOMPARE(entries->size(), 2);
    QCOMPARE((*entries)[0], (AttributeEntry{100, 4, false, false}));
    QCOMPARE((*entries)[1], (AttributeEntry{uint16_t(index), uint8_t(color), blink == 1, inverse == 1}));
}

void TestCommands::attributeTextErrors_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("badEntry");
    QTest::newRow("empty") << QByteArray() << 1;
    QTest::newRow("short entry") << QByteArray("0001") << 1;
    QTest::newRow("second entry cut") << QByteArray("0001A0002") << 2;
    QTest::newRow("letter in index") << QByteArray("0001A00x1A") << 2;
    QTest::newRow("colour not a digit") << QByteArray("000XA") << 1;
    QTest::newRow("flags beyond D") << QByteArray("0001A0001E") << 2;
    QTest::newRow("flags lower case") << QByteArray("0001a") << 1;
    QTest::newRow("minus sign") << QByteArray("-011A") << 1;
}

void TestCommands::attributeTextErrors()
{
    QFETCH(QByteArray, text);
    QFETCH(int, badEntry);
    int bad = 0;
    QVERIFY(!parseAttributeText(text, &bad));
    QCOMPARE(bad, badEntry);
}

void TestCommands::answersRoundTrip_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("variable") << 0;
    QTest::newRow("variable without data") << 1;
    QTest::newRow("download time") << 2;
    QTest::newRow("never downloaded") << 3;
    QTest::newRow("group configuration") << 4;
    QTest::newRow("single unit") << 5;
}

void TestCommands::answersRoundTrip()
{
    QFETCH(int, kind);
    const Frame request{12, 200, ReadTextVariable, indexPayload(77)};
    uint16_t index = 0;
    QVERIFY(parseIndex(request.payload, index));
    QCOMPARE(index, uint16_t(77));
    QByteArray data;
    if (kind <= 1) {
        VarReadReply r;
        r.Color = 6;
        r.Blink = 1;
        r.Inverse = 2;
        r.Data = kind == 0 ? QStringLiteral("\u00C4rger \x02\x03") : QString();
        data = variablePayload(r);
        const auto back = parseVariable(data);
        QVERIFY(back);
        QCOMPARE(back->Color, r.Color);
        QCOMPARE(back->Blink, r.Blink);
        QCOMPARE(back->Inverse, r.Inverse);
        QCOMPARE(back->Data, r.Data);
    } else if (kind <= 3) {
        DownloadTime t;
        if (kind == 2)
            t = DownloadTime{23, 59, 58, 12, 31, 2031};
        data = downloadTimePayload(t);
        const auto back = parseDownloadTime(data);
        QVERIFY(back);
        QCOMPARE(back->Year, t.Year);
        QCOMPARE(back->Month, t.Month);
        QCOMPARE(back->Day, t.Day);
        QCOMPARE(back->Hour, t.Hour);
        QCOMPARE(back->Minute, t.Minute);
        QCOMPARE(back->Second, t.Second);
    } else {
        DisplayConfiguration c;
        if (kind == 4)
            c = DisplayConfiguration{true, true, 3, 300};
        data = configurationPayload(c);
        const auto back = parseConfiguration(data);
        QVERIFY(back);
        QCOMPARE(back->IsDisplayGroup, c.IsDisplayGroup);
        QCOMPARE(back->GroupFlagB, c.GroupFlagB);
        QCOMPARE(back->GroupSpanA, c.GroupSpanA);
        QCOMPARE(back->GroupSpanB, c.GroupSpanB);
    }
    // Through a whole frame: the answer names the command it answers.
    FrameDecoder decoder;
    const QList<Decoded> found = decoder.feed(encodeFrame(ackFrame(request, data)));
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0].frame.sequence, request.sequence);
    QCOMPARE(found[0].frame.address, request.address);
    const auto answer = parseAnswer(found[0].frame);
    QVERIFY(answer);
    QVERIFY(answer->ack);
    QCOMPARE(answer->command, uint8_t(ReadTextVariable));
    QCOMPARE(answer->data, data);
}

void TestCommands::truncatedAnswersAreRejected_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("variable of 2 bytes") << 0 << QByteArray("\x01\x02", 2);
    QTest::newRow("variable empty") << 0 << QByteArray();
    QTest::newRow("time of 6 bytes") << 1 << QByteArray(6, '\x01');
    QTest::newRow("time of 8 bytes") << 1 << QByteArray(8, '\x01');
    QTest::newRow("configuration of 4 bytes") << 2 << QByteArray(4, '\x01');
    QTest::newRow("ack without command") << 3 << QByteArray();
    QTest::newRow("nak without code") << 4 << QByteArray("T");
    QTest::newRow("not an answer") << 5 << QByteArray("TT");
    QTest::newRow("index of 3 bytes") << 6 << QByteArray("\x00\x01\x02", 3);
    QTest::newRow("write without index") << 7 << QByteArray("\x00", 1);
}

void TestCommands::truncatedAnswersAreRejected()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, data);
    uint16_t index = 0;
    QByteArray text;
    switch (kind) {
    case 0: QVERIFY(!parseVariable(data)); break;
    case 1: QVERIFY(!parseDownloadTime(data)); break;
    case 2: QVERIFY(!parseConfiguration(data)); break;
    case 3: QVERIFY(!parseAnswer(Frame{1, 1, Ack, data})); break;
    case 4: QVERIFY(!parseAnswer(Frame{1, 1, Nak, data})); break;
    case 5: QVERIFY(!parseAnswer(Frame{1, 1, WriteTextData, data})); break;
    case 6: QVERIFY(!parseIndex(data, index)); break;
    case 7: QVERIFY(!parseWriteData(data, index, text)); break;
    }
}

void TestCommands::variableTextIsWindows1252()
{
    VarReadReply r;
    r.Data = QStringLiteral("\u20AC\u00E9\u2122");   // euro, e acute, trade mark
    const QByteArray data = variablePayload(r);
    QCOMPARE(data.mid(3), QByteArray("\x80\xE9\x99"));
    const QByteArray write = writeDataPayload(0x0102, QByteArray("\x80"));
    QCOMPARE(write, QByteArray("\x01\x02\x80"));
}

void TestCommands::nakCarriesCodeAndReason()
{
    const Frame nak = nakFrame(9, 4, WriteCellData, NoSuchVariable, QStringLiteral("cell variable 160 does not exist"));
    QCOMPARE(nak.command, uint8_t(Nak));
    const auto answer = parseAnswer(nak);
    QVERIFY(answer);
    QVERIFY(!answer->ack);
    QCOMPARE(answer->command, uint8_t(WriteCellData));
    QCOMPARE(answer->nakCode, uint8_t(NoSuchVariable));
    QCOMPARE(answer->reason, QStringLiteral("cell variable 160 does not exist"));
    // Reasons stay short enough for any frame.
    const Frame longNak = nakFrame(9, 4, 'T', Busy, QString(5000, QLatin1Char('r')));
    QVERIFY(longNak.payload.size() <= 202);
}

void TestCommands::serialParams_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("baud");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("dataBits");
    QTest::addColumn<int>("stopBits");
    QTest::newRow("usual") << "9600,N,8,1" << true << 9600 << int(QSerialPort::NoParity) << 8 << int(QSerialPort::OneStop);
    QTest::newRow("empty = defaults") << "" << true << 9600 << int(QSerialPort::NoParity) << 8 << int(QSerialPort::OneStop);
    QTest::newRow("even 7 2") << "19200,E,7,2" << true << 19200 << int(QSerialPort::EvenParity) << 7 << int(QSerialPort::TwoStop);
    QTest::newRow("odd lower case, blanks") << " 1200 , o , 8 , 1.5 " << true << 1200 << int(QSerialPort::OddParity) << 8
                                            << int(QSerialPort::OneAndHalfStop);
    QTest::newRow("baud only") << "38400" << true << 38400 << int(QSerialPort::NoParity) << 8 << int(QSerialPort::OneStop);
    QTest::newRow("bad parity") << "9600,X,8,1" << false << 0 << 0 << 0 << 0;
    QTest::newRow("bad data bits") << "9600,N,9,1" << false << 0 << 0 << 0 << 0;
    QTest::newRow("bad stop bits") << "9600,N,8,3" << false << 0 << 0 << 0 << 0;
    QTest::newRow("baud not a number") << "fast,N,8,1" << false << 0 << 0 << 0 << 0;
    QTest::newRow("too many fields") << "9600,N,8,1,X" << false << 0 << 0 << 0 << 0;
}

void TestCommands::serialParams()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    const auto p = parseSerialParams(text);
    QCOMPARE(p.has_value(), valid);
    if (!valid)
        return;
    QFETCH(int, baud);
    QFETCH(int, parity);
    QFETCH(int, dataBits);
    QFETCH(int, stopBits);
    QCOMPARE(p->baud, baud);
    QCOMPARE(int(p->parity), parity);
    QCOMPARE(int(p->dataBits), dataBits);
    QCOMPARE(int(p->stopBits), stopBits);
}

QTEST_GUILESS_MAIN(TestCommands)
#include "tst_commands.moc"
