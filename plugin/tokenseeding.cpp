#include "tokenseeding.h"

#include "classregistry.h"
#include "legacy.h"
#include "pluginmaster.h"

namespace {
// Runs one statement; a failure is skipped, as the original's error handling did.
template <class F> void resumeNext(F&& statement)
{
    try {
        statement();
    } catch (const std::exception&) {}
}

const QChar kRecordSeparator(char16_t(30));
} // namespace

QString tokenKey(int n) { return QStringLiteral("VBL") + legacy::formatZeros(n, 3); }

QString tokenCommandText(int n)
{
    if (n <= 256)
        return kRecordSeparator + QStringLiteral("A") + legacy::formatZeros(n - 1, 3);
    return kRecordSeparator + QStringLiteral("V") + legacy::formatZeros(n - 257, 3);
}

void InitVariables()
{
    Component<pluginmaster::IPluginMaster> master;
    resumeNext([&] { master = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId); });
    auto call = [&](auto&& fn) {
        resumeNext([&] {
            if (!master)
                RuntimeError::raise(RuntimeError::ObjectRequired);
            fn(*master.get());
        });
    };
    call([](pluginmaster::IPluginMaster& m) { m.Status(); });

    QString first, last;
    call([&](pluginmaster::IPluginMaster& m) { first = m.GetTokenText(tokenKey(1)); });
    call([&](pluginmaster::IPluginMaster& m) { last = m.GetTokenText(tokenKey(416)); });
    if (first == tokenCommandText(1) && last == tokenCommandText(416))
        return;

    for (int n = 1; n <= 417; ++n)
        call([n](pluginmaster::IPluginMaster& m) { m.SetTokenText(tokenKey(n), tokenCommandText(n)); });
}
