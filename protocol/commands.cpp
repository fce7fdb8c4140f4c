#include "commands.h"

#include "codepage.h"

namespace wire {

bool isKnownCommand(uint8_t command)
{
    switch (command) {
    case WriteTextData:
    case WriteCellData:
    case WriteTextAttributes:
    case WriteCellAttributes:
    case ReadTextVariable:
    case ReadCellVariable:
    case ReadDownloadTime:
    case ReadConfiguration:
    case ShowMessage: return true;
    default: return false;
    }
}

QString commandName(uint8_t command)
{
    switch (command) {
    case WriteTextData: return QStringLiteral("write text data");
    case WriteCellData: return QStringLiteral("write cell data");
    case WriteTextAttributes: return QStringLiteral("write text attributes");
    case WriteCellAttributes: return QStringLiteral("write cell attributes");
    case ReadTextVariable: return QStringLiteral("read text variable");
    case ReadCellVariable: return QStringLiteral("read cell variable");
    case ReadDownloadTime: return QStringLiteral("read download time");
    case ReadConfiguration: return QStringLiteral("read configuration");
    case ShowMessage: return QStringLiteral("show message");
    case Ack: return QStringLiteral("ACK");
    case Nak: return QStringLiteral("NAK");
    default: return QStringLiteral("command 0x%1").arg(command, 2, 16, QLatin1Char('0'));
    }
}

QString nakCodeName(uint8_t code)
{
    switch (code) {
    case Damaged: return QStringLiteral("damaged frame");
    case UnknownCommand: return QStringLiteral("unknown command");
    case BadPayload: return QStringLiteral("bad payload");
    case NoSuchVariable: return QStringLiteral("no such variable");
    case TooLong: return QStringLiteral("too long");
    case Busy: return QStringLiteral("busy");
    default: return QStringLiteral("error %1").arg(code);
    }
}

void putU16(QByteArray& out, uint16_t value)
{
    out.append(char(value >> 8));
    out.append(char(value & 0xFF));
}

uint16_t getU16(QByteArrayView in, int at) { return uint16_t((uint8_t(in[at]) << 8) | uint8_t(in[at + 1])); }

QByteArray writeDataPayload(uint16_t index, const QByteArray& ansiText)
{
    QByteArray out;
    out.reserve(2 + ansiText.size());
    putU16(out, index);
    out.append(ansiText);
    return out;
}

bool parseWriteData(QByteArrayView payload, uint16_t& index, QByteArray& ansiText)
{
    if (payload.size() < 2)
        return false;
    index = getU16(payload, 0);
    ansiText = payload.sliced(2).toByteArray();
    return true;
}

QByteArray indexPayload(uint16_t index)
{
    QByteArray out;
    putU16(out, index);
    return out;
}

bool parseIndex(QByteArrayView payload, uint16_t& index)
{
    if (payload.size() != 2)
        return false;
    index = getU16(payload, 0);
    return true;
}

std::optional<QList<AttributeEntry>> parseAttributeText(QByteArrayView payload, int* badEntry)
{
    auto fail = [&](int entry) -> std::optional<QList<AttributeEntry>> {
        if (badEntry)
            *badEntry = entry;
        return std::nullopt;
    };
    if (payload.isEmpty() || payload.size() % kAttributeEntrySize != 0)
        return fail(int(payload.size() / kAttributeEntrySize) + 1);
    QList<AttributeEntry> entries;
    entries.reserve(payload.size() / kAttributeEntrySize);
    for (qsizetype at = 0; at < payload.size(); at += kAttributeEntrySize) {
        const int entry = int(at / kAttributeEntrySize) + 1;
        AttributeEntry e;
        for (int i = 0; i < 3; ++i) {
            const char digit = payload[at + i];
            if (digit < '0' || digit > '9')
                return fail(entry);
            e.index = uint16_t(e.index * 10 + (digit - '0'));
        }
        const char color = payload[at + 3];
        const char flags = payload[at + 4];
        if (color < '0' || color > '9' || flags < 'A' || flags > 'D')
            return fail(entry);
        e.color = uint8_t(color - '0');
        e.blink = ((flags - 'A') & 1) != 0;
        e.inverse = ((flags - 'A') & 2) != 0;
        entries.append(e);
    }
    return entries;
}

Frame ackFrame(const Frame& request, const QByteArray& data)
{
    Frame f;
    f.address = request.address;
    f.sequence = request.sequence;
    f.command = Ack;
    f.payload.reserve(1 + data.size());
    f.payload.append(char(request.command));
    f.payload.append(data);
    return f;
}

Frame nakFrame(uint16_t address, uint8_t sequence, uint8_t command, NakCode code, const QString& reason)
{
    Frame f;
    f.address = address;
    f.sequence = sequence;
    f.command = Nak;
    f.payload.append(char(command));
    f.payload.append(char(code));
    f.payload.append(codepage::toAnsi(reason).left(200));
    return f;
}

std::optional<Answer> parseAnswer(const Frame& frame)
{
    Answer a;
    if (frame.command == Ack) {
        if (frame.payload.isEmpty())
            return std::nullopt;
        a.ack = true;
        a.command = uint8_t(frame.payload[0]);
        a.data = frame.payload.mid(1);
        return a;
    }
    if (frame.command == Nak) {
        if (frame.payload.size() < 2)
            return std::nullopt;
        a.command = uint8_t(frame.payload[0]);
        a.nakCode = uint8_t(frame.payload[1]);
        a.reason = codepage::fromAnsi(frame.payload.mid(2));
        return a;
    }
    return std::nullopt;
}

namespace {
char onOff(int16_t code) { return char(code == 1 ? 1 : 2); }
} // namespace

QByteArray variablePayload(const disptrans::VarReadReply& reply)
{
    QByteArray out;
    out.append(char(uint8_t(reply.Color)));
    out.append(onOff(reply.Blink));
    out.append(onOff(reply.Inverse));
    out.append(codepage::toAnsi(reply.Data));
    return out;
}

std::optional<disptrans::VarReadReply> parseVariable(QByteArrayView data)
{
    if (data.size() < 3)
        return std::nullopt;
    disptrans::VarReadReply r;
    r.Color = int16_t(uint8_t(data[0]));
    r.Blink = int16_t(uint8_t(data[1]));
    r.Inverse = int16_t(uint8_t(data[2]));
    r.Data = codepage::fromAnsi(data.sliced(3).toByteArray());
    return r;
}

QByteArray downloadTimePayload(const disptrans::DownloadTime& time)
{
    QByteArray out;
    putU16(out, uint16_t(time.Year));
    for (int16_t v : {time.Month, time.Day, time.Hour, time.Minute, time.Second})
        out.append(char(uint8_t(v)));
    return out;
}

std::optional<disptrans::DownloadTime> parseDownloadTime(QByteArrayView data)
{
    if (data.size() != 7)
        return std::nullopt;
    disptrans::DownloadTime t;
    t.Year = int16_t(getU16(data, 0));
    t.Month = int16_t(uint8_t(data[2]));
    t.Day = int16_t(uint8_t(data[3]));
    t.Hour = int16_t(uint8_t(data[4]));
    t.Minute = int16_t(uint8_t(data[5]));
    t.Second = int16_t(uint8_t(data[6]));
    return t;
}

QByteArray configurationPayload(const disptrans::DisplayConfiguration& config)
{
    QByteArray out;
    out.append(char((config.IsDisplayGroup ? 1 : 0) | (config.GroupFlagB ? 2 : 0)));
    putU16(out, uint16_t(config.GroupSpanA));
    putU16(out, uint16_t(config.GroupSpanB));
    return out;
}

std::optional<disptrans::DisplayConfiguration> parseConfiguration(QByteArrayView data)
{
    if (data.size() != 5)
        return std::nullopt;
    disptrans::DisplayConfiguration c;
    const uint8_t flags = uint8_t(data[0]);
    c.IsDisplayGroup = (flags & 1) != 0;
    c.GroupFlagB = (flags & 2) != 0;
    c.GroupSpanA = int16_t(getU16(data, 1));
    c.GroupSpanB = int16_t(getU16(data, 3));
    return c;
}

} // namespace wire
