#include "frmMain.h"

#include "DisplayList.h"
#include "FrameEditor.h"
#include "classregistry.h"
#include "displaychoice.h"
#include "dlgDisplayList.h"
#include "disptrans.h"
#include "filedialog.h"
#include "hostobjects.h"
#include "pluginmaster.h"
#include "progids.h"
#include "rtf.h"
#include "latebound.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "runtimeerror.h"
#include "hostsettings.h"
#include "transmitter.h"

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QGuiApplication>
#include <QScreen>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

namespace {
const QString kTokenHint = QStringLiteral(
    "A variable goes into a line as its token: VBL and the variable's three-digit number (VBL001 to VBL256 "
    "for text variables, VBL257 to VBL416 for cell variables 1 to 160). Frame > Insert from Variable "
    "Access/QMD... adds one at the end of the current line; on the sign it shows the variable's text.");
const QString kPlayfileFilter = QStringLiteral("Playfiles (*.lpf)|*.lpf|Text Files (*.txt)|*.txt|All Files|*");
} // namespace

frmMain::frmMain(QWidget* parent)
    : QMainWindow(parent), m_playfile(new QPlainTextEdit(this)), m_log(new QPlainTextEdit(this)),
      m_display(new QComboBox(this)), m_transmit(new QPushButton(QStringLiteral("&Transmit"), this)),
      m_status(new QLabel(this)), m_frameEditor(new FrameEditor(m_playfile, this))
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QStringLiteral("Lumarex"));
    m_playfile->setObjectName(QStringLiteral("txtPlayfile"));
    m_playfile->setPlaceholderText(QStringLiteral("Type the playfile here; one line per frame."));
    m_playfile->setToolTip(kTokenHint);
    QFont mono(QStringLiteral("Monospace"));
    mono.setStyleHint(QFont::TypeWriter);
    m_playfile->setFont(mono);
    m_log->setObjectName(QStringLiteral("txtLog"));
    m_log->setReadOnly(true);
    m_display->setObjectName(QStringLiteral("cmbDisplay"));
    m_display->setMinimumContentsLength(24);
    m_transmit->setObjectName(QStringLiteral("cmdTransmit"));
    m_status->setObjectName(QStringLiteral("lblStatus"));

    auto* toolbar = addToolBar(QStringLiteral("Transmit"));
    toolbar->setObjectName(QStringLiteral("tbrTransmit"));
    toolbar->setMovable(false);
    auto* displayLabel = new QLabel(QStringLiteral(" Display: "), this);
    displayLabel->setObjectName(QStringLiteral("lblDisplay"));
    toolbar->addWidget(displayLabel);
    toolbar->addWidget(m_display);
    toolbar->addWidget(m_transmit);

    // How a variable gets into a message, where the operator types the message.
    auto* hint = new QLabel(kTokenHint, this);
    hint->setObjectName(QStringLiteral("lblTokenHint"));
    hint->setWordWrap(true);
    auto* editorPane = new QWidget(this);
    auto* editorLayout = new QVBoxLayout(editorPane);
    editorLayout->setContentsMargins(0, 0, 0, 0);
    editorLayout->addWidget(hint);
    editorLayout->addWidget(m_playfile, 1);

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->setObjectName(QStringLiteral("splMain"));
    splitter->addWidget(editorPane);
    splitter->addWidget(m_log);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);
    statusBar()->addWidget(m_status, 1);
    resize(800, 560);

    buildMenus();
    connect(m_transmit, &QPushButton::clicked, this, [this] { transmit(); });
    connect(m_playfile->document(), &QTextDocument::modificationChanged, this, [this] { updateTitle(); });
    reloadDisplays();
    updateTitle();
}

