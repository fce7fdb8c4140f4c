#pragma once

// The display-transmission control and its data objects: the plug-in's only way
// to a display. The control is a component of the transmission library
// (ProgID "zolDTCon4.zolDispTrans", library zolTransmissionControl4); the
// display list that reads the host's "Displays.dat" is a component of the same
// library (ProgID "zolDTCon4.DisplayList").
//
// Every operation may raise RuntimeError; a display that does not take a
// command is not an error but a false answer, with the reason in LastErrorText().

#include "progids.h"
#include "legacy.h"
#include "runtimeerror.h"

#include <QList>
#include <QObject>
#include <QString>

#include <cstdint>

namespace disptrans {

inline const QString kDispTransProgId = QString::fromLatin1(progid::kDispTrans);
inline const QString kDisplayListProgId = QString::fromLatin1(progid::kDisplayList);

// Connection kinds of a display record and of the connection settings.
enum ConnectionKindCode : int16_t { SerialPort = 1, Modem = 2, Network = 3 };

// Where and how to reach a display; built from its display-list record.
struct ConnectionSettings {
    int16_t ConnKind = 0;
    QString ConnTarget; // serial device, modem's serial device, or host name
    QString ConnParam1; // kind 1: "9600,N,8,1"
    QString ConnParam2; // kind 2: the number to dial
    QString ConnParam3; // kind 3: the TCP port
    int16_t ConnAddress = 0;
};

// The connection settings of a display record: the kind's own parameter, the
// target and the address. Kinds other than serial port and network are opened
// as modems.
ConnectionSettings connectionSettingsFor(int16_t kind, const QString& target, const QString& kind1Param,
                                         const QString& otherKindParam, const QString& kind3Param, int16_t address);

// The data of one text or cell variable to write.
struct TextVarDataItem {
    int16_t VarIndex = 0;
    QString VarText;
};
struct CellVarDataItem {
    int16_t VarIndex = 0;
    QString VarText;
};

// A batch of variable attributes. Entries are 1-based; EntryCount grows the list
// before entry n is filled and empties it when written with 0. CommandText is
// the batch as it goes on the wire: five characters per entry (three-digit
// variable index, colour digit, flags character), so it grows by at most 5
// characters per entry.
class VarAttributeList {
public:
    struct Entry {
        int16_t varIndex = 0;
        int16_t color = 0;
        int16_t blink = 0;
        int16_t inverse = 0;
    };

    int16_t EntryCount() const { return int16_t(m_entries.size()); }
    void setEntryCount(int16_t count) { m_entries.resize(count < 0 ? 0 : count); }
    void setEntryVarIndex(int16_t entry, int16_t value) { at(entry).varIndex = value; }
    void setEntryColor(int16_t entry, int16_t value) { at(entry).color = value; }
    void setEntryBlink(int16_t entry, int16_t value) { at(entry).blink = value; }
    void setEntryInverse(int16_t entry, int16_t value) { at(entry).inverse = value; }
    const QList<Entry>& entries() const { return m_entries; }

    // CommandText().size() without building it: every entry is five characters.
    int CommandTextLength() const { return int(m_entries.size()) * kEntryLength; }
    static constexpr int kEntryLength = 5;

    QString CommandText() const
    {
        QString text;
        text.reserve(m_entries.size() * 5);
        for (const Entry& e : m_entries)
            text += encodeEntry(e);
        return text;
    }

    // The five characters of one entry: index "000", colour 0-9, and a flags
    // letter 'A' + 1 for blink + 2 for inverse (attribute code 1 means "yes").
    static QString encodeEntry(const Entry& e)
    {
        const int color = e.color < 0 ? 0 : (e.color > 9 ? 9 : e.color);
        const int flags = (e.blink == 1 ? 1 : 0) + (e.inverse == 1 ? 2 : 0);
        return legacy::formatZeros(e.varIndex < 0 ? 0 : e.varIndex % 1000, 3) + QChar(u'0' + color)
               + QChar(u'A' + flags);
    }

private:
    Entry& at(int16_t entry)
    {
        if (entry < 1 || entry > m_entries.size())
            RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
        return m_entries[entry - 1];
    }
    QList<Entry> m_entries;
};

// The display unit's configuration: a group of (GroupSpanA + 1) x (GroupSpanB + 1)
// units answers for the listed address and the addresses that follow it.
struct DisplayConfiguration {
    bool IsDisplayGroup = false;
    bool GroupFlagB = false;
    int16_t GroupSpanA = 0;
    int16_t GroupSpanB = 0;
};

// When variables were last downloaded into the unit.
struct DownloadTime {
    int16_t Hour = 0, Minute = 0, Second = 0, Month = 0, Day = 0, Year = 0;
};

// A read of one variable, and what the display answered.
struct VarReadRequest {
    int16_t VariableIndex = 0;
};
struct VarReadReply {
    int16_t Color = 0;
    int16_t Blink = 0;
    int16_t Inverse = 0;
    QString Data;
};

// The host's display list over "Displays.dat".
class IDisplayList {
public:
    virtual ~IDisplayList() = default;
    virtual void setListFile(const QString& fileName) = 0;         // ListFile; bare names resolve in the host's folder
    virtual int16_t FindDisplay(const QString& displayNumber) = 0; // the record position; raises when absent
    virtual int16_t FindDisplayByName(const QString& name) = 0;    // the same, by the display's name
    virtual int16_t RecordCount() = 0;
    virtual void setCurrentRecord(int16_t position) = 0;
    virtual QString DisplayNumber() = 0;
    virtual QString DisplayName() = 0;
    virtual int16_t ConnectionKind() = 0;
    virtual QString LinkTarget() = 0;
    virtual QString Kind1Param() = 0;
    virtual QString Kind3Param() = 0;
    virtual QString OtherKindParam() = 0;
    virtual QString AddressList() = 0;
};

// The display-transmission control. Blocking calls, each bounded by a timeout.
class IDispTrans {
public:
    virtual ~IDispTrans() = default;

    virtual bool OpenConnection(ConnectionSettings& settings) = 0;
    virtual void CloseConnection() = 0;
    virtual void setDisplayAddress(const QString& address) = 0; // as text ("5")
    virtual void setDisplayAddress(int16_t address) = 0;
    virtual int16_t DisplayAddress() = 0;

    virtual bool SendTextVarData(TextVarDataItem& item) = 0;
    virtual bool SendCellVarData(CellVarDataItem& item) = 0;
    virtual bool SendTextVarAttributes(VarAttributeList& list) = 0;
    virtual bool SendCellVarAttributes(VarAttributeList& list) = 0;

    virtual DisplayConfiguration ReadDisplayConfiguration() = 0;
    virtual DownloadTime ReadDownloadTime() = 0;
    virtual VarReadReply ReadTextVariable(VarReadRequest& request) = 0;
    virtual VarReadReply ReadCellVariable(VarReadRequest& request) = 0;
    // Shows a message in which Chr(30) "A" nnn and Chr(30) "V" nnn name text and cell variables.
    virtual bool SendMessage(const QString& message) = 0;

    virtual bool LastCommandSucceeded() = 0;
    // Why the last command failed, for people: "connection refused",
    // "no answer from display 5 within 2 s", ...
    virtual QString LastErrorText() = 0;
};

} // namespace disptrans

Q_DECLARE_INTERFACE(disptrans::IDisplayList, "zol.DisplayList/4")
Q_DECLARE_INTERFACE(disptrans::IDispTrans, "zol.DispTrans/4")
