#include "dlgVariableUpdate.h"

#include "linkcontainer.h"

#include "dlgUpdateDelay.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "reportfile.h"
#include "statusicons.h"
#include "updaterun.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QShowEvent>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {
const QString kShowDetails = QStringLiteral(">> Show Details");
const QString kHideDetails = QStringLiteral("<< Hide Details");

QTextCharFormat formatOf(ReportStyle style)
{
    QTextCharFormat f;
    f.setFontFamilies(QStringList{QStringLiteral("Arial")});
    f.setFontPointSize(10);
    f.setFontWeight(QFont::Normal);
    QColor color(Qt::black);
    switch (style) {
    case ReportStyle::Heading:
        color = QColor(0, 0, 255);
        f.setFontPointSize(12);
        f.setFontWeight(QFont::Bold);
        break;
    case ReportStyle::Display: f.setFontWeight(QFont::Bold); break;
    case ReportStyle::Label: break;
    case ReportStyle::Success:
        color = QColor(0, 255, 0);
        f.setFontWeight(QFont::Bold);
        break;
    case ReportStyle::Failure: color = QColor(255, 0, 0); break;
    case ReportStyle::Canceled: color = QColor(255, 0, 255); break;
    }
    f.setForeground(color);
    return f;
}
} // namespace

dlgVariableUpdate::dlgVariableUpdate(QWidget* parent)
    : QDialog(parent), m_oleVarGrab(links::create()), m_run(new UpdateRun(this))
{
    setObjectName(QStringLiteral("dlgVariableUpdate"));
    m_run->setLinkSource(m_oleVarGrab.get());
    buildUi();

    UpdateRun* run = m_run;
    connect(run, &UpdateRun::rowsReset, this, &dlgVariableUpdate::refreshRows);
    connect(run, &UpdateRun::rowChanged, this, &dlgVariableUpdate::refreshRow);
    connect(run, &UpdateRun::reportAppended, this, &dlgVariableUpdate::appendReport);
    connect(run, &UpdateRun::controlsChanged, this, &dlgVariableUpdate::refreshControls);
    connect(run, &UpdateRun::connectionLabelChanged, m_connection, &QLabel::setText);
    connect(run, &UpdateRun::statusChanged, this, [this](const QString& caption, int percent) {
        m_status->setText(caption);
        m_progress->setRange(0, 100);
        m_progress->setValue(qBound(0, percent, 100));
        refreshActivity();
    });
    connect(run, &UpdateRun::passFinished, this, &dlgVariableUpdate::showPassOver);

    connect(m_cancel, &QPushButton::clicked, run, &UpdateRun::cancelDisplay);
    connect(m_cancelAll, &QPushButton::clicked, run, &UpdateRun::cancelAll);
    connect(m_retry, &QPushButton::clicked, run, &UpdateRun::RunUpdate);
    connect(m_stopRetry, &QPushButton::clicked, run, &UpdateRun::stopRetry);
    connect(m_details, &QPushButton::clicked, this, &dlgVariableUpdate::toggleDetails);
    connect(m_save, &QPushButton::clicked, this, &dlgVariableUpdate::saveReport);
    connect(m_close, &QPushButton::clicked, this, &dlgVariableUpdate::reject);
    connect(m_list, &QWidget::customContextMenuRequested, this, &dlgVariableUpdate::showStatusMenu);
    refreshControls();
    refreshActivity();
}

dlgVariableUpdate::~dlgVariableUpdate()
{
    m_run->timerRetry().stop();
    m_run->timerSched().stop();
}

