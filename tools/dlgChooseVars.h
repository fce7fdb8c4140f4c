#pragma once

#include "clsVarSetupInfo.h"

#include <QDialog>
#include <QStringList>

class clsVariableAccess;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

// The variable chooser: one checkable row per variable (rows 1 ... 416 in number
// order), ticked by hand, by kind, by a range text or from the last confirmed
// choice, which is remembered as "LastUsed". GetChosenVars shows the dialog;
// GetLastVars gives the last choice without showing it.
class dlgChooseVars final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgChooseVars)
public:
    explicit dlgChooseVars(QWidget* parent = nullptr);

    // The set that supplies the names; not owned. Set before use.
    void setVariableSet(clsVariableAccess* set) { m_set = set; }

    // Shows the dialog modally; the confirmed choice, empty after Cancel.
    VarSelection GetChosenVars();
    // The last confirmed choice, built and stored again as OK does, without a dialog.
    VarSelection GetLastVars();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void prepare(); // the first activation: the list and the last choice
    void InitList();
    void SelectLastUsed();
    bool BuildChosen();

    void setAllChecked(bool checked, int from, int to);
    void selectRange();
    QList<int> tickedNumbers() const;

    clsVariableAccess* m_set = nullptr;
    VarSelection m_chosen;
    QStringList m_lastUsed;
    bool m_prepared = false;

    QTreeWidget* m_list;
    QPushButton* m_useLast;
    QLineEdit* m_range;
};
