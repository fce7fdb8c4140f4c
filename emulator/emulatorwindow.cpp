#include "emulatorwindow.h"

#include <QTimer>
#include <QVBoxLayout>

namespace emulator {

EmulatorWindow::EmulatorWindow(EmulatorCore& core, QWidget* parent)
    : QWidget(parent), m_core(core), m_sign(new LedSignWidget(this)), m_status(new QLabel(this))
{
    setObjectName(QStringLiteral("EmulatorWindow"));
    setWindowTitle(QStringLiteral("Lumarex display emulator"));
    m_status->setObjectName(QStringLiteral("lblStatus"));
    m_status->setStyleSheet(QStringLiteral("color: #bbbbbb; background: #202020; padding: 3px;"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_sign, 1);
    layout->addWidget(m_status);
    setStyleSheet(QStringLiteral("EmulatorWindow { background: #202020; }"));
    connect(&core, &EmulatorCore::messageShown, this, &EmulatorWindow::showAddress);
    // Variables change after a message is shown; the sign shows them as they are.
    auto* poll = new QTimer(this);
    connect(poll, &QTimer::timeout, this, &EmulatorWindow::refresh);
    poll->start(250);
}

void EmulatorWindow::showAddress(quint16 address)
{
    m_address = address;
    m_hasMessage = true;
    refresh();
}

void EmulatorWindow::refresh()
{
    if (!m_hasMessage)
        return;
    const DisplayUnit* unit = m_core.model().existingUnit(m_address);
    const QList<MessageLine> lines = layoutMessage(unit ? unit->message : QString(), unit);
    m_sign->setLines(lines);
    setWindowTitle(titleFor(m_name, m_links, m_address));
}

void EmulatorWindow::setIdentity(const QString& name, const QStringList& links)
{
    m_name = name;
    m_links = links;
    setWindowTitle(titleFor(m_name, m_links, m_hasMessage ? m_address : -1));
}

QString EmulatorWindow::titleFor(const QString& name, const QStringList& links, int address)
{
    QStringList parts{QStringLiteral("Lumarex display emulator")};
    if (!name.isEmpty())
        parts << name;
    if (!links.isEmpty())
        parts << links.join(QStringLiteral(", "));
    if (address >= 0)
        parts << QStringLiteral("address %1").arg(address);
    return parts.join(QStringLiteral(" - "));
}

void EmulatorWindow::setStatus(const QString& text) { m_status->setText(text); }

} // namespace emulator
