#include "dlgVariables.h"

#include "classregistry.h"
#include "hostobjects.h"

#include "aboutbox.h"
#include "clsFrm_Var_Editor.h"
#include "clsVariableAccess.h"
#include "displayselection.h"
#include "dlgAddSpreadSheet.h"
#include "dlgVariableAudit.h"
#include "dlgViewAllVar.h"
#include "filedialog.h"
#include "frmVariableSettings.h"
#include "legacy.h"
#include "linkpaste.h"
#include "messagebox.h"
#include "propertypage.h"
#include "runtimeerror.h"
#include "settingsstore.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

using manager::PageKind;
using manager::PropertyPage;

namespace {
const QString kErrorOccurred = QStringLiteral("Error Occurred ");
const QString kErrorInitializing = QStringLiteral("Error Initializing Variable Data ");
const QString kConfigurationFilter = QStringLiteral("Variable Configuration File(*.vls)|*.vls");

bool storedFlag(const settings::Key& key)
{
    try {
        return legacy::textToBool(settings::read(key));
    } catch (const RuntimeError&) {
        return false;
    }
}
} // namespace

dlgVariables::dlgVariables(QWidget* parent) : QDialog(parent), m_oleVarGrab(links::create())
{
    setObjectName(QStringLiteral("dlgVariables"));
    setWindowTitle(QStringLiteral("Variable Manager"));

    auto* bar = new QMenuBar(this);
    bar->setObjectName(QStringLiteral("menuBar"));
    buildMenus(bar);

    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("tabVariables"));
    m_text = new PropertyPage(PageKind::Text, m_tabs);
    m_cell = new PropertyPage(PageKind::Cell, m_tabs);
    m_tabs->addTab(m_text, QStringLiteral("Text"));
    m_tabs->addTab(m_cell, QStringLiteral("Cell"));

    // The option buttons form a control array: element i is named "optVariable_<i>".
    auto* frame = new QGroupBox(QStringLiteral("Options: "), this);
    frame->setObjectName(QStringLiteral("Frame1"));
    auto* frameLayout = new QHBoxLayout(frame);
    auto* group = new QButtonGroup(frame);
    group->setObjectName(QStringLiteral("optVariable"));
    const QStringList captions{QStringLiteral("Data && Attributes"), QStringLiteral("Data Only"),
                               QStringLiteral("Attributes Only")};
    for (int i = 0; i < 3; ++i) {
        m_options[i] = new QRadioButton(captions[i], frame);
        m_options[i]->setObjectName(QStringLiteral("optVariable_") + QString::number(i));
        group->addButton(m_options[i], i);
        frameLayout->addWidget(m_options[i]);
    }
    frameLayout->addStretch(1);
    m_updateOnTransmit = new QCheckBox(QStringLiteral("Update On Transmit!"), this);
    m_updateOnTransmit->setObjectName(QStringLiteral("chkUpdateOnTransmit"));

    auto* update = new QPushButton(QStringLiteral("Update Display"), this);
    update->setObjectName(QStringLiteral("cmdUpdateVariable"));
    auto* audit = new QPushButton(QStringLiteral("Perform Variable Audit - Compare Variable Values"), this);
    audit->setObjectName(QStringLiteral("cmdVariableAudit"));
    auto* ok = new QPushButton(QStringLiteral("Done"), this);
    ok->setObjectName(QStringLiteral("OKButton"));
    for (QPushButton* b : {update, audit, ok})
        b->setAutoDefault(false);

    // Kept for the form's control set; it carries no behaviour here.
    m_tmrVarUpdate = new QTimer(this);
    m_tmrVarUpdate->setObjectName(QStringLiteral("tmrVarUpdate"));

    m_linkWatcher = new QFileSystemWatcher(this);
    m_linkChanged = new QTimer(this);
    m_linkChanged->setSingleShot(true);
    m_linkChanged->setInterval(200);
    connect(m_linkWatcher, &QFileSystemWatcher::fileChanged, m_linkChanged, qOverload<>(&QTimer::start));
    connect(m_linkWatcher, &QFileSystemWatcher::directoryChanged, m_linkChanged, qOverload<>(&QTimer::start));
    connect(m_linkChanged, &QTimer::timeout, this, &dlgVariables::showLinkedValues);

    auto* optionsRow = new QHBoxLayout;
    optionsRow->addWidget(frame, 1);
    optionsRow->addWidget(m_updateOnTransmit);
    auto* buttonsRow = new QHBoxLayout;
    buttonsRow->addWidget(update);
    buttonsRow->addWidget(audit);
    buttonsRow->addStretch(1);
    buttonsRow->addWidget(ok);
    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(bar);
    layout->addWidget(m_tabs, 1);
    layout->addLayout(optionsRow);
    layout->addLayout(buttonsRow);

    for (PropertyPage* page : {m_text, m_cell}) {
        connect(page, &PropertyPage::selectionChanged, this, [this, page] {
            try {
                selectionChanged(page);
            } catch (const RuntimeError& e) {
                showError(kErrorOccurred, e.description());
            }
        });
        connect(page, &PropertyPage::pasteClicked, this, [this, page] { pasteOrClear(page); });
        connect(page, &PropertyPage::menuRequested, this, &dlgVariables::popUpEditMenu);
    }
    connect(m_updateOnTransmit, &QCheckBox::clicked, this,
            [](bool checked) { settings::SetUpdateOnTransmit(checked); });
    connect(update, &QPushButton::clicked, this, &dlgVariables::onUpdate);
    connect(audit, &QPushButton::clicked, this, &dlgVariables::onAudit);
    connect(ok, &QPushButton::clicked, this, &dlgVariables::onDone);
}

