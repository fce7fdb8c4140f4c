#pragma once

#include <QDialog>
#include <QString>

class clsVariableAccess;
class QLineEdit;

// Spreadsheet auto-configuration: asks where to put a ready-made workbook and a
// new variable file, then (AutoConfigureSpreadSheet) writes the workbook and
// links every variable n to row n + 1, column 2 of its sheet "Variables", so
// typing into the workbook changes the variables.
class dlgAddSpreadSheet final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgAddSpreadSheet)
public:
    explicit dlgAddSpreadSheet(QWidget* parent = nullptr);

    // Nothing when the dialog was cancelled. Otherwise a new configuration under
    // the variable file's name, the workbook written over any file of its name,
    // the 416 links set and the configuration saved. Write failures raise the
    // platform's run-time errors for the caller to report.
    void AutoConfigureSpreadSheet(clsVariableAccess& set);

    bool cancelled() const { return m_cancelled; }
    // The workbook as the program carries it.
    static QByteArray workbookTemplate();
    // The link of variable n to the workbook at `workbookPath`, the path as typed.
    static QString linkText(const QString& workbookPath, int n);

    void reject() override; // "Cancel" and the window's close button

private:
    void browse(QLineEdit* target, const QString& filter, const QString& title);
    void onCreate();

    QLineEdit* m_spreadsheet;
    QLineEdit* m_playfile;
    bool m_cancelled = false;
};
