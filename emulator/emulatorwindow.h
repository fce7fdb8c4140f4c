#pragma once

// The emulator's window: the LED sign showing the message last sent to any
// unit, with its variables as they are now, and a status line.

#include "emulatorcore.h"
#include "ledsignwidget.h"

#include <QLabel>
#include <QWidget>

namespace emulator {

class EmulatorWindow final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(EmulatorWindow)
public:
    explicit EmulatorWindow(EmulatorCore& core, QWidget* parent = nullptr);
    void showAddress(quint16 address);
    void setStatus(const QString& text);
    // What the title names the display by: an optional name and the links it
    // listens on ("TCP 127.0.0.1:47010", "pty /dev/pts/3").
    void setIdentity(const QString& name, const QStringList& links);
    // "Lumarex display emulator - <name> - <links>[ - address n]".
    static QString titleFor(const QString& name, const QStringList& links, int address);
    LedSignWidget* sign() const { return m_sign; }
    void refresh();

private:
    EmulatorCore& m_core;
    LedSignWidget* m_sign;
    QLabel* m_status;
    quint16 m_address = 0;
    QString m_name;
    QStringList m_links;
    bool m_hasMessage = false;
};

} // namespace emulator
