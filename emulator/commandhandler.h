#pragma once

// The display side of the protocol: carries out one request frame on the
// display model and gives the answer frame.

#include "displaymodel.h"
#include "frame.h"

#include <functional>
#include <optional>

namespace emulator {

class CommandHandler final {
public:
    // The colours a unit shows: red, green, yellow, blue, magenta, cyan, white.
    static constexpr int kFirstColour = 1;
    static constexpr int kLastColour = 7;

    explicit CommandHandler(DisplayModel& model) : m_model(model) {}

    // The answer to a good frame; none when no unit answers at its address or
    // the frame is itself an answer.
    std::optional<wire::Frame> handle(const wire::Frame& request);
    // The answer to a damaged frame: a NAK when its header names an address
    // that answers, so the sender resends; otherwise silence.
    std::optional<wire::Frame> handleDamaged(const wire::Decoded& damaged) const;

    // Called after a unit took a message to show, and after it took variables
    // (data or attributes) that a shown message may use.
    std::function<void(uint16_t address)> onMessageShown;
    std::function<void(uint16_t address)> onVariablesWritten;

private:
    wire::Frame writeData(const wire::Frame& request, VarKind kind);
    wire::Frame writeAttributes(const wire::Frame& request, VarKind kind);
    wire::Frame readVariable(const wire::Frame& request, const DisplayUnit& unit, VarKind kind);

    DisplayModel& m_model;
};

} // namespace emulator
