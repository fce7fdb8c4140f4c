#pragma once

// The emulator's listening ends: TCP ports and ptys (bare serial lines or
// modems), each feeding LinkSessions of one EmulatorCore.

#include "emulatorcore.h"
#include "links.h"

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>

class QTcpServer;

namespace emulator {

class EmulatorServer final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(EmulatorServer)
public:
    explicit EmulatorServer(EmulatorCore& core, QObject* parent = nullptr);
    ~EmulatorServer() override;

    // Each gives the "LISTENING ..." line to announce, or an empty text with
    // the reason in *error.
    QString listenTcp(const QHostAddress& address, quint16 port, QString* error);
    QString openPty(QString* error);
    QString openModemPty(const ModemOptions& options, QString* error);

    quint16 lastTcpPort() const { return m_lastPort; }
    QString lastPtyPath() const { return m_lastPty; }

private:
    void accept(QTcpServer* server);

    EmulatorCore& m_core;
    QList<int> m_refusingSockets;
    quint16 m_lastPort = 0;
    QString m_lastPty;
};

} // namespace emulator
