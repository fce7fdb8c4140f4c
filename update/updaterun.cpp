#include "updaterun.h"

#include "clock.h"
#include "clsVarUpdater.h"
#include "datetimetext.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "legacy.h"
#include "pluginmaster.h"
#include "recorder.h"
#include "runtimeerror.h"
#include "settingsstore.h"

#include <QCoreApplication>

#include <cmath>
#include <limits>

const QString UpdateRun::kNotUpdated = QStringLiteral("Not Updated");
const QString UpdateRun::kScheduled = QStringLiteral("Scheduled");
const QString UpdateRun::kUpdating = QStringLiteral("Updating");
const QString UpdateRun::kUpdated = QStringLiteral("Updated");
const QString UpdateRun::kFailed = QStringLiteral("FAILED");

namespace {
const QString kDisplayListFile = QStringLiteral("Displays.dat");
const QString kCrLf = QStringLiteral("\r\n");

// The platform's Split: an empty text has no entries.
QStringList splitList(const QString& text) { return text.isEmpty() ? QStringList() : text.split(u','); }

// The delay entry as the status list shows it: five digits with leading zeros
// for a number, anything else as it stands.
QString delayColumnText(const QString& entry)
{
    bool ok = false;
    const double minutes = entry.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(minutes) || std::fabs(minutes) > 1e15)
        return entry;
    return legacy::formatZeros(static_cast<long long>(legacy::roundHalfEven(minutes)), 5);
}

QString modeHeading(UpdateOption mode)
{
    switch (mode) {
    case UpdateRun::DataAndAttributes: return QStringLiteral("Variables Data & Attributes Updated on ");
    case UpdateRun::DataOnly: return QStringLiteral("Variables Data Updated on ");
    case UpdateRun::AttributesOnly: return QStringLiteral("Variables Attributes Updated on ");
    }
    return QString();
}

// The retry interval in seconds; a setting that is not a number counts as the default.
int32_t retryInterval()
{
    try {
        return legacy::textToInt32(settings::read(settings::kRetryInterval));
    } catch (const RuntimeError&) {
        return legacy::textToInt32(QString::fromLatin1(settings::kRetryInterval.defaultValue));
    }
}
} // namespace

UpdateRun::UpdateRun(QObject* parent) : QObject(parent)
{
    m_timerRetry.setObjectName(QStringLiteral("timerRetry"));
    m_timerRetry.setInterval(1000);
    m_timerSched.setObjectName(QStringLiteral("TimerSched"));
    m_timerSched.setInterval(1000);
    connect(&m_timerRetry, &QTimer::timeout, this, &UpdateRun::retryTick);
    connect(&m_timerSched, &QTimer::timeout, this, &UpdateRun::scheduleTick);
}

UpdateRun::~UpdateRun() = default;

// ---- components ------------------------------------------------------------

disptrans::IDispTrans& UpdateRun::control()
{
    if (!m_control)
        m_control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    return *m_control.get();
}

disptrans::IDisplayList& UpdateRun::displayList()
{
    if (!m_displayList)
        m_displayList = createComponent<disptrans::IDisplayList>(disptrans::kDisplayListProgId);
    return *m_displayList.get();
}

pluginmaster::IPluginMaster& UpdateRun::pluginMaster()
{
    if (!m_pluginMaster)
        m_pluginMaster = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
    return *m_pluginMaster.get();
}

// ---- view state ------------------------------------------------------------

void UpdateRun::SetRowStatus(int row, const QString& status)
{
    m_rows[row].status = status; // the status text is also the icon's key
    emit rowChanged(row);
}

void UpdateRun::setRowWhen(int row, const QString& when)
{
    m_rows[row].when = when;
    emit rowChanged(row);
}

void UpdateRun::AppendReport(const QString& text, ReportStyle style)
{
    m_report.append({text, style});
    emit reportAppended(text, style);
}

void UpdateRun::ShowProgress(const QString& caption, int percent)
{
    m_statusText = caption;
    m_progress = percent;
    emit statusChanged(caption, percent);
}

void UpdateRun::ShowStatus(const QString& caption) { ShowProgress(caption, m_progress); }

void UpdateRun::setControls(const Controls& controls)
{
    m_controls = controls;
    emit controlsChanged();
}

void UpdateRun::setRetryLabel(const QString& text)
{
    m_retryLabel = text;
    emit controlsChanged();
}

QString UpdateRun::reportText() const
{
    QString text;
    for (const ReportPiece& piece : m_report)
        text += piece.text;
    return text;
}

