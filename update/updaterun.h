#pragma once

#include "clsVarSetupInfo.h"
#include "displaysender.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <cstdint>

class clsVariableAccess;
class ILinkContainer;

// One display of the run: its row in the status list.
struct DisplayRow {
    QString display; // the row's text and tag: the display entry used to look it up
    QString status;  // "Not Updated", "Scheduled", "Updating", "Updated", "FAILED"; also the icon key
    QString when;    // when a scheduled display is due, or the last error
    QString delay;   // the delay in minutes, "00000"
};

// How a piece of the report is written.
enum class ReportStyle { Heading, Display, Label, Success, Failure, Canceled };

struct ReportPiece {
    QString text;
    ReportStyle style;
};

// One update as the manager hands it to the update dialog: display entries and
// their delays in minutes (each joined by ",", in the same order), the chosen
// variables and what to send.
struct UpdateRequest {
    QString displays;
    QString delays;
    VarSelection selection;
    UpdateOption option = UpdateOption::DataAndAttributes;
};

// An update run over many displays: the status rows, the passes that send each
// due display through the display sender, the report, the retry countdown and
// the schedule of delayed displays. The dialog shows it; tests drive it directly.
class UpdateRun final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(UpdateRun)
public:
    using Mode = UpdateOption;
    static constexpr Mode DataAndAttributes = UpdateOption::DataAndAttributes;
    static constexpr Mode DataOnly = UpdateOption::DataOnly;
    static constexpr Mode AttributesOnly = UpdateOption::AttributesOnly;

    static const QString kNotUpdated;
    static const QString kScheduled;
    static const QString kUpdating;
    static const QString kUpdated;
    static const QString kFailed;

    // Which of the run's buttons and labels are available.
    struct Controls {
        bool saveEnabled = false;       // cmdSaveToFile
        bool retryEnabled = false;      // cmdRetry
        bool stopRetryVisible = false;  // cmdStopRetry
        bool retryLabelVisible = false; // lblRetry
    };

    explicit UpdateRun(QObject* parent = nullptr);
    ~UpdateRun() override;

    void setVariableSet(clsVariableAccess* set) { m_sender.setVariableSet(set); }
    void setSelection(const VarSelection& vars) { m_selection = vars; }
    void setDisplayList(const QString& displays) { m_displayText = displays; }
    void setDelayList(const QString& delays) { m_delayText = delays; }
    void setLinkSource(ILinkContainer* source) { m_sender.setLinkSource(source); }
    void setMode(Mode mode) { m_mode = mode; }
    // Whether every display's send goes into the send history (it does unless turned off).
    void setRecordHistory(bool record) { m_sender.setRecordHistory(record); }
    // Displays, delays, selection and mode at once.
    void setRequest(const UpdateRequest& request);
    Mode mode() const { return m_mode; }

    // Makes the rows from the display and delay lists and runs the first pass.
    void start();
    // One pass and, when displays failed, the retry countdown.
    void RunUpdate();
    // Every display that is due and not yet updated; true when none failed.
    bool UpdatePass();
    // Sends the display of `row` again at once, whatever its status: the row is
    // made due and the pass runs as a retry does. Nothing while a pass runs.
    void reTransmit(int row);

    void retryTick();
    void scheduleTick();
    void cancelDisplay() { m_cancelDisplay = true; }
    void cancelAll() { m_cancelFlag = true; }
    void stopRetry();

    // "Now", or "in " [hours "h. "] minutes "min."; leaves the minutes past the
    // whole hours in `minutes`, as the schedule's callers expect.
    static QString FormatTimeLeft(long& minutes);
    // "Retrying Failed Connections in " and the time left.
    static QString retryText(int32_t secondsLeft);

    const QList<DisplayRow>& rows() const { return m_rows; }
    const QList<ReportPiece>& report() const { return m_report; }
    QString reportText() const;
    Controls controls() const { return m_controls; }
    QString retryLabel() const { return m_retryLabel; }
    QString statusText() const { return m_statusText; }
    int progressValue() const { return m_progress; }
    QString connectionLabel() const { return m_connectionLabel; }
    int32_t secondsToRetry() const { return m_secondsToRetry; }
    QDateTime scheduleStart() const { return m_scheduleStart; }
    bool passRunning() const { return m_passRunning; }
    bool cancelFlag() const { return m_cancelFlag; }
    QTimer& timerRetry() { return m_timerRetry; }
    QTimer& timerSched() { return m_timerSched; }

signals:
    void rowsReset();
    void rowChanged(int row);
    void reportAppended(const QString& text, ReportStyle style);
    void statusChanged(const QString& caption, int percent);
    void connectionLabelChanged(const QString& text);
    void controlsChanged();
    void passFinished();

private:
    void updateOneDisplay(int row);
    bool isDue(const DisplayRow& row, const QDateTime& now) const;
    long minutesLeft(const DisplayRow& row, const QDateTime& now) const;

    void SetRowStatus(int row, const QString& status);
    void setRowWhen(int row, const QString& when);
    void AppendReport(const QString& text, ReportStyle style);
    void ShowProgress(const QString& caption, int percent);
    void ShowStatus(const QString& caption);
    void setControls(const Controls& controls);
    void setRetryLabel(const QString& text);

    Mode m_mode = DataAndAttributes;
    VarSelection m_selection;
    QString m_displayText;
    QString m_delayText;
    DisplaySender m_sender{nullptr, nullptr};

    QList<DisplayRow> m_rows;
    QList<ReportPiece> m_report;
    QDateTime m_scheduleStart;
    std::atomic_bool m_cancelDisplay = false;
    std::atomic_bool m_cancelFlag = false;
    bool m_passRunning = false;
    int32_t m_secondsToRetry = 0;
    Controls m_controls;
    QString m_retryLabel;
    QString m_statusText;
    int m_progress = 0;
    QString m_connectionLabel;
    QTimer m_timerRetry{this}; // children, so they can be found by name
    QTimer m_timerSched{this};
};
