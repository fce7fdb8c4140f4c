#include "updaterun.h"

#include "clock.h"
#include "datetimetext.h"
#include "legacy.h"
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
    m_sender.setCancelFlags(&m_cancelDisplay, &m_cancelFlag);
    m_sender.setProgress([this](const QString& caption, int percent) {
        if (percent == DisplaySender::kSamePercent)
            ShowStatus(caption);
        else
            ShowProgress(caption, percent);
    });
    m_sender.setEventPump([] { QCoreApplication::processEvents(); });
    m_sender.setOpenObserver([this](bool opened) {
        m_connectionLabel = opened ? QStringLiteral("Connection Opened") : QStringLiteral("Connection Problem");
        emit connectionLabelChanged(m_connectionLabel);
    });
}

UpdateRun::~UpdateRun() = default;

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
    m_scheduleStart = Clock::nowWholeSeconds();
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
        const QDateTime now = Clock::nowWholeSeconds();
        if (row.status == kScheduled && !isDue(row, now)) {
            long minutes = minutesLeft(row, now);
            setRowWhen(i, FormatTimeLeft(minutes));
            anyWaiting = true;
            continue;
        }
        updateOneDisplay(i);
        if (m_rows[i].status != kUpdated)
            allDone = false;
        if (m_cancelFlag) { // AllDone stays as the display's steps left it
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
    SetRowStatus(row, kUpdating);
    setRowWhen(row, QString());

    const SendResult sent = m_sender.send(display, {m_selection, m_mode});

    SetRowStatus(row, sent.ok ? kUpdated : kFailed);
    AppendReport(QStringLiteral("Location/Display=") + display + kCrLf, ReportStyle::Display);
    AppendReport(QStringLiteral("Status= "), ReportStyle::Label);
    if (sent.ok) {
        AppendReport(kUpdated + kCrLf, ReportStyle::Success);
    } else {
        AppendReport(QStringLiteral("Failed ") + sent.error + kCrLf, ReportStyle::Failure);
        setRowWhen(row, sent.error);
    }
    AppendReport(kCrLf, ReportStyle::Label);
}

void UpdateRun::setRequest(const UpdateRequest& request)
{
    setDisplayList(request.displays);
    setDelayList(request.delays);
    setSelection(request.selection);
    setMode(request.option);
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
    const QDateTime now = Clock::nowWholeSeconds();
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
