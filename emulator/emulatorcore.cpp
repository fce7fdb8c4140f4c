#include "emulatorcore.h"

#include "commands.h"
#include "links.h"

namespace emulator {

EmulatorCore::EmulatorCore(QObject* parent) : QObject(parent)
{
    m_handler.onMessageShown = [this](uint16_t address) { emit messageShown(address); };
    m_handler.onVariablesWritten = [this](uint16_t address) { emit variablesWritten(address); };
}

bool EmulatorCore::chance(double fraction)
{
    if (fraction <= 0.0)
        return false;
    if (!m_seeded) {
        m_random.seed(m_faults.seed);
        m_seeded = true;
    }
    return std::uniform_real_distribution<double>(0.0, 1.0)(m_random) < fraction;
}

LinkSession::LinkSession(EmulatorCore& core, ByteLink* link, QObject* parent)
    : QObject(parent), m_core(core), m_link(link)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LinkSession::pump);
    connect(link, &ByteLink::received, this, &LinkSession::arrived);
    connect(link, &ByteLink::connected, this, &LinkSession::restart);
}

void LinkSession::restart()
{
    m_decoder.reset();
    m_framesSeen = 0;
    m_deaf = false;
    m_inQueue.clear();
    m_outQueue.clear();
    m_queuedBytes = 0;
}

void LinkSession::hangUp(const QString& why)
{
    ++m_hangUps;
    m_core.log(QStringLiteral("DROP %1 %2").arg(m_link->name(), why));
    m_inQueue.clear();
    m_outQueue.clear();
    m_queuedBytes = 0;
    // A bare serial line cannot hang up: the display goes deaf instead.
    if (!m_link->drop())
        m_deaf = true;
    m_decoder.reset();
    m_framesSeen = 0;
}

bool LinkSession::backlogOverLimit()
{
    const qint64 waiting = m_queuedBytes + m_link->backlog();
    if (waiting <= m_core.faults().backlogLimit)
        return false;
    m_link->discardBacklog();
    hangUp(QStringLiteral("backlog of %1 bytes over the limit of %2").arg(waiting).arg(m_core.faults().backlogLimit));
    return true;
}

qint64 LinkSession::byteNs() const
{
    const int baud = m_core.faults().baud;
    return baud > 0 ? qint64(10) * 1'000'000'000 / baud : 0; // start, 8 data and stop bit
}

void LinkSession::arrived(const QByteArray& bytes)
{
    const qint64 perByte = byteNs();
    if (perByte == 0 && m_inQueue.isEmpty()) {
        process(bytes);
        return;
    }
    // On a paced line the bytes are there only once they could have crossed it.
    const qint64 now = m_clock.nsecsElapsed();
    m_inBusyUntil = std::max(now, m_inBusyUntil) + perByte * bytes.size();
    m_inQueue.append({m_inBusyUntil, bytes});
    m_queuedBytes += bytes.size();
    if (!backlogOverLimit())
        pump();
}

void LinkSession::process(const QByteArray& bytes)
{
    if (m_deaf)
        return;
    // Frames after a hang-up in the same bytes went nowhere.
    const int hangUps = m_hangUps;
    for (const wire::Decoded& d : m_decoder.feed(bytes)) {
        if (m_hangUps != hangUps)
            return;
        if (d.kind != wire::Decoded::Kind::Frame) {
            if (m_core.trace())
                m_core.log(QStringLiteral("DAMAGED %1 %2")
                               .arg(m_link->name(), QString::fromLatin1(wire::decodedKindName(d.kind))));
            if (!m_core.faults().silent)
                if (auto reply = m_core.handler().handleDamaged(d))
                    answer(*reply);
            continue;
        }
        const wire::Frame& f = d.frame;
        if (f.command == wire::Ack || f.command == wire::Nak || !m_core.model().answers(f.address))
            continue;
        ++m_framesSeen;
        const int dropAfter = m_core.faults().dropAfterFrames;
        if (dropAfter > 0 && m_framesSeen > dropAfter) {
            hangUp(QStringLiteral("after %1 frames").arg(dropAfter));
            return;
        }
        if (m_core.trace())
            m_core.log(QStringLiteral("FRAME %1 addr=%2 seq=%3 %4 (%5 bytes)")
                           .arg(m_link->name())
                           .arg(f.address)
                           .arg(f.sequence)
                           .arg(wire::commandName(f.command))
                           .arg(f.payload.size()));
        if (m_core.faults().silent)
            continue;
        if (m_core.chance(m_core.faults().nakFraction)) {
            ++m_core.naksInjected;
            m_core.log(QStringLiteral("NAK injected addr=%1 seq=%2").arg(f.address).arg(f.sequence));
            answer(wire::nakFrame(f.address, f.sequence, f.command, wire::Damaged, QStringLiteral("bad checksum")));
            continue;
        }
        if (m_core.faults().busyCommands.contains(char(f.command))
            && (m_core.faults().busyUnits.isEmpty() || m_core.faults().busyUnits.contains(f.address))) {
            m_core.log(QStringLiteral("BUSY injected addr=%1 seq=%2 %3")
                           .arg(f.address)
                           .arg(f.sequence)
                           .arg(wire::commandName(f.command)));
            answer(wire::nakFrame(f.address, f.sequence, f.command, wire::Busy, QStringLiteral("busy")));
            continue;
        }
        ++m_core.framesHandled;
        if (auto reply = m_core.handler().handle(f))
            answer(*reply);
    }
}

