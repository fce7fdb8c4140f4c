#pragma once

// A record of what was sent where and when: one row per display update and per
// audit, and for data sends the text sent per variable. Kept in an SQLite file
// beside the machine-wide settings store, written by every program that sends
// (several may write at once: write-ahead log, busy timeout) and pruned by age.

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

namespace history {

struct Entry {
    QDateTime when;
    QString kind;         // "update" or "audit"
    QString display;      // the display entry, for example "5"
    QString units;        // the unit addresses, "1,2"
    QString mode;         // "data", "attributes", "data and attributes", "audit"
    QList<int> variables; // 1 ... 416
    QString result;       // "Updated", "FAILED", "Audited"
    QString error;
    QList<std::pair<int, QString>> sentTexts; // data sends: variable and the text sent
};

struct Filter {
    QString display; // empty: every display
    std::optional<int> variable;
    QDateTime since; // invalid: from the start
};

class SendHistory final {
public:
    // The file beside the machine-wide settings store.
    static QString defaultPath();

    SendHistory();
    ~SendHistory();
    SendHistory(const SendHistory&) = delete;
    SendHistory& operator=(const SendHistory&) = delete;

    // Opens (and creates) the file; false with a reason when it cannot.
    bool open(const QString& path = defaultPath());
    bool isOpen() const;
    QString errorText() const { return m_error; }

    // One small transaction; false with errorText() when it failed.
    bool record(const Entry& entry);
    // Newest first.
    QList<Entry> entries(const Filter& filter = {}) const;
    // Removes the rows older than `age` days; how many went.
    int pruneOlderThan(int days, const QDateTime& now = QDateTime::currentDateTime());

    static constexpr int kDefaultKeepDays = 90;

private:
    bool exec(const QString& sql);
    QString m_connection;
    QString m_error;
};

} // namespace history
