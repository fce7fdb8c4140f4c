#include "displayclient.h"

#include "codepage.h"
#include "commands.h"
#include "transport.h"

#include <QDeadlineTimer>

using namespace disptrans;

class DisplayClient::Impl {
public:
    std::unique_ptr<wire::Transport> link;
    wire::FrameDecoder decoder;
    int16_t address = 0;
    int timeoutMs = 2000;
    uint8_t sequence = 0;
    QString error;
    quint64 sent = 0;
    quint64 received = 0;

    bool fail(const QString& text)
    {
        error = text;
        return false;
    }
    QString displayName() const { return QStringLiteral("display %1").arg(address); }
    QString timeoutText() const { return QString::number(timeoutMs / 1000.0) + QStringLiteral(" s"); }

    void dropLink()
    {
        if (!link)
            return;
        link->markLost();
        link->close(timeoutMs);
        link.reset();
    }

    std::optional<QByteArray> transact(uint8_t command, const QByteArray& payload);
    bool writeAttributes(uint8_t command, const VarAttributeList& list);
    std::optional<VarReadReply> readVariable(uint8_t command, int16_t index);
    // What `parse` reads from the answer to `command`; a failure naming `what` when it reads nothing.
    template <typename Parse> auto readParsed(uint8_t command, Parse parse, const char* what) -> decltype(parse({}))
    {
        const std::optional<QByteArray> data = transact(command, {});
        if (!data)
            return std::nullopt;
        auto value = parse(*data);
        if (!value)
            fail(QStringLiteral("unreadable %1 from %2").arg(QLatin1String(what), displayName()));
        return value;
    }
    bool checkDataLength(const QByteArray& ansi, int limit, const QString& what)
    {
        if (ansi.size() <= limit)
            return true;
        return fail(QStringLiteral("%1 is too long: %2 bytes, at most %3").arg(what).arg(ansi.size()).arg(limit));
    }
};

// One command: send the frame, wait for the answer with the same address and
// sequence number. A damaged frame in either direction is sent once more; a
// timeout, a lost link or a refusal ends the command.
std::optional<QByteArray> DisplayClient::Impl::transact(uint8_t command, const QByteArray& payload)
{
    error.clear();
    if (!link || !link->isOpen()) {
        const bool wasOpen = bool(link);
        dropLink();
        fail(wasOpen ? QStringLiteral("the connection to %1 was lost").arg(displayName())
                     : QStringLiteral("no connection is open"));
        return std::nullopt;
    }
    wire::Frame request;
    request.address = uint16_t(address);
    request.sequence = ++sequence;
    request.command = command;
    request.payload = payload;
    const QByteArray bytes = wire::encodeFrame(request);

    // Answers to earlier, abandoned commands may still be on their way; the
    // sequence number tells them apart, so stale bytes can simply be dropped.
    decoder.reset();
    for (int attempt = 0; attempt < 2; ++attempt) {
        QString reason;
        if (!link->write(bytes, timeoutMs, &reason)) {
            fail(QStringLiteral("cannot send to %1: %2").arg(displayName(), reason));
            if (!link->isOpen())
                dropLink();
            return std::nullopt;
        }
        sent += quint64(bytes.size());

        bool resend = false;
        QByteArray modemWords;
        QDeadlineTimer deadline(timeoutMs);
        while (!resend) {
            if (deadline.hasExpired()) {
                fail(QStringLiteral("no answer from %1 within %2").arg(displayName(), timeoutText()));
                return std::nullopt;
            }
            const wire::ReadResult r = link->read(int(deadline.remainingTime()));
            received += quint64(r.bytes.size());
            if (r.lost) {
                fail(QStringLiteral("the connection to %1 was lost: %2").arg(displayName(), r.reason));
                dropLink();
                return std::nullopt;
            }
            const QList<wire::Decoded> found = decoder.feed(r.bytes);
            // The modem's words arrive between frames and may be split over reads:
            // look at what came since the last frame, keeping a short tail.
            if (link->reportsCarrierInBand()) {
                modemWords += decoder.takeOutsideBytes();
                if (modemWords.size() > 64)
                    modemWords = modemWords.right(64);
            }
            if (modemWords.contains("NO CARRIER")) {
                fail(QStringLiteral("the connection to %1 was lost: the modem reported NO CARRIER").arg(displayName()));
                dropLink();
                return std::nullopt;
            }
            for (const wire::Decoded& d : found) {
                if (d.kind != wire::Decoded::Kind::Frame) {
                    // A damaged answer: it may or may not have been ours.
                    if (d.hasHeader && (d.frame.address != request.address || d.frame.sequence != request.sequence))
                        continue;
                    if (attempt == 0) {
                        resend = true;
                        break;
                    }
                    fail(QStringLiteral("damaged answer from %1 (%2)")
                             .arg(displayName(), QString::fromLatin1(wire::decodedKindName(d.kind))));
                    return std::nullopt;
                }
                if (d.frame.address != request.address || d.frame.sequence != request.sequence)
                    continue;
                const std::optional<wire::Answer> answer = wire::parseAnswer(d.frame);
                if (!answer || answer->command != command)
                    continue;
                if (answer->ack)
                    return answer->data;
                if (answer->nakCode == wire::Damaged && attempt == 0) {
                    resend = true;
                    break;
                }
                const QString why = answer->reason.isEmpty() ? wire::nakCodeName(answer->nakCode) : answer->reason;
                fail(QStringLiteral("%1 refused: %2").arg(displayName(), why));
                return std::nullopt;
            }
        }
    }
    // Not reached: the second attempt never asks for a resend.
    fail(QStringLiteral("no answer from %1").arg(displayName()));
    return std::nullopt;
}

