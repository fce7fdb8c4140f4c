#include "frmMain.h"

#include "DisplayList.h"
#include "FrameEditor.h"
#include "classregistry.h"
#include "dlgDisplayList.h"
#include "disptrans.h"
#include "hostobjects.h"
#include "latebound.h"
#include "messagebox.h"
#include "runtimeerror.h"
#include "hostsettings.h"
#include "transmitter.h"

#include <QAction>
#include <QComboBox>
#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

frmMain::frmMain(QWidget* parent)
    : QMainWindow(parent), m_playfile(new QPlainTextEdit(this)), m_log(new QPlainTextEdit(this)),
      m_display(new QComboBox(this)), m_transmit(new QPushButton(QStringLiteral("&Transmit"), this)),
      m_status(new QLabel(this)), m_frameEditor(new FrameEditor(m_playfile, this))
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QStringLiteral("Lumarex"));
    m_playfile->setObjectName(QStringLiteral("txtPlayfile"));
    m_playfile->setPlaceholderText(QStringLiteral("Type the playfile here; one line per frame."));
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

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->setObjectName(QStringLiteral("splMain"));
    splitter->addWidget(m_playfile);
    splitter->addWidget(m_log);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);
    statusBar()->addWidget(m_status, 1);
    resize(800, 560);

    buildMenus();
    connect(m_transmit, &QPushButton::clicked, this, [this] { transmit(); });
    reloadDisplays();
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
        auto* frame = m_frameMenu->addAction(p.icon, p.descriptiveName + QStringLiteral("..."), this,
                                             [this, id = p.progId] { startFrameFeature(id); });
        frame->setObjectName(QStringLiteral("mnuFrameFeature%1").arg(i));
        frame->setData(p.progId);
    }
}

void frmMain::setPlayfileText(const QString& text)
{
    m_playfile->setPlainText(text);
    m_playfile->moveCursor(QTextCursor::End);
}

void frmMain::log(const QString& line)
{
    m_log->appendPlainText(QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss ")) + line);
}

void frmMain::reportError(const QString& prefix, const std::exception& e)
{
    const auto* runtime = dynamic_cast<const RuntimeError*>(&e);
    const QString text = prefix + u' ' + (runtime ? runtime->description() : QString::fromLocal8Bit(e.what()));
    log(text);
    msgbox::show(text, msgbox::OKOnly, msgbox::Exclamation, {}, this);
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
        for (const DisplayRecord& r : list.records())
            m_display->addItem(r.number + QStringLiteral(" - ") + r.name, r.number);
        for (const QString& e : list.ParseErrors())
            log(QStringLiteral("Displays.dat ") + e);
    } catch (const RuntimeError& e) {
        log(e.description());
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
    try {
        latebound::callMethod(pluginObject(progId), "StartPlugin", QVariantList{QVariant::fromValue<QObject*>(this)});
    } catch (const std::exception& e) {
        reportError(QStringLiteral("Plug-in failed:"), e);
    }
}

void frmMain::startFrameFeature(const QString& progId)
{
    try {
        QObject* plugin = pluginObject(progId);
        if (!latebound::callMethod(plugin, "DoesFrameEdit").toBool()) {
            log(progId + QStringLiteral(" offers no frame feature"));
            return;
        }
        latebound::callMethod(plugin, "StartFrameFeature", QVariantList{QVariant::fromValue<QObject*>(m_frameEditor)});
    } catch (const std::exception& e) {
        reportError(QStringLiteral("Frame feature failed:"), e);
    }
}

bool frmMain::transmit()
{
    const QString number = m_display->currentData().toString();
    if (number.isEmpty()) {
        msgbox::show(QStringLiteral("There is no display to transmit to. Add one in Displays > Display List."),
                     msgbox::OKOnly, msgbox::NoIcon, {}, this);
        return false;
    }
    try {
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
        settings::write(hostsettings::kLastOpenedDisplay, number);
        const bool sent = transmitter.transmit(record, m_playfile->toPlainText(), hooks);
        m_status->setText(sent ? QStringLiteral("Transmitted to display %1").arg(number)
                               : QStringLiteral("Transmission to display %1 FAILED").arg(number));
        return sent;
    } catch (const std::exception& e) {
        reportError(QStringLiteral("Transmit failed:"), e);
        return false;
    }
}

void frmMain::chooseDisplays()
{
    try {
        std::unique_ptr<QObject> chooser(ComponentLoader::create(hostobjects::kDisplayChooserProgId));
        const QString chosen = latebound::callMethod(chooser.get(), "SelectDisplays").toString();
        log(chosen.isEmpty() ? QStringLiteral("No displays chosen") : QStringLiteral("Chosen displays: ") + chosen);
        const int index = m_display->findData(chosen.section(u',', 0, 0));
        if (index >= 0)
            m_display->setCurrentIndex(index);
    } catch (const std::exception& e) {
        reportError(QStringLiteral("Display choice failed:"), e);
    }
}

void frmMain::showDisplayList()
{
    dlgDisplayList dialog(DisplayList::resolve(DisplayList::kDefaultListFile), this);
    dialog.exec();
    reloadDisplays();
}
