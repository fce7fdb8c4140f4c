#include "dlgTransmitVars.h"

#include "clsVariableAccess.h"
#include "linkcontainer.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

dlgTransmitVars::dlgTransmitVars(QWidget* parent)
    : QDialog(parent), m_oleVarGrab(links::create()),
      m_status(new QLabel(QStringLiteral("Updating............."), this))
{
    setObjectName(QStringLiteral("dlgTransmitVars"));
    setWindowTitle(QStringLiteral("Updating Variables"));
    m_status->setObjectName(QStringLiteral("lblStatus"));
    m_status->setAlignment(Qt::AlignCenter);
    QFont font = m_status->font();
    font.setPointSize(14);
    m_status->setFont(font);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_status);
    setMinimumSize(320, 90);
}

dlgTransmitVars::~dlgTransmitVars() = default;

clsVariableAccess& dlgTransmitVars::variables()
{
    if (m_variables)
        return *m_variables;
    if (!m_ownVariables)
        m_ownVariables = std::make_unique<clsVariableAccess>();
    return *m_ownVariables;
}

QString dlgTransmitVars::statusText() const { return m_status->text(); }

void dlgTransmitVars::UpdateVars(QObject* transmission)
{
    auto* control = transmission ? qobject_cast<disptrans::IDispTrans*>(transmission) : nullptr;
    m_update.prepare(control, &variables(), m_linkSource ? m_linkSource : m_oleVarGrab.get());
    exec();
}

void dlgTransmitVars::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (!m_started)
        QTimer::singleShot(0, this, &dlgTransmitVars::runOnce);
}

void dlgTransmitVars::runOnce()
{
    if (m_started)
        return;
    m_started = true;
    QCoreApplication::processEvents();
    repaint();
    m_update.run();
    m_status->setText(m_update.statusText());
    accept();
}
