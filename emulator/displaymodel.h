#pragma once

// What an emulated display system remembers: one unit per address, each with
// 256 text and 160 cell variables and the time its variables were last
// downloaded, and the display groups that answer for several addresses.
// A unit's state exists only once something was written to it: reads of any
// other address that answers see one shared empty unit, so a client that
// sweeps every address leaves nothing behind.

#include "runtimeerror.h" // disptrans.h uses it without including it
#include "disptrans.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

namespace emulator {

struct VariableState {
    int16_t color = 1; // 1 ... 7 = red, green, yellow, blue, magenta, cyan, white
    bool blink = false;
    bool inverse = false;
    QString data;
    friend bool operator==(const VariableState&, const VariableState&) = default;
};

enum class VarKind { Text, Cell };

class DisplayUnit final {
public:
    // Null when out of range. The variables of a kind are made on the first
    // write to one of them; until then every one reads as a fresh variable.
    VariableState* variable(VarKind kind, int index);
    const VariableState* variable(VarKind kind, int index) const;
    static int count(VarKind kind);

    QDateTime downloaded; // invalid until the first download
    QString message;      // the message last shown, as received

private:
    QList<VariableState> m_text;
    QList<VariableState> m_cell;
};

// A group of (spanA + 1) x (spanB + 1) units at consecutive addresses starting
// at `base`; the base answers the configuration read as a group.
struct GroupConfig {
    uint16_t base = 0;
    int16_t spanA = 0;
    int16_t spanB = 0;
    bool flagB = false;
    int unitCount() const { return (spanA + 1) * (spanB + 1); }
    bool contains(uint16_t address) const { return address >= base && address - base < unitCount(); }
};
// "5:1,1" or "5:1,1,b" (b sets the second group flag).
std::optional<GroupConfig> parseGroup(const QString& text);

// A colour code put straight on one variable of a unit, bypassing the
// protocol, which takes only 1 ... 7: "5:T12=0" (text variable 12 of unit 5),
// "5:C0=9" (cell variable 0). Codes 0 ... 255, as the read answer carries one byte.
struct ColourPreset {
    uint16_t address = 0;
    VarKind kind = VarKind::Text;
    int index = 0;
    int16_t code = 0;
};
std::optional<ColourPreset> parseColourPreset(const QString& text);

class DisplayModel final {
public:
    // By default every address answers; restrictTo() limits the single units
    // (groups always answer for their addresses).
    void restrictTo(const QSet<uint16_t>& addresses);
    bool addGroup(const GroupConfig& group); // false when it overlaps another group
    const QList<GroupConfig>& groups() const { return m_groups; }

    bool answers(uint16_t address) const;
    // The unit at an address that answers, made on first use: for writes.
    DisplayUnit* unit(uint16_t address);
    // The unit at an address that answers as reads see it: its own when it
    // was written to, otherwise the shared empty one. Makes nothing.
    const DisplayUnit* unitToRead(uint16_t address) const;
    const DisplayUnit* existingUnit(uint16_t address) const;
    int unitCount() const { return int(m_units.size()); }
    disptrans::DisplayConfiguration configuration(uint16_t address) const;
    bool apply(const ColourPreset& preset); // false when the address does not answer

private:
    std::optional<QSet<uint16_t>> m_only;
    QList<GroupConfig> m_groups;
    QMap<uint16_t, std::shared_ptr<DisplayUnit>> m_units;
};

} // namespace emulator