DisplayClient::DisplayClient() : d(std::make_unique<Impl>()) {}

DisplayClient::~DisplayClient() { close(); }

bool DisplayClient::open(const ConnectionSettings& settings)
{
    close();
    d->error.clear();
    d->address = settings.ConnAddress;
    std::unique_ptr<wire::Transport> link;
    switch (settings.ConnKind) {
    case SerialPort: {
        const auto params = wire::parseSerialParams(settings.ConnParam1);
        if (!params)
            return d->fail(
                QStringLiteral("bad serial settings \"%1\" (expected e.g. 9600,N,8,1)").arg(settings.ConnParam1));
        if (settings.ConnTarget.trimmed().isEmpty())
            return d->fail(QStringLiteral("no serial port given"));
        link = std::make_unique<wire::SerialTransport>(settings.ConnTarget.trimmed(), *params);
        break;
    }
    case Network: {
        bool ok = false;
        const uint port = settings.ConnParam3.trimmed().toUInt(&ok);
        if (!ok || port == 0 || port > 65535)
            return d->fail(QStringLiteral("bad TCP port \"%1\"").arg(settings.ConnParam3));
        if (settings.ConnTarget.trimmed().isEmpty())
            return d->fail(QStringLiteral("no host given"));
        link = std::make_unique<wire::TcpTransport>(settings.ConnTarget.trimmed(), quint16(port));
        break;
    }
    default: {
        if (settings.ConnTarget.trimmed().isEmpty())
            return d->fail(QStringLiteral("no serial port given for the modem"));
        if (settings.ConnParam2.trimmed().isEmpty())
            return d->fail(QStringLiteral("no number to dial"));
        link = std::make_unique<wire::ModemTransport>(settings.ConnTarget.trimmed(), *wire::parseSerialParams({}),
                                                      settings.ConnParam2.trimmed());
        break;
    }
    }
    QString reason;
    if (!link->open(d->timeoutMs, &reason))
        return d->fail(reason);
    d->link = std::move(link);
    d->decoder.reset();
    return true;
}

void DisplayClient::close()
{
    if (!d->link)
        return;
    d->link->close(d->timeoutMs);
    d->link.reset();
}

bool DisplayClient::isOpen() const { return d->link && d->link->isOpen(); }

void DisplayClient::setAddress(int16_t address) { d->address = address; }

int16_t DisplayClient::address() const { return d->address; }

namespace {
bool indexInRange(int16_t index, int count) { return index >= 0 && index < count; }
} // namespace

