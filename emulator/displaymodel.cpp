#include "displaymodel.h"

#include "commands.h"

#include <QRegularExpression>
#include <QStringList>

namespace emulator {

int DisplayUnit::count(VarKind kind) { return kind == VarKind::Text ? wire::kTextVariables : wire::kCellVariables; }

VariableState* DisplayUnit::variable(VarKind kind, int index)
{
    if (index < 0 || index >= count(kind))
        return nullptr;
    QList<VariableState>& list = kind == VarKind::Text ? m_text : m_cell;
    if (list.isEmpty())
        list.resize(count(kind));
    return &list[index];
}

const VariableState* DisplayUnit::variable(VarKind kind, int index) const
{
    static const VariableState fresh;
    if (index < 0 || index >= count(kind))
        return nullptr;
    const QList<VariableState>& list = kind == VarKind::Text ? m_text : m_cell;
    return list.isEmpty() ? &fresh : &list[index];
}

std::optional<GroupConfig> parseGroup(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 2)
        return std::nullopt;
    bool ok = false;
    GroupConfig g;
    const int base = parts[0].trimmed().toInt(&ok);
    if (!ok || base < 0 || base > 65535)
        return std::nullopt;
    g.base = uint16_t(base);
    const QStringList spans = parts[1].split(QLatin1Char(','));
    if (spans.size() < 2 || spans.size() > 3)
        return std::nullopt;
    const int a = spans[0].trimmed().toInt(&ok);
    if (!ok || a < 0 || a > 15)
        return std::nullopt;
    const int b = spans[1].trimmed().toInt(&ok);
    if (!ok || b < 0 || b > 15)
        return std::nullopt;
    g.spanA = int16_t(a);
    g.spanB = int16_t(b);
    if (spans.size() == 3) {
        if (spans[2].trimmed().compare(u"b", Qt::CaseInsensitive) != 0)
            return std::nullopt;
        g.flagB = true;
    }
    if (g.base + g.unitCount() - 1 > 65535)
        return std::nullopt;
    return g;
}

std::optional<ColourPreset> parseColourPreset(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^\\s*(\\d+)\\s*:\\s*([TtCc])(\\d+)\\s*=\\s*(\\d+)\\s*$"));
    const QRegularExpressionMatch m = form.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    ColourPreset p;
    p.kind = m.captured(2).compare(u"T", Qt::CaseInsensitive) == 0 ? VarKind::Text : VarKind::Cell;
    const uint address = m.captured(1).toUInt();
    const uint index = m.captured(3).toUInt();
    const uint code = m.captured(4).toUInt();
    if (m.captured(1).size() > 5 || address > 65535 || m.captured(3).size() > 3
        || index >= uint(DisplayUnit::count(p.kind)) || m.captured(4).size() > 3 || code > 255)
        return std::nullopt;
    p.address = uint16_t(address);
    p.index = int(index);
    p.code = int16_t(code);
    return p;
}

void DisplayModel::restrictTo(const QSet<uint16_t>& addresses) { m_only = addresses; }

bool DisplayModel::addGroup(const GroupConfig& group)
{
    for (const GroupConfig& g : std::as_const(m_groups)) {
        const int lo = std::max<int>(g.base, group.base);
        const int hi = std::min(g.base + g.unitCount(), group.base + group.unitCount());
        if (lo < hi)
            return false;
    }
    m_groups.append(group);
    return true;
}

bool DisplayModel::answers(uint16_t address) const
{
    for (const GroupConfig& g : m_groups)
        if (g.contains(address))
            return true;
    return !m_only || m_only->contains(address);
}

DisplayUnit* DisplayModel::unit(uint16_t address)
{
    if (!answers(address))
        return nullptr;
    auto it = m_units.find(address);
    if (it == m_units.end())
        it = m_units.insert(address, std::make_shared<DisplayUnit>());
    return it->get();
}

const DisplayUnit* DisplayModel::unitToRead(uint16_t address) const
{
    static const DisplayUnit empty;
    if (!answers(address))
        return nullptr;
    const DisplayUnit* own = existingUnit(address);
    return own ? own : &empty;
}

const DisplayUnit* DisplayModel::existingUnit(uint16_t address) const
{
    const auto it = m_units.find(address);
    return it == m_units.end() ? nullptr : it->get();
}

bool DisplayModel::apply(const ColourPreset& preset)
{
    DisplayUnit* u = unit(preset.address);
    if (!u)
        return false;
    u->variable(preset.kind, preset.index)->color = preset.code;
    return true;
}

disptrans::DisplayConfiguration DisplayModel::configuration(uint16_t address) const
{
    disptrans::DisplayConfiguration c;
    for (const GroupConfig& g : m_groups) {
        if (g.base == address) {
            c.IsDisplayGroup = true;
            c.GroupFlagB = g.flagB;
            c.GroupSpanA = g.spanA;
            c.GroupSpanB = g.spanB;
        }
    }
    return c;
}

} // namespace emulator
