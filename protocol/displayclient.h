#pragma once

// The client side of a display connection: opens a link to a display (serial
// port, Hayes modem on a serial port, or TCP), then sends the commands of the
// display wire protocol (docs/protocol.md) to the unit at address() and waits
// for its answer. Every call blocks, bounded by the per-command timeout; a dead
// or absent display gives false (or no value) with the reason in errorText().

#include "runtimeerror.h" // disptrans.h uses it without including it
#include "disptrans.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

class DisplayClient final {
public:
    DisplayClient();
    ~DisplayClient();
    DisplayClient(const DisplayClient&) = delete;
    DisplayClient& operator=(const DisplayClient&) = delete;

    // kind 1 = serial port (ConnTarget device, ConnParam1 "9600,N,8,1"),
    // 3 = TCP (ConnTarget host, ConnParam3 port), any other = 2, a Hayes modem on
    // a serial port (ConnTarget device, ConnParam2 the number to dial; the serial
    // parameters default to "9600,N,8,1"). False with errorText() when it cannot
    // connect.
    bool open(const disptrans::ConnectionSettings& settings);
    void close();
    bool isOpen() const;

    void setAddress(int16_t address);
    int16_t address() const;

    bool writeTextData(int16_t index, const QString& text);
    bool writeCellData(int16_t index, const QString& text);
    bool writeTextAttributes(const disptrans::VarAttributeList& list);
    bool writeCellAttributes(const disptrans::VarAttributeList& list);
    std::optional<disptrans::VarReadReply> readTextVariable(int16_t index);
    std::optional<disptrans::VarReadReply> readCellVariable(int16_t index);
    std::optional<disptrans::DownloadTime> readDownloadTime();
    std::optional<disptrans::DisplayConfiguration> readConfiguration();
    // Chr(30) "A" nnn and Chr(30) "V" nnn in the message name text and cell variables.
    bool showMessage(const QString& message);

    // Why the last call failed, for people: "connection refused",
    // "no answer from display 5 within 2 s", "display 5 refused: <reason>", ...
    QString errorText() const;
    void setTimeoutMs(int ms); // per command; default 2000
    quint64 bytesSent() const;
    quint64 bytesReceived() const;

private:
    class Impl;
    std::unique_ptr<Impl> d;
};