// ---- the run ---------------------------------------------------------------

void UpdateRun::start()
{
    m_scheduleStart = Clock::now();
    const QStringList displays = splitList(m_displayText);
    const QStringList delays = splitList(m_delayText);
    m_rows.clear();
    for (int i = 0; i < displays.size(); ++i) {
        // A display without a delay entry goes now.
        const QString delay = i < delays.size() ? delays[i] : QString();
        const double minutes = legacy::val(delay);
        DisplayRow row;
        row.display = displays[i];
        if (minutes <= 0) {
            row.status = kNotUpdated;
            row.when = QStringLiteral("Now");
        } else {
            row.status = kScheduled;
            long whole = long(legacy::roundHalfEven(minutes));
            row.when = FormatTimeLeft(whole);
        }
        row.delay = delayColumnText(delay);
        m_rows.append(row);
    }
    emit rowsReset();
    RunUpdate();
    Controls c = m_controls;
    c.saveEnabled = true;
    setControls(c);
}

void UpdateRun::RunUpdate()
{
    if (m_passRunning)
        return;
    Controls c = m_controls;
    c.saveEnabled = false;
    m_cancelFlag = false;
    m_timerRetry.stop();
    c.retryLabelVisible = false;
    c.stopRetryVisible = false;
    c.retryEnabled = false;
    setControls(c);

    if (!UpdatePass()) {
        c.retryEnabled = true;
        if (!m_cancelFlag) {
            m_secondsToRetry = retryInterval();
            setRetryLabel(retryText(m_secondsToRetry));
            m_timerRetry.start();
            c.retryLabelVisible = true;
            c.stopRetryVisible = true;
        }
    }
    c.saveEnabled = true;
    setControls(c);
}

void UpdateRun::reTransmit(int row)
{
    if (m_passRunning || row < 0 || row >= m_rows.size())
        return;
    SetRowStatus(row, kNotUpdated);
    RunUpdate();
}

bool UpdateRun::UpdatePass()
{
    m_passRunning = true;
    bool allDone = true;
    bool anyWaiting = false;
    ShowProgress(QString(), 0);
    AppendReport(modeHeading(m_mode) + datetimetext::reportStamp(Clock::now()) + kCrLf, ReportStyle::Heading);

    for (int i = 0; i < m_rows.size(); ++i) {
        const DisplayRow& row = m_rows[i];
        if (row.status == kUpdated)
            continue;
        const QDateTime now = Clock::now();
        if (row.status == kScheduled && !isDue(row, now)) {
            long minutes = minutesLeft(row, now);
            setRowWhen(i, FormatTimeLeft(minutes));
            anyWaiting = true;
            continue;
        }
        updateOneDisplay(i);
        if (m_rows[i].status != kUpdated)
            allDone = false;
        if (m_cancelFlag) {
            allDone = false;
            SetRowStatus(i, kFailed);
            AppendReport(QStringLiteral("Location/Display=") + m_rows[i].display + kCrLf, ReportStyle::Display);
            AppendReport(QStringLiteral("Status= "), ReportStyle::Label);
            AppendReport(QStringLiteral("User Canceled") + kCrLf, ReportStyle::Canceled);
            break;
        }
    }

    ShowProgress(QString(), 0);
    if (anyWaiting)
        m_timerSched.start();
    else
        m_timerSched.stop();
    m_passRunning = false;
    emit passFinished();
    return allDone;
}

