#include "dlgVarCmdInserter.h"

#include "clsVariableAccess.h"
#include "hostobjects.h"
#include "linkcontainer.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "runtimeerror.h"
#include "varcommand.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QString kErrorLoading = QStringLiteral("Error Loading Variables ");
const QString kErrorOccurred = QStringLiteral("Error Occurred ");
} // namespace

dlgVarCmdInserter::dlgVarCmdInserter(QWidget* parent)
    : QDialog(parent), m_oleGrabber(links::create()), m_cmbVar(new QComboBox(this))
{
    setObjectName(QStringLiteral("dlgVarCmdInserter"));
    setWindowTitle(QStringLiteral("Insert Variable Command"));
    m_cmbVar->setObjectName(QStringLiteral("cmbVar"));
    m_cmbVar->setMinimumWidth(320);
    auto* value = widgets::namedButton(this, "cmdGetCurrentValue", QStringLiteral("Get Current Value"));
    auto* insert = widgets::namedButton(this, "cmdVarInserter", QStringLiteral("Insert Variable"));
    auto* close = widgets::namedButton(this, "cmdClose", QStringLiteral("Close"));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(value);
    buttons->addWidget(insert);
    buttons->addStretch();
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_cmbVar);
    layout->addLayout(buttons);

    connect(value, &QPushButton::clicked, this, &dlgVarCmdInserter::onGetCurrentValue);
    connect(insert, &QPushButton::clicked, this, &dlgVarCmdInserter::onInsert);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
}

dlgVarCmdInserter::~dlgVarCmdInserter() = default;

clsVariableAccess& dlgVarCmdInserter::variables()
{
    if (m_variables)
        return *m_variables;
    if (!m_ownVariables)
        m_ownVariables = std::make_unique<clsVariableAccess>();
    return *m_ownVariables;
}

void dlgVarCmdInserter::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (m_loaded)
        return;
    m_loaded = true;
    fillList();
}

void dlgVarCmdInserter::fillList()
{
    // On an error the list keeps the entries filled so far.
    msgbox::guard({kErrorLoading, msgbox::Critical, this}, [this] {
        clsVariableAccess& set = variables();
        for (int16_t n = 1; n <= clsVariableAccess::kVariableCount; ++n)
            m_cmbVar->addItem(varcommand::entryText(n, set.VariableName(n)), int(n));
        m_cmbVar->setCurrentIndex(0);
    });
}

int16_t dlgVarCmdInserter::selectedNumber() const
{
    return int16_t(m_cmbVar->currentData().toInt()); // 0 when nothing is selected
}

void dlgVarCmdInserter::onGetCurrentValue()
{
    ILinkContainer* container = m_linkContainer ? m_linkContainer : m_oleGrabber.get();
    msgbox::show(variables().GetDisplayableData(selectedNumber(), container), msgbox::OKOnly, msgbox::NoIcon, {}, this);
}

void dlgVarCmdInserter::onInsert()
{
    msgbox::guard({kErrorOccurred, msgbox::Critical, this},
                  [this] { hostobjects::addTextToCurrentLine(m_frame, varcommand::token(selectedNumber())); });
}
