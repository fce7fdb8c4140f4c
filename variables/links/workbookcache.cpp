#include "workbookcache.h"

#include "spreadsheetreader.h"

#include <QFileInfo>

namespace links {

std::optional<WorkbookCache::Stamp> WorkbookCache::stampOf(const QString& path)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return std::nullopt;
    return Stamp{info.lastModified(), info.birthTime(), info.size()};
}

std::shared_ptr<const Workbook> WorkbookCache::workbook(const QString& path, QString* error)
{
    const std::lock_guard lock(m_mutex);
    const std::optional<Stamp> stamp = stampOf(path);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.path == path; });
    if (!stamp) {
        if (found != m_entries.end())
            m_entries.erase(found);
        if (error)
            *error = QFileInfo::exists(path) ? QStringLiteral("%1 is not a file").arg(path)
                                             : QStringLiteral("no such file: %1").arg(path);
        return nullptr;
    }
    if (found != m_entries.end() && found->stamp == *stamp) {
        std::rotate(m_entries.begin(), found, found + 1);
        if (error)
            *error = m_entries.front().error;
        return m_entries.front().workbook;
    }
    if (found != m_entries.end())
        m_entries.erase(found);

    std::shared_ptr<const Workbook> book;
    QString problem;
    ++m_parses;
    if (stamp->size > kMaxDocumentBytes) {
        problem = QStringLiteral("%1 is larger than %2 MiB").arg(path).arg(kMaxDocumentBytes >> 20);
    } else {
        try {
            book = std::make_shared<const Workbook>(readFile(path));
        } catch (const ReadError& e) {
            // A file half written now may be whole at the next change: its new
            // stamp parses it again.
            problem = QStringLiteral("cannot read %1: %2").arg(path, QString::fromUtf8(e.what()));
        }
    }
    if (error)
        *error = problem;
    m_entries.insert(m_entries.begin(), Entry{path, *stamp, book, problem});
    if (m_entries.size() > size_t(kMaxEntries))
        m_entries.pop_back();
    return book;
}

int WorkbookCache::parseCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_parses;
}

void WorkbookCache::clear()
{
    const std::lock_guard lock(m_mutex);
    m_entries.clear();
    m_parses = 0;
}

WorkbookCache& WorkbookCache::shared()
{
    static WorkbookCache cache;
    return cache;
}

} // namespace links
