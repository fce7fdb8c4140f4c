#include "compare.h"

#include "clsVarUpdater.h"
#include "clsVariableAccess.h"
#include "codepage.h"
#include "legacy.h"

namespace compare {

namespace {
QString colourText(int16_t code)
{
    const QString name = audit::colourName(code);
    return name.isEmpty() ? QString::number(code) : name;
}

QString yesNo(bool on) { return on ? QStringLiteral("yes") : QStringLiteral("no"); }

// An attribute as the batch's entry carries it; text that is not a number
// cannot be sent at all and is shown as -1.
int16_t attributeCode(const QString& text)
{
    try {
        return legacy::textToInt16(text);
    } catch (const RuntimeError&) {
        return -1;
    }
}
} // namespace

QString variableName(const clsVarSetupInfo& var)
{
    return var.IsText ? QStringLiteral("Text Var %1").arg(var.VarNum)
                      : QStringLiteral("Cell Var %1").arg(var.VarNum - 256);
}

QStringList differences(const QString& where, const clsVarSetupInfo& var, const disptrans::VarReadReply& reply,
                        const Expected& expected, audit::Mode mode)
{
    QStringList lines;
    const QString prefix = where + u' ' + variableName(var) + QStringLiteral(": ");
    auto differ = [&](const QString& what, const QString& shown, const QString& set) {
        lines.append(prefix + what + u' ' + shown + QStringLiteral(" on the display, ") + set
                     + QStringLiteral(" in the set"));
    };
    if (mode != audit::Mode::AttributesOnly && reply.Data != expected.data)
        differ(QStringLiteral("data"), u'"' + reply.Data + u'"', u'"' + expected.data + u'"');
    if (mode != audit::Mode::DataOnly) {
        if (reply.Color != expected.color)
            differ(QStringLiteral("color"), colourText(reply.Color), colourText(expected.color));
        if ((reply.Blink == 1) != expected.blink)
            differ(QStringLiteral("blink"), yesNo(reply.Blink == 1), yesNo(expected.blink));
        if ((reply.Inverse == 1) != expected.inverse)
            differ(QStringLiteral("inverse"), yesNo(reply.Inverse == 1), yesNo(expected.inverse));
    }
    return lines;
}

Expectations::Expectations(clsVariableAccess* set, pluginmaster::IPluginMaster* master, ILinkContainer* link)
    : m_set(set), m_updater(std::make_unique<clsVarUpdater>())
{
    m_updater->Variables = set;
    m_updater->PluginMaster = master;
    m_updater->LinkSource = link;
}

Expectations::~Expectations() = default;

Expected Expectations::of(const clsVarSetupInfo& var)
{
    if (const auto it = m_known.constFind(var.VarNum); it != m_known.constEnd())
        return *it;
    Expected e;
    // The display keeps the text in its code page, so that is what it can give back.
    e.data = codepage::fromAnsi(codepage::toAnsi(m_updater->cleanedText(var.VarNum)));
    const int16_t colour = attributeCode(m_set->VariableColor(var.VarNum));
    e.color = colour < 0 ? 0 : std::min<int16_t>(colour, 9); // the batch entry's one digit
    e.blink = attributeCode(m_set->VariableBlink(var.VarNum)) == 1;
    e.inverse = attributeCode(m_set->VariableInverse(var.VarNum)) == 1;
    m_known.insert(var.VarNum, e);
    return e;
}

} // namespace compare
