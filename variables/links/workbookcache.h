#pragma once

#include "workbook.h"

#include <QDateTime>
#include <QString>

#include <memory>
#include <mutex>
#include <optional>

namespace links {

// Parsed documents by path, each kept as long as the file's modification time,
// size and creation time stay as they were: reading many linked cells of one
// document parses it once per change, and a document saved over (in place or
// by writing a new file and renaming it over the old) is parsed again.
// A document that could not be read is remembered as unreadable the same way.
// Safe to use from several threads (the command-line tool updates displays in
// parallel); a document is parsed by one of them while the others wait.
class WorkbookCache {
public:
    // A larger document is refused rather than read into memory.
    static constexpr qint64 kMaxDocumentBytes = 64 * 1024 * 1024;

    // The document at `path`; null when it is missing or cannot be read, with
    // the reason in `error`.
    std::shared_ptr<const Workbook> workbook(const QString& path, QString* error = nullptr);
    // How many times a document was parsed (for tests and measurements).
    int parseCount() const;
    void clear();

    // The one cache every link container of the process shares.
    static WorkbookCache& shared();

private:
    struct Stamp {
        QDateTime modified;
        QDateTime created;
        qint64 size = -1;
        bool operator==(const Stamp&) const = default;
    };
    struct Entry {
        QString path;
        Stamp stamp;
        std::shared_ptr<const Workbook> workbook;
        QString error; // why workbook is null
    };
    static std::optional<Stamp> stampOf(const QString& path);

    static constexpr int kMaxEntries = 8;
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries; // most recently used first
    int m_parses = 0;
};

} // namespace links
