#pragma once

// What an emulated display system remembers: one unit per address, each with
// 256 text and 160 cell variables and the time its variables were last
// downloaded, and the display groups that answer for several addresses.

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
    DisplayUnit();
    VariableState* variable(VarKind kind, int index); // null when out of range
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

class DisplayModel final {
public:
    // By default every address answers; restrictTo() limits the single units
    // (groups always answer for their addresses).
    void restrictTo(const QSet<uint16_t>& addresses);
    bool addGroup(const GroupConfig& group); // false when it overlaps another group
    const QList<GroupConfig>& groups() const { return m_groups; }

    bool answers(uint16_t address) const;
    // The unit at an address that answers, created on first use.
    DisplayUnit* unit(uint16_t address);
    const DisplayUnit* existingUnit(uint16_t address) const;
    disptrans::DisplayConfiguration configuration(uint16_t address) const;

private:
    std::optional<QSet<uint16_t>> m_only;
    QList<GroupConfig> m_groups;
    QMap<uint16_t, std::shared_ptr<DisplayUnit>> m_units;
};

} // namespace emulator
