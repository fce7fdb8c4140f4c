#include "documentwatcher.h"

#include "feedlinks.h"
#include "linkitem.h"
#include "topiclink.h"

#include <QFileInfo>
#include <QFileSystemWatcher>

namespace links {

WatchedSource watchedSourceOf(const QString& source)
{
    if (mqtt::isTopicSource(source))
        return {};
    if (const std::optional<JsonLink> json = parseJsonLinkSource(source))
        return json->remote ? WatchedSource{{}, json->document} : WatchedSource{json->document, {}};
    return {parseLinkSource(source).value_or(CellLink{}).document, {}};
}

DocumentWatcher::DocumentWatcher(QObject* parent) : QObject(parent), m_watcher(new QFileSystemWatcher(this))
{
    auto onChange = [this] {
        rewatch(); // a file renamed over the old one is a new file
        emit changed();
    };
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, onChange);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, onChange);
}

DocumentWatcher::~DocumentWatcher() = default;

void DocumentWatcher::setDocuments(const QStringList& paths)
{
    m_documents.clear();
    for (const QString& path : paths)
        m_documents.append(QFileInfo(QString(path).replace(u'\\', u'/')).absoluteFilePath());
    m_documents.removeDuplicates();
    rewatch();
}

void DocumentWatcher::rewatch()
{
    QStringList wanted;
    for (const QString& document : std::as_const(m_documents))
        wanted << document << QFileInfo(document).absolutePath();
    wanted.removeDuplicates();
    const QStringList watched = m_watcher->files() + m_watcher->directories();
    for (const QString& path : watched)
        if (!wanted.contains(path))
            m_watcher->removePath(path);
    for (const QString& path : std::as_const(wanted))
        if (!watched.contains(path) && QFileInfo::exists(path))
            m_watcher->addPath(path);
}

} // namespace links
