#include "editmenu.h"

#include "clsFrm_Var_Editor.h"
#include "namedwidgets.h"
#include "propertypage.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>

namespace manager {

EditMenu::EditMenu(QMenuBar* bar, std::array<PropertyPage*, 2> pages, std::function<PropertyPage*()> currentPage)
    : QObject(bar), m_pages(pages), m_currentPage(std::move(currentPage))
{
    m_menu = bar->addMenu(QStringLiteral("Edit"));
    m_menu->setObjectName(QStringLiteral("mnuPopUp"));
    m_viewEdit = widgets::namedAction(m_menu, "mnuPopUpVariableViewer", QStringLiteral("View/Edit Variable"));
    widgets::namedSeparator(m_menu, "mnuSep1");
    m_undo = widgets::namedAction(m_menu, "mnuUndo", QStringLiteral("Undo"));
    widgets::namedSeparator(m_menu, "mnuSep2");
    m_cut = widgets::namedAction(m_menu, "mnuCut", QStringLiteral("Cut"));
    m_copy = widgets::namedAction(m_menu, "mnuCopy", QStringLiteral("Copy"));
    m_paste = widgets::namedAction(m_menu, "mnuPaste", QStringLiteral("Paste"));
    m_delete = widgets::namedAction(m_menu, "mnuDelete", QStringLiteral("Delete"));
    widgets::namedSeparator(m_menu, "mnuSep3");
    m_selectAll = widgets::namedAction(m_menu, "mnuSelectAll", QStringLiteral("Select All"));
    connect(m_viewEdit, &QAction::triggered, this, &EditMenu::onViewEditVariable);
    connect(m_undo, &QAction::triggered, this, &EditMenu::onUndo);
    connect(m_cut, &QAction::triggered, this, &EditMenu::onCut);
    connect(m_copy, &QAction::triggered, this, &EditMenu::onCopy);
    connect(m_paste, &QAction::triggered, this, &EditMenu::onPaste);
    connect(m_delete, &QAction::triggered, this, &EditMenu::onDelete);
    connect(m_selectAll, &QAction::triggered, this, &EditMenu::onSelectAll);
    connect(m_menu, &QMenu::aboutToShow, this, &EditMenu::refresh);
}

void EditMenu::load()
{
    for (UndoStore& store : m_stores)
        store.clear();
    hook(true);
    refresh();
}

void EditMenu::unload() { hook(false); }

// Removed before hooking, so a box is never hooked twice.
void EditMenu::hook(bool on)
{
    for (PropertyPage* page : m_pages) {
        page->dataBox()->removeEventFilter(this);
        if (on)
            page->dataBox()->installEventFilter(this);
    }
}

UndoStore& EditMenu::storeOf(PropertyPage* page) { return m_stores[page == m_pages[1] ? 1 : 0]; }

PropertyPage* EditMenu::pageOfDataBox(QObject* box) const
{
    for (PropertyPage* page : m_pages)
        if (box == page->dataBox())
            return page;
    return nullptr;
}

void EditMenu::saveState(PropertyPage* page) { storeOf(page).save(page->dataBox()->text()); }

void EditMenu::refresh()
{
    PropertyPage* page = m_currentPage();
    const QLineEdit* box = page->dataBox();
    const qsizetype selected = box->selectedText().size();
    const QClipboard* clipboard = QGuiApplication::clipboard();
    m_selectAll->setEnabled(selected < box->text().size());
    m_cut->setEnabled(selected >= 1);
    m_copy->setEnabled(selected >= 1);
    m_delete->setEnabled(selected >= 1);
    m_paste->setEnabled(clipboard && !clipboard->text().isEmpty());
    m_undo->setEnabled(storeOf(page).canUndo());
}

void EditMenu::popUp(const QPoint& globalPos, bool onSheet)
{
    m_menu->setDefaultAction(onSheet ? m_viewEdit : nullptr);
    m_menu->popup(globalPos);
}

bool EditMenu::eventFilter(QObject* watched, QEvent* event)
{
    PropertyPage* page = pageOfDataBox(watched);
    if (!page)
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::KeyPress: {
        const auto* key = static_cast<QKeyEvent*>(event);
        const QString text = key->text();
        if (key->key() == Qt::Key_Backspace || key->key() == Qt::Key_Delete
            || (!text.isEmpty() && text.front().unicode() >= 32))
            saveState(page); // before the key changes the text
        break;
    }
    case QEvent::KeyRelease: refresh(); break;
    case QEvent::MouseButtonRelease:
    case QEvent::ContextMenu:
        if (ShowPopMenu(watched, event))
            return true;
        if (event->type() == QEvent::MouseButtonRelease)
            refresh();
        break;
    default: break;
    }
    return QObject::eventFilter(watched, event);
}

bool EditMenu::ShowPopMenu(QObject* box, QEvent* event)
{
    if (event->type() == QEvent::ContextMenu) {
        // The box's own menu would follow the right button on some platforms
        // (on press); the Edit menu comes with the release instead. A menu
        // asked for from the keyboard is the box's own.
        return static_cast<QContextMenuEvent*>(event)->reason() == QContextMenuEvent::Mouse;
    }
    const auto* mouse = static_cast<QMouseEvent*>(event);
    if (event->type() != QEvent::MouseButtonRelease || mouse->button() != Qt::RightButton)
        return false;
    refresh();
    popUp(static_cast<QWidget*>(box)->mapToGlobal(mouse->position().toPoint()), false);
    return true;
}

void EditMenu::onCopy()
{
    PropertyPage* page = m_currentPage();
    saveState(page);
    QGuiApplication::clipboard()->setText(page->dataBox()->selectedText());
    refresh();
}

void EditMenu::onCut()
{
    PropertyPage* page = m_currentPage();
    saveState(page);
    QLineEdit* box = page->dataBox();
    QGuiApplication::clipboard()->setText(box->selectedText());
    if (box->hasSelectedText())
        box->insert(QString());
    refresh();
}

void EditMenu::onPaste()
{
    PropertyPage* page = m_currentPage();
    saveState(page);
    page->dataBox()->insertTyped(QGuiApplication::clipboard()->text());
    refresh();
}

void EditMenu::onDelete()
{
    PropertyPage* page = m_currentPage();
    saveState(page);
    QLineEdit* box = page->dataBox();
    if (box->hasSelectedText())
        box->insert(QString());
    refresh();
}

void EditMenu::onSelectAll()
{
    QLineEdit* box = m_currentPage()->dataBox();
    box->setSelection(0, int(box->text().size()));
    refresh();
}

void EditMenu::onUndo()
{
    PropertyPage* page = m_currentPage();
    if (const std::optional<QString> text = storeOf(page).undo())
        page->dataBox()->setText(*text);
    refresh();
}

// The data in the variable text editor. Its text comes back whatever way the
// editor closed: closed without OK or Cancel it gives back nothing and the box
// is emptied, as the editor's users know it; the text before is the newest
// state of the page's undo store, so Undo brings it back.
void EditMenu::onViewEditVariable()
{
    PropertyPage* page = m_currentPage();
    QLineEdit* box = page->dataBox();
    saveState(page);
    clsFrm_Var_Editor editor;
    editor.SetText(box->text());
    editor.SetMaxLength(static_cast<int16_t>(page->maxLengthText().toInt()));
    editor.EnableEdit(box->isEnabled());
    editor.Show(1);
    box->setText(editor.GetText());
    refresh();
}

} // namespace manager
