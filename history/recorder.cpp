#include "recorder.h"

#include <QLoggingCategory>

#include <atomic>
#include <mutex>

namespace history {

namespace {
Q_LOGGING_CATEGORY(lcHistory, "lumarex.history")
std::atomic_bool g_complained{false};
std::once_flag g_pruned;
} // namespace

int keepDays()
{
    bool ok = false;
    const int days = settings::read(kKeepDays).toInt(&ok);
    return ok && days > 0 ? days : QString::fromLatin1(kKeepDays.defaultValue).toInt();
}

bool recordQuietly(const Entry& entry)
{
    // A connection of its own for every entry: nothing is left open in the
    // sending threads, which may end at any time, and opening a file that
    // exists is cheap next to the transaction.
    SendHistory history;
    if (!history.open()) {
        if (!g_complained.exchange(true))
            qCWarning(lcHistory, "the send history is not kept: %s", qUtf8Printable(history.errorText()));
        return false;
    }
    std::call_once(g_pruned, [&history] { history.pruneOlderThan(keepDays()); });
    if (history.record(entry))
        return true;
    qCWarning(lcHistory, "a send was not recorded: %s", qUtf8Printable(history.errorText()));
    return false;
}

QString modeText(bool data, bool attributes)
{
    if (data && attributes)
        return QStringLiteral("data and attributes");
    return data ? QStringLiteral("data") : QStringLiteral("attributes");
}

} // namespace history
