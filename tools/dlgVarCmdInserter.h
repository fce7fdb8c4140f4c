#pragma once

#include <QDialog>
#include <QPointer>

#include <memory>

class clsVariableAccess;
class ILinkContainer;
class QComboBox;

// The variable command inserter, opened from the host's frame editor: lists all
// 416 variables, shows a variable's current value and inserts its command token
// into the line being edited. It stays open for several insertions.
class dlgVarCmdInserter final : public QDialog { // objectName "dlgVarCmdInserter"
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgVarCmdInserter)
public:
    explicit dlgVarCmdInserter(QWidget* parent = nullptr);
    ~dlgVarCmdInserter() override;

    // The host's frame-editor form; tokens go to its "addtexttocurrentline".
    void setFrame(QObject* frame) { m_frame = frame; }
    // Optional: without a set the dialog loads the current variable file and
    // writes it back when it goes; without a container linked variables read empty.
    void setVariableSet(clsVariableAccess* set) { m_variables = set; }
    void setLinkContainer(ILinkContainer* container) { m_linkContainer = container; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fillList();
    int16_t selectedNumber() const;
    void onGetCurrentValue();
    void onInsert();
    clsVariableAccess& variables();

    QPointer<QObject> m_frame;
    clsVariableAccess* m_variables = nullptr;
    std::unique_ptr<clsVariableAccess> m_ownVariables;
    ILinkContainer* m_linkContainer = nullptr;
    std::unique_ptr<ILinkContainer> m_oleGrabber;
    bool m_loaded = false;
    QComboBox* m_cmbVar;
};