dlgVariables::~dlgVariables() = default;

clsVariableAccess& dlgVariables::variableSet()
{
    if (!m_set)
        m_set = std::make_unique<clsVariableAccess>();
    return *m_set;
}

void dlgVariables::setLinkContainer(std::unique_ptr<ILinkContainer> container)
{
    m_oleVarGrab = container ? std::move(container) : links::create();
}

QAction* dlgVariables::addItem(QMenu* menu, const char* name, const QString& caption)
{
    QAction* action = menu->addAction(caption);
    action->setObjectName(QString::fromLatin1(name));
    return action;
}

void dlgVariables::addSeparator(QMenu* menu, const char* name)
{
    menu->addSeparator()->setObjectName(QString::fromLatin1(name));
}

void dlgVariables::buildMenus(QMenuBar* bar)
{
    QMenu* tools = bar->addMenu(QStringLiteral("&Tools"));
    tools->setObjectName(QStringLiteral("mnuTools"));
    connect(addItem(tools, "mnuToolsNewConfiguration", QStringLiteral("&New Configuration")), &QAction::triggered, this,
            [this] {
                onLoadConfiguration(QStringLiteral("Choose name for new configuration!"),
                                    QStringLiteral("No name chosen! Not loading new configuration!"));
            });
    connect(addItem(tools, "mnuToolsLoad", QStringLiteral("&Load Configuration")), &QAction::triggered, this, [this] {
        onLoadConfiguration(QStringLiteral("Choose file to load!"),
                            QStringLiteral("No file chosen! No configuration will be loaded!"));
    });
    connect(addItem(tools, "mnuToolsSave", QStringLiteral("&Save Configuration")), &QAction::triggered, this,
            &dlgVariables::onSaveConfiguration);
    addSeparator(tools, "mnuSpacer1");
    connect(addItem(tools, "mnuViewAllVar", QStringLiteral("&View All Variables")), &QAction::triggered, this,
            &dlgVariables::onViewAllVariables);
    addSeparator(tools, "mnuSpacer");
    connect(addItem(tools, "mnuToolsAuto", QStringLiteral("&AutoConfigured Spreadsheet")), &QAction::triggered, this,
            &dlgVariables::onAutoConfigure);

    // The Edit menu, also the right-button menu of the sheets and data boxes.
    m_popUp = bar->addMenu(QStringLiteral("Edit"));
    m_popUp->setObjectName(QStringLiteral("mnuPopUp"));
    m_viewEdit = addItem(m_popUp, "mnuPopUpVariableViewer", QStringLiteral("View/Edit Variable"));
    addSeparator(m_popUp, "mnuSep1");
    m_undo = addItem(m_popUp, "mnuUndo", QStringLiteral("Undo"));
    addSeparator(m_popUp, "mnuSep2");
    m_cut = addItem(m_popUp, "mnuCut", QStringLiteral("Cut"));
    m_copy = addItem(m_popUp, "mnuCopy", QStringLiteral("Copy"));
    m_paste = addItem(m_popUp, "mnuPaste", QStringLiteral("Paste"));
    m_delete = addItem(m_popUp, "mnuDelete", QStringLiteral("Delete"));
    addSeparator(m_popUp, "mnuSep3");
    m_selectAll = addItem(m_popUp, "mnuSelectAll", QStringLiteral("Select All"));
    connect(m_viewEdit, &QAction::triggered, this, &dlgVariables::onViewEditVariable);
    connect(m_undo, &QAction::triggered, this, &dlgVariables::onUndo);
    connect(m_cut, &QAction::triggered, this, &dlgVariables::onCut);
    connect(m_copy, &QAction::triggered, this, &dlgVariables::onCopy);
    connect(m_paste, &QAction::triggered, this, &dlgVariables::onPaste);
    connect(m_delete, &QAction::triggered, this, &dlgVariables::onDelete);
    connect(m_selectAll, &QAction::triggered, this, &dlgVariables::onSelectAll);
    connect(m_popUp, &QMenu::aboutToShow, this, &dlgVariables::refreshEditMenu);

    QMenu* choose = bar->addMenu(QStringLiteral("Update"));
    choose->setObjectName(QStringLiteral("mnuChoose"));
    connect(addItem(choose, "mnuUpdateDisplay", QStringLiteral("Update Display Now")), &QAction::triggered, this,
            &dlgVariables::onUpdate);
    addSeparator(choose, "mnuSep4");
    connect(addItem(choose, "mnuChooseVar", QStringLiteral("Choose Variables to Update")), &QAction::triggered, this,
            &dlgVariables::onChooseVariables);
    connect(addItem(choose, "mnuChooseDisplay", QStringLiteral("Choose Displays")), &QAction::triggered, this,
            &dlgVariables::onChooseDisplays);
    addSeparator(choose, "mnuSpacer2");
    connect(addItem(choose, "mnuSettings", QStringLiteral("Variable Update Settings")), &QAction::triggered, this,
            &dlgVariables::onSettings);

    QAction* about = bar->addAction(QStringLiteral("&About"));
    about->setObjectName(QStringLiteral("mnuAbout"));
    connect(about, &QAction::triggered, this, &dlgVariables::onAbout);
}

