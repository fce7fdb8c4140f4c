#include "displaysender.h"

#include "clock.h"
#include "clsVarUpdater.h"
#include "disptrans.h"
#include "legacy.h"
#include "pluginmaster.h"
#include "recorder.h"
#include "runtimeerror.h"

#include <optional>

namespace {
const QString kDisplayListFile = QStringLiteral("Displays.dat");

// How many steps a unit takes in this option.
int stepsOf(UpdateOption option)
{
    return (option != UpdateOption::AttributesOnly) + (option != UpdateOption::DataOnly);
}

std::optional<int16_t> addressOf(const QString& text)
{
    try {
        return legacy::textToInt16(text);
    } catch (const RuntimeError&) {
        return std::nullopt;
    }
}
} // namespace

DisplaySender::DisplaySender(clsVariableAccess* variables, ILinkContainer* linkSource)
    : m_variables(variables), m_linkSource(linkSource)
{}

DisplaySender::~DisplaySender() = default;

void DisplaySender::setCancelFlags(const std::atomic_bool* cancelDisplay, const std::atomic_bool* cancelAll)
{
    m_cancelDisplay = cancelDisplay;
    m_cancelAll = cancelAll;
}

bool DisplaySender::canceled() const
{
    return (m_cancelDisplay && m_cancelDisplay->load()) || (m_cancelAll && m_cancelAll->load());
}

disptrans::IDispTrans& DisplaySender::control()
{
    if (!m_control)
        m_control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    return *m_control.get();
}

disptrans::IDisplayList& DisplaySender::displayList()
{
    if (!m_displayList)
        m_displayList = createComponent<disptrans::IDisplayList>(disptrans::kDisplayListProgId);
    return *m_displayList.get();
}

pluginmaster::IPluginMaster& DisplaySender::pluginMaster()
{
    if (!m_pluginMaster)
        m_pluginMaster = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
    return *m_pluginMaster.get();
}

void DisplaySender::report(const QString& caption, int percent)
{
    if (m_progress)
        m_progress(caption, percent);
}

// ---- one display -------------------------------------------------------------

DisplaySender::UnitState& DisplaySender::unit(int16_t address)
{
    if (!m_units.contains(address))
        m_unitOrder.append(address);
    return m_units[address];
}

SendResult DisplaySender::send(const QString& displayEntry, const SendRequest& request)
{
    SendResult result;
    m_unitOrder.clear();
    m_units.clear();
    m_currentUnit.reset();
    m_displayName.clear();
    bool ok = false;
    bool raised = false;
    auto fail = [&](const QString& description) {
        ok = false;
        if (!raised && result.error.isEmpty()) // the first reason is the one reported
            result.error = description;
        raised = true;
    };
    try {
        ok = open(displayEntry, result);
        if (!canceled()) {
            if (ok && request.option != UpdateOption::AttributesOnly)
                ok = sendStep(true, request, result);
            if (!canceled() && ok && request.option != UpdateOption::DataOnly)
                ok = sendStep(false, request, result);
        }
        // A cancel the progress events did not see (it came while the last one let
        // events run) leaves the result as the steps left it.
        result.canceled = canceled();
    } catch (const RuntimeError& e) {
        fail(e.description());
    } catch (const std::exception& e) {
        fail(QString::fromLocal8Bit(e.what()));
    }
    if (raised && m_currentUnit) {
        UnitState& state = unit(*m_currentUnit);
        state.failed = true;
        state.error = result.error;
    }
    m_currentUnit.reset();
    // The reason is taken before closing: closing is a command of its own.
    if (!ok && !raised && m_control) {
        try {
            result.error = m_control->LastErrorText();
        } catch (const RuntimeError& e) {
            result.error = e.description();
        }
    }
    try {
        report(QStringLiteral("Closing Connection"), kSamePercent);
        control().CloseConnection();
    } catch (const RuntimeError& e) {
        fail(e.description());
    } catch (const std::exception& e) {
        fail(QString::fromLocal8Bit(e.what()));
    }
    result.ok = ok;

    // Each unit's own result; a listed address the walk never reached did not take its steps.
    for (const QString& listed : result.units.split(u',', Qt::SkipEmptyParts))
        if (const auto address = addressOf(listed); address && !m_units.contains(*address))
            unit(*address);
    const int steps = stepsOf(request.option);
    result.allUnitsSent = !m_unitOrder.isEmpty();
    for (int16_t address : std::as_const(m_unitOrder)) {
        const UnitState& state = m_units[address];
        UnitResult unit{address, !state.failed && state.stepsTaken == steps, state.error};
        if (!unit.sent && unit.error.isEmpty())
            unit.error = result.error;
        result.allUnitsSent = result.allUnitsSent && unit.sent;
        result.unitResults.append(unit);
    }
    if (m_recordHistory)
        record(displayEntry, request, result);
    return result;
}

