#pragma once

#include <QDialog>

class clsVariableAccess;
class ILinkContainer;
class QLabel;
class QTreeWidget;

// "View All Variables": one row per variable, 1 ... 416 in number order (text
// variables first), with its name and the text it would send, filled afresh
// each time the viewer shows.
class dlgViewAllVar final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgViewAllVar)
public:
    explicit dlgViewAllVar(QWidget* parent = nullptr);

    // The set whose variables are shown; not owned. Set before showing.
    void setVariableSet(const clsVariableAccess* set) { m_set = set; }
    // The container through which linked variables are read; not owned.
    void SetVar(ILinkContainer* container) { m_container = container; }

    QTreeWidget* list() const { return m_list; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fill();

    const clsVariableAccess* m_set = nullptr;
    ILinkContainer* m_container = nullptr;
    QTreeWidget* m_list;
    QLabel* m_updating;
};
