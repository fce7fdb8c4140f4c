#pragma once

#include "displaylistfile.h"
#include "runtimeerror.h"
#include "disptrans.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

// Sends a playfile to one display of the display list: opens the connection,
// and for every address of the display offers the plug-ins that ask for it
// their pre-transmit hook (StartPreTransmit with the connected control and the
// playfile), then shows the playfile there with its command tokens replaced by
// their texts from the token table; closes the connection at the end.
class Transmitter final {
public:
    // `control` offers disptrans::IDispTrans (the host's zolDispTrans).
    explicit Transmitter(QObject* control);

    // The token table's texts by token name ("" for a token not in the table);
    // without it the playfile goes out as typed.
    using TokenLookup = std::function<QString(const QString&)>;
    void setTokenLookup(TokenLookup lookup) { m_tokens = std::move(lookup); }

    // Progress lines for the host's log.
    void setLog(std::function<void(const QString&)> log) { m_log = std::move(log); }

    // The connection settings for a display record: kind 1 and 3 as they are,
    // any other kind as a modem (kind 2); the address is the first of the list.
    static disptrans::ConnectionSettings settingsFor(const DisplayRecord& display);
    // The addresses of an address list ("1,2"); RuntimeError Type mismatch or
    // Overflow for an address that is not a 16-bit number.
    static QList<int16_t> addressesOf(const QString& addressList);
    // The playfile as the display takes it: lines separated by CR LF.
    static QString messageText(const QString& playfileText);
    // Every variable token ("VBL" and three digits) replaced by its text from
    // `lookup`; tokens the table does not hold stay as typed.
    static QString substituteTokens(const QString& text, const TokenLookup& lookup);

    // `plugins` are the plug-in objects (zolQMDVariables and the like). True
    // when every address took the message. Errors of a plug-in's hook are
    // logged and do not stop the transmission.
    bool transmit(const DisplayRecord& display, const QString& playfileText, const QList<QObject*>& plugins);
    // Whether the last transmit got a connection to its display.
    bool opened() const { return m_opened; }

private:
    void log(const QString& line) const;

    QObject* m_controlObject;
    disptrans::IDispTrans* m_control;
    std::function<void(const QString&)> m_log;
    TokenLookup m_tokens;
    bool m_opened = false;
};
