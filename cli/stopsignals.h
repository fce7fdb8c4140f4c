#pragma once

// SIGINT and SIGTERM as a Qt signal: the handler only writes to a socket pair,
// and the event loop reads it, so a long-running command stops between two
// pieces of work and not inside one.

#include <QObject>

class QSocketNotifier;

class StopSignals final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StopSignals)
public:
    explicit StopSignals(QObject* parent = nullptr);
    ~StopSignals() override; // the previous handlers come back

signals:
    void stopRequested(int signalNumber);

private:
    QSocketNotifier* m_notifier = nullptr;
};