bool DisplayClient::writeTextData(int16_t index, const QString& text)
{
    if (!indexInRange(index, wire::kTextVariables))
        return d->fail(QStringLiteral("text variable index %1 is out of range 0 ... 255").arg(index));
    const QByteArray ansi = codepage::toAnsi(text);
    if (!d->checkDataLength(ansi, wire::kMaxVariableData, QStringLiteral("text variable data")))
        return false;
    return d->transact(wire::WriteTextData, wire::writeDataPayload(uint16_t(index), ansi)).has_value();
}

bool DisplayClient::writeCellData(int16_t index, const QString& text)
{
    if (!indexInRange(index, wire::kCellVariables))
        return d->fail(QStringLiteral("cell variable index %1 is out of range 0 ... 159").arg(index));
    const QByteArray ansi = codepage::toAnsi(text);
    if (!d->checkDataLength(ansi, wire::kMaxVariableData, QStringLiteral("cell variable data")))
        return false;
    return d->transact(wire::WriteCellData, wire::writeDataPayload(uint16_t(index), ansi)).has_value();
}

bool DisplayClient::Impl::writeAttributes(uint8_t command, const VarAttributeList& list)
{
    Impl& d = *this;
    if (list.EntryCount() == 0)
        return d.fail(QStringLiteral("the attribute list is empty"));
    const QByteArray text = codepage::toAnsi(list.CommandText());
    if (text.size() > wire::kMaxPayloadSize)
        return d.fail(QStringLiteral("the attribute list is too long: %1 entries").arg(list.EntryCount()));
    return d.transact(command, text).has_value();
}

bool DisplayClient::writeTextAttributes(const VarAttributeList& list)
{
    return d->writeAttributes(wire::WriteTextAttributes, list);
}

bool DisplayClient::writeCellAttributes(const VarAttributeList& list)
{
    return d->writeAttributes(wire::WriteCellAttributes, list);
}

std::optional<VarReadReply> DisplayClient::Impl::readVariable(uint8_t command, int16_t index)
{
    Impl& d = *this;
    const std::optional<QByteArray> data = d.transact(command, wire::indexPayload(uint16_t(index)));
    if (!data)
        return std::nullopt;
    auto reply = wire::parseVariable(*data);
    if (!reply)
        d.fail(QStringLiteral("unreadable answer from %1 to %2").arg(d.displayName(), wire::commandName(command)));
    return reply;
}

std::optional<VarReadReply> DisplayClient::readTextVariable(int16_t index)
{
    if (!indexInRange(index, wire::kTextVariables)) {
        d->fail(QStringLiteral("text variable index %1 is out of range 0 ... 255").arg(index));
        return std::nullopt;
    }
    return d->readVariable(wire::ReadTextVariable, index);
}

std::optional<VarReadReply> DisplayClient::readCellVariable(int16_t index)
{
    if (!indexInRange(index, wire::kCellVariables)) {
        d->fail(QStringLiteral("cell variable index %1 is out of range 0 ... 159").arg(index));
        return std::nullopt;
    }
    return d->readVariable(wire::ReadCellVariable, index);
}

std::optional<DownloadTime> DisplayClient::readDownloadTime()
{
    return d->readParsed(wire::ReadDownloadTime, wire::parseDownloadTime, "download time");
}

std::optional<DisplayConfiguration> DisplayClient::readConfiguration()
{
    return d->readParsed(wire::ReadConfiguration, wire::parseConfiguration, "configuration");
}

bool DisplayClient::showMessage(const QString& message)
{
    const QByteArray ansi = codepage::toAnsi(message);
    if (!d->checkDataLength(ansi, wire::kMaxMessage, QStringLiteral("the message")))
        return false;
    return d->transact(wire::ShowMessage, ansi).has_value();
}

QString DisplayClient::errorText() const { return d->error; }

void DisplayClient::setTimeoutMs(int ms) { d->timeoutMs = ms > 0 ? ms : 1; }

quint64 DisplayClient::bytesSent() const { return d->sent; }

quint64 DisplayClient::bytesReceived() const { return d->received; }