void UpdateRun::updateOneDisplay(int row)
{
    const QString display = m_rows[row].display;
    m_cancelDisplay = false;
    m_units.clear();
    m_sent.clear();
    SetRowStatus(row, kUpdating);
    setRowWhen(row, QString());

    bool ok = false;
    QString error;
    bool raised = false;
    auto fail = [&](const QString& description) {
        ok = false;
        if (!raised && error.isEmpty()) // the first reason is the one reported
            error = description;
        raised = true;
    };
    try {
        ok = OpenDisplayConnection(display);
        if (!m_cancelDisplay && !m_cancelFlag) {
            if (ok && m_mode != AttributesOnly)
                ok = SendDataStep();
            if (!m_cancelDisplay && !m_cancelFlag && ok && m_mode != DataOnly)
                ok = SendAttributesStep();
        }
        // A cancelled display counts as failed even when the cancel came between steps.
        if (m_cancelDisplay || m_cancelFlag)
            ok = false;
    } catch (const RuntimeError& e) {
        fail(e.description());
    } catch (const std::exception& e) {
        fail(QString::fromLocal8Bit(e.what()));
    }
    // The reason is taken before closing: closing is a command of its own.
    if (!ok && !raised && m_control) {
        try {
            error = m_control->LastErrorText();
        } catch (const RuntimeError& e) {
            error = e.description();
        }
    }
    try {
        CloseDisplayConnection();
    } catch (const RuntimeError& e) {
        fail(e.description());
    } catch (const std::exception& e) {
        fail(QString::fromLocal8Bit(e.what()));
    }

    SetRowStatus(row, ok ? kUpdated : kFailed);
    if (m_recordHistory)
        recordSend(display, ok, error);
    AppendReport(QStringLiteral("Location/Display=") + display + kCrLf, ReportStyle::Display);
    AppendReport(QStringLiteral("Status= "), ReportStyle::Label);
    if (ok) {
        AppendReport(kUpdated + kCrLf, ReportStyle::Success);
    } else {
        AppendReport(QStringLiteral("Failed ") + error + kCrLf, ReportStyle::Failure);
        setRowWhen(row, error);
    }
    AppendReport(kCrLf, ReportStyle::Label);
}

void UpdateRun::recordSend(const QString& display, bool ok, const QString& error)
{
    history::Entry entry;
    entry.when = Clock::now();
    entry.kind = QStringLiteral("update");
    entry.display = display;
    entry.units = m_units;
    entry.mode = history::modeText(m_mode != AttributesOnly, m_mode != DataOnly);
    for (const clsVarSetupInfo& member : std::as_const(m_selection))
        entry.variables.append(member.VarNum);
    for (auto it = m_sent.cbegin(); it != m_sent.cend(); ++it)
        entry.sentTexts.append({it.key(), it.value()});
    entry.result = ok ? kUpdated : kFailed;
    entry.error = ok ? QString() : error;
    history::recordQuietly(entry);
}

void UpdateRun::setRequest(const UpdateRequest& request)
{
    setDisplayList(request.displays);
    setDelayList(request.delays);
    setSelection(request.selection);
    setMode(request.option);
}

bool UpdateRun::OpenDisplayConnection(const QString& display)
{
    ShowStatus(QStringLiteral("Preparing to Open Connection to Display!"));
    disptrans::IDisplayList& list = displayList();
    list.setListFile(kDisplayListFile);
    list.setCurrentRecord(list.FindDisplay(display));
    // The whole address list converted as one number, as the connection has always been given it.
    disptrans::ConnectionSettings settings = disptrans::connectionSettingsFor(
        list.ConnectionKind(), list.LinkTarget(), list.Kind1Param(), list.OtherKindParam(), list.Kind3Param(),
        legacy::textToInt16(list.AddressList()));
    m_units = list.AddressList();

    const bool ok = control().OpenConnection(settings);
    m_connectionLabel = ok ? QStringLiteral("Connection Opened") : QStringLiteral("Connection Problem");
    emit connectionLabelChanged(m_connectionLabel);
    return ok;
}

void UpdateRun::CloseDisplayConnection()
{
    ShowStatus(QStringLiteral("Closing Connection"));
    control().CloseConnection();
}

bool UpdateRun::SendDataStep() { return sendStep(true); }
bool UpdateRun::SendAttributesStep() { return sendStep(false); }

bool UpdateRun::sendStep(bool data)
{
    // A fresh updater per step, so every step starts with a clear cancel flag.
    m_updater = std::make_unique<clsVarUpdater>();
    connect(
        m_updater.get(), &clsVarUpdater::PercentCompleteData, this,
        [this](short& percent, bool& cancel) { onProgress(QStringLiteral("Data Transmission"), percent, cancel); },
        Qt::DirectConnection);
    connect(
        m_updater.get(), &clsVarUpdater::PercentCompleteAtts, this,
        [this](short& percent, bool& cancel) {
            onProgress(QStringLiteral("Attributes Transmission"), percent, cancel);
        },
        Qt::DirectConnection);
    connect(m_updater.get(), &clsVarUpdater::VariableSent, this,
            [this](int16_t varNum, const QString& text) { m_sent.insert(varNum, text); });

    const QStringList addresses = displayList().AddressList().split(u',');
    clsVarUpdater& updater = *m_updater;
    updater.TransControl = &control();
    updater.PluginMaster = &pluginMaster();
    updater.LinkSource = m_linkSource;
    updater.Variables = m_variables;
    updater.SelectedVars = m_selection;
    updater.TotalVariables = 416;

    bool result = false;
    for (const QString& address : addresses) {
        control().setDisplayAddress(address);
        const int16_t span = addressSpan();
        const int16_t first = legacy::textToInt16(address);
        const int16_t last = legacy::add16(first, span);
        // Every address of a group is sent even when an earlier one failed. (A
        // group that ends at 32767 overflows the counter after its last send.)
        for (int16_t n = first; n <= last; n = legacy::add16(n, 1)) {
            result = data ? updater.UpdateVariableDataOnDisplay(n) : updater.UpdateVariableAttributesOnDisplay(n);
        }
        if (!result)
            break;
    }
    return result;
}

