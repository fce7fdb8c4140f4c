#pragma once

#include "updateflow.h"

#include <QDialog>

#include <array>
#include <functional>
#include <memory>

class clsVariableAccess;
class ILinkContainer;
class QAction;
class QCheckBox;
class QMenu;
class QMenuBar;
class QPushButton;
class QRadioButton;
class QTabWidget;
class QTimer;

namespace links {
class DocumentWatcher;
}
namespace manager {
class EditMenu;
class PropertyPage;
} // namespace manager

// The variable manager: a property sheet per variable kind ("Text", "Cell"), the
// update options and the commands that start updates, choose variables and
// displays, and load or save configurations. It owns the variable set for as long
// as it exists and lends it to the dialogs it opens, after committing its editors
// and saving the set.
//
// The form is loaded each time it is shown and unloaded when it closes; the set
// and the form object survive between two showings (see showVariableManager).
class dlgVariables final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgVariables)
public:
    explicit dlgVariables(QWidget* parent = nullptr);
    ~dlgVariables() override;

    // The set the manager edits, created on first use.
    clsVariableAccess& variableSet();
    // The container through which linked variables are read; replaceable (tests).
    ILinkContainer& linkContainer() { return *m_oleVarGrab; }
    void setLinkContainer(std::unique_ptr<ILinkContainer> container);

    manager::PropertyPage* textPage() const { return m_text; }
    manager::PropertyPage* cellPage() const { return m_cell; }

    // Writes the editors of both pages to the set.
    void commitPages();
    // The option the three option buttons give.
    UpdateOption updateOption() const;

    void done(int result) override;

    // The page showing and its data box, on which the Edit menu works.
    manager::PropertyPage* currentPage() const;

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void buildMenus(QMenuBar* bar);

    void loadForm();
    void unloadForm();
    void fillPages();
    void setTitle();
    void loadOptions();
    void storeOptions();
    void setOption(int index, bool value);

    void selectionChanged(manager::PropertyPage* page);
    void pasteOrClear(manager::PropertyPage* page);

    void onDone();
    void onUpdate();
    void onAudit();
    void onChooseVariables();
    void onChooseDisplays();
    void onSettings();
    void onAbout();
    void onSaveConfiguration();
    void onViewAllVariables();
    void onAutoConfigure();
    void onLoadConfiguration(const QString& title, const QString& noNameMessage);
    void refresh();
    void watchLinkedDocuments();
    void showLinkedValues();

    // Runs `work`; a run-time error shows prefix + its description and ends it.
    bool guarded(const QString& prefix, const std::function<void()>& work);

    std::unique_ptr<clsVariableAccess> m_set;
    std::unique_ptr<ILinkContainer> m_oleVarGrab;
    bool m_loaded = false;

    QTabWidget* m_tabs;
    manager::PropertyPage* m_text;
    manager::PropertyPage* m_cell;
    std::array<QRadioButton*, 3> m_options{};
    QCheckBox* m_updateOnTransmit;
    QTimer* m_tmrVarUpdate;
    // The documents the shown variables link to: a change on disk shows their
    // new values after a short pause, so that a save in pieces is read whole.
    links::DocumentWatcher* m_linkWatcher;
    QTimer* m_linkChanged;
    manager::EditMenu* m_editMenu = nullptr;
};

namespace manager {

// Shows the library's one variable manager modally, creating it on first use; it
// comes back when the manager closes. The manager, with its variable set, stays
// for the next call.
void showVariableManager(QWidget* parent = nullptr);
// The shared manager, created on first use.
dlgVariables& sharedVariableManager();
// Deletes the shared manager (its set saves itself); the next use creates a new one.
// Done by itself when the application is about to quit.
void releaseVariableManager();

} // namespace manager
