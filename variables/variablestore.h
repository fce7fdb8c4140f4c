#pragma once

// The one way every program writes a variable file: the manager's saves, the
// command-line tool's set and import, watch, the web console and the MQTT agent.
// Several of them may work on one file at once, so every write is a
// read-modify-write under one lock, a QLockFile beside the file
// ("<name>.vls.lock"), and a writer that loaded the file earlier and now writes
// its whole set keeps what another writer put there meanwhile.
//
// A program that changes a few variables:
//
//     VariableStore store;                      // the current file (or VariableStore(path))
//     QString error;
//     if (!store.modify([](clsVariableAccess& set) { set.setVariableData(3, "GATE 12 OPEN"); }, &error))
//         report(error);                        // locked by another program for too long, unreadable, ...
//
// The change runs under the lock on the set as the file holds it right then;
// the store writes the result (and, for the current file, each variable's data
// where the host reads it by token). A change must not call LoadVariables or
// SaveVariables on the set it is given.
//
// A program that only reads:
//
//     std::unique_ptr<clsVariableAccess> set = store.load(&error);   // null on failure
//
// The set it gives belongs to no file: it neither saves itself nor changes the
// file when it goes.
//
// A file that does not exist yet: the current file reads as the default set (a
// fresh plug-in's); any other file read is "no such file"; modify() starts
// either from the default set and says so through createdFile().
//
// A writer that keeps its own copy (clsVariableAccess, which the manager holds
// while it is open) saves through save() with the fingerprint of what it
// loaded. When the file changed on disk since, the version on disk is first
// kept as "<name>.vls.conflict-<yyyyMMdd-hhmmss>" (a name no later save takes)
// and a warning names both versions; when the writer changed nothing itself,
// the newer file stays as it is.

#include "variablefile.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class clsVariableAccess;

class VariableStore final {
public:
    static constexpr int kDefaultLockTimeoutMs = 10000;

    // `path` empty: the current file, as the settings name it.
    explicit VariableStore(const QString& path = QString());

    // The current file's absolute path.
    static QString currentPath();

    QString path() const { return m_path; }
    // Whether this is the file the plug-in and the host use now.
    bool isCurrent() const { return m_current; }
    bool exists() const;

    // How long a writer waits for another one's lock (default kDefaultLockTimeoutMs).
    void setLockTimeoutMs(int ms) { m_lockTimeoutMs = ms; }

    // The whole file, or the reason it cannot be read ("no such file: ...",
    // "... is not a variable file ...", "... holds only 200 of the 416 variables").
    bool read(vls::RecordSet& records, QString* error = nullptr) const;
    std::unique_ptr<clsVariableAccess> load(QString* error = nullptr) const;

    // Read-modify-write under the lock; false with the reason when the lock was
    // not had in time (naming the program that holds it), the file cannot be
    // read completely (nothing is written then) or cannot be written.
    using Change = std::function<void(clsVariableAccess&)>;
    bool modify(const Change& change, QString* error = nullptr);
    using RecordChange = std::function<void(vls::RecordSet&)>;
    bool modifyRecords(const RecordChange& change, QString* error = nullptr);
    // Whether the last modify() started the file from the default set.
    bool createdFile() const { return m_created; }
    // Whether the last modify() failed because another writer held the lock too long.
    bool lockTimedOut() const { return m_lockTimedOut; }

    // What a writer with its own copy saw of the file when it loaded it: the
    // digest of its bytes, nothing when there was no file.
    using Fingerprint = std::optional<QByteArray>;
    static Fingerprint fingerprintOf(const QByteArray* bytes);
    static Fingerprint fingerprintOnDisk(const QString& path);

    struct SaveOutcome {
        bool ok = false;
        bool written = false;    // the file now holds `records`
        QString conflictCopy;    // where the other writer's version was kept
        Fingerprint fingerprint; // what the file holds now, for the next save
        QString error;
    };
    // Writes a whole set that was loaded from this file with `loaded` (its
    // records then were `loadedRecords`): see the top of this file.
    SaveOutcome save(const vls::RecordSet& records, const Fingerprint& loaded, const vls::RecordSet& loadedRecords);

    static vls::RecordSet defaults();
    static QString conflictCopyPath(const QString& path, const QDateTime& when);

private:
    class Lock;
    bool writeLocked(const vls::RecordSet& records, QString* error);
    bool readForChange(vls::RecordSet& records, QString* error);

    QString m_path;
    bool m_current = false;
    bool m_created = false;
    bool m_lockTimedOut = false;
    int m_lockTimeoutMs = kDefaultLockTimeoutMs;
};
