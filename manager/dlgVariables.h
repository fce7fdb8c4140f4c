#pragma once

#include "undostore.h"
#include "updateflow.h"

#include <QDialog>

#include <array>
#include <memory>

class clsVariableAccess;
class ILinkContainer;
class QAction;
class QCheckBox;
class QFileSystemWatcher;
class QMenu;
class QMenuBar;
class QPushButton;
class QRadioButton;
class QTabWidget;
class QTimer;

namespace manager {
class PropertyPage;
}

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
    // Keeps the data box's text in its page's undo store (see UndoStore).
    void saveState(manager::PropertyPage* page);
    // The Edit menu's commands enabled by the showing page's data box, its
    // selection, the clipboard and the page's undo store.
    void refreshEditMenu();
    // A right-button release on a hooked data box: the Edit menu instead of the
    // box's own menu. True when the event was handled and must go no further.
    bool ShowPopMenu(QObject* box, QEvent* event);

protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenus(QMenuBar* bar);
    QAction* addItem(QMenu* menu, const char* name, const QString& caption);
    void addSeparator(QMenu* menu, const char* name);

    void loadForm();
    void unloadForm();
    void fillPages();
    void setTitle();
    void loadOptions();
    void storeOptions();
    void setOption(int index, bool value);

    void selectionChanged(manager::PropertyPage* page);
    void pasteOrClear(manager::PropertyPage* page);
    void popUpEditMenu(const QPoint& globalPos, bool withDefault);
    void hookDataBoxes(bool hook);
    manager::UndoStore& undoStore(manager::PropertyPage* page);
    manager::PropertyPage* pageOfDataBox(QObject* box) const;

    void onCopy();
    void onCut();
    void onPaste();
    void onDelete();
    void onSelectAll();
    void onUndo();
    void onViewEditVariable();

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

    void showError(const QString& prefix, const QString& description);

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
    QFileSystemWatcher* m_linkWatcher;
    QTimer* m_linkChanged;
    QMenu* m_popUp = nullptr;
    QAction* m_viewEdit = nullptr;
    QAction* m_undo = nullptr;
    QAction* m_cut = nullptr;
    QAction* m_copy = nullptr;
    QAction* m_paste = nullptr;
    QAction* m_delete = nullptr;
    QAction* m_selectAll = nullptr;
    // One per page: text, cell.
    std::array<manager::UndoStore, 2> m_undoStores;
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