void dlgVariables::showEvent(QShowEvent* event)
{
    if (!m_loaded)
        loadForm();
    QDialog::showEvent(event);
}

// Esc does nothing: "Done" is the way out that keeps what was typed, and the
// close box the way out that does not.
void dlgVariables::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Cancel))
        return event->accept();
    QDialog::keyPressEvent(event);
}

void dlgVariables::done(int result)
{
    QDialog::done(result);
    unloadForm();
}

void dlgVariables::loadForm()
{
    m_loaded = true;
    m_text->shownNumber = -1;
    m_cell->shownNumber = -1;
    for (PropertyPage* page : {m_text, m_cell})
        page->dataBox()->setEnabled(true); // as a freshly loaded form has it
    try {
        fillPages();
    } catch (const RuntimeError& e) {
        showError(kErrorInitializing, e.description());
    }
    m_updateOnTransmit->setChecked(settings::GetUpdateOnTransmit());
    m_tabs->setCurrentIndex(0);
    setTitle();
    loadOptions();
    for (manager::UndoStore& store : m_undoStores)
        store.clear();
    hookDataBoxes(true);
    refreshEditMenu();
}

void dlgVariables::unloadForm()
{
    m_loaded = false;
    m_text->shownNumber = 0;
    m_cell->shownNumber = 0;
    hookDataBoxes(false);
    watchLinkedDocuments(); // nothing while unloaded
}

// The data boxes' keys and mouse buttons pass through the dialog first: keys
// that change the text save its state, and a right-button release brings up
// the Edit menu. Removed before hooking, so a box is never hooked twice.
void dlgVariables::hookDataBoxes(bool hook)
{
    for (PropertyPage* page : {m_text, m_cell}) {
        page->dataBox()->removeEventFilter(this);
        if (hook)
            page->dataBox()->installEventFilter(this);
    }
}

void dlgVariables::fillPages()
{
    for (PropertyPage* page : {m_text, m_cell}) {
        page->fillLists();
        page->choose(manager::rangeOf(page->kind()).first);
        selectionChanged(page);
    }
}

void dlgVariables::setTitle() { setWindowTitle(QStringLiteral("Variable Manager - ") + variableSet().CurrFileName()); }

void dlgVariables::loadOptions()
{
    setOption(0, storedFlag(settings::kUpdateAll));
    setOption(1, storedFlag(settings::kUpdateData));
    setOption(2, storedFlag(settings::kUpdateAttribute));
}

