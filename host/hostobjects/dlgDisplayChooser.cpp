#include "dlgDisplayChooser.h"

#include "displaychoice.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

dlgDisplayChooser::dlgDisplayChooser(QWidget* parent)
    : QDialog(parent), m_prompt(new QLabel(QStringLiteral("Choose the displays:"), this)), m_problem(new QLabel(this)),
      m_list(new QListWidget(this)), m_selectAll(new QPushButton(QStringLiteral("Select &All"), this)),
      m_clearAll(new QPushButton(QStringLiteral("&Clear All"), this)),
      m_ok(new QPushButton(QStringLiteral("OK"), this)), m_cancel(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("dlgDisplayChooser"));
    setWindowTitle(QStringLiteral("Choose Displays"));
    m_prompt->setObjectName(QStringLiteral("lblPrompt"));
    m_problem->setObjectName(QStringLiteral("lblProblem"));
    m_problem->setWordWrap(true);
    m_problem->setStyleSheet(QStringLiteral("color: #b00000"));
    m_problem->hide();
    m_list->setObjectName(QStringLiteral("lstDisplays"));
    m_selectAll->setObjectName(QStringLiteral("cmdSelectAll"));
    m_clearAll->setObjectName(QStringLiteral("cmdClearAll"));
    m_ok->setObjectName(QStringLiteral("cmdOK"));
    m_cancel->setObjectName(QStringLiteral("cmdCancel"));
    m_ok->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_selectAll);
    buttons->addWidget(m_clearAll);
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_prompt);
    layout->addWidget(m_problem);
    layout->addWidget(m_list);
    layout->addLayout(buttons);
    resize(360, 320);

    connect(m_selectAll, &QPushButton::clicked, this, [this] { setAllChecked(true); });
    connect(m_clearAll, &QPushButton::clicked, this, [this] { setAllChecked(false); });
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    // A double click chooses that display alone.
    connect(m_list, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* item) {
        setAllChecked(false);
        item->setCheckState(Qt::Checked);
        accept();
    });
}

void dlgDisplayChooser::setDisplays(const QList<DisplayRecord>& records, const QStringList& checkedNumbers,
                                    const QString& problem)
{
    m_list->clear();
    for (const DisplayRecord& r : records) {
        auto* item = new QListWidgetItem(displaychoice::caption(r), m_list);
        item->setData(Qt::UserRole, r.number);
        item->setToolTip(displaychoice::connectionText(r));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsSelectable);
        item->setCheckState(checkedNumbers.contains(r.number) ? Qt::Checked : Qt::Unchecked);
    }
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
}

QStringList dlgDisplayChooser::checkedNumbers() const
{
    QStringList numbers;
    for (int i = 0; i < m_list->count(); ++i) {
        const QListWidgetItem* item = m_list->item(i);
        if (item->checkState() == Qt::Checked)
            numbers << item->data(Qt::UserRole).toString();
    }
    return numbers;
}

void dlgDisplayChooser::setAllChecked(bool checked)
{
    for (int i = 0; i < m_list->count(); ++i)
        m_list->item(i)->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
}