int16_t UpdateRun::addressSpan()
{
    const disptrans::DisplayConfiguration config = control().ReadDisplayConfiguration();
    if (!(config.IsDisplayGroup && config.GroupFlagB))
        return 0;
    return legacy::sub16(legacy::mul16(legacy::add16(config.GroupSpanA, 1), legacy::add16(config.GroupSpanB, 1)), 1);
}

void UpdateRun::onProgress(const QString& caption, short& percent, bool& cancel)
{
    ShowProgress(caption, percent);
    if (m_cancelDisplay || m_cancelFlag) {
        ShowProgress(QStringLiteral("Canceled"), 0);
        cancel = true;
    }
    QCoreApplication::processEvents();
}

// ---- timers ----------------------------------------------------------------

void UpdateRun::stopRetry()
{
    m_timerRetry.stop();
    Controls c = m_controls;
    c.retryLabelVisible = false;
    c.stopRetryVisible = false;
    setControls(c);
}

bool UpdateRun::isDue(const DisplayRow& row, const QDateTime& now) const
{
    const qint64 minutes = qint64(legacy::roundHalfEven(legacy::val(row.delay)));
    return m_scheduleStart.addSecs(minutes * 60) < now;
}

long UpdateRun::minutesLeft(const DisplayRow& row, const QDateTime& now) const
{
    const qint64 minutes = qint64(legacy::roundHalfEven(legacy::val(row.delay)));
    return long(now.secsTo(m_scheduleStart.addSecs(minutes * 60)) / 60);
}

void UpdateRun::retryTick()
{
    if (m_passRunning)
        return; // a tick that arrives while a pass pumps events waits for the next one
    if (m_secondsToRetry == 0)
        RunUpdate();
    if (m_secondsToRetry == std::numeric_limits<int32_t>::min())
        RuntimeError::raise(RuntimeError::Overflow);
    --m_secondsToRetry;
    setRetryLabel(retryText(m_secondsToRetry));
}

void UpdateRun::scheduleTick()
{
    if (m_passRunning)
        return;
    const QDateTime now = Clock::now();
    for (int i = 0; i < m_rows.size(); ++i) {
        const DisplayRow& row = m_rows[i];
        if (row.status == kUpdated)
            continue;
        if (row.status == kScheduled && isDue(row, now)) {
            m_timerSched.stop();
            RunUpdate();
            return;
        }
        long minutes = minutesLeft(row, now);
        setRowWhen(i, FormatTimeLeft(minutes));
    }
}

QString UpdateRun::FormatTimeLeft(long& minutes)
{
    if (minutes < 1)
        return QStringLiteral("Now");
    const long hours = minutes / 60;
    QString hoursPart;
    if (hours >= 1) {
        hoursPart = QString::number(hours) + QStringLiteral("h. ");
        minutes -= hours * 60;
    }
    return QStringLiteral("in ") + hoursPart + QString::number(minutes) + QStringLiteral("min.");
}

QString UpdateRun::retryText(int32_t secondsLeft)
{
    // The seconds taken as a moment after midnight of day zero.
    const qint64 seconds = secondsLeft;
    const qint64 days = seconds >= 0 ? seconds / 86400 : -((-seconds + 86399) / 86400);
    const qint64 ofDay = seconds - days * 86400;
    const qint64 hours = ofDay / 3600;
    const qint64 minutes = ofDay % 3600 / 60;
    QString text;
    if (days > 0)
        text += QString::number(days) + QStringLiteral(" Day(s) ");
    if (hours > 0)
        text += QString::number(hours) + QStringLiteral(" Hour(s) ");
    if (minutes > 0)
        text += QString::number(minutes) + QStringLiteral(" Min. ");
    text += QString::number(ofDay % 60) + QStringLiteral(" Sec. ");
    return QStringLiteral("Retrying Failed Connections in ") + text;
}
