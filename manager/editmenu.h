#pragma once

#include "undostore.h"

#include <QObject>

#include <array>
#include <functional>

class QAction;
class QEvent;
class QMenu;
class QMenuBar;
class QPoint;

namespace manager {

class PropertyPage;

// The variable manager's "Edit" menu, also the right-button menu of its sheets
// and data boxes: "View/Edit Variable", Undo, Cut, Copy, Paste, Delete and
// Select All on the data box of the page showing, with one undo store per page.
// While loaded, the data boxes' keys and mouse buttons pass through it first:
// keys that change the text save its state, and a right-button release brings
// up this menu instead of the box's own (ShowPopMenu).
class EditMenu final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(EditMenu)
public:
    // `pages`: the text page, then the cell page; `currentPage` tells which one shows.
    EditMenu(QMenuBar* bar, std::array<PropertyPage*, 2> pages, std::function<PropertyPage*()> currentPage);

    // Both undo stores emptied and the data boxes hooked; unload removes the hooks.
    void load();
    void unload();

    // Keeps the data box's text in its page's undo store (see UndoStore).
    void saveState(PropertyPage* page);
    // The commands enabled by the showing page's data box, its selection, the
    // clipboard and the page's undo store.
    void refresh();
    // Pops the menu up at a global position; on a sheet "View/Edit Variable" is its default item.
    void popUp(const QPoint& globalPos, bool onSheet);
    // A right-button release on a hooked data box: the menu instead of the
    // box's own. True when the event was handled and must go no further.
    bool ShowPopMenu(QObject* box, QEvent* event);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void hook(bool on);
    UndoStore& storeOf(PropertyPage* page);
    PropertyPage* pageOfDataBox(QObject* box) const;

    void onCopy();
    void onCut();
    void onPaste();
    void onDelete();
    void onSelectAll();
    void onUndo();
    void onViewEditVariable();

    std::array<PropertyPage*, 2> m_pages;
    std::function<PropertyPage*()> m_currentPage;
    QMenu* m_menu;
    QAction* m_viewEdit;
    QAction* m_undo;
    QAction* m_cut;
    QAction* m_copy;
    QAction* m_paste;
    QAction* m_delete;
    QAction* m_selectAll;
    std::array<UndoStore, 2> m_stores; // text, cell
};

} // namespace manager
