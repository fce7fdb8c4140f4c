#include "zolBadWordChecker.h"

#include "badwordfilter.h"

#include <QDateTime>
#include <QFileInfo>

namespace {
// The list is read again only when its file changes: the checker runs once per
// variable sent.
const BadWordFilter& filterFor(const QString& path)
{
    static QString cachedPath;
    static QDateTime cachedTime;
    static qint64 cachedSize = -1;
    static BadWordFilter filter;
    const QFileInfo info(path);
    const QDateTime time = info.exists() ? info.lastModified() : QDateTime();
    const qint64 size = info.exists() ? info.size() : -1;
    if (path != cachedPath || time != cachedTime || size != cachedSize) {
        filter = BadWordFilter(BadWordFilter::readWordList(path));
        cachedPath = path;
        cachedTime = time;
        cachedSize = size;
    }
    return filter;
}
// The folder of the library this code is in.
QString ownFolder() { return settings::moduleFolder(reinterpret_cast<const void*>(&ownFolder)); }
} // namespace

zolBadWordChecker::zolBadWordChecker(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("zolBadWordChecker"));
}

QString zolBadWordChecker::WordListPath() const
{
    const QString configured = settings::read(kWordListSetting, QString()).trimmed();
    if (!configured.isEmpty())
        return settings::joinPath(QString(), configured);
    return settings::joinPath(ownFolder(), kDefaultWordList);
}

void zolBadWordChecker::CleanCMD(QString& param1, QString /*param2*/, bool& status)
{
    bool masked = false;
    param1 = filterFor(WordListPath()).clean(param1, &masked);
    status = masked;
}
