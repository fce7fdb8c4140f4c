#pragma once

// A transmission control and display list that record every call, with failure
// injection, and the world an update needs. The code under test creates its own
// objects by ProgID, so their state is shared (`fake`).

#include "classregistry.h"
#include "clock.h"
#include "clsVarSetupInfo.h"
#include "clsVariableAccess.h"
#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "fakepluginmaster.h"
#include "testenvironment.h"

#include <QHash>
#include <QQueue>
#include <QRegularExpression>
#include <QSet>

struct FakeState {
    struct Record {
        QString number, target, addressList;
        int16_t kind = 3;
    };
    QList<Record> records;
    // "list <file>", "open <target>", "close", "address <a>", "config @<a>",
    // "data T|C <index> @<a>", "attrs T|C <entries> @<a>"
    QStringList calls;
    QList<disptrans::ConnectionSettings> opens;
    QStringList texts;            // of the data sends
    QSet<QString> refusedTargets; // OpenConnection answers false: "connection refused"
    QSet<int16_t> deadAddresses;  // sends there answer false: "no answer from display"
    QQueue<bool> flushAnswers;    // true when empty
    QHash<int16_t, disptrans::DisplayConfiguration> configurations; // by address
    std::function<void(const QString& call)> onCall;                // before every call of the control; may raise
};
inline FakeState fake;

class FakeDispTrans final : public QObject, public disptrans::IDispTrans {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDispTrans)
public:
    bool OpenConnection(disptrans::ConnectionSettings& s) override
    {
        record(QStringLiteral("open ") + s.ConnTarget);
        fake.opens << s;
        return answer(!fake.refusedTargets.contains(s.ConnTarget), QStringLiteral("connection refused"));
    }
    void CloseConnection() override
    {
        record(QStringLiteral("close"));
        m_error.clear();
    }
    void setDisplayAddress(const QString& a) override { setDisplayAddress(legacy::textToInt16(a)); }
    void setDisplayAddress(int16_t a) override
    {
        record(QStringLiteral("address %1").arg(a));
        m_address = a;
    }
    int16_t DisplayAddress() override { return m_address; }
    bool SendTextVarData(disptrans::TextVarDataItem& i) override { return send(u'T', i.VarIndex, i.VarText); }
    bool SendCellVarData(disptrans::CellVarDataItem& i) override { return send(u'C', i.VarIndex, i.VarText); }
    bool SendTextVarAttributes(disptrans::VarAttributeList& list) override { return flush(u'T', list); }
    bool SendCellVarAttributes(disptrans::VarAttributeList& list) override { return flush(u'C', list); }
    disptrans::DisplayConfiguration ReadDisplayConfiguration() override
    {
        record(QStringLiteral("config @%1").arg(m_address));
        return fake.configurations.value(m_address);
    }
    disptrans::DownloadTime ReadDownloadTime() override { return {}; }
    disptrans::VarReadReply ReadTextVariable(disptrans::VarReadRequest&) override { return {}; }
    disptrans::VarReadReply ReadCellVariable(disptrans::VarReadRequest&) override { return {}; }
    bool SendMessage(const QString&) override { return true; }
    bool LastCommandSucceeded() override { return m_error.isEmpty(); }
    QString LastErrorText() override { return m_error; }

private:
    void record(const QString& call)
    {
        if (fake.onCall)
            fake.onCall(call);
        fake.calls << call;
    }
    bool answer(bool ok, const QString& error)
    {
        m_error = ok ? QString() : error;
        return ok;
    }
    bool reach(const QString& call)
    {
        record(call + QStringLiteral(" @%1").arg(m_address));
        return answer(!fake.deadAddresses.contains(m_address), QStringLiteral("no answer from display"));
    }
    bool send(QChar kind, int16_t index, const QString& text)
    {
        fake.texts << text;
        return reach(QStringLiteral("data %1 %2").arg(kind).arg(index));
    }
    bool flush(QChar kind, const disptrans::VarAttributeList& list)
    {
        const bool alive = reach(QStringLiteral("attrs %1 %2").arg(kind).arg(list.EntryCount()));
        return alive && (fake.flushAnswers.isEmpty() || fake.flushAnswers.dequeue());
    }
    int16_t m_address = 0;
    QString m_error;
};

class FakeDisplayList final : public QObject, public disptrans::IDisplayList {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDisplayList)
public:
    void setListFile(const QString& file) override { fake.calls << QStringLiteral("list ") + file; }
    int16_t FindDisplay(const QString& number) override
    {
        for (int i = 0; i < fake.records.size(); ++i) {
            if (fake.records[i].number == number)
                return int16_t(i + 1);
        }
        throw RuntimeError(RuntimeError::ApplicationDefined, QStringLiteral("Display %1 is not listed").arg(number));
    }
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
inline VarSelection pick(const QString& written)
{
    VarSelection out;
    static const QRegularExpression item(QStringLiteral("([TC])(-?\\d+)(?:\\.\\.(\\d+))?(?:x(\\d+))?"));
    for (auto it = item.globalMatch(written); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        for (int n = m.captured(2).toInt(); n <= (m.hasCaptured(3) ? m.captured(3) : m.captured(2)).toInt(); ++n)
            out += VarSelection(m.hasCaptured(4) ? m.captured(4).toInt() : 1, {m.captured(1) == u"T", int16_t(n)});
    }
    return out;
}

// The fakes installed, the clock fixed at 03/05/2010 14:07:09, and display
// records "1" ... "n", each at the address of its number, at target "host<n>".
struct FakeWorld {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars;
    QString displays; // "1,2,...,n"

    explicit FakeWorld(int count = 0)
    {
        fake = {};
        FakePluginMaster::reset();
        ComponentLoader::setFactory(disptrans::kDispTransProgId, [] { return new FakeDispTrans; });
        ComponentLoader::setFactory(disptrans::kDisplayListProgId, [] { return new FakeDisplayList; });
        ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new FakePluginMaster; });
        Clock::setFixed(QDateTime(QDate(2010, 3, 5), QTime(14, 7, 9)));
        vars = std::make_unique<clsVariableAccess>();
        QStringList numbers;
        for (int i = 1; i <= count; ++i) {
            numbers << QString::number(i);
            fake.records << FakeState::Record{numbers.last(), QStringLiteral("host%1").arg(i), numbers.last()};
        }
        displays = numbers.join(u',');
    }
    ~FakeWorld()
    {
        ComponentLoader::clearFactories();
        Clock::reset();
    }
};
