#pragma once

// A record of what was sent where and when: one row per display update and per
// audit with the sender's reason, who sent it and each unit's own result, and
// for data sends the text sent per variable. Kept in an SQLite file beside the
// machine-wide settings store, written by every program that sends (several may
// write at once: write-ahead log, busy timeout) and pruned by age. Files of
// earlier versions are brought up to date when opened (PRAGMA user_version).

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

namespace history {

// One unit (address) of a display in a send: whether it took every step.
struct UnitEntry {
    int address = 0;
    bool sent = false;
    QString error; // the reason the sender gave when not sent
    bool operator==(const UnitEntry&) const = default;
};

struct Entry {
    QDateTime when;
    QString kind;                             // "update", "audit", "change" (of a variable; mode: its fields)
    QString display;                          // the display's number in the display list ("5"); empty: a change
    QString units;                            // the unit addresses, "1,2"
    QString mode;                             // "data", "attributes", "data and attributes", "audit"
    QList<int> variables;                     // 1 ... 416
    QString result;                           // "Updated", "FAILED", "Audited", "Changed"
    QString error;                            // the reason the sender gave when it failed
    QList<std::pair<int, QString>> sentTexts; // data sends: variable and the text sent
    QString displayName;                      // the display's name in the display list, for example "Gate signs"
    QString account;              // who sent: a service's own account; empty: the system user (systemAccount())
    QList<UnitEntry> unitResults; // each unit's own result, in the order they were sent
};

// The system user this program runs as.
QString systemAccount();

struct Filter {
    QString display;             // empty: every display; a number or a name
    std::optional<int> variable; // only sends that carried it, and of them only its row
    QDateTime since;             // invalid: from the start
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
    // For a reader: the same for a file that exists; for one that does not,
    // false with the reason, and nothing is created (not even its folder).
    bool openExisting(const QString& path = defaultPath());
    bool isOpen() const;
    QString errorText() const { return m_error; }

    // One small transaction; false with errorText() when it failed.
    bool record(const Entry& entry);
    // Newest first.
    QList<Entry> entries(const Filter& filter = {}) const;
    // Removes the rows older than `age` days; how many went.
    int pruneOlderThan(int days, const QDateTime& now = QDateTime::currentDateTime());

    static constexpr int kDefaultKeepDays = 90;
    static constexpr int kSchemaVersion = 1;

private:
    bool exec(const QString& sql);
    bool setUp();
    QString m_connection;
    QString m_error;
};

} // namespace history