void dlgVariables::storeOptions()
{
    settings::write(settings::kUpdateAll, legacy::boolText(m_options[0]->isChecked()));
    settings::write(settings::kUpdateData, legacy::boolText(m_options[1]->isChecked()));
    settings::write(settings::kUpdateAttribute, legacy::boolText(m_options[2]->isChecked()));
}

// Setting an option clears the others; clearing one may leave none set, which a
// user cannot do but stored settings can.
void dlgVariables::setOption(int index, bool value)
{
    QButtonGroup* group = m_options[index]->group();
    group->setExclusive(false);
    if (value) {
        for (int i = 0; i < 3; ++i)
            m_options[i]->setChecked(i == index);
    } else {
        m_options[index]->setChecked(false);
    }
    group->setExclusive(true);
}

UpdateOption dlgVariables::updateOption() const
{
    return manager::updateOptionOf(m_options[1]->isChecked(), m_options[2]->isChecked());
}

void dlgVariables::selectionChanged(PropertyPage* page)
{
    page->select(variableSet(), m_oleVarGrab.get());
    watchLinkedDocuments();
}

// Watches the files the link boxes name, and their folders: a document saved
// by writing a new file and renaming it over the old one is a new file, which
// only its folder reports.
void dlgVariables::watchLinkedDocuments()
{
    QStringList wanted;
    for (PropertyPage* page : {m_text, m_cell}) {
        const QString link = page->linkBox()->text();
        if (!m_loaded || link.isEmpty())
            continue;
        const QFileInfo document(link.section(u'!', 0, 0).replace(u'\\', u'/'));
        wanted << document.absoluteFilePath() << document.absolutePath();
    }
    wanted.removeDuplicates();
    QStringList watched = m_linkWatcher->files() + m_linkWatcher->directories();
    for (const QString& path : watched)
        if (!wanted.contains(path))
            m_linkWatcher->removePath(path);
    for (const QString& path : wanted)
        if (!watched.contains(path) && QFileInfo::exists(path))
            m_linkWatcher->addPath(path);
}

// Each linked variable shown gets its current value; the rest of the page,
// and what the user typed there, stays as it is. A value goes into the data box
// of the page that shows the linked variable, never into the other page's box,
// so a cell's value cannot end up in a text variable at the next commit.
void dlgVariables::showLinkedValues()
{
    if (!m_loaded)
        return;
    for (PropertyPage* page : {m_text, m_cell}) {
        const QString link = page->linkBox()->text();
        if (page->shownNumber > 0 && !link.isEmpty())
            page->dataBox()->setText(manager::liveValue(*m_oleVarGrab, link));
    }
    watchLinkedDocuments(); // a renamed-over file is watched afresh
}

void dlgVariables::commitPages()
{
    m_text->commit(variableSet());
    m_cell->commit(variableSet());
}

void dlgVariables::pasteOrClear(PropertyPage* page)
{
    QPushButton* button = page->pasteButton();
    if (button->text().toUpper() == QStringLiteral("CLEAR")) {
        page->linkBox()->clear();
        button->setText(QStringLiteral("Paste"));
    } else {
        const QString link = manager::takeLinkFromClipboard(*m_oleVarGrab, this);
        page->linkBox()->setText(link);
        if (!link.isEmpty()) {
            button->setText(QStringLiteral("Clear"));
            // Stores the link in the shown variable and shows its linked value.
            try {
                selectionChanged(page);
            } catch (const RuntimeError& e) {
                showError(kErrorOccurred, e.description());
            }
        }
    }
    page->dataBox()->setEnabled(page->linkBox()->text().isEmpty());
    watchLinkedDocuments();
}

void dlgVariables::popUpEditMenu(const QPoint& globalPos, bool withDefault)
{
    m_popUp->setDefaultAction(withDefault ? m_viewEdit : nullptr);
    m_popUp->popup(globalPos);
}

PropertyPage* dlgVariables::currentPage() const { return m_tabs->currentIndex() == 1 ? m_cell : m_text; }

PropertyPage* dlgVariables::pageOfDataBox(QObject* box) const
{
    if (box == m_text->dataBox())
        return m_text;
    if (box == m_cell->dataBox())
        return m_cell;
    return nullptr;
}