void frmMain::fitOnScreen()
{
    const QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    // Room for the window frame, which is not part of the widget's size.
    const QSize frame = frameGeometry().size() - geometry().size();
    const QSize room = available.size() - QSize(qMax(frame.width(), 16), qMax(frame.height(), 40));
    resize(size().boundedTo(room));
    QRect placed = frameGeometry();
    // A place given on the command line or chosen by the window manager stays.
    if (available.contains(placed))
        return;
    placed.moveCenter(available.center());
    move(placed.topLeft().x() < available.left() ? available.left() : placed.left(),
         placed.top() < available.top() ? available.top() : placed.top());
}

frmMain::~frmMain()
{
    // Plug-in objects go before the libraries' other objects they may use.
    m_pluginObjects.clear();
    m_control.reset();
}

void frmMain::buildMenus()
{
    auto* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    auto addFileAction = [&](const char* name, const QString& text, QKeySequence::StandardKey key, auto slot) {
        QAction* action = widgets::namedAction(file, name, text);
        connect(action, &QAction::triggered, this, slot);
        action->setShortcut(key);
    };
    addFileAction("mnuFileNew", QStringLiteral("&New"), QKeySequence::New, [this] { newPlayfile(); });
    addFileAction("mnuFileOpen", QStringLiteral("&Open..."), QKeySequence::Open, [this] { openPlayfile(); });
    addFileAction("mnuFileSave", QStringLiteral("&Save"), QKeySequence::Save, [this] { savePlayfile(); });
    addFileAction("mnuFileSaveAs", QStringLiteral("Save &As..."), QKeySequence::SaveAs, [this] { savePlayfileAs(); });
    file->addSeparator();
    auto* exit = file->addAction(QStringLiteral("E&xit"), this, &QWidget::close);
    exit->setObjectName(QStringLiteral("mnuFileExit"));

    auto* displays = menuBar()->addMenu(QStringLiteral("&Displays"));
    displays->setObjectName(QStringLiteral("mnuDisplays"));
    auto* list = displays->addAction(QStringLiteral("Display &List..."), this, [this] { showDisplayList(); });
    list->setObjectName(QStringLiteral("mnuDisplayList"));
    auto* choose = displays->addAction(QStringLiteral("&Choose Displays..."), this, [this] { chooseDisplays(); });
    choose->setObjectName(QStringLiteral("mnuChooseDisplays"));
    auto* reload = displays->addAction(QStringLiteral("&Reload Display List"), this, [this] { reloadDisplays(); });
    reload->setObjectName(QStringLiteral("mnuReloadDisplays"));

    m_frameMenu = menuBar()->addMenu(QStringLiteral("F&rame"));
    m_frameMenu->setObjectName(QStringLiteral("mnuFrame"));
    m_pluginMenu = menuBar()->addMenu(QStringLiteral("&Plug-ins"));
    m_pluginMenu->setObjectName(QStringLiteral("mnuPlugins"));
    rebuildPluginMenus();
}

void frmMain::rebuildPluginMenus()
{
    m_frameMenu->clear();
    auto* transmitAction = m_frameMenu->addAction(QStringLiteral("&Transmit"), this, [this] { transmit(); });
    transmitAction->setObjectName(QStringLiteral("mnuTransmit"));
    auto* editText = m_frameMenu->addAction(QStringLiteral("&Edit Line Text..."), this,
                                            [this] { editCurrentLineText(); });
    editText->setObjectName(QStringLiteral("mnuEditLineText"));
    editText->setStatusTip(QStringLiteral("Edit the current line in the variable text editor"));
    m_frameMenu->addSeparator();
    m_pluginMenu->clear();
    if (m_plugins.isEmpty()) {
        auto* none = m_pluginMenu->addAction(QStringLiteral("(no plug-ins)"));
        none->setObjectName(QStringLiteral("mnuNoPlugins"));
        none->setEnabled(false);
    }
    for (int i = 0; i < m_plugins.size(); ++i) {
        const plugincatalog::PluginInfo& p = m_plugins[i];
        auto* start = m_pluginMenu->addAction(p.icon, p.descriptiveName, this,
                                              [this, id = p.progId] { startPlugin(id); });
        start->setObjectName(QStringLiteral("mnuPlugin%1").arg(i));
        start->setStatusTip(p.description);
        start->setData(p.progId);
        // Only plug-ins that say they have a frame feature get a place here.
        bool framed = false;
        try {
            framed = latebound::callMethod(pluginObject(p.progId), "DoesFrameEdit").toBool();
        } catch (const std::exception& e) {
            log(QStringLiteral("%1: no frame feature (%2)").arg(p.progId, QString::fromLocal8Bit(e.what())));
        }
        if (!framed)
            continue;
        auto* frame = m_frameMenu->addAction(p.icon,
                                             QStringLiteral("Insert from ") + p.descriptiveName + QStringLiteral("..."),
                                             this, [this, id = p.progId] { startFrameFeature(id); });
        frame->setObjectName(QStringLiteral("mnuFrameFeature%1").arg(i));
        frame->setData(p.progId);
        frame->setStatusTip(QStringLiteral("Insert a variable token at the end of the current line"));
    }
}

