#include "tokenstore.h"

#include "registryroutines.h"
#include "zolPluginMaster.h"

#include <QCoreApplication>
#include <QHash>
#include <QTimer>

#include <algorithm>

namespace tokenstore {

namespace {
struct Pending {
    QList<std::pair<QString, QString>> writes; // in order; a later write of a name wins
    QHash<QString, qsizetype> indexOf;
    bool flushScheduled = false;
};

Pending& pending()
{
    static Pending p;
    return p;
}

RegistryRoutines hive() { return RegistryRoutines(RegistryRoutines::LocalMachine); }
} // namespace

QString normalName(const QString& name) { return name.trimmed().toUpper(); }

QString text(const QString& name)
{
    const QString key = normalName(name);
    if (auto it = pending().indexOf.constFind(key); it != pending().indexOf.constEnd())
        return pending().writes[*it].second;
    const QString value = hive().readValue(zolPluginMaster::kTokenKey, key);
    return value == RegistryRoutines::kError ? QString() : value;
}

void setText(const QString& name, const QString& text)
{
    Pending& p = pending();
    const QString key = normalName(name);
    if (auto it = p.indexOf.constFind(key); it != p.indexOf.constEnd()) {
        p.writes[*it].second = text;
    } else {
        p.indexOf.insert(key, p.writes.size());
        p.writes.append({key, text});
    }
    if (!QCoreApplication::instance()) {
        flush(); // no event loop to wait for
        return;
    }
    if (!p.flushScheduled) {
        p.flushScheduled = true;
        QTimer::singleShot(0, QCoreApplication::instance(), [] { flush(); });
    }
}

QStringList names()
{
    QStringList all = hive().valueNames(zolPluginMaster::kTokenKey);
    for (const auto& [key, text] : std::as_const(pending().writes)) {
        if (!all.contains(key))
            all << key;
    }
    std::sort(all.begin(), all.end());
    return all;
}

bool flush()
{
    Pending& p = pending();
    p.flushScheduled = false;
    if (p.writes.isEmpty())
        return true;
    const bool written = hive().writeValues(zolPluginMaster::kTokenKey, p.writes);
    p.writes.clear();
    p.indexOf.clear();
    return written;
}

int pendingCount() { return int(pending().writes.size()); }

} // namespace tokenstore
