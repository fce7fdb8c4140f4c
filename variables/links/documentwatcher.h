#pragma once

// Watches linked documents for changes: each file and its folder, because a
// program that saves by writing a new file and renaming it over the old one
// makes a new file, which only the folder reports. The new file is watched
// again as soon as the folder reports it (and whenever rewatch() is called).

#include <QObject>
#include <QStringList>

class QFileSystemWatcher;

namespace links {

// Where the live value of a link source comes from, for whoever follows its
// changes: the local document (a spreadsheet, or a ".json" file) to watch, or
// the URL of a JSON feed to poll. Both are empty for a topic on a message
// broker (its client hears the changes) and for text that is no link.
struct WatchedSource {
    QString document;
    QString url;
};
WatchedSource watchedSourceOf(const QString& source);

class DocumentWatcher final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DocumentWatcher)
public:
    explicit DocumentWatcher(QObject* parent = nullptr);
    ~DocumentWatcher() override;

    // The documents to watch, by path ('\' or '/'); those no longer named are
    // let go. A document that does not exist yet is watched once it appears.
    void setDocuments(const QStringList& paths);
    // Their absolute paths, in the order given, without duplicates.
    const QStringList& documents() const { return m_documents; }
    // Watches what is wanted and not watched yet.
    void rewatch();

signals:
    // A document or its folder changed (the file may have been replaced).
    void changed();

private:
    QFileSystemWatcher* m_watcher;
    QStringList m_documents;
};

} // namespace links
