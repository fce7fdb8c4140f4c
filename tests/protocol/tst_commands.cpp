// Payload layouts of the commands and answers, the attribute text as the
// display reads it, and the serial line settings.

#include "attributecases.h"
#include "datarow.h"
#include "commands.h"
#include "transport.h"
#include "testenvironment.h"

#include <QTest>

using namespace wire;
using namespace disptrans;

namespace {
// Payload bytes parsed and encoded again: 'V'ariable, download 'D'ate and
// confi'G'uration answers, 'i'ndex and 'w'rite requests. Nothing when refused.
std::optional<QByteArray> reencoded(char kind, const QByteArray& data)
{
    uint16_t index = 0;
    QByteArray text;
    if (kind == 'i' && parseIndex(data, index))
        return indexPayload(index);
    if (kind == 'w' && parseWriteData(data, index, text))
        return writeDataPayload(index, text);
    if (const auto v = kind == 'V' ? parseVariable(data) : std::nullopt)
        return variablePayload(*v);
    if (const auto t = kind == 'D' ? parseDownloadTime(data) : std::nullopt)
        return downloadTimePayload(*t);
    if (const auto c = kind == 'G' ? parseConfiguration(data) : std::nullopt)
        return configurationPayload(*c);
    return std::nullopt;
}
} // namespace

class TestCommands final : public QObject {
    Q_OBJECT
    TestEnvironment env;

private slots:
    void attributeText_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("expected"); // index/colour, b = blink, i = inverse; or the first bad entry
        for (const auto& [tag, text, parsed, answer] : kAttributeCases)
            addRow(tag, text, QString::fromLatin1(parsed));
    }
    void attributeText()
    {
        QFETCH(QByteArray, text);
        int bad = 0;
        const auto entries = parseAttributeText(text, &bad);
        QStringList got;
        for (const AttributeEntry& e : entries.value_or(QList<AttributeEntry>()))
            got.append(QStringLiteral("%1/%2%3%4")
                           .arg(e.index)
                           .arg(e.color)
                           .arg(e.blink ? "b" : "")
                           .arg(e.inverse ? "i" : ""));
        QTEST(entries ? got.join(QLatin1Char(' ')) : QStringLiteral("bad %1").arg(bad), "expected");
    }
    void payloadLayout_data()
    {
        QTest::addColumn<char>("kind");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArray>("encoded"); // from known values; null = the data must be refused
        addRow("variable", 'V', QByteArray("\x06\x01\x02\xC4rger \x02\x03"),
               variablePayload(VarReadReply{6, 1, 2, QStringLiteral("\u00C4rger \x02\x03")}));
        addRow("variable in Windows-1252", 'V', QByteArray("\x01\x02\x02\x80\xE9\x99"),
               variablePayload(VarReadReply{1, 2, 2, QStringLiteral("\u20AC\u00E9\u2122")}));
        addRow("variable, blink code 0 is off", 'V', QByteArray("\x03\x02\x02"),
               variablePayload(VarReadReply{3, 0, 0, {}}));
        addRow("download time", 'D', QByteArray("\x07\xEF\x0C\x1F\x17\x3B\x3A"),
               downloadTimePayload(DownloadTime{23, 59, 58, 12, 31, 2031}));
        addRow("never downloaded", 'D', QByteArray(7, '\0'), downloadTimePayload(DownloadTime{}));
        addRow("group", 'G', QByteArray("\x03\x00\x03\x01\x2C", 5),
               configurationPayload(DisplayConfiguration{true, true, 3, 300}));
        addRow("single unit", 'G', QByteArray(5, '\0'), configurationPayload(DisplayConfiguration{}));
        addRow("index", 'i', QByteArray("\x01\x02"), indexPayload(0x0102));
        addRow("write in Windows-1252", 'w', QByteArray("\x01\x02\x80"), writeDataPayload(0x0102, "\x80"));
        addRow("variable of 2 bytes", 'V', QByteArray("\x01\x02", 2), QByteArray());
        addRow("variable empty", 'V', QByteArray(), QByteArray());
        addRow("time of 6 bytes", 'D', QByteArray(6, '\x01'), QByteArray());
        addRow("time of 8 bytes", 'D', QByteArray(8, '\x01'), QByteArray());
        addRow("configuration of 4 bytes", 'G', QByteArray(4, '\x01'), QByteArray());
        addRow("index of 3 bytes", 'i', QByteArray("\x00\x01\x02", 3), QByteArray());
        addRow("write without index", 'w', QByteArray("\x00", 1), QByteArray());
    }
    void payloadLayout()
    {
        QFETCH(char, kind);
        QFETCH(QByteArray, data);
        QFETCH(QByteArray, encoded);
        if (encoded.isNull()) {
            QVERIFY(!reencoded(kind, data));
            return;
        }
        QCOMPARE(encoded, data);
        QCOMPARE(reencoded(kind, data), std::optional<QByteArray>(data));
    }
    void nakReasonsAndMalformedAnswers()
    {
        // Reasons travel in Windows-1252 and stay short enough for any frame.
        const auto n = parseAnswer(nakFrame(9, 4, WriteCellData, NoSuchVariable, QStringLiteral("gone \u20AC")));
        QVERIFY(n && !n->ack);
        QCOMPARE(n->command, uint8_t(WriteCellData));
        QCOMPARE(n->reason, QStringLiteral("gone \u20AC"));
        QCOMPARE(nakFrame(9, 4, 'T', Busy, QString(5000, QLatin1Char('r'))).payload.size(), 202);
        // Cut answers, and frames that are not answers at all.
        QVERIFY(!parseAnswer(Frame{1, 1, Ack, {}}));
        QVERIFY(!parseAnswer(Frame{1, 1, Nak, "T"}));
        QVERIFY(!parseAnswer(Frame{1, 1, WriteTextData, "TT"}));
    }
    void serialParams_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // "" = refused
        addRow("usual", "9600,N,8,1", "9600 N 8 1");
        addRow("empty = defaults", "", "9600 N 8 1");
        addRow("even 7 2", "19200,E,7,2", "19200 E 7 2");
        addRow("odd lower case, blanks", " 1200 , o , 8 , 1.5 ", "1200 O 8 1.5");
        addRow("baud only", "38400", "38400 N 8 1");
        addRow("bad parity", "9600,X,8,1", "");
        addRow("bad data bits", "9600,N,9,1", "");
        addRow("bad stop bits", "9600,N,8,3", "");
        addRow("baud not a number", "fast,N,8,1", "");
        addRow("too many fields", "9600,N,8,1,X", "");
    }
    void serialParams()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const auto p = parseSerialParams(text);
        QCOMPARE(p.has_value(), !expected.isEmpty());
        if (!p)
            return;
        const QString parity = p->parity == QSerialPort::NoParity     ? "N"
                               : p->parity == QSerialPort::EvenParity ? "E"
                               : p->parity == QSerialPort::OddParity  ? "O"
                                                                      : "?";
        const QString stop = p->stopBits == QSerialPort::OneStop          ? "1"
                             : p->stopBits == QSerialPort::TwoStop        ? "2"
                             : p->stopBits == QSerialPort::OneAndHalfStop ? "1.5"
                                                                          : "?";
        QCOMPARE(QStringLiteral("%1 %2 %3 %4").arg(p->baud).arg(parity).arg(int(p->dataBits)).arg(stop), expected);
    }
};

QTEST_GUILESS_MAIN(TestCommands)
#include "tst_commands.moc"
