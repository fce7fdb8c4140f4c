#pragma once

#include "clsVarSetupInfo.h"

#include <QDialog>
#include <QHash>
#include <QString>

#include <cstdint>
#include <memory>

enum class UpdateOption : int16_t;
struct UpdateRequest;

class clsVariableAccess;
class ILinkContainer;
class QLabel;
class QMenu;
class QProgressBar;
class QPushButton;
class QTextEdit;
class QTreeWidget;
class UpdateRun;
enum class ReportStyle;

// The update dialog: one status row per display, the run's report, progress,
// the retry countdown and the buttons around them. The work itself is done by
// UpdateRun; this class shows it and forwards the buttons.
class dlgVariableUpdate final : public QDialog { // objectName "dlgVariableUpdate"
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgVariableUpdate)
public:
    explicit dlgVariableUpdate(QWidget* parent = nullptr);
    ~dlgVariableUpdate() override;
    void setVariableSet(clsVariableAccess* set); // the manager's shared set, not owned
    void setSelectedVars(const VarSelection& vars);
    void setDisplayList(const QString& displays); // display entries joined by ","
    void setDelayList(const QString& delays);     // minutes joined by ",", same order
    void SendVarData();                           // mode 2; shows the dialog modally, returns when it closes
    void SendVarAttributes();                     // mode 3
    void SendAllVarInfo();                        // mode 1
    // Hands over displays, delays and selection, then sends as the request's option says.
    void start(const UpdateRequest& request);

    // The dialog's own link container (oleVarGrab): every updater of its run reads
    // linked variables through it.
    ILinkContainer& linkContainer() { return *m_oleVarGrab; }
    // The run behind the dialog (its rows, report, timers and flags).
    UpdateRun& run();

    void reject() override;         // Escape, the close box and cmdClose go through the close guard
    void done(int result) override; // however it closes, its timers stop

protected:
    void showEvent(QShowEvent* event) override;

private:
    void buildUi();
    void startModal(UpdateOption mode);
    bool mayClose();
    void refreshRows();
    void refreshRow(int row);
    void refreshControls();
    // Cancel buttons only while something is being sent; a finished pass says so.
    void refreshActivity();
    void showPassOver();
    void showStatusMenu(const QPoint& position);
    void appendReport(const QString& text, ReportStyle style);
    void toggleDetails();
    void saveReport();

    std::unique_ptr<ILinkContainer> m_oleVarGrab;
    UpdateRun* m_run = nullptr; // a child of the dialog
    QTreeWidget* m_list = nullptr;
    QTextEdit* m_report = nullptr;
    QLabel* m_connection = nullptr;
    QLabel* m_status = nullptr;
    QProgressBar* m_progress = nullptr;
    QLabel* m_retryLabel = nullptr;
    QPushButton* m_cancel = nullptr;
    QPushButton* m_cancelAll = nullptr;
    QPushButton* m_retry = nullptr;
    QPushButton* m_stopRetry = nullptr;
    QPushButton* m_details = nullptr;
    QPushButton* m_save = nullptr;
    QPushButton* m_close = nullptr;
    QMenu* m_statusMenu = nullptr; // mnuPopupReTransmit
    bool m_startPending = false;
    bool m_detailsShown = false;
    int m_detailsHeight = 260;
    int m_collapsedHeight = 0;
    QHash<QString, QString> m_displayNames; // the rows' tooltips
};
