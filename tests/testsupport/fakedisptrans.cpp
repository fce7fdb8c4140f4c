#include "fakedisptrans.h"

#include "classregistry.h"
#include "clock.h"
#include "fakepluginmaster.h"
#include "legacy.h"
#include "pluginmaster.h"

#include <QRegularExpression>

FakeState fake;

bool FakeDispTrans::OpenConnection(disptrans::ConnectionSettings& s)
{
    record(QStringLiteral("open ") + s.ConnTarget);
    fake.opens << s;
    m_address = s.ConnAddress;
    m_open = !fake.refusedTargets.contains(s.ConnTarget);
    return answer(m_open, QStringLiteral("connection refused"));
}

void FakeDispTrans::CloseConnection()
{
    record(QStringLiteral("close"));
    m_open = false;
    m_error.clear();
}

void FakeDispTrans::setDisplayAddress(const QString& a) { setDisplayAddress(legacy::textToInt16(a)); }

void FakeDispTrans::setDisplayAddress(int16_t a)
{
    record(QStringLiteral("address %1").arg(a));
    m_address = a;
}

disptrans::DisplayConfiguration FakeDispTrans::ReadDisplayConfiguration()
{
    record(QStringLiteral("config @%1").arg(m_address));
    return fake.configurations.value(m_address);
}

bool FakeDispTrans::SendMessage(const QString& text)
{
    fake.texts << text;
    return reach(QStringLiteral("message"));
}

void FakeDispTrans::record(const QString& call)
{
    if (fake.onCall)
        fake.onCall(call);
    if (fake.keepCalls)
        fake.calls << call;
}

bool FakeDispTrans::answer(bool ok, const QString& error)
{
    m_error = ok ? QString() : error;
    return ok;
}

bool FakeDispTrans::reach(const QString& call)
{
    record(call + QStringLiteral(" @%1").arg(m_address));
    return answer(!fake.deadAddresses.contains(m_address), QStringLiteral("no answer from display"));
}

bool FakeDispTrans::send(QChar kind, int16_t index, const QString& text)
{
    if (fake.keepCalls)
        fake.texts << text;
    return reach(QStringLiteral("data %1 %2").arg(kind).arg(index));
}

bool FakeDispTrans::flush(QChar kind, const disptrans::VarAttributeList& list)
{
    if (fake.keepCalls)
        fake.attributeTexts << list.CommandText();
    const bool alive = reach(QStringLiteral("attrs %1 %2").arg(kind).arg(list.EntryCount()));
    return alive && (fake.flushAnswers.isEmpty() || fake.flushAnswers.dequeue());
}

void FakeDisplayList::setListFile(const QString& file)
{
    if (fake.keepCalls)
        fake.calls << QStringLiteral("list ") + file;
}

int16_t FakeDisplayList::FindDisplay(const QString& number)
{
    for (int i = 0; i < fake.records.size(); ++i) {
        if (fake.records[i].number == number)
            return int16_t(i + 1);
    }
    throw RuntimeError(RuntimeError::ApplicationDefined, QStringLiteral("Display %1 is not listed").arg(number));
}

VarSelection pick(const QString& written)
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

FakeWorld::FakeWorld(int count)
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

FakeWorld::~FakeWorld()
{
    vars.reset();
    ComponentLoader::clearFactories();
    Clock::reset();
}
