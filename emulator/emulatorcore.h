#pragma once

// The emulated display system behind every link: the model, the command
// handler, the injected faults and the log. One per emulator process (or per
// test that runs it in-process).

#include "commandhandler.h"
#include "displaymodel.h"
#include "frame.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <random>

namespace emulator {

class ByteLink;

struct FaultSettings {
    bool refuseConnections = false; // TCP: the port is bound but not listening
    int dropAfterFrames = 0;        // > 0: the link ends when frame N + 1 arrives
    double nakFraction = 0.0;       // frames answered "bad checksum" although they were good
    double garbleFraction = 0.0;    // answers sent with a damaged checksum
    quint32 seed = 1;
    int delayMs = 0; // answers this late: every one, or only the lateFraction of them
    double lateFraction = 0.0;
    double cutFraction = 0.0; // answers cut off halfway, the link dropped after the half
    int baud = 0;             // > 0: both directions paced at baud / 10 bytes per second
    bool silent = false;      // take frames, never answer
    QByteArray busyCommands;  // command codes answered "busy" (NAK code 6) instead of carried out
    QSet<uint16_t> busyUnits; // the addresses that answer busyCommands so; empty: every address
    // A link whose bytes waiting to go out (or, on a paced line, to come in)
    // pass this is dropped: a client that never reads cannot make us hold
    // its answers without end.
    qint64 backlogLimit = 1024 * 1024;
};

class EmulatorCore final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(EmulatorCore)
public:
    explicit EmulatorCore(QObject* parent = nullptr);

    DisplayModel& model() { return m_model; }
    CommandHandler& handler() { return m_handler; }
    FaultSettings& faults() { return m_faults; }
    void setTrace(bool on) { m_trace = on; }
    bool trace() const { return m_trace; }

    // Seeded, so a run with the same frames injects the same faults.
    bool chance(double fraction);
    void log(const QString& line) { emit logLine(line); }

    quint64 framesHandled = 0;
    quint64 naksInjected = 0;

signals:
    void logLine(const QString& line);
    void messageShown(quint16 address);
    void variablesWritten(quint16 address);

private:
    DisplayModel m_model;
    CommandHandler m_handler{m_model};
    FaultSettings m_faults;
    std::mt19937 m_random{1};
    bool m_seeded = false;
    bool m_trace = false;
};

// One conversation on one link: decodes frames, answers them through the core,
// and applies the core's faults (pacing, delays, drops, NAKs, damaged answers).
class LinkSession final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LinkSession)
public:
    LinkSession(EmulatorCore& core, ByteLink* link, QObject* parent = nullptr);
    int framesSeen() const { return m_framesSeen; }

private:
    void restart();
    void arrived(const QByteArray& bytes);
    void process(const QByteArray& bytes);
    void answer(const wire::Frame& frame);
    void pump();
    void schedule();
    qint64 byteNs() const;
    void hangUp(const QString& why);
    void hangUpAfter(const QByteArray& last);
    bool backlogOverLimit();

    // Bytes and when they have crossed the line; a cut answer ends the link
    // once its bytes are out.
    struct Timed {
        qint64 at = 0;
        QByteArray bytes;
        bool cut = false;
    };

    EmulatorCore& m_core;
    ByteLink* m_link;
    wire::FrameDecoder m_decoder;
    int m_framesSeen = 0;
    bool m_deaf = false;
    int m_hangUps = 0;
    QElapsedTimer m_clock;
    qint64 m_inBusyUntil = 0; // ns on m_clock when the last received byte has fully arrived
    qint64 m_outBusyUntil = 0;
    QList<Timed> m_inQueue;   // bytes and when they have arrived
    QList<Timed> m_outQueue;  // answers and when they are on the line
    qint64 m_queuedBytes = 0; // in both queues
    QTimer m_timer;
};

} // namespace emulator
