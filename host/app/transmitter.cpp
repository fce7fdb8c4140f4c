#include "transmitter.h"

#include "FrameEditor.h"
#include "latebound.h"
#include "legacy.h"
#include "runtimeerror.h"

#include <QRegularExpression>

Transmitter::Transmitter(QObject* control)
    : m_controlObject(control), m_control(control ? qobject_cast<disptrans::IDispTrans*>(control) : nullptr)
{
    if (!m_control)
        RuntimeError::raise(RuntimeError::ObjectRequired);
}

void Transmitter::log(const QString& line) const
{
    if (m_log)
        m_log(line);
}

disptrans::ConnectionSettings Transmitter::settingsFor(const DisplayRecord& display)
{
    const QList<int16_t> addresses = addressesOf(display.addressList);
    return disptrans::connectionSettingsFor(display.kind, display.linkTarget, display.kind1Param,
                                            display.otherKindParam, display.kind3Param,
                                            addresses.isEmpty() ? int16_t(0) : addresses.first());
}

QList<int16_t> Transmitter::addressesOf(const QString& addressList)
{
    QList<int16_t> addresses;
    for (const QString& a : addressList.split(u',', Qt::SkipEmptyParts)) {
        if (!a.trimmed().isEmpty())
            addresses << legacy::textToInt16(a);
    }
    return addresses;
}

QString Transmitter::messageText(const QString& playfileText)
{
    QString text = playfileText;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(u'\r', u'\n');
    text.replace(QStringLiteral("\n"), QStringLiteral("\r\n"));
    return text;
}

QString Transmitter::substituteTokens(const QString& text, const TokenLookup& lookup)
{
    static const QRegularExpression token(QStringLiteral("VBL\\d{3}"));
    if (!lookup)
        return text;
    QString out;
    qsizetype done = 0;
    for (auto it = token.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        const QString replacement = lookup(m.captured());
        out += QStringView(text).mid(done, m.capturedStart() - done);
        out += replacement.isEmpty() ? m.captured() : replacement;
        done = m.capturedEnd();
    }
    out += QStringView(text).mid(done);
    return out;
}

bool Transmitter::transmit(const DisplayRecord& display, const QString& playfileText, const QList<QObject*>& plugins)
{
    const QString who = QStringLiteral("display %1 (%2)").arg(display.number, display.name);
    QList<int16_t> addresses = addressesOf(display.addressList);
    if (addresses.isEmpty())
        addresses << 0;
    disptrans::ConnectionSettings settings = settingsFor(display);
    log(QStringLiteral("Opening %1").arg(who));
    m_opened = m_control->OpenConnection(settings);
    if (!m_opened) {
        log(QStringLiteral("FAILED to open %1: %2").arg(who, m_control->LastErrorText()));
        return false;
    }

    Playfile playfile(playfileText);
    bool allSent = true;
    for (int16_t address : std::as_const(addresses)) {
        m_control->setDisplayAddress(address);
        for (QObject* plugin : plugins) {
            try {
                if (latebound::callMethod(plugin, "DoesPreTransmit").toBool()) {
                    log(QStringLiteral("Pre-transmit: %1").arg(plugin->objectName()));
                    latebound::callMethod(plugin, "StartPreTransmit",
                                          QVariantList{QVariant::fromValue(m_controlObject),
                                                       QVariant::fromValue(static_cast<QObject*>(&playfile))});
                    // The hook may have moved the control elsewhere; the message goes to this address.
                    m_control->setDisplayAddress(address);
                }
            } catch (const RuntimeError& e) {
                log(QStringLiteral("Pre-transmit of %1 failed: %2").arg(plugin->objectName(), e.description()));
            }
        }
        // Read after the hooks, which may have seeded the token table.
        if (m_control->SendMessage(messageText(substituteTokens(playfileText, m_tokens)))) {
            log(QStringLiteral("Sent to %1, address %2").arg(who).arg(address));
        } else {
            allSent = false;
            log(QStringLiteral("FAILED to send to %1, address %2: %3")
                    .arg(who)
                    .arg(address)
                    .arg(m_control->LastErrorText()));
        }
    }
    m_control->CloseConnection();
    return allSent;
}