void frmMain::setPlayfileText(const QString& text, bool modified)
{
    m_playfile->setPlainText(text);
    m_playfile->document()->setModified(modified);
    m_playfile->moveCursor(QTextCursor::End);
}

void frmMain::log(const QString& line)
{
    m_log->appendPlainText(QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss ")) + line);
}

bool frmMain::guarded(const QString& prefix, const std::function<void()>& work)
{
    return msgbox::guard({prefix, msgbox::Exclamation, this, [this](const QString& text) { log(text); }}, work);
}

void frmMain::loadPlugins(const QString& folder)
{
    for (const QString& problem : plugincatalog::registerLibraries(folder))
        log(problem);
    QStringList problems;
    m_plugins = plugincatalog::discover(&problems);
    for (const QString& problem : std::as_const(problems))
        log(problem);
    rebuildPluginMenus();
    for (const auto& p : std::as_const(m_plugins))
        log(QStringLiteral("Plug-in: %1 (%2)").arg(p.descriptiveName, p.progId));
    m_status->setText(QStringLiteral("%1 plug-in(s)").arg(m_plugins.size()));
}

void frmMain::reloadDisplays()
{
    const QString previous = m_display->currentData().toString();
    m_display->clear();
    DisplayList list;
    try {
        list.setListFile(DisplayList::kDefaultListFile);
        for (const DisplayRecord& r : list.records()) {
            m_display->addItem(displaychoice::caption(r), r.number);
            m_display->setItemData(m_display->count() - 1, displaychoice::connectionText(r), Qt::ToolTipRole);
        }
        for (const QString& e : list.ParseErrors())
            log(QStringLiteral("Displays.dat ") + e);
        log(QStringLiteral("Display list: %1 display(s) from %2")
                .arg(m_display->count())
                .arg(DisplayList::resolve(DisplayList::kDefaultListFile)));
    } catch (const RuntimeError& e) {
        log(QStringLiteral("Display list not loaded: ") + e.description());
    }
    const int index = m_display->findData(previous);
    if (index >= 0)
        m_display->setCurrentIndex(index);
    m_transmit->setEnabled(m_display->count() > 0);
}

QObject* frmMain::pluginObject(const QString& progId)
{
    for (auto& [id, object] : m_pluginObjects) {
        if (id == progId)
            return object.get();
    }
    QObject* created = ComponentLoader::create(progId);
    if (created->objectName().isEmpty())
        created->setObjectName(progId);
    m_pluginObjects.emplace_back(progId, std::unique_ptr<QObject>(created));
    return created;
}

void frmMain::startPlugin(const QString& progId)
{
    guarded(QStringLiteral("Plug-in failed: "), [&] {
        latebound::callMethod(pluginObject(progId), "StartPlugin", QVariantList{QVariant::fromValue<QObject*>(this)});
    });
}

void frmMain::startFrameFeature(const QString& progId)
{
    guarded(QStringLiteral("Frame feature failed: "), [&] {
        QObject* plugin = pluginObject(progId);
        if (!latebound::callMethod(plugin, "DoesFrameEdit").toBool()) {
            log(progId + QStringLiteral(" offers no frame feature"));
            return;
        }
        latebound::callMethod(plugin, "StartFrameFeature", QVariantList{QVariant::fromValue<QObject*>(m_frameEditor)});
    });
}

bool frmMain::transmit()
{
    const QString number = m_display->currentData().toString();
    if (number.isEmpty()) {
        msgbox::show(QStringLiteral("There is no display to transmit to. Add one in Displays > Display List."),
                     msgbox::OKOnly, msgbox::NoIcon, {}, this);
        return false;
    }
    bool sent = false;
    guarded(QStringLiteral("Transmit failed: "), [&] {
        DisplayList list;
        list.setListFile(DisplayList::kDefaultListFile);
        const DisplayRecord record = list.records().at(list.FindDisplay(number) - 1);
        if (!m_control)
            m_control.reset(ComponentLoader::create(disptrans::kDispTransProgId));
        QList<QObject*> hooks;
        for (const auto& p : std::as_const(m_plugins))
            hooks << pluginObject(p.progId);
        Transmitter transmitter(m_control.get());
        transmitter.setLog([this](const QString& line) { log(line); });
        // The token table lives in the plug-in master; without one the playfile goes out as typed.
        std::shared_ptr<QObject> master(ComponentLoader::tryCreate(QString::fromLatin1(progid::kPluginMaster)));
        if (auto* table = master ? qobject_cast<pluginmaster::IPluginMaster*>(master.get()) : nullptr)
            transmitter.setTokenLookup([master, table](const QString& token) { return table->GetTokenText(token); });
        else
            log(QStringLiteral("No token table: variable tokens are sent as typed"));
        const bool ok = transmitter.transmit(record, m_playfile->toPlainText(), hooks);
        // Remembered where the plug-in reads it, only once the display was really reached.
        if (transmitter.opened())
            settings::write(hostsettings::kLastOpenedDisplay, number);
        m_status->setText(ok ? QStringLiteral("Transmitted to display %1").arg(number)
                             : QStringLiteral("Transmission to display %1 FAILED").arg(number));
        sent = ok;
    });
    return sent;
}

void frmMain::chooseDisplays()
{
    guarded(QStringLiteral("Display choice failed: "), [&] {
        std::unique_ptr<QObject> chooser(ComponentLoader::create(hostobjects::kDisplayChooserProgId));
        const QString chosen = latebound::callMethod(chooser.get(), "SelectDisplays").toString();
        log(chosen.isEmpty() ? QStringLiteral("No displays chosen") : QStringLiteral("Chosen displays: ") + chosen);
        const int index = m_display->findData(chosen.section(u',', 0, 0));
        if (index >= 0)
            m_display->setCurrentIndex(index);
    });
}

void frmMain::showDisplayList()
{
    dlgDisplayList dialog(DisplayList::resolve(DisplayList::kDefaultListFile), this);
    connect(&dialog, &dlgDisplayList::saved, this, [this](const QString& path, int count) {
        log(QStringLiteral("Display list saved: %1 display(s) in %2").arg(count).arg(path));
    });
    dialog.exec();
    reloadDisplays();
}

void frmMain::editCurrentLineText()
{
    guarded(QStringLiteral("Variable text editor failed: "), [&] {
        std::unique_ptr<QObject> editor(ComponentLoader::create(QString::fromLatin1(progid::kVarEditor)));
        QTextCursor line = m_playfile->textCursor();
        line.movePosition(QTextCursor::StartOfBlock);
        line.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
        const QString given = QString::fromLatin1(rtf::write({rtf::Run{line.selectedText(), {}}}));
        latebound::callMethod(editor.get(), "SetText", {given});
        latebound::callMethod(editor.get(), "EnableEdit", {true});
        latebound::callMethod(editor.get(), "Show", {QVariant::fromValue(int16_t(1))});
        // After OK the editor gives back plain text; after Cancel the rich text it was given.
        const QString result = latebound::callMethod(editor.get(), "GetText").toString();
        if (result.isEmpty() && line.selectedText().isEmpty())
            return;
        if (result == given || rtf::isRtf(result)) {
            log(QStringLiteral("Line text not changed"));
            return;
        }
        line.insertText(result);
        log(QStringLiteral("Line text edited"));
    });
}

void frmMain::updateTitle()
{
    const QString name = m_playfilePath.isEmpty() ? QStringLiteral("Untitled") : QFileInfo(m_playfilePath).fileName();
    setWindowTitle(QStringLiteral("Lumarex - ") + name + (m_playfile->document()->isModified() ? "*" : ""));
}

bool frmMain::maySetPlayfileAside()
{
    if (!m_playfile->document()->isModified())
        return true;
    const msgbox::Answer answer = msgbox::show(
        QStringLiteral("The playfile has unsaved changes. Do you want to save them?"), msgbox::YesNoCancel,
        msgbox::Exclamation, QStringLiteral("Lumarex"), this);
    if (answer == msgbox::Yes)
        return savePlayfile();
    return answer == msgbox::No;
}

void frmMain::newPlayfile()
{
    if (!maySetPlayfileAside())
        return;
    m_playfile->clear();
    m_playfile->document()->setModified(false);
    m_playfilePath.clear();
    updateTitle();
    log(QStringLiteral("New playfile"));
}

bool frmMain::openPlayfile(const QString& path)
{
    if (!maySetPlayfileAside())
        return false;
    const QString chosen = path.isEmpty() ? filedialog::getOpenFileName(QStringLiteral("Open Playfile"),
                                                                        kPlayfileFilter, {}, {}, this)
                                          : path;
    if (chosen.isEmpty())
        return false;
    QFile file(chosen);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        msgbox::show(QStringLiteral("The playfile could not be opened: ") + file.errorString(), msgbox::OKOnly,
                     msgbox::Critical, {}, this);
        return false;
    }
    setPlayfileText(QString::fromUtf8(file.readAll()));
    m_playfile->document()->setModified(false);
    m_playfilePath = QFileInfo(chosen).absoluteFilePath();
    updateTitle();
    log(QStringLiteral("Opened playfile %1").arg(m_playfilePath));
    return true;
}

