#pragma once

#include "auditrun.h"

#include <QDialog>

#include <functional>
#include <memory>

class QPushButton;
class QTextEdit;

// The variable audit's window: the coloured report of an AuditRun, which starts
// by itself when the dialog is first shown, with Print, "Save To File" and a
// Close button that reads "Cancel" while the run goes on.
class dlgVariableAudit final : public QDialog { // objectName "dlgVariableAudit"
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgVariableAudit)
public:
    explicit dlgVariableAudit(QWidget* parent = nullptr);
    ~dlgVariableAudit() override;

    void setVariablesToAudit(const VarSelection& vars) { m_run.setVariablesToAudit(vars); }
    void setMode(audit::Mode mode) { m_run.setMode(mode); }
    // Asked when the run starts, for the chosen display names joined by ",".
    void setDisplaySelection(std::function<QString()> selection) { m_run.setDisplaySelection(std::move(selection)); }

    audit::AuditRun& run() { return m_run; }

    void done(int result) override; // refused between a cancel request and the end of the run

signals:
    void auditFinished(); // however the run ended, after the buttons were set

protected:
    void showEvent(QShowEvent* event) override;

private:
    class ReportView;

    void RunAudit();
    void onClose();
    void onPrint();
    void onSaveToFile();

    audit::AuditRun m_run;
    std::unique_ptr<ReportView> m_view;
    bool m_activated = false;
    QTextEdit* m_rtxtAuditInfo;
    QPushButton* m_cmdPrint;
    QPushButton* m_cmdSaveToFile;
    QPushButton* m_cmdClose;
};