void LinkSession::answer(const wire::Frame& frame)
{
    QByteArray bytes = wire::encodeFrame(frame);
    const FaultSettings& faults = m_core.faults();
    if (m_core.chance(faults.garbleFraction)) {
        // Damage the checksum's last byte, keeping it clear of the frame marks.
        char& b = bytes[bytes.size() - 2];
        b = char(b ^ 0x40);
        if (b == wire::kStx || b == wire::kEtx || b == wire::kDle)
            b = char(b ^ 0x01);
        m_core.log(QStringLiteral("GARBLED answer addr=%1 seq=%2").arg(frame.address).arg(frame.sequence));
    }
    const bool cut = m_core.chance(faults.cutFraction);
    if (cut) {
        m_core.log(QStringLiteral("CUT answer addr=%1 seq=%2 after %3 of %4 bytes")
                       .arg(frame.address)
                       .arg(frame.sequence)
                       .arg(bytes.size() / 2)
                       .arg(bytes.size()));
        bytes.truncate(bytes.size() / 2);
    }
    const bool late = faults.delayMs > 0 && (faults.lateFraction <= 0.0 || m_core.chance(faults.lateFraction));
    if (late && faults.lateFraction > 0.0)
        m_core.log(QStringLiteral("LATE answer addr=%1 seq=%2 by %3 ms")
                       .arg(frame.address)
                       .arg(frame.sequence)
                       .arg(faults.delayMs));
    const qint64 now = m_clock.nsecsElapsed();
    const qint64 start = std::max(now + (late ? qint64(faults.delayMs) * 1'000'000 : 0), m_outBusyUntil);
    m_outBusyUntil = start + byteNs() * bytes.size();
    if (m_outBusyUntil <= now && m_outQueue.isEmpty()) {
        if (cut)
            hangUpAfter(bytes);
        else
            m_link->send(bytes);
        backlogOverLimit();
        return;
    }
    m_outQueue.append({m_outBusyUntil, bytes, cut});
    m_queuedBytes += bytes.size();
    if (!backlogOverLimit())
        schedule();
}

void LinkSession::hangUpAfter(const QByteArray& last)
{
    ++m_hangUps;
    m_core.log(QStringLiteral("DROP %1 mid-frame").arg(m_link->name()));
    m_inQueue.clear();
    m_outQueue.clear();
    m_queuedBytes = 0;
    if (!m_link->dropAfter(last))
        m_deaf = true;
    m_decoder.reset();
    m_framesSeen = 0;
}

void LinkSession::pump()
{
    const qint64 now = m_clock.nsecsElapsed();
    while (!m_inQueue.isEmpty() && m_inQueue.first().at <= now) {
        const Timed in = m_inQueue.takeFirst();
        m_queuedBytes -= in.bytes.size();
        process(in.bytes);
    }
    while (!m_outQueue.isEmpty() && m_outQueue.first().at <= now) {
        const Timed out = m_outQueue.takeFirst();
        m_queuedBytes -= out.bytes.size();
        if (out.cut) {
            hangUpAfter(out.bytes);
            return;
        }
        m_link->send(out.bytes);
    }
    schedule();
}

void LinkSession::schedule()
{
    const qint64 now = m_clock.nsecsElapsed();
    qint64 next = -1;
    if (!m_inQueue.isEmpty())
        next = m_inQueue.first().at;
    if (!m_outQueue.isEmpty() && (next < 0 || m_outQueue.first().at < next))
        next = m_outQueue.first().at;
    if (next >= 0) {
        const qint64 waitMs = (next - now + 999'999) / 1'000'000;
        m_timer.start(int(std::max<qint64>(waitMs, 0)));
    }
}

} // namespace emulator