bool frmMain::savePlayfile() { return m_playfilePath.isEmpty() ? savePlayfileAs() : writePlayfile(m_playfilePath); }

bool frmMain::savePlayfileAs(const QString& path)
{
    QString chosen = path.isEmpty() ? filedialog::getSaveFileName(QStringLiteral("Save Playfile As"), kPlayfileFilter,
                                                                  {}, QStringLiteral("Playfile.lpf"), this)
                                    : path;
    if (chosen.isEmpty())
        return false;
    // A name without an extension gets the playfile's, so that Open lists it.
    if (QFileInfo(chosen).suffix().isEmpty())
        chosen += QStringLiteral(".lpf");
    if (chosen != m_playfilePath && QFileInfo::exists(chosen)
        && msgbox::show(QStringLiteral("%1 already exists. Do you want to replace it?").arg(chosen), msgbox::YesNo,
                        msgbox::Exclamation, QStringLiteral("Lumarex"), this)
               != msgbox::Yes)
        return false;
    return writePlayfile(chosen);
}

bool frmMain::writePlayfile(const QString& path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text) || file.write(m_playfile->toPlainText().toUtf8()) < 0
        || !file.commit()) {
        msgbox::show(QStringLiteral("The playfile could not be saved: ") + file.errorString(), msgbox::OKOnly,
                     msgbox::Critical, {}, this);
        return false;
    }
    m_playfilePath = QFileInfo(path).absoluteFilePath();
    m_playfile->document()->setModified(false);
    updateTitle();
    log(QStringLiteral("Saved playfile %1").arg(m_playfilePath));
    return true;
}

void frmMain::closeEvent(QCloseEvent* event)
{
    if (maySetPlayfileAside())
        event->accept();
    else
        event->ignore();
}
