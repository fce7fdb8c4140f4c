#include "fakepluginmaster.h"

#include "runtimeerror.h"

QHash<QString, QString> FakePluginMaster::tokens;
int FakePluginMaster::statusReads = 0;
int FakePluginMaster::setCalls = 0;
bool FakePluginMaster::failEveryCall = false;
QStringList FakePluginMaster::failingKeys;
std::function<QString(const QString&)> FakePluginMaster::cleaner;
QStringList FakePluginMaster::methodsRun;

void FakePluginMaster::reset()
{
    tokens.clear();
    statusReads = setCalls = 0;
    failEveryCall = false;
    failingKeys.clear();
    cleaner = nullptr;
    methodsRun.clear();
}

namespace {
void maybeFail()
{
    if (FakePluginMaster::failEveryCall)
        throw RuntimeError(RuntimeError::AutomationError);
}
} // namespace

QVariant FakePluginMaster::Status()
{
    maybeFail();
    ++statusReads;
    return 0;
}

QString FakePluginMaster::GetTokenText(const QString& key)
{
    maybeFail();
    return tokens.value(key);
}

void FakePluginMaster::SetTokenText(const QString& key, const QString& text)
{
    maybeFail();
    ++setCalls;
    if (failingKeys.contains(key))
        throw RuntimeError(RuntimeError::AutomationError);
    tokens.insert(key, text);
}

void FakePluginMaster::RunPluginMethod(const QString& progId, const QString& method, QString& param1, const QString&,
                                       bool& status)
{
    maybeFail();
    methodsRun << progId + u'.' + method;
    if (cleaner)
        param1 = cleaner(param1);
    status = true;
}
