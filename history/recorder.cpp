#include "recorder.h"

#include <QLoggingCategory>
#include <QThreadStorage>

#include <memory>

namespace history {

namespace {
Q_LOGGING_CATEGORY(lcHistory, "lumarex.history")

// The thread's open history and the path it was opened at: the store can be
// moved (tests do), and the next entry then goes to the new place.
struct ThreadHistory {
    std::unique_ptr<SendHistory> history;
    QString path;
    bool complained = false;
};

SendHistory* openFor(ThreadHistory& mine, const QString& path)
{
    if (mine.history && mine.path == path)
        return mine.history.get();
    mine.history = std::make_unique<SendHistory>();
    mine.path = path;
    if (!mine.history->open(path)) {
        if (!mine.complained)
            qCWarning(lcHistory, "the send history is not kept: %s", qUtf8Printable(mine.history->errorText()));
        mine.complained = true;
        mine.history.reset();
        mine.path.clear();
        return nullptr;
    }
    mine.history->pruneOlderThan(keepDays());
    return mine.history.get();
}
} // namespace

int keepDays()
{
    bool ok = false;
    const int days = settings::read(kKeepDays).toInt(&ok);
    return ok && days > 0 ? days : QString::fromLatin1(kKeepDays.defaultValue).toInt();
}

bool recordQuietly(const Entry& entry)
{
    // Qt's thread storage, not thread_local: a connection must be closed while
    // its thread and the SQL driver are still there.
    static QThreadStorage<ThreadHistory*> perThread;
    if (!perThread.hasLocalData())
        perThread.setLocalData(new ThreadHistory);
    SendHistory* history = openFor(*perThread.localData(), SendHistory::defaultPath());
    if (!history)
        return false;
    if (history->record(entry))
        return true;
    qCWarning(lcHistory, "a send was not recorded: %s", qUtf8Printable(history->errorText()));
    return false;
}

QString modeText(bool data, bool attributes)
{
    if (data && attributes)
        return QStringLiteral("data and attributes");
    return data ? QStringLiteral("data") : QStringLiteral("attributes");
}

} // namespace history
