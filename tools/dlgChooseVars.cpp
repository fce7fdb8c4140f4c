#include "dlgChooseVars.h"

#include "clsVariableAccess.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "runtimeerror.h"
#include "settingsstore.h"
#include "varrange.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {
constexpr int kFirstCellVariable = 257;
constexpr int kObjectNotSet = 91;

int tagOf(const QTreeWidgetItem* item) { return item->data(0, Qt::UserRole).toInt(); }
} // namespace

dlgChooseVars::dlgChooseVars(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgChooseVars"));
    setWindowTitle(QStringLiteral("Variable Update - Choose Variables To Update"));

    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("lstvVarsToChoose"));
    m_list->setColumnCount(2);
    m_list->setHeaderLabels({QStringLiteral("Variable"), QStringLiteral("Var Name")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    m_list->header()->resizeSection(0, 110);
    m_list->header()->setStretchLastSection(true);

    auto* selectAll = widgets::namedButton(this, "cmdSelectAll", QStringLiteral("Select All"));
    auto* unselectAll = widgets::namedButton(this, "cmdUnSelectAll", QStringLiteral("Unselect All"));
    auto* selectTexts = widgets::namedButton(this, "cmdSelectTexts", QStringLiteral("Select All Texts"));
    auto* selectCells = widgets::namedButton(this, "cmdSelectCells", QStringLiteral("Select All Cells"));
    m_useLast = widgets::namedButton(this, "cmdUseLastSelected", QStringLiteral("Select Last Used"));
    m_useLast->setEnabled(false);

    auto* rangeLabel = new QLabel(QStringLiteral("Variables Range:"), this);
    rangeLabel->setObjectName(QStringLiteral("Label1"));
    m_range = new QLineEdit(this);
    m_range->setObjectName(QStringLiteral("txtVarRange"));
    rangeLabel->setBuddy(m_range);
    auto* selectRangeButton = widgets::namedButton(this, "cmdSelectVarRange", QStringLiteral("Select Range"));
    auto* hint = new QLabel(QStringLiteral("Enter variable number and/or variable ranges separated by commas. "
                                           "For example 1,3,5-12"),
                            this);
    hint->setObjectName(QStringLiteral("Label2"));
    hint->setWordWrap(true);

    // No default button: Enter in the range box confirms nothing.
    auto* ok = widgets::namedButton(this, "cmdOK", QStringLiteral("OK"));
    auto* cancel = widgets::namedButton(this, "cmdCancel", QStringLiteral("Cancel"));

    auto* side = new QVBoxLayout;
    for (QPushButton* b : {selectAll, unselectAll, selectTexts, selectCells, m_useLast})
        side->addWidget(b);
    side->addStretch(1);
    side->addWidget(ok);
    side->addWidget(cancel);

    auto* range = new QGridLayout;
    range->addWidget(rangeLabel, 0, 0);
    range->addWidget(m_range, 0, 1);
    range->addWidget(selectRangeButton, 0, 2);
    range->addWidget(hint, 1, 0, 1, 3);
    range->setColumnStretch(1, 1);

    auto* left = new QVBoxLayout;
    left->addWidget(m_list, 1);
    left->addLayout(range);

    auto* top = new QHBoxLayout(this);
    top->addLayout(left, 1);
    top->addLayout(side);
    resize(560, 520);

    connect(selectAll, &QPushButton::clicked, this,
            [this] { setAllChecked(true, 1, clsVariableAccess::kVariableCount); });
    connect(unselectAll, &QPushButton::clicked, this,
            [this] { setAllChecked(false, 1, clsVariableAccess::kVariableCount); });
    connect(selectTexts, &QPushButton::clicked, this, [this] { setAllChecked(true, 1, kFirstCellVariable - 1); });
    connect(selectCells, &QPushButton::clicked, this,
            [this] { setAllChecked(true, kFirstCellVariable, clsVariableAccess::kVariableCount); });
    connect(m_useLast, &QPushButton::clicked, this, &dlgChooseVars::SelectLastUsed);
    connect(selectRangeButton, &QPushButton::clicked, this, &dlgChooseVars::selectRange);
    connect(ok, &QPushButton::clicked, this, [this] {
        if (BuildChosen())
            accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

VarSelection dlgChooseVars::GetChosenVars()
{
    m_chosen.clear();
    exec();
    // Hiding ends this use of the form: a later call builds the list afresh.
    m_prepared = false;
    return m_chosen;
}

VarSelection dlgChooseVars::GetLastVars()
{
    m_chosen.clear();
    prepare();
    BuildChosen();
    return m_chosen;
}

void dlgChooseVars::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    prepare();
}

void dlgChooseVars::prepare()
{
    if (m_prepared)
        return;
    m_prepared = true;
    InitList();
    SelectLastUsed();
}

void dlgChooseVars::InitList()
{
    msgbox::guard({QStringLiteral("Error Initializing Variables "), msgbox::Critical, this}, [this] {
        m_list->clear();
        for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n) {
            auto* item = new QTreeWidgetItem(m_list);
            item->setText(0, n < kFirstCellVariable ? QString::number(n) + QStringLiteral("-Text")
                                                    : QString::number(n - 256) + QStringLiteral("-Cell"));
            item->setData(0, Qt::UserRole, n);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(0, Qt::Unchecked);
            if (!m_set)
                throw RuntimeError(kObjectNotSet, QStringLiteral("Object variable or With block variable not set"));
            item->setText(1, m_set->VariableName(static_cast<int16_t>(n)));
        }
        const QString lastUsed = settings::read(settings::kLastUsed);
        m_lastUsed = varrange::splitLastUsed(lastUsed);
        m_useLast->setEnabled(!lastUsed.isEmpty());
    });
}

void dlgChooseVars::SelectLastUsed()
{
    // Tags and remembered entries are compared as text, as they are stored.
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = m_list->topLevelItem(i);
        if (m_lastUsed.contains(QString::number(tagOf(item))))
            item->setCheckState(0, Qt::Checked);
    }
}

bool dlgChooseVars::BuildChosen()
{
    bool built = false;
    msgbox::guard({QStringLiteral("Error Building Variables Collection"), msgbox::Critical, this}, [&] {
        m_chosen.clear();
        const QList<int> numbers = tickedNumbers();
        m_chosen = varrange::selectionOf(numbers);
        if (numbers.isEmpty()) {
            msgbox::show(QStringLiteral("You didn't select anything"), msgbox::OKOnly, msgbox::Critical,
                         QStringLiteral("Selection Error"), this);
            return;
        }
        settings::write(settings::kLastUsed, varrange::joinLastUsed(numbers));
        built = true;
    });
    return built;
}

void dlgChooseVars::setAllChecked(bool checked, int from, int to)
{
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = m_list->topLevelItem(i);
        const int tag = tagOf(item);
        if (tag >= from && tag <= to)
            item->setCheckState(0, checked ? Qt::Checked : Qt::Unchecked);
    }
}

void dlgChooseVars::selectRange()
{
    const int count = m_list->topLevelItemCount();
    for (int i = 0; i < count; ++i)
        m_list->topLevelItem(i)->setCheckState(0, Qt::Unchecked);
    QList<int> rows;
    // A number too large for the range rules: the rows of the elements before it stay ticked.
    msgbox::guard({QString(), msgbox::Critical, this}, [&] { rows = varrange::parse(m_range->text(), count, &rows); });
    for (int row : rows)
        m_list->topLevelItem(row - 1)->setCheckState(0, Qt::Checked);
}

QList<int> dlgChooseVars::tickedNumbers() const
{
    QList<int> out;
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* item = m_list->topLevelItem(i);
        if (item->checkState(0) == Qt::Checked)
            out.append(tagOf(item));
    }
    return out;
}
