#pragma once

// The commands of the display wire protocol and the layout of their payloads
// (docs/protocol.md). Shared by the client and by the display emulator.

#include "runtimeerror.h" // disptrans.h uses it without including it
#include "disptrans.h"
#include "frame.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <optional>

namespace wire {

// Command codes of requests (printable, so a line trace stays readable) and of
// the two answers.
enum Command : uint8_t {
    WriteTextData = 'T',
    WriteCellData = 'C',
    WriteTextAttributes = 'A',
    WriteCellAttributes = 'B',
    ReadTextVariable = 'R',
    ReadCellVariable = 'S',
    ReadDownloadTime = 'D',
    ReadConfiguration = 'G',
    ShowMessage = 'M',
    Ack = 0x06,
    Nak = 0x15,
};

// Why a display refused a frame. A sender resends once after Damaged only.
enum NakCode : uint8_t {
    Damaged = 1, // the frame arrived with a bad checksum or escape
    UnknownCommand = 2,
    BadPayload = 3,     // the payload does not have the command's layout
    NoSuchVariable = 4, // a variable index beyond the display's variables
    TooLong = 5,        // data or message longer than the display keeps
    Busy = 6,
};

inline constexpr int kTextVariables = 256;
inline constexpr int kCellVariables = 160;
inline constexpr int kMaxVariableData = 1024; // bytes of one variable's data
inline constexpr int kMaxMessage = 2000;      // bytes of a shown message
inline constexpr int kAttributeEntrySize = 5; // "iiicF"

bool isKnownCommand(uint8_t command);
QString commandName(uint8_t command);
QString nakCodeName(uint8_t code);

// Big-endian helpers for payload fields.
void putU16(QByteArray& out, uint16_t value);
uint16_t getU16(QByteArrayView in, int at);

// Requests.
QByteArray writeDataPayload(uint16_t index, const QByteArray& ansiText);
bool parseWriteData(QByteArrayView payload, uint16_t& index, QByteArray& ansiText);
QByteArray indexPayload(uint16_t index);
bool parseIndex(QByteArrayView payload, uint16_t& index);

// One entry of an attribute list as the display receives it.
struct AttributeEntry {
    uint16_t index = 0;
    uint8_t color = 0;
    bool blink = false;
    bool inverse = false;
    friend bool operator==(const AttributeEntry&, const AttributeEntry&) = default;
};
// Parses CommandText: five characters per entry, "iii" decimal index, colour
// digit, flags letter 'A' + 1 (blink) + 2 (inverse). On failure gives the
// position (1-based entry) of the first bad entry in `badEntry`.
std::optional<QList<AttributeEntry>> parseAttributeText(QByteArrayView payload, int* badEntry = nullptr);

// Answers. An ACK payload starts with the command it answers, a NAK payload
// with the command, the NakCode and then a reason in Windows-1252.
Frame ackFrame(const Frame& request, const QByteArray& data = {});
Frame nakFrame(uint16_t address, uint8_t sequence, uint8_t command, NakCode code, const QString& reason);

struct Answer {
    bool ack = false;
    uint8_t command = 0; // the command it answers
    uint8_t nakCode = 0;
    QString reason;  // NAK only
    QByteArray data; // ACK only
};
std::optional<Answer> parseAnswer(const Frame& frame);

// Answer data of the read commands. Blink and inverse travel as 1 (on) or
// 2 (off), the codes the variable attributes use.
QByteArray variablePayload(const disptrans::VarReadReply& reply); // colour, blink, inverse, data
std::optional<disptrans::VarReadReply> parseVariable(QByteArrayView data);
QByteArray downloadTimePayload(const disptrans::DownloadTime& time); // year:2 month day hour minute second
std::optional<disptrans::DownloadTime> parseDownloadTime(QByteArrayView data);
QByteArray configurationPayload(const disptrans::DisplayConfiguration& config); // flags, spanA:2, spanB:2
std::optional<disptrans::DisplayConfiguration> parseConfiguration(QByteArrayView data);

} // namespace wire
