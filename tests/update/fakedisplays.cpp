#include "fakedisplays.h"

#include "classregistry.h"
#include "legacy.h"

namespace FakeDisplays {
QList<FakeDisplayRecord> records;
int listFileWrites = 0;
QStringList calls;
QList<disptrans::ConnectionSettings> opens;
QList<DataSend> dataSends;
QList<AttributeFlush> flushes;
QList<int16_t> addressWrites;
QSet<QString> refusedTargets;
QString refusalText;
QSet<int16_t> deadAddresses;
QString deadText;
QQueue<bool> flushAnswers;
QHash<int16_t, disptrans::DisplayConfiguration> configurations;
std::function<void(const QString&)> onCall;

void reset()
{
    records.clear();
    listFileWrites = 0;
    calls.clear();
    opens.clear();
    dataSends.clear();
    flushes.clear();
    addressWrites.clear();
    refusedTargets.clear();
    refusalText = QStringLiteral("connection refused");
    deadAddresses.clear();
    deadText = QStringLiteral("no answer from display");
    flushAnswers.clear();
    configurations.clear();
    onCall = nullptr;
}

void install()
{
    ComponentLoader::setFactory(disptrans::kDispTransProgId, [] { return new FakeDispTrans; });
    ComponentLoader::setFactory(disptrans::kDisplayListProgId, [] { return new FakeDisplayList; });
}

void uninstall()
{
    ComponentLoader::setFactory(disptrans::kDispTransProgId, {});
    ComponentLoader::setFactory(disptrans::kDisplayListProgId, {});
}

QStringList callsStartingWith(const QString& prefix)
{
    QStringList out;
    for (const QString& c : calls) {
        if (c.startsWith(prefix))
            out << c;
    }
    return out;
}
} // namespace FakeDisplays

using namespace FakeDisplays;

void FakeDispTrans::record(const QString& call)
{
    if (onCall)
        onCall(call);
    calls << call;
}

bool FakeDispTrans::OpenConnection(disptrans::ConnectionSettings& settings)
{
    record(QStringLiteral("open ") + settings.ConnTarget);
    opens << settings;
    if (refusedTargets.contains(settings.ConnTarget)) {
        m_lastError = refusalText;
        return false;
    }
    m_lastError.clear();
    return true;
}

void FakeDispTrans::CloseConnection()
{
    record(QStringLiteral("close"));
    m_lastError.clear();  // closing is a command that succeeds
}

void FakeDispTrans::setDisplayAddress(const QString& address) { setDisplayAddress(legacy::textToInt16(address)); }

void FakeDispTrans::setDisplayAddress(int16_t address)
{
    record(QStringLiteral("address ") + QString::number(address));
    addressWrites << address;
    m_address = address;
}

bool FakeDispTrans::sendTo(const QString& call)
{
    record(call + QStringLiteral(" @") + QString::number(m_address));
    if (deadAddresses.contains(m_address)) {
        m_lastError = deadText;
        return false;
    }
    m_lastError.clear();
    return true;
}

bool FakeDispTrans::SendTextVarData(disptrans::TextVarDataItem& item)
{
    dataSends << DataSend{m_address, true, item.VarIndex, item.VarText};
    return sendTo(QStringLiteral("data T ") + QString::number(item.VarIndex));
}

bool FakeDispTrans::SendCellVarData(disptrans::CellVarDataItem& item)
{
    dataSends << DataSend{m_address, false, item.VarIndex, item.VarText};
    return sendTo(QStringLiteral("data C ") + QString::number(item.VarIndex));
}

bool FakeDispTrans::flush(bool text, disptrans::VarAttributeList& list)
{
    flushes << AttributeFlush{m_address, text, list.entries(), int(list.CommandText().size())};
    const bool alive = sendTo(QStringLiteral("attrs ") + (text ? u'T' : u'C') + u' '
                              + QString::number(list.EntryCount()));
    const bool answer = flushAnswers.isEmpty() ? true : flushAnswers.dequeue();
    return alive && answer;
}

bool FakeDispTrans::SendTextVarAttributes(disptrans::VarAttributeList& list) { return flush(true, list); }
bool FakeDispTrans::SendCellVarAttributes(disptrans::VarAttributeList& list) { return flush(false, list); }

disptrans::DisplayConfiguration FakeDispTrans::ReadDisplayConfiguration()
{
    record(QStringLiteral("config @") + QString::number(m_address));
    return configurations.value(m_address);
}

void FakeDisplayList::setListFile(const QString& fileName)
{
    if (fileName != QStringLiteral("Displays.dat"))
        throw RuntimeError(RuntimeError::FileNotFound);
    ++listFileWrites;
}

int16_t FakeDisplayList::FindDisplay(const QString& displayNumber)
{
    for (int i = 0; i < records.size(); ++i) {
        if (records[i].number == displayNumber)
            return int16_t(i + 1);
    }
    throw RuntimeError(RuntimeError::ApplicationDefined, QStringLiteral("Display ") + displayNumber
                                                             + QStringLiteral(" is not in the display list"));
}

int16_t FakeDisplayList::FindDisplayByName(const QString& name)
{
    for (int i = 0; i < records.size(); ++i) {
        if (records[i].name == name)
            return int16_t(i + 1);
    }
    throw RuntimeError(RuntimeError::ApplicationDefined, QStringLiteral("no such display"));
}

void FakeDisplayList::setCurrentRecord(int16_t position)
{
    if (position < 1 || position > records.size())
        RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
    m_current = position - 1;
}

const FakeDisplayRecord& FakeDisplayList::current() const
{
    if (m_current < 0 || m_current >= records.size())
        RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
    return records[m_current];
}