QString SendResult::failureText() const
{
    if (!error.isEmpty())
        return error;
    for (const UnitResult& unit : unitResults)
        if (!unit.sent && !unit.error.isEmpty())
            return unit.error;
    return QString();
}

void DisplaySender::record(const QString& display, const SendRequest& request, const SendResult& result)
{
    history::Entry entry;
    entry.when = Clock::now();
    entry.kind = QStringLiteral("update");
    entry.display = display;
    entry.units = result.units;
    entry.mode = history::modeText(request.option != UpdateOption::AttributesOnly,
                                   request.option != UpdateOption::DataOnly);
    for (const clsVarSetupInfo& member : request.selection)
        entry.variables.append(member.VarNum);
    for (auto it = result.sentTexts.cbegin(); it != result.sentTexts.cend(); ++it)
        entry.sentTexts.append({it.key(), it.value()});
    entry.result = result.ok ? QStringLiteral("Updated") : QStringLiteral("FAILED");
    entry.error = result.ok ? QString() : result.error;
    entry.displayName = m_displayName;
    entry.account = m_account;
    for (const UnitResult& unit : result.unitResults)
        entry.unitResults.append({unit.address, unit.sent, unit.error});
    history::recordQuietly(entry);
}

bool DisplaySender::open(const QString& display, SendResult& result)
{
    report(QStringLiteral("Preparing to Open Connection to Display!"), kSamePercent);
    disptrans::IDisplayList& list = displayList();
    list.setListFile(kDisplayListFile);
    list.setCurrentRecord(list.FindDisplay(display));
    m_displayName = list.DisplayName();
    // The whole address list converted as one number, as the connection has always been given it.
    disptrans::ConnectionSettings settings = disptrans::connectionSettingsFor(
        list.ConnectionKind(), list.LinkTarget(), list.Kind1Param(), list.OtherKindParam(), list.Kind3Param(),
        legacy::textToInt16(list.AddressList()));
    result.units = list.AddressList();

    const bool ok = control().OpenConnection(settings);
    if (m_opened)
        m_opened(ok);
    return ok;
}

bool DisplaySender::sendStep(bool data, const SendRequest& request, SendResult& result)
{
    // A fresh updater per step, so every step starts with a clear cancel flag.
    m_updater = std::make_unique<clsVarUpdater>();
    QObject::connect(
        m_updater.get(), &clsVarUpdater::PercentCompleteData, m_updater.get(),
        [this](short& percent, bool& cancel) { onProgress(QStringLiteral("Data Transmission"), percent, cancel); },
        Qt::DirectConnection);
    QObject::connect(
        m_updater.get(), &clsVarUpdater::PercentCompleteAtts, m_updater.get(),
        [this](short& percent, bool& cancel) {
            onProgress(QStringLiteral("Attributes Transmission"), percent, cancel);
        },
        Qt::DirectConnection);
    QObject::connect(
        m_updater.get(), &clsVarUpdater::VariableSent, m_updater.get(),
        [&result](int16_t varNum, const QString& text) { result.sentTexts.insert(varNum, text); },
        Qt::DirectConnection);

    const QStringList addresses = displayList().AddressList().split(u',');
    clsVarUpdater& updater = *m_updater;
    updater.TransControl = &control();
    updater.PluginMaster = &pluginMaster();
    updater.LinkSource = m_linkSource;
    updater.Variables = m_variables;
    updater.SelectedVars = request.selection;
    updater.TotalVariables = 416;

    bool sent = false;
    for (const QString& address : addresses) {
        control().setDisplayAddress(address);
        const int16_t span = addressSpan();
        const int16_t first = legacy::textToInt16(address);
        const int16_t last = legacy::add16(first, span);
        // Every address of a group is sent even when an earlier one failed. (A
        // group that ends at 32767 overflows the counter after its last send.)
        for (int16_t n = first; n <= last; n = legacy::add16(n, 1)) {
            m_currentUnit = n;
            sent = data ? updater.UpdateVariableDataOnDisplay(n) : updater.UpdateVariableAttributesOnDisplay(n);
            UnitState& state = unit(n);
            if (sent) {
                ++state.stepsTaken;
            } else if (!state.failed) {
                state.failed = true;
                state.error = control().LastErrorText();
            }
            m_currentUnit.reset();
        }
        if (!sent)
            break;
    }
    return sent;
}

int16_t DisplaySender::addressSpan()
{
    const disptrans::DisplayConfiguration config = control().ReadDisplayConfiguration();
    if (!(config.IsDisplayGroup && config.GroupFlagB))
        return 0;
    return legacy::sub16(legacy::mul16(legacy::add16(config.GroupSpanA, 1), legacy::add16(config.GroupSpanB, 1)), 1);
}

void DisplaySender::onProgress(const QString& caption, short percent, bool& cancel)
{
    report(caption, percent);
    if (canceled()) {
        report(QStringLiteral("Canceled"), 0);
        cancel = true;
    }
    if (m_pump)
        m_pump();
}
