#include "dlgUpdateDelay.h"

#include "classregistry.h"
#include "delaychoices.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "legacy.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "runtimeerror.h"
#include "statusicons.h"

#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <memory>

const QList<DelayChoice>& delayChoices()
{
    static const QList<DelayChoice> choices{
        {QStringLiteral("Now"), 0},         {QStringLiteral("in 15 Min."), 15}, {QStringLiteral("in 30 Min."), 30},
        {QStringLiteral("in 45 Min."), 45}, {QStringLiteral("in 1 h."), 60},    {QStringLiteral("in 1 h. 30 Min."), 90},
        {QStringLiteral("in 2 h. "), 120},  {QStringLiteral("in 3 h."), 180},   {QStringLiteral("in 4 h."), 240},
        {QStringLiteral("in 5 h."), 300},   {QStringLiteral("in 6 h."), 360},   {QStringLiteral("in 7 h."), 420},
        {QStringLiteral("in 8 h."), 480},   {QStringLiteral("in 9 h."), 540},   {QStringLiteral("in 10 h."), 600},
        {QStringLiteral("in 11 h."), 660},  {QStringLiteral("in 12 h."), 720},  {QStringLiteral("in 15 h."), 900},
        {QStringLiteral("in 20 h."), 1200}, {QStringLiteral("in 24 h."), 1440}, {QStringLiteral("in 36 h."), 2160},
    };
    return choices;
}

namespace {
enum Column { NameColumn = 0, UpdateColumn = 1, DelayColumn = 2 };
const QString kNow = QStringLiteral("Now");
const QString kScheduled = QStringLiteral("Scheduled");

QComboBox* delayCombo(QWidget* parent, const char* name)
{
    auto* combo = widgets::named(new QComboBox(parent), name);
    for (const DelayChoice& choice : delayChoices())
        combo->addItem(choice.text, choice.minutes);
    combo->setCurrentIndex(0);
    return combo;
}

void setMark(QTreeWidgetItem* row, const QString& updateText)
{
    const QString mark = updateText == kNow ? kNow : kScheduled;
    row->setIcon(NameColumn, statusIcon(mark));
    row->setData(NameColumn, Qt::UserRole, mark);
}
} // namespace

dlgUpdateDelay::dlgUpdateDelay(std::function<QString()> displaySelection, QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgUpdateDelay"));
    setWindowTitle(QStringLiteral("Variable Update Delay Setup"));

    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("lstvDisplayStatus"));
    m_list->setHeaderLabels({QStringLiteral("Display Name"), QStringLiteral("Update"), QStringLiteral("Delay")});
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setAllColumnsShowFocus(true);
    m_list->setColumnWidth(NameColumn, 170);
    m_list->setColumnWidth(UpdateColumn, 140);
    m_list->header()->setStretchLastSection(true);

    m_delay = delayCombo(m_list->viewport(), "cbDelay");
    m_delay->hide();
    m_delayAll = delayCombo(this, "cbDelayAll");
    m_allLabel = new QLabel(QStringLiteral("Set for All"), this);
    m_allLabel->setObjectName(QStringLiteral("Label1"));
    m_allLabel->setBuddy(m_delayAll);
    m_start = widgets::namedButton(this, "cmdClose", QStringLiteral("Start Update"));
    m_start->setDefault(true);
    m_cancel = widgets::namedButton(this, "Command1", QStringLiteral("Cancel"));

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_allLabel);
    bottom->addWidget(m_delayAll);
    bottom->addStretch();
    bottom->addWidget(m_start);
    bottom->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addLayout(bottom);
    resize(440, 300);

    connect(m_list, &QTreeWidget::currentItemChanged, this, [this] { placeDelayCombo(); });
    connect(m_list->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { placeDelayCombo(); });
    connect(m_list->header(), &QHeaderView::sectionResized, this, [this] { placeDelayCombo(); });
    m_list->viewport()->installEventFilter(this);
    connect(m_delay, &QComboBox::activated, this, [this](int choice) {
        if (!m_syncing)
            applyChoice(m_list->currentItem(), choice);
    });
    connect(m_delayAll, &QComboBox::activated, this, [this](int choice) {
        for (int i = 0; i < m_list->topLevelItemCount(); ++i)
            applyChoice(m_list->topLevelItem(i), choice);
        m_syncing = true;
        m_delay->setCurrentIndex(choice);
        m_syncing = false;
    });
    connect(m_start, &QPushButton::clicked, this, &dlgUpdateDelay::onStartUpdate);
    connect(m_cancel, &QPushButton::clicked, this, &dlgUpdateDelay::onCancel);

    fillList(displaySelection);
}

