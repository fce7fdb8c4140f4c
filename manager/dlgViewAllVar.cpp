#include "dlgViewAllVar.h"

#include "clsVariableAccess.h"

#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QTreeWidget>
#include <QVBoxLayout>

dlgViewAllVar::dlgViewAllVar(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgViewAllVar"));
    setWindowTitle(QStringLiteral("View All Variables"));

    auto* bar = new QMenuBar(this);
    QMenu* tools = bar->addMenu(QStringLiteral("Tools"));
    tools->setObjectName(QStringLiteral("mnuTools"));
    QAction* exit = tools->addAction(QStringLiteral("Exit"));
    exit->setObjectName(QStringLiteral("mnuExit"));
    connect(exit, &QAction::triggered, this, &QDialog::accept);

    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("ListView1"));
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setHeaderLabels({QStringLiteral("Var #"), QStringLiteral("Var Name"), QStringLiteral("Variable Text")});
    m_list->header()->setStretchLastSection(true);
    m_list->setColumnWidth(0, 60);
    m_list->setColumnWidth(1, 160);

    m_updating = new QLabel(QStringLiteral("Updating Variable Data ..."), this);
    m_updating->setObjectName(QStringLiteral("txtUpdating"));
    m_updating->hide();

    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(bar);
    layout->addWidget(m_updating);
    layout->addWidget(m_list, 1);
    resize(640, 480);
}

void dlgViewAllVar::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    fill();
}

void dlgViewAllVar::fill()
{
    m_list->clear();
    if (!m_set)
        return;
    // Reading linked variables can take a while: the notice is painted first,
    // without running other events (an Exit in the middle of the fill).
    m_updating->show();
    m_updating->repaint();
    QList<QTreeWidgetItem*> rows;
    rows.reserve(clsVariableAccess::kVariableCount);
    for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n) {
        const auto number = static_cast<int16_t>(n);
        rows.append(new QTreeWidgetItem(QStringList{QString::number(n), m_set->VariableName(number),
                                                    m_set->GetDisplayableData(number, m_container)}));
    }
    m_list->addTopLevelItems(rows);
    m_updating->hide();
}