void dlgVariableUpdate::buildUi()
{
    setWindowTitle(QStringLiteral("Variable Update"));

    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("lstvDisplayStatus"));
    m_list->setHeaderLabels(
        {QStringLiteral("Display"), QStringLiteral("Status"), QStringLiteral("When"), QStringLiteral("Delay")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setAllColumnsShowFocus(true);
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setSectionResizeMode(2, QHeaderView::Stretch);
    m_list->setColumnWidth(0, 140);
    m_list->setColumnWidth(1, 110);
    m_list->setColumnWidth(3, 60);
    m_list->setMinimumHeight(150);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);

    // The status list's right-button menu: the chosen display again, at once.
    m_statusMenu = new QMenu(this);
    m_statusMenu->setObjectName(QStringLiteral("mnuPopupReTransmit"));
    QAction* again = m_statusMenu->addAction(QStringLiteral("Re-Transmit to this Display Now"));
    again->setObjectName(QStringLiteral("mnuReTransmit"));
    connect(again, &QAction::triggered, this, [this] {
        const int row = m_list->indexOfTopLevelItem(m_list->currentItem());
        if (row >= 0)
            m_run->reTransmit(row);
    });

    m_connection = new QLabel(this);
    m_connection->setObjectName(QStringLiteral("lblConnectionStatus"));
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("lblTransmitionstatus"));
    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("prgTransmitionStatus"));
    m_progress->setRange(0, 100);
    m_progress->setValue(0);

    m_retryLabel = new QLabel(this);
    m_retryLabel->setObjectName(QStringLiteral("lblRetry"));
    m_stopRetry = widgets::namedButton(this, "cmdStopRetry", QStringLiteral("Stop Retry"));
    for (QWidget* w : {static_cast<QWidget*>(m_retryLabel), static_cast<QWidget*>(m_stopRetry)}) {
        QSizePolicy policy = w->sizePolicy();
        policy.setRetainSizeWhenHidden(true); // the countdown row keeps its place
        w->setSizePolicy(policy);
    }

    m_cancel = widgets::namedButton(this, "cmdCancel", QStringLiteral("Cancel"));
    m_cancelAll = widgets::namedButton(this, "cmdCancelAll", QStringLiteral("Cancel All"));
    m_retry = widgets::namedButton(this, "cmdRetry", QStringLiteral("Retry Now"));
    m_details = widgets::namedButton(this, "cmdDetails", kShowDetails);
    m_save = widgets::namedButton(this, "cmdSaveToFile", QStringLiteral("Save To File"));
    m_close = widgets::namedButton(this, "cmdClose", QStringLiteral("Close"));

    m_report = new QTextEdit(this);
    m_report->setObjectName(QStringLiteral("rtxtUpdateReport"));
    m_report->setReadOnly(true);
    m_report->document()->setDefaultFont(QFont(QStringLiteral("Arial"), 10));
    m_report->setMinimumHeight(120);
    m_report->hide();

    auto* connectionRow = new QHBoxLayout;
    connectionRow->addWidget(m_connection);
    connectionRow->addStretch();
    connectionRow->addWidget(m_status);

    auto* retryRow = new QHBoxLayout;
    retryRow->addWidget(m_retryLabel, 1);
    retryRow->addWidget(m_stopRetry);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_cancelAll);
    buttons->addWidget(m_retry);
    buttons->addStretch();
    buttons->addWidget(m_details);
    buttons->addWidget(m_save);
    buttons->addWidget(m_close);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addLayout(connectionRow);
    layout->addWidget(m_progress);
    layout->addLayout(retryRow);
    layout->addLayout(buttons);
    layout->addWidget(m_report, 2);

    resize(620, 330);
}

UpdateRun& dlgVariableUpdate::run() { return *m_run; }

void dlgVariableUpdate::setVariableSet(clsVariableAccess* set) { m_run->setVariableSet(set); }
void dlgVariableUpdate::setSelectedVars(const VarSelection& vars) { m_run->setSelection(vars); }
void dlgVariableUpdate::setDisplayList(const QString& displays) { m_run->setDisplayList(displays); }
void dlgVariableUpdate::setDelayList(const QString& delays) { m_run->setDelayList(delays); }

void dlgVariableUpdate::start(const UpdateRequest& request)
{
    m_run->setRequest(request);
    startModal(request.option);
}

void dlgVariableUpdate::SendVarData() { startModal(UpdateRun::DataOnly); }
void dlgVariableUpdate::SendVarAttributes() { startModal(UpdateRun::AttributesOnly); }
void dlgVariableUpdate::SendAllVarInfo() { startModal(UpdateRun::DataAndAttributes); }

void dlgVariableUpdate::startModal(UpdateOption mode)
{
    m_run->setMode(mode);
    m_startPending = true;
    exec();
}

void dlgVariableUpdate::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (!m_startPending)
        return;
    m_startPending = false;
    // The run starts once the dialog is on screen, from its own event loop.
    QTimer::singleShot(0, this, [this] { m_run->start(); });
}

bool dlgVariableUpdate::mayClose()
{
    // Only the two cancel buttons stop a pass; the dialog stays until the pass is over.
    if (m_run->passRunning())
        return false;
    if (m_run->timerSched().isActive()) {
        const QString text = QStringLiteral("Variables will not be updated if Variable Plug-In is closed.")
                             + QStringLiteral("\r\n")
                             + QStringLiteral(
                                 "Are you sure you want to close this Plug-In and terminate this process?");
        if (msgbox::show(text, msgbox::YesNo, msgbox::NoIcon, QStringLiteral("Confirm Cancel"), this) != msgbox::Yes)
            return false;
    }
    m_run->timerSched().stop();
    m_run->timerRetry().stop();
    return true;
}

