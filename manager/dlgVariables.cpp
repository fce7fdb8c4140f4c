#include "dlgVariables.h"

#include "classregistry.h"
#include "hostobjects.h"

#include "aboutbox.h"
#include "clsVariableAccess.h"
#include "displayselection.h"
#include "dlgVariableAudit.h"
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
#include <QComboBox>
#include <QCoreApplication>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
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
                                    QStringLiteral("No name chosen! Not loading new configuration!"), true);
            });
    connect(addItem(tools, "mnuToolsLoad", QStringLiteral("&Load Configuration")), &QAction::triggered, this, [this] {
        onLoadConfiguration(QStringLiteral("Choose file to load!"),
                            QStringLiteral("No file chosen! No configuration will be loaded!"), false);
    });
    connect(addItem(tools, "mnuToolsSave", QStringLiteral("&Save Configuration")), &QAction::triggered, this,
            &dlgVariables::onSaveConfiguration);
    addSeparator(tools, "mnuSpacer1");
    // The viewer of all variables and the spreadsheet generator are not part of
    // this build: their items are shown disabled.
    addItem(tools, "mnuViewAllVar", QStringLiteral("&View All Variables"))->setEnabled(false);
    addSeparator(tools, "mnuSpacer");
    addItem(tools, "mnuToolsAuto", QStringLiteral("&AutoConfigured Spreadsheet"))->setEnabled(false);

    // The Edit menu, also the sheets' right-button menu. Its commands (undo store,
    // clipboard, the variable text editor) are not part of this build: disabled.
    m_popUp = bar->addMenu(QStringLiteral("Edit"));
    m_popUp->setObjectName(QStringLiteral("mnuPopUp"));
    m_viewEdit = addItem(m_popUp, "mnuPopUpVariableViewer", QStringLiteral("View/Edit Variable"));
    addSeparator(m_popUp, "mnuSep1");
    addItem(m_popUp, "mnuUndo", QStringLiteral("Undo"));
    addSeparator(m_popUp, "mnuSep2");
    addItem(m_popUp, "mnuCut", QStringLiteral("Cut"));
    addItem(m_popUp, "mnuCopy", QStringLiteral("Copy"));
    addItem(m_popUp, "mnuPaste", QStringLiteral("Paste"));
    addItem(m_popUp, "mnuDelete", QStringLiteral("Delete"));
    addSeparator(m_popUp, "mnuSep3");
    addItem(m_popUp, "mnuSelectAll", QStringLiteral("Select All"));
    for (QAction* action : m_popUp->actions())
        action->setEnabled(false);

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
    try {
        fillPages();
    } catch (const RuntimeError& e) {
        showError(kErrorInitializing, e.description());
    }
    m_updateOnTransmit->setChecked(settings::GetUpdateOnTransmit());
    m_tabs->setCurrentIndex(0);
    setTitle();
    loadOptions();
}

void dlgVariables::unloadForm()
{
    m_loaded = false;
    m_text->shownNumber = 0;
    m_cell->shownNumber = 0;
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

void dlgVariables::selectionChanged(PropertyPage* page) { page->select(variableSet(), m_oleVarGrab.get()); }

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
}

void dlgVariables::popUpEditMenu(const QPoint& globalPos, bool withDefault)
{
    m_popUp->setDefaultAction(withDefault ? m_viewEdit : nullptr);
    m_popUp->popup(globalPos);
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

void dlgVariables::onLoadConfiguration(const QString& title, const QString& noNameMessage, bool newName)
{
    try {
        onSaveConfiguration();
        // A new configuration may name a file that does not exist yet.
        const QString folder = settings::pluginFolder();
        const QString name = newName ? filedialog::getSaveFileName(title, kConfigurationFilter, folder, {}, this)
                                     : filedialog::getOpenFileName(title, kConfigurationFilter, folder, {}, this);
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

void dlgVariables::refresh()
{
    // The editors show the set as loaded: nothing of the old file is committed.
    m_text->showChosen(variableSet(), m_oleVarGrab.get());
    m_cell->showChosen(variableSet(), m_oleVarGrab.get());
    setTitle();
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
