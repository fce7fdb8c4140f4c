#include "dlgVariables.h"

#include "classregistry.h"
#include "hostobjects.h"

#include "aboutbox.h"
#include "changerecord.h"
#include "clsVariableAccess.h"
#include "displayselection.h"
#include "documentwatcher.h"
#include "dlgAddSpreadSheet.h"
#include "dlgVariableAudit.h"
#include "dlgViewAllVar.h"
#include "editmenu.h"
#include "filedialog.h"
#include "frmVariableSettings.h"
#include "legacy.h"
#include "linkpaste.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "propertypage.h"
#include "runtimeerror.h"
#include "settingsstore.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
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

    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("tabVariables"));
    m_text = new PropertyPage(PageKind::Text, m_tabs);
    m_cell = new PropertyPage(PageKind::Cell, m_tabs);
    m_tabs->addTab(m_text, QStringLiteral("Text"));
    m_tabs->addTab(m_cell, QStringLiteral("Cell"));
    buildMenus(bar);

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

    auto* update = widgets::namedButton(this, "cmdUpdateVariable", QStringLiteral("Update Display"));
    auto* audit = widgets::namedButton(this, "cmdVariableAudit",
                                       QStringLiteral("Perform Variable Audit - Compare Variable Values"));
    auto* ok = widgets::namedButton(this, "OKButton", QStringLiteral("Done"));

    // Kept for the form's control set; it carries no behaviour here.
    m_tmrVarUpdate = new QTimer(this);
    m_tmrVarUpdate->setObjectName(QStringLiteral("tmrVarUpdate"));

    m_linkWatcher = new links::DocumentWatcher(this);
    m_linkChanged = new QTimer(this);
    m_linkChanged->setSingleShot(true);
    m_linkChanged->setInterval(200);
    connect(m_linkWatcher, &links::DocumentWatcher::changed, m_linkChanged, qOverload<>(&QTimer::start));
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
        connect(page, &PropertyPage::selectionChanged, this,
                [this, page] { guarded(kErrorOccurred, [&] { selectionChanged(page); }); });
        connect(page, &PropertyPage::pasteClicked, this, [this, page] { pasteOrClear(page); });
        connect(page, &PropertyPage::menuRequested, m_editMenu, &manager::EditMenu::popUp);
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
    if (!m_set) {
        m_set = std::make_unique<clsVariableAccess>();
        // What the window saves is in the send history, as the tool's changes are.
        m_set->setSaveObserver([](const auto& before, const auto& after) { history::recordChange(before, after); });
    }
    return *m_set;
}

void dlgVariables::setLinkContainer(std::unique_ptr<ILinkContainer> container)
{
    m_oleVarGrab = container ? std::move(container) : links::create();
}

void dlgVariables::buildMenus(QMenuBar* bar)
{
    QMenu* tools = bar->addMenu(QStringLiteral("&Tools"));
    tools->setObjectName(QStringLiteral("mnuTools"));
    connect(widgets::namedAction(tools, "mnuToolsNewConfiguration", QStringLiteral("&New Configuration")),
            &QAction::triggered, this, [this] {
                onLoadConfiguration(QStringLiteral("Choose name for new configuration!"),
                                    QStringLiteral("No name chosen! Not loading new configuration!"));
            });
    connect(widgets::namedAction(tools, "mnuToolsLoad", QStringLiteral("&Load Configuration")), &QAction::triggered,
            this, [this] {
                onLoadConfiguration(QStringLiteral("Choose file to load!"),
                                    QStringLiteral("No file chosen! No configuration will be loaded!"));
            });
    connect(widgets::namedAction(tools, "mnuToolsSave", QStringLiteral("&Save Configuration")), &QAction::triggered,
            this, &dlgVariables::onSaveConfiguration);
    widgets::namedSeparator(tools, "mnuSpacer1");
    connect(widgets::namedAction(tools, "mnuViewAllVar", QStringLiteral("&View All Variables")), &QAction::triggered,
            this, &dlgVariables::onViewAllVariables);
    widgets::namedSeparator(tools, "mnuSpacer");
    connect(widgets::namedAction(tools, "mnuToolsAuto", QStringLiteral("&AutoConfigured Spreadsheet")),
            &QAction::triggered, this, &dlgVariables::onAutoConfigure);

    // The Edit menu, also the right-button menu of the sheets and data boxes.
    m_editMenu = new manager::EditMenu(bar, {m_text, m_cell}, [this] { return currentPage(); });

    QMenu* choose = bar->addMenu(QStringLiteral("Update"));
    choose->setObjectName(QStringLiteral("mnuChoose"));
    connect(widgets::namedAction(choose, "mnuUpdateDisplay", QStringLiteral("Update Display Now")), &QAction::triggered,
            this, &dlgVariables::onUpdate);
    widgets::namedSeparator(choose, "mnuSep4");
    connect(widgets::namedAction(choose, "mnuChooseVar", QStringLiteral("Choose Variables to Update")),
            &QAction::triggered, this, &dlgVariables::onChooseVariables);
    connect(widgets::namedAction(choose, "mnuChooseDisplay", QStringLiteral("Choose Displays")), &QAction::triggered,
            this, &dlgVariables::onChooseDisplays);
    widgets::namedSeparator(choose, "mnuSpacer2");
    connect(widgets::namedAction(choose, "mnuSettings", QStringLiteral("Variable Update Settings")),
            &QAction::triggered, this, &dlgVariables::onSettings);

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
    guarded(kErrorInitializing, [this] { fillPages(); });
    m_updateOnTransmit->setChecked(settings::GetUpdateOnTransmit());
    m_tabs->setCurrentIndex(0);
    setTitle();
    loadOptions();
    m_editMenu->load();
}

