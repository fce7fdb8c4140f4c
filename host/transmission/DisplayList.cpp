#include "DisplayList.h"

#include "runtimeerror.h"
#include "hostsettings.h"

#include <QDir>
#include <QFileInfo>

namespace {
// The folder of the library this code is in.
QString ownFolder() { return settings::moduleFolder(reinterpret_cast<const void*>(&ownFolder)); }
} // namespace

DisplayList::DisplayList(QObject* parent) : QObject(parent) { setObjectName(QStringLiteral("DisplayList")); }

QString DisplayList::resolve(const QString& fileName)
{
    QString name = fileName.trimmed();
    name.replace(u'\\', u'/');
    // "C:/..." is absolute for the host even where the platform would not say so.
    const bool driveLetter = name.size() > 2 && name[1] == u':' && name[2] == u'/';
    if (QDir::isAbsolutePath(name) || driveLetter)
        return QDir::toNativeSeparators(QDir::cleanPath(name));
    const QString folder = settings::read(hostsettings::kAppPath, ownFolder());
    return QDir::toNativeSeparators(QDir::cleanPath(settings::joinPath(folder, name)));
}

void DisplayList::setListFile(const QString& fileName)
{
    m_listFile = fileName;
    m_path = resolve(fileName.isEmpty() ? kDefaultListFile : fileName);
    m_loaded = false;
    m_records.clear();
    m_errors.clear();
    m_current = 0;
    const DisplayListFile::Contents contents = DisplayListFile::read(m_path);
    m_records = contents.records;
    m_errors = contents.errorTexts();
    for (const QString& e : std::as_const(m_errors))
        qWarning("%s: %s", qPrintable(m_path), qPrintable(e));
    m_loaded = true;
    m_current = m_records.isEmpty() ? 0 : 1;
}

void DisplayList::ensureLoaded()
{
    if (!m_loaded)
        setListFile(m_listFile.isEmpty() ? kDefaultListFile : m_listFile);
}

const QList<DisplayRecord>& DisplayList::records()
{
    ensureLoaded();
    return m_records;
}

short DisplayList::RecordCount()
{
    ensureLoaded();
    return short(m_records.size());
}

void DisplayList::setCurrentRecord(short position)
{
    ensureLoaded();
    if (position < 1 || position > m_records.size())
        throw RuntimeError(RuntimeError::SubscriptOutOfRange,
                           QStringLiteral("Display record %1 does not exist; %2 holds %3 records")
                               .arg(position)
                               .arg(m_path)
                               .arg(m_records.size()));
    m_current = position;
}

const DisplayRecord& DisplayList::current()
{
    ensureLoaded();
    if (m_current < 1 || m_current > m_records.size())
        throw RuntimeError(RuntimeError::SubscriptOutOfRange,
                           QStringLiteral("No current display record: %1 holds no displays").arg(m_path));
    return m_records[m_current - 1];
}

short DisplayList::positionWhere(const std::function<bool(const DisplayRecord&)>& match) const
{
    for (qsizetype i = 0; i < m_records.size(); ++i) {
        if (match(m_records[i]))
            return short(i + 1);
    }
    return 0;
}

void DisplayList::raiseNotFound(const QString& what) const
{
    throw RuntimeError(RuntimeError::SubscriptOutOfRange,
                       QStringLiteral("Display %1 is not in the display list %2").arg(what, m_path));
}

namespace {
bool sameNumber(const DisplayRecord& r, const QString& text)
{
    bool ok = false;
    const int n = text.trimmed().toInt(&ok);
    return ok && QString::number(n) == r.number;
}
bool sameName(const DisplayRecord& r, const QString& text)
{
    return r.name.compare(text.trimmed(), Qt::CaseInsensitive) == 0;
}
} // namespace

short DisplayList::findEither(const QString& text, Match first, Match second)
{
    ensureLoaded();
    short position = positionWhere([&](const DisplayRecord& r) { return first(r, text); });
    if (!position)
        position = positionWhere([&](const DisplayRecord& r) { return second(r, text); });
    if (!position)
        raiseNotFound(QStringLiteral("\"%1\"").arg(text));
    m_current = position;
    return position;
}

short DisplayList::FindDisplay(const QString& displayNumber) { return findEither(displayNumber, sameNumber, sameName); }

short DisplayList::FindDisplayByName(const QString& name) { return findEither(name, sameName, sameNumber); }
