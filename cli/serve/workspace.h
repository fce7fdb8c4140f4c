#pragma once

// The files the server works on, as the rest of the tool does: the variable
// file (read into a snapshot with its ETag, changed under its lock) and the
// display list.

#include "displays.h"
#include "varfields.h"
#include "varstore.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QMutex>

#include <array>
#include <optional>

namespace serve {

struct Snapshot {
    vls::RecordSet records;
    QByteArray etag; // quoted, as the header carries it
};

// One variable's change: the new text of each field given (the record's field order).
using Fields = varfields::Fields;

class Workspace final {
public:
    Workspace(const QString& fileOption, const QString& displaysFile);

    QString variableFile() const { return m_path; }
    QString displaysFile() const { return m_displaysFile; }

    // The file as it is now (read again only when it changed on disk). Throws HttpError.
    Snapshot read();
    // Applies the change under the file's lock; `ifMatch` empty: whatever the file holds.
    // Throws HttpError: 412 when the file is no longer `ifMatch`. The change goes
    // into the send history as a "change" by `account`.
    Snapshot change(int number, const Fields& fields, const QByteArray& ifMatch, const QString& account);

    // The displays a range names ("-" for all). Throws HttpError 400/500.
    QList<displays::Entry> displays(const QString& range) const;

private:
    Snapshot load(); // throws
    QString m_fileOption;
    QString m_path;
    QString m_displaysFile;
    QMutex m_mutex;
    std::optional<Snapshot> m_cached;
    QDateTime m_cachedModified;
    qint64 m_cachedSize = -1;
};

// A variable as the API shows it, with the CSV export's field names.
QJsonObject variableJson(const vls::RecordSet& records, int number);
// The variables a range names, with the tool's messages. Throws HttpError 400.
QList<int> variablesOf(const QString& range);
// A change object checked as `qmdvars set` checks its options. Throws HttpError 400.
Fields fieldsOf(const QJsonObject& change, int number);
// The names of the fields a change gives, in the record's order ("name", "color", ...).
QStringList fieldNames(const Fields& fields);

} // namespace serve
