#pragma once

// An in-memory transmission control and display list that record every call,
// with failure injection. The code under test creates its own objects by
// ProgID, so the recorded world is shared by all instances (FakeDisplays::).

#include "runtimeerror.h"
#include "disptrans.h"
#include "linkcontainer.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QQueue>
#include <QSet>
#include <QStringList>

#include <functional>

struct FakeDisplayRecord {
    QString number;
    int16_t kind = 3;
    QString target = QStringLiteral("127.0.0.1");
    QString kind1Param = QStringLiteral("9600,N,8,1");
    QString kind3Param = QStringLiteral("7000");
    QString otherParam = QStringLiteral("5551234");
    QString addressList = QStringLiteral("1");
    QString name;
};

struct DataSend {
    int16_t address;
    bool text;
    int16_t index;
    QString varText;
};

struct AttributeFlush {
    int16_t address;
    bool text;
    QList<disptrans::VarAttributeList::Entry> entries;
    int commandTextLength;
};

namespace FakeDisplays {
// The display list.
extern QList<FakeDisplayRecord> records;
extern int listFileWrites;

// What the control saw.
extern QStringList calls;  // "open <target>", "close", "address <a>", "data T|C <index> @<a>", "attrs T|C <n> @<a>"
extern QList<disptrans::ConnectionSettings> opens;
extern QList<DataSend> dataSends;
extern QList<AttributeFlush> flushes;
extern QList<int16_t> addressWrites;

// How the control answers.
extern QSet<QString> refusedTargets;              // OpenConnection answers false
extern QString refusalText;                        // LastErrorText after a refusal
extern QSet<int16_t> deadAddresses;                // sends to these answer false
extern QString deadText;                           // LastErrorText after a refused send
extern QQueue<bool> flushAnswers;                  // answers of attribute flushes, true when empty
extern QHash<int16_t, disptrans::DisplayConfiguration> configurations;  // by address
extern std::function<void(const QString& call)> onCall;  // runs before every recorded call; may raise

void reset();
// Makes ComponentLoader create these fakes for the control and display list ProgIDs.
void install();
void uninstall();
QStringList callsStartingWith(const QString& prefix);
} // namespace FakeDisplays

class FakeDispTrans final : public QObject, public disptrans::IDispTrans {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDispTrans)
public:
    bool OpenConnection(disptrans::ConnectionSettings& settings) override;
    void CloseConnection() override;
    void setDisplayAddress(const QString& address) override;
    void setDisplayAddress(int16_t address) override;
    int16_t DisplayAddress() override { return m_address; }
    bool SendTextVarData(disptrans::TextVarDataItem& item) override;
    bool SendCellVarData(disptrans::CellVarDataItem& item) override;
    bool SendTextVarAttributes(disptrans::VarAttributeList& list) override;
    bool SendCellVarAttributes(disptrans::VarAttributeList& list) override;
    disptrans::DisplayConfiguration ReadDisplayConfiguration() override;
    disptrans::DownloadTime ReadDownloadTime() override { return {}; }
    disptrans::VarReadReply ReadTextVariable(disptrans::VarReadRequest&) override { return {}; }
    disptrans::VarReadReply ReadCellVariable(disptrans::VarReadRequest&) override { return {}; }
    bool SendMessage(const QString&) override { return true; }
    bool LastCommandSucceeded() override { return m_lastError.isEmpty(); }
    QString LastErrorText() override { return m_lastError; }

private:
    void record(const QString& call);
    bool sendTo(const QString& call);
    bool flush(bool text, disptrans::VarAttributeList& list);
    int16_t m_address = 0;
    QString m_lastError;
};

class FakeDisplayList final : public QObject, public disptrans::IDisplayList {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDisplayList)
public:
    void setListFile(const QString& fileName) override;
    int16_t FindDisplay(const QString& displayNumber) override;
    int16_t FindDisplayByName(const QString& name) override;
    int16_t RecordCount() override { return int16_t(FakeDisplays::records.size()); }
    void setCurrentRecord(int16_t position) override;
    QString DisplayNumber() override { return current().number; }
    QString DisplayName() override { return current().name; }
    int16_t ConnectionKind() override { return current().kind; }
    QString LinkTarget() override { return current().target; }
    QString Kind1Param() override { return current().kind1Param; }
    QString Kind3Param() override { return current().kind3Param; }
    QString OtherKindParam() override { return current().otherParam; }
    QString AddressList() override { return current().addressList; }

private:
    const FakeDisplayRecord& current() const;
    int m_current = -1;
};

// A link container that answers every link with "42" and a line end.
class FixedLink final : public ILinkContainer {
public:
    void setLinkedOnly() override {}
    bool canPaste() override { return false; }
    void paste() override {}
    QString sourceDoc() override { return m_source; }
    void clear() override { m_source.clear(); }
    void setDataFormat(const QString&) override {}
    void createLink(const QString& source) override { m_source = source; }
    QString dataText() override { return QStringLiteral("42\r\n"); }

private:
    QString m_source;
};
