#include "commandhandler.h"

#include "clock.h"
#include "codepage.h"
#include "commands.h"

namespace emulator {

namespace {
QString kindName(VarKind kind) { return kind == VarKind::Text ? QStringLiteral("text") : QStringLiteral("cell"); }

wire::Frame nak(const wire::Frame& request, wire::NakCode code, const QString& reason)
{
    return wire::nakFrame(request.address, request.sequence, request.command, code, reason);
}

wire::Frame noSuchVariable(const wire::Frame& request, VarKind kind, int index)
{
    return nak(request, wire::NoSuchVariable,
               QStringLiteral("%1 variable %2 does not exist").arg(kindName(kind)).arg(index));
}
} // namespace

std::optional<wire::Frame> CommandHandler::handle(const wire::Frame& request)
{
    if (request.command == wire::Ack || request.command == wire::Nak || !m_model.answers(request.address))
        return std::nullopt;
    // Only writes make a unit's state; reads of a unit nobody wrote to see the
    // shared empty one, so a sweep over every address leaves nothing behind.
    switch (request.command) {
    case wire::WriteTextData: return writeData(request, VarKind::Text);
    case wire::WriteCellData: return writeData(request, VarKind::Cell);
    case wire::WriteTextAttributes: return writeAttributes(request, VarKind::Text);
    case wire::WriteCellAttributes: return writeAttributes(request, VarKind::Cell);
    case wire::ReadTextVariable: return readVariable(request, *m_model.unitToRead(request.address), VarKind::Text);
    case wire::ReadCellVariable: return readVariable(request, *m_model.unitToRead(request.address), VarKind::Cell);
    case wire::ReadDownloadTime: {
        if (!request.payload.isEmpty())
            return nak(request, wire::BadPayload, QStringLiteral("read download time takes no data"));
        const DisplayUnit* unit = m_model.unitToRead(request.address);
        disptrans::DownloadTime t;
        if (unit->downloaded.isValid()) {
            const QDate date = unit->downloaded.date();
            const QTime time = unit->downloaded.time();
            t.Year = int16_t(date.year());
            t.Month = int16_t(date.month());
            t.Day = int16_t(date.day());
            t.Hour = int16_t(time.hour());
            t.Minute = int16_t(time.minute());
            t.Second = int16_t(time.second());
        }
        return wire::ackFrame(request, wire::downloadTimePayload(t));
    }
    case wire::ReadConfiguration:
        if (!request.payload.isEmpty())
            return nak(request, wire::BadPayload, QStringLiteral("read configuration takes no data"));
        return wire::ackFrame(request, wire::configurationPayload(m_model.configuration(request.address)));
    case wire::ShowMessage:
        if (request.payload.size() > wire::kMaxMessage)
            return nak(
                request, wire::TooLong,
                QStringLiteral("message of %1 bytes, at most %2").arg(request.payload.size()).arg(wire::kMaxMessage));
        m_model.unit(request.address)->message = codepage::fromAnsi(request.payload);
        if (onMessageShown)
            onMessageShown(request.address);
        return wire::ackFrame(request);
    default: return nak(request, wire::UnknownCommand, wire::commandName(request.command));
    }
}

std::optional<wire::Frame> CommandHandler::handleDamaged(const wire::Decoded& damaged) const
{
    if (!damaged.hasHeader || !m_model.answers(damaged.frame.address))
        return std::nullopt;
    const QString reason = damaged.kind == wire::Decoded::Kind::BadChecksum
                               ? QStringLiteral("bad checksum")
                               : QString::fromLatin1(wire::decodedKindName(damaged.kind));
    return wire::nakFrame(damaged.frame.address, damaged.frame.sequence, damaged.frame.command, wire::Damaged, reason);
}

wire::Frame CommandHandler::writeData(const wire::Frame& request, VarKind kind)
{
    uint16_t index = 0;
    QByteArray text;
    if (!wire::parseWriteData(request.payload, index, text))
        return nak(request, wire::BadPayload, QStringLiteral("no variable index"));
    if (index >= DisplayUnit::count(kind))
        return noSuchVariable(request, kind, index);
    if (text.size() > wire::kMaxVariableData)
        return nak(request, wire::TooLong,
                   QStringLiteral("data of %1 bytes, at most %2").arg(text.size()).arg(wire::kMaxVariableData));
    DisplayUnit& unit = *m_model.unit(request.address);
    unit.variable(kind, index)->data = codepage::fromAnsi(text);
    unit.downloaded = Clock::now();
    if (onVariablesWritten)
        onVariablesWritten(request.address);
    return wire::ackFrame(request);
}

wire::Frame CommandHandler::writeAttributes(const wire::Frame& request, VarKind kind)
{
    int bad = 0;
    const auto entries = wire::parseAttributeText(request.payload, &bad);
    if (!entries)
        return nak(request, wire::BadPayload, QStringLiteral("attribute entry %1 is malformed").arg(bad));
    // All or nothing: check every entry before changing any variable (or
    // making the unit: a refused list leaves no state behind).
    for (qsizetype i = 0; i < entries->size(); ++i) {
        const wire::AttributeEntry& e = entries->at(i);
        if (e.index >= DisplayUnit::count(kind))
            return noSuchVariable(request, kind, e.index);
        if (e.color < kFirstColour || e.color > kLastColour)
            return nak(request, wire::BadPayload,
                       QStringLiteral("attribute entry %1 has colour %2; colours are %3 to %4")
                           .arg(i + 1)
                           .arg(e.color)
                           .arg(kFirstColour)
                           .arg(kLastColour));
    }
    DisplayUnit& unit = *m_model.unit(request.address);
    for (const wire::AttributeEntry& e : *entries) {
        VariableState* v = unit.variable(kind, e.index);
        v->color = e.color;
        v->blink = e.blink;
        v->inverse = e.inverse;
    }
    unit.downloaded = Clock::now();
    if (onVariablesWritten)
        onVariablesWritten(request.address);
    return wire::ackFrame(request);
}

wire::Frame CommandHandler::readVariable(const wire::Frame& request, const DisplayUnit& unit, VarKind kind)
{
    uint16_t index = 0;
    if (!wire::parseIndex(request.payload, index))
        return nak(request, wire::BadPayload, QStringLiteral("expected a two-byte variable index"));
    const VariableState* v = unit.variable(kind, index);
    if (!v)
        return noSuchVariable(request, kind, index);
    disptrans::VarReadReply reply;
    reply.Color = v->color;
    reply.Blink = v->blink ? 1 : 2;
    reply.Inverse = v->inverse ? 1 : 2;
    reply.Data = v->data;
    return wire::ackFrame(request, wire::variablePayload(reply));
}

} // namespace emulator