bool dlgUpdateDelay::Cancelled() const { return m_cancelled; }
QString dlgUpdateDelay::DelayList() const { return m_delayList; }
QString dlgUpdateDelay::DisplayList() const { return m_displays.join(u','); }

QHash<QString, QString> dlgUpdateDelay::displayNames(const QStringList& entries)
{
    // Names only help the operator: a list that cannot be read gives none.
    QHash<QString, QString> names;
    std::unique_ptr<QObject> object(ComponentLoader::tryCreate(disptrans::kDisplayListProgId));
    auto* list = object ? qobject_cast<disptrans::IDisplayList*>(object.get()) : nullptr;
    if (!list)
        return names;
    try {
        list->setListFile(QStringLiteral("Displays.dat"));
        for (const QString& entry : entries) {
            try {
                list->setCurrentRecord(list->FindDisplay(entry.trimmed()));
                names.insert(entry, list->DisplayName());
            } catch (const RuntimeError&) {
                // an entry the list does not know has no name
            }
        }
    } catch (const RuntimeError&) {
        // no readable list: no names
    }
    return names;
}

void dlgUpdateDelay::fillList(const std::function<QString()>& displaySelection)
{
    msgbox::guard({QStringLiteral("Error Selecting Last Used Variables "), msgbox::Critical, this}, [&] {
        const QString selection = displaySelection ? displaySelection() : QString();
        if (selection.isEmpty())
            return;
        const int rowHeight = m_delay->sizeHint().height();
        const QStringList entries = selection.split(u',');
        const QHash<QString, QString> names = displayNames(entries);
        for (const QString& name : entries) {
            // The Delay column is empty until a delay is chosen; "Start Update" counts it as 0.
            auto* row = new QTreeWidgetItem(m_list, {name, kNow, QString()});
            row->setSizeHint(NameColumn, QSize(0, rowHeight));
            row->setToolTip(NameColumn, names.value(name));
            setMark(row, kNow);
            m_displays << name;
        }
        m_list->setCurrentItem(m_list->topLevelItem(0));
    });
    placeDelayCombo();
}

void dlgUpdateDelay::applyChoice(QTreeWidgetItem* row, int choice)
{
    if (!row || choice < 0 || choice >= delayChoices().size())
        return;
    const DelayChoice& c = delayChoices().at(choice);
    row->setText(UpdateColumn, c.text);
    row->setText(DelayColumn, QString::number(c.minutes));
    setMark(row, c.text);
}

void dlgUpdateDelay::placeDelayCombo()
{
    QTreeWidgetItem* row = m_list->currentItem();
    if (!row) {
        m_delay->hide();
        return;
    }
    // Over the row's "Update" cell, showing that row's choice.
    const QRect rowRect = m_list->visualItemRect(row);
    const QHeaderView* header = m_list->header();
    m_delay->setGeometry(header->sectionViewportPosition(UpdateColumn), rowRect.top(),
                         header->sectionSize(UpdateColumn), rowRect.height());
    m_syncing = true;
    m_delay->setCurrentIndex(qMax(0, m_delay->findText(row->text(UpdateColumn))));
    m_syncing = false;
    m_delay->setVisible(rowRect.isValid() && m_list->viewport()->rect().intersects(rowRect));
}

bool dlgUpdateDelay::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_list->viewport() && (event->type() == QEvent::Resize || event->type() == QEvent::Show))
        placeDelayCombo();
    return QDialog::eventFilter(watched, event);
}

void dlgUpdateDelay::onStartUpdate()
{
    QStringList delays;
    for (int i = 0; i < m_list->topLevelItemCount(); ++i)
        delays << QString::number(legacy::val(m_list->topLevelItem(i)->text(DelayColumn)), 'g', 15);
    if (!delays.isEmpty())
        m_delayList = delays.join(u',');
    QDialog::accept();
}

void dlgUpdateDelay::onCancel()
{
    m_cancelled = true;
    QDialog::reject();
}

void dlgUpdateDelay::reject() { onCancel(); }