void dlgVariables::unloadForm()
{
    m_loaded = false;
    m_text->shownNumber = 0;
    m_cell->shownNumber = 0;
    m_editMenu->unload();
    watchLinkedDocuments(); // nothing while unloaded
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

// Watches the local documents the link boxes name (a spreadsheet or a JSON
// file; not a URL or a topic) while the form is loaded.
void dlgVariables::watchLinkedDocuments()
{
    QStringList documents;
    for (PropertyPage* page : {m_text, m_cell}) {
        const QString link = page->linkBox()->text();
        if (!m_loaded || link.isEmpty())
            continue;
        documents << links::watchedSourceOf(link).document;
    }
    documents.removeAll(QString());
    m_linkWatcher->setDocuments(documents);
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
    m_linkWatcher->rewatch(); // a renamed-over file is watched afresh
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
            guarded(kErrorOccurred, [&] { selectionChanged(page); });
        }
    }
    page->dataBox()->setEnabled(page->linkBox()->text().isEmpty());
    watchLinkedDocuments();
}

PropertyPage* dlgVariables::currentPage() const { return m_tabs->currentIndex() == 1 ? m_cell : m_text; }

void dlgVariables::onDone()
{
    guarded(kErrorOccurred, [&] {
        for (PropertyPage* page : {m_text, m_cell})
            selectionChanged(page);
        variableSet().SaveVariables();
        storeOptions();
    });
    accept();
}

void dlgVariables::onUpdate()
{
    guarded(kErrorOccurred, [&] {
        commitPages();
        manager::UpdateFlow(&manager::selectDisplays).run(variableSet(), updateOption(), this);
    });
}

void dlgVariables::onAudit()
{
    guarded(kErrorOccurred, [&] {
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
    });
}

void dlgVariables::onChooseVariables()
{
    guarded(kErrorOccurred, [&] {
        commitPages();
        variableSet().SaveVariables();
        manager::chooseVariables(variableSet(), true, this);
    });
}

void dlgVariables::onChooseDisplays()
{
    guarded(kErrorOccurred, [&] {
        // Always the host's chooser, whatever "PromptForDisplay" says; the answer is not kept.
        createComponent<hostobjects::IDisplayChooser>(hostobjects::kDisplayChooserProgId)->SelectDisplays();
    });
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
    guarded(kErrorOccurred, [&] {
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
    });
}

void dlgVariables::onViewAllVariables()
{
    guarded(kErrorOccurred, [&] {
        onSaveConfiguration();
        dlgViewAllVar viewer(this);
        viewer.setVariableSet(&variableSet());
        viewer.SetVar(m_oleVarGrab.get());
        viewer.exec();
    });
}

// The editors are committed and the set saved first, so that nothing typed is
// lost when the set becomes the new, linked configuration.
void dlgVariables::onAutoConfigure()
{
    guarded(kErrorOccurred, [&] {
        onSaveConfiguration();
        dlgAddSpreadSheet dialog(this);
        dialog.exec();
        dialog.AutoConfigureSpreadSheet(variableSet());
        refresh();
    });
}

void dlgVariables::refresh()
{
    // The editors show the set as loaded: nothing of the old file is committed.
    m_text->showChosen(variableSet(), m_oleVarGrab.get());
    m_cell->showChosen(variableSet(), m_oleVarGrab.get());
    setTitle();
    watchLinkedDocuments();
}

bool dlgVariables::guarded(const QString& prefix, const std::function<void()>& work)
{
    return msgbox::guard({prefix, msgbox::NoIcon, this}, work);
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