manager::UndoStore& dlgVariables::undoStore(PropertyPage* page) { return m_undoStores[page == m_cell ? 1 : 0]; }

void dlgVariables::saveState(PropertyPage* page) { undoStore(page).save(page->dataBox()->text()); }

void dlgVariables::refreshEditMenu()
{
    PropertyPage* page = currentPage();
    const QLineEdit* box = page->dataBox();
    const qsizetype selected = box->selectedText().size();
    const QClipboard* clipboard = QGuiApplication::clipboard();
    m_selectAll->setEnabled(selected < box->text().size());
    m_cut->setEnabled(selected >= 1);
    m_copy->setEnabled(selected >= 1);
    m_delete->setEnabled(selected >= 1);
    m_paste->setEnabled(clipboard && !clipboard->text().isEmpty());
    m_undo->setEnabled(undoStore(page).canUndo());
}

bool dlgVariables::eventFilter(QObject* watched, QEvent* event)
{
    PropertyPage* page = pageOfDataBox(watched);
    if (!page)
        return QDialog::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::KeyPress: {
        const auto* key = static_cast<QKeyEvent*>(event);
        const QString text = key->text();
        if (key->key() == Qt::Key_Backspace || key->key() == Qt::Key_Delete
            || (!text.isEmpty() && text.front().unicode() >= 32))
            saveState(page); // before the key changes the text
        break;
    }
    case QEvent::KeyRelease: refreshEditMenu(); break;
    case QEvent::MouseButtonRelease:
    case QEvent::ContextMenu:
        if (ShowPopMenu(watched, event))
            return true;
        if (event->type() == QEvent::MouseButtonRelease)
            refreshEditMenu();
        break;
    default: break;
    }
    return QDialog::eventFilter(watched, event);
}

bool dlgVariables::ShowPopMenu(QObject* box, QEvent* event)
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
    refreshEditMenu();
    popUpEditMenu(static_cast<QWidget*>(box)->mapToGlobal(mouse->position().toPoint()), false);
    return true;
}

void dlgVariables::onCopy()
{
    PropertyPage* page = currentPage();
    saveState(page);
    QGuiApplication::clipboard()->setText(page->dataBox()->selectedText());
    refreshEditMenu();
}

void dlgVariables::onCut()
{
    PropertyPage* page = currentPage();
    saveState(page);
    QLineEdit* box = page->dataBox();
    QGuiApplication::clipboard()->setText(box->selectedText());
    if (box->hasSelectedText())
        box->insert(QString());
    refreshEditMenu();
}

void dlgVariables::onPaste()
{
    PropertyPage* page = currentPage();
    saveState(page);
    page->dataBox()->insertTyped(QGuiApplication::clipboard()->text());
    refreshEditMenu();
}

void dlgVariables::onDelete()
{
    PropertyPage* page = currentPage();
    saveState(page);
    QLineEdit* box = page->dataBox();
    if (box->hasSelectedText())
        box->insert(QString());
    refreshEditMenu();
}

void dlgVariables::onSelectAll()
{
    QLineEdit* box = currentPage()->dataBox();
    box->setSelection(0, int(box->text().size()));
    refreshEditMenu();
}

void dlgVariables::onUndo()
{
    PropertyPage* page = currentPage();
    if (const std::optional<QString> text = undoStore(page).undo())
        page->dataBox()->setText(*text);
    refreshEditMenu();
}

// The data in the variable text editor. Its text comes back whatever way the
// editor closed: closed without OK or Cancel it gives back nothing and the box
// is emptied, as the editor's users know it; the text before is the newest
// state of the page's undo store, so Undo brings it back.
void dlgVariables::onViewEditVariable()
{
    PropertyPage* page = currentPage();
    QLineEdit* box = page->dataBox();
    saveState(page);
    clsFrm_Var_Editor editor;
    editor.SetText(box->text());
    editor.SetMaxLength(static_cast<int16_t>(page->maxLengthText().toInt()));
    editor.EnableEdit(box->isEnabled());
    editor.Show(1);
    box->setText(editor.GetText());
    refreshEditMenu();
}