void dlgVariableUpdate::reject()
{
    if (mayClose())
        QDialog::reject();
}

void dlgVariableUpdate::done(int result)
{
    m_run->timerSched().stop();
    m_run->timerRetry().stop();
    QDialog::done(result);
}

void dlgVariableUpdate::refreshRows()
{
    QStringList entries;
    for (const DisplayRow& row : m_run->rows())
        entries << row.display;
    m_displayNames = dlgUpdateDelay::displayNames(entries);
    m_list->clear();
    for (const DisplayRow& row : m_run->rows()) {
        auto* item = new QTreeWidgetItem(m_list);
        item->setData(0, Qt::UserRole, row.display); // the row's tag
    }
    for (int i = 0; i < m_run->rows().size(); ++i)
        refreshRow(i);
}

void dlgVariableUpdate::refreshRow(int row)
{
    QTreeWidgetItem* item = m_list->topLevelItem(row);
    if (!item)
        return;
    const DisplayRow& r = m_run->rows().at(row);
    item->setText(0, r.display);
    item->setToolTip(0, m_displayNames.value(r.display));
    item->setIcon(0, statusIcon(r.status));
    item->setText(1, r.status);
    item->setText(2, r.when);
    item->setToolTip(2, r.when);
    item->setText(3, r.delay);
    refreshActivity();
}

void dlgVariableUpdate::refreshActivity()
{
    const bool sending = m_run->passRunning();
    m_cancel->setEnabled(sending);
    m_cancelAll->setEnabled(sending);
    m_statusMenu->actions().constFirst()->setEnabled(!sending);
}

void dlgVariableUpdate::showPassOver()
{
    int updated = 0, failed = 0, waiting = 0;
    for (const DisplayRow& row : m_run->rows()) {
        updated += row.status == UpdateRun::kUpdated;
        failed += row.status == UpdateRun::kFailed;
        waiting += row.status == UpdateRun::kScheduled;
    }
    QString text = QStringLiteral("Update pass finished: %1 Updated, %2 FAILED").arg(updated).arg(failed);
    if (waiting > 0)
        text += QStringLiteral(", %1 Scheduled").arg(waiting);
    m_status->setText(text);
    m_progress->setRange(0, 100);
    m_progress->setValue(100);
    refreshActivity();
}

void dlgVariableUpdate::showStatusMenu(const QPoint& position)
{
    QTreeWidgetItem* item = m_list->itemAt(position);
    if (!item)
        return;
    m_list->setCurrentItem(item);
    m_statusMenu->popup(m_list->viewport()->mapToGlobal(position));
}

void dlgVariableUpdate::refreshControls()
{
    const UpdateRun::Controls c = m_run->controls();
    m_save->setEnabled(c.saveEnabled);
    m_retry->setEnabled(c.retryEnabled);
    m_stopRetry->setVisible(c.stopRetryVisible);
    m_retryLabel->setVisible(c.retryLabelVisible);
    m_retryLabel->setText(m_run->retryLabel());
}

void dlgVariableUpdate::appendReport(const QString& text, ReportStyle style)
{
    QTextCursor cursor(m_report->document());
    cursor.movePosition(QTextCursor::End);
    QString plain = text;
    plain.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    const QTextCharFormat format = formatOf(style);
    const QStringList lines = plain.split(u'\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (i > 0)
            cursor.insertBlock(QTextBlockFormat(), format);
        if (!lines[i].isEmpty())
            cursor.insertText(lines[i], format);
    }
    m_report->ensureCursorVisible();
}

void dlgVariableUpdate::toggleDetails()
{
    if (m_detailsShown) {
        m_detailsHeight = qMax(m_report->minimumHeight(), height() - m_collapsedHeight);
        m_report->hide();
        m_details->setText(kShowDetails);
        layout()->activate();
        resize(width(), qMax(minimumSizeHint().height(), m_collapsedHeight));
    } else {
        m_collapsedHeight = height();
        m_report->show();
        m_details->setText(kHideDetails);
        resize(width(), m_collapsedHeight + m_detailsHeight);
    }
    m_detailsShown = !m_detailsShown;
}

void dlgVariableUpdate::saveReport()
{
    reportfile::SaveRequest request;
    request.namePrefix = QStringLiteral("Var Log ");
    request.title = QStringLiteral("Choose where to save log file - This File is viewable in WordPad!");
    request.filter = QStringLiteral("Log Files (*.doc)|*.doc");
    request.askOverwrite = true;
    request.errorPrefix = QStringLiteral("Error Saving Log File ");
    reportfile::save(*m_report->document(), request, this);
}
