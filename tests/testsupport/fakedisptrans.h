#pragma once

// A transmission control and display list that record every call, with failure
// injection, and the world an update needs. The code under test creates its own
// objects by ProgID, so their state is shared (`fake`).

#include "clsVarSetupInfo.h"
#include "clsVariableAccess.h"
#include "runtimeerror.h"
#include "disptrans.h"
#include "testenvironment.h"

#include <QHash>
#include <QQueue>
#include <QSet>

#include <functional>
#include <memory>

struct FakeState {
    struct Record {
        QString number, target, addressList;
        int16_t kind = 3;
    };
    QList<Record> records;
    // "list <file>", "open <target>", "close", "address <a>", "config @<a>",
    // "data T|C <index> @<a>", "attrs T|C <entries> @<a>", "message @<a>"
    QStringList calls;
    bool keepCalls = true; // false: nothing is recorded (benchmarks)
    QList<disptrans::ConnectionSettings> opens;
    QStringList texts;            // of the data sends and messages
    QStringList attributeTexts;   // of the attribute sends, as the display reads them
    QSet<QString> refusedTargets; // OpenConnection answers false: "connection refused"
    QSet<int16_t> deadAddresses;  // sends there answer false: "no answer from display"
    QQueue<bool> flushAnswers;    // true when empty
    QHash<int16_t, disptrans::DisplayConfiguration> configurations; // by address
    std::function<void(const QString& call)> onCall;                // before every call of the control; may raise
};
extern FakeState fake;

class FakeDispTrans final : public QObject, public disptrans::IDispTrans {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDispTrans)
public:
    bool OpenConnection(disptrans::ConnectionSettings& s) override;
    void CloseConnection() override;
    void setDisplayAddress(const QString& a) override;
    void setDisplayAddress(int16_t a) override;
    int16_t DisplayAddress() override { return m_address; }
    bool SendTextVarData(disptrans::TextVarDataItem& i) override { return send(u'T', i.VarIndex, i.VarText); }
    bool SendCellVarData(disptrans::CellVarDataItem& i) override { return send(u'C', i.VarIndex, i.VarText); }
    bool SendTextVarAttributes(disptrans::VarAttributeList& list) override { return flush(u'T', list); }
    bool SendCellVarAttributes(disptrans::VarAttributeList& list) override { return flush(u'C', list); }
    disptrans::DisplayConfiguration ReadDisplayConfiguration() override;
    disptrans::DownloadTime ReadDownloadTime() override { return {}; }
    disptrans::VarReadReply ReadTextVariable(disptrans::VarReadRequest&) override { return {}; }
    disptrans::VarReadReply ReadCellVariable(disptrans::VarReadRequest&) override { return {}; }
    bool SendMessage(const QString& text) override;
    bool LastCommandSucceeded() override { return m_error.isEmpty(); }
    QString LastErrorText() override { return m_error; }
    bool isOpen() const { return m_open; }

private:
    void record(const QString& call);
    bool answer(bool ok, const QString& error);
    bool reach(const QString& call);
    bool send(QChar kind, int16_t index, const QString& text);
    bool flush(QChar kind, const disptrans::VarAttributeList& list);
    int16_t m_address = 0;
    bool m_open = false;
    QString m_error;
};

class FakeDisplayList final : public QObject, public disptrans::IDisplayList {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDisplayList)
public:
    void setListFile(const QString& file) override;
    int16_t FindDisplay(const QString& number) override;
    int16_t FindDisplayByName(const QString& name) override { return FindDisplay(name); }
    int16_t RecordCount() override { return int16_t(fake.records.size()); }
    void setCurrentRecord(int16_t position) override { m_record = fake.records.at(position - 1); }
    QString DisplayNumber() override { return m_record.number; }
    QString DisplayName() override { return m_record.number; }
    int16_t ConnectionKind() override { return m_record.kind; }
    QString LinkTarget() override { return m_record.target; }
    QString Kind1Param() override { return QStringLiteral("P1"); }
    QString OtherKindParam() override { return QStringLiteral("P2"); }
    QString Kind3Param() override { return QStringLiteral("P3"); }
    QString AddressList() override { return m_record.addressList; }

private:
    FakeState::Record m_record;
};

// A selection written "T1 C257": "T1..8" for a range, "C257x3" for repeats.
VarSelection pick(const QString& written);

// The fakes installed, the clock fixed at 03/05/2010 14:07:09, and display
// records "1" ... "n", each at the address of its number, at target "host<n>".
struct FakeWorld {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars;
    QString displays; // "1,2,...,n"

    explicit FakeWorld(int count = 0);
    ~FakeWorld();
    FakeWorld(const FakeWorld&) = delete;
    FakeWorld& operator=(const FakeWorld&) = delete;
};