void dlgVariables::onDone()
{
    try {
        for (PropertyPage* page : {m_text, m_cell})
            selectionChanged(page);
        variableSet().SaveVariables();
        storeOptions();
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
    accept();
}

void dlgVariables::onUpdate()
{
    try {
        commitPages();
        manager::UpdateFlow(&manager::selectDisplays).run(variableSet(), updateOption(), this);
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

void dlgVariables::onAudit()
{
    try {
        commitPages();
        variableSet().SaveVariables();
        // The chooser is always shown here, whatever "PromptForVariable" says.
        const VarSelection chosen = manager::chooseVariables(variableSet(), true, this);
        if (chosen.isEmpty())
            return;
        const UpdateOption option = updateOption();
        dlgVariableAudit audit(this);
        audit.setVariablesToAudit(chosen);
        audit.setMode(audit::modeOf(option == UpdateOption::DataOnly, option == UpdateOption::AttributesOnly));
        audit.setDisplaySelection([] { return manager::selectDisplays(); });
        audit.exec();
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

void dlgVariables::onChooseVariables()
{
    try {
        commitPages();
        variableSet().SaveVariables();
        manager::chooseVariables(variableSet(), true, this);
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

void dlgVariables::onChooseDisplays()
{
    try {
        // Always the host's chooser, whatever "PromptForDisplay" says; the answer is not kept.
        createComponent<hostobjects::IDisplayChooser>(hostobjects::kDisplayChooserProgId)->SelectDisplays();
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

void dlgVariables::onSettings()
{
    frmVariableSettings settingsDialog(this);
    settingsDialog.exec();
}

void dlgVariables::onAbout()
{
    frmAbout about(this);
    about.exec();
}

void dlgVariables::onSaveConfiguration()
{
    commitPages();
    variableSet().SaveVariables();
}

// A name under "New Configuration" is loaded like any other: an existing file
// is read, and a name with no file behind it leaves the set at its defaults
// while the current file stays the previous one, so the next save writes the
// fresh set over the previous file. That file's content is then kept as its
// ".bak" (VariableFile::write).
void dlgVariables::onLoadConfiguration(const QString& title, const QString& noNameMessage)
{
    try {
        onSaveConfiguration();
        // One dialog for both commands, set up in this order. It takes names of
        // files that do not exist: that is how a new configuration is named.
        filedialog::Request request;
        request.kind = filedialog::Request::Open;
        request.fileName.clear();
        request.initialDir = settings::pluginFolder();
        request.filter = kConfigurationFilter;
        request.title = title;
        request.mustExist = false;
        const QString name = filedialog::choose(request, this);
        if (name.isEmpty()) {
            msgbox::show(noNameMessage, msgbox::OKOnly, msgbox::NoIcon, {}, this);
            return;
        }
        variableSet().LoadVariables(name);
        refresh();
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

void dlgVariables::onViewAllVariables()
{
    try {
        onSaveConfiguration();
        dlgViewAllVar viewer(this);
        viewer.setVariableSet(&variableSet());
        viewer.SetVar(m_oleVarGrab.get());
        viewer.exec();
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

// The editors are committed and the set saved first, so that nothing typed is
// lost when the set becomes the new, linked configuration.
void dlgVariables::onAutoConfigure()
{
    try {
        onSaveConfiguration();
        dlgAddSpreadSheet dialog(this);
        dialog.exec();
        dialog.AutoConfigureSpreadSheet(variableSet());
        refresh();
    } catch (const RuntimeError& e) {
        showError(kErrorOccurred, e.description());
    }
}

void dlgVariables::refresh()
{
    // The editors show the set as loaded: nothing of the old file is committed.
    m_text->showChosen(variableSet(), m_oleVarGrab.get());
    m_cell->showChosen(variableSet(), m_oleVarGrab.get());
    setTitle();
    watchLinkedDocuments();
}

void dlgVariables::showError(const QString& prefix, const QString& description)
{
    msgbox::showError(prefix, description, msgbox::NoIcon, this);
}

namespace manager {

namespace {
QPointer<dlgVariables> g_manager;
} // namespace

dlgVariables& sharedVariableManager()
{
    if (!g_manager) {
        g_manager = new dlgVariables;
        // Released while the application still runs, so that its set saves itself.
        if (QCoreApplication* app = QCoreApplication::instance())
            QObject::connect(app, &QCoreApplication::aboutToQuit, g_manager.data(), &releaseVariableManager);
    }
    return *g_manager;
}

void showVariableManager(QWidget* parent)
{
    dlgVariables& dialog = sharedVariableManager();
    if (parent && dialog.parentWidget() != parent)
        dialog.setParent(parent, dialog.windowFlags());
    dialog.exec();
}

void releaseVariableManager() { delete g_manager.data(); }

} // namespace manager
