#include "feedlinks.h"

#include "jsonpointer.h"
#include "machinesettings.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>
#include <QTimer>

#include <chrono>

namespace links {

namespace {
bool isUrl(const QString& document)
{
    return document.startsWith(QStringLiteral("http://"), Qt::CaseInsensitive)
           || document.startsWith(QStringLiteral("https://"), Qt::CaseInsensitive);
}
} // namespace

std::optional<JsonLink> parseJsonLinkSource(const QString& source)
{
    const QString trimmed = source.trimmed();
    const bool remote = isUrl(trimmed);
    // A URL's "!" comes after its host; a file's right after ".json".
    qsizetype bang = -1;
    if (remote) {
        bang = trimmed.indexOf(u'!', trimmed.indexOf(QStringLiteral("//")) + 2);
    } else {
        const qsizetype ending = trimmed.indexOf(QStringLiteral(".json!"), 0, Qt::CaseInsensitive);
        bang = ending < 0 ? -1 : ending + 5;
    }
    if (bang <= 0)
        return std::nullopt;
    JsonLink link;
    link.document = trimmed.left(bang);
    link.pointer = trimmed.mid(bang + 1);
    link.remote = remote;
    if (!remote)
        link.document.replace(u'\\', u'/');
    return link;
}

// One document as last seen: its last good bytes, and the last failure.
struct FeedCache::Document {
    QByteArray good;
    bool haveGood = false;
    QString error;
    bool fetching = false;
    bool attempted = false;
    QElapsedTimer sinceAttempt;
};

// The network side, in its own thread so a reader can wait on it with a limit
// whatever thread it is on and whether or not that thread runs an event loop.
class FeedCache::Fetcher final : public QObject {
public:
    explicit Fetcher(FeedCache& cache) : m_cache(cache) {}

    void fetch(const QString& url, int timeoutMs)
    {
        if (!m_network)
            m_network = new QNetworkAccessManager(this);
        QNetworkRequest request{QUrl(url)};
        request.setTransferTimeout(timeoutMs);
        QNetworkReply* reply = m_network->get(request);
        // A body past the limit, or one that is still coming when the time is
        // up, is refused; the reason is what the reader gets.
        auto refused = std::make_shared<QString>();
        connect(reply, &QNetworkReply::downloadProgress, this, [reply, url, refused](qint64 received, qint64 total) {
            if (refused->isEmpty() && std::max(received, total) > kMaxDocumentBytes) {
                *refused = QStringLiteral("%1 is larger than %2 MiB").arg(url).arg(kMaxDocumentBytes >> 20);
                reply->abort();
            }
        });
        auto* deadline = new QTimer(reply);
        deadline->setSingleShot(true);
        connect(deadline, &QTimer::timeout, this, [reply, url, refused, timeoutMs] {
            if (refused->isEmpty())
                *refused = QStringLiteral("%1 did not finish within %2 s").arg(url).arg(timeoutMs / 1000.0);
            reply->abort();
        });
        deadline->start(timeoutMs);
        connect(reply, &QNetworkReply::finished, this, [this, reply, url, refused] {
            reply->deleteLater();
            const bool ok = refused->isEmpty() && reply->error() == QNetworkReply::NoError;
            const QString error = !refused->isEmpty() ? *refused : ok ? QString() : reply->errorString();
            m_cache.finishFetch(url, ok ? reply->readAll() : QByteArray(), error);
        });
    }

private:
    FeedCache& m_cache;
    QNetworkAccessManager* m_network = nullptr;
};

FeedCache& FeedCache::shared()
{
    // Never destroyed: readers may still come during static destruction. The
    // thread is stopped while the application object goes.
    static FeedCache* const cache = [] {
        auto* c = new FeedCache;
        bool ok = false;
        if (const int seconds = settings::read(kRefreshSetting).toInt(&ok); ok)
            c->setRefreshSeconds(seconds);
        if (const int ms = settings::read(kWaitSetting).toInt(&ok); ok)
            c->setWaitMs(ms);
        qAddPostRoutine([] { FeedCache::shared().stop(); });
        return c;
    }();
    return *cache;
}

FeedCache::FeedCache() = default;

FeedCache::~FeedCache() { stop(); }

void FeedCache::stop()
{
    QThread* thread = nullptr;
    {
        std::lock_guard lock(m_mutex);
        std::swap(thread, m_thread);
        m_fetcher = nullptr;
        for (const auto& doc : std::as_const(m_documents))
            doc->fetching = false;
    }
    m_fetched.notify_all();
    if (thread) {
        thread->quit();
        thread->wait();
        delete thread;
    }
}

void FeedCache::setRefreshSeconds(int seconds)
{
    std::lock_guard lock(m_mutex);
    m_refreshSeconds = std::max(0, seconds);
}

int FeedCache::refreshSeconds() const
{
    std::lock_guard lock(m_mutex);
    return m_refreshSeconds;
}

void FeedCache::setWaitMs(int ms)
{
    std::lock_guard lock(m_mutex);
    m_waitMs = std::max(0, ms);
}

void FeedCache::setFetchTimeoutMs(int ms)
{
    std::lock_guard lock(m_mutex);
    m_fetchTimeoutMs = std::max(1, ms);
}

int FeedCache::waitMs() const
{
    std::lock_guard lock(m_mutex);
    return m_waitMs;
}

std::shared_ptr<FeedCache::Document> FeedCache::document(const QString& name)
{
    std::shared_ptr<Document>& doc = m_documents[name];
    if (!doc)
        doc = std::make_shared<Document>();
    return doc;
}

// Bytes are good when they are JSON at all; a half-written or wrong document
// keeps the last good one.
static QString documentProblem(const QByteArray& bytes)
{
    const JsonPointerResult whole = resolveJsonPointer(bytes, QString());
    return whole.badDocument ? whole.error : QString();
}

void FeedCache::refreshFile(Document& doc, const QString& path)
{
    QFile file(path);
    if (!file.exists()) {
        doc.error = QStringLiteral("no such file: %1").arg(path);
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        doc.error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return;
    }
    // At most one byte past the limit: a device or pipe that never ends stops there.
    const QByteArray bytes = file.read(kMaxDocumentBytes + 1);
    if (bytes.size() > kMaxDocumentBytes) {
        doc.error = QStringLiteral("%1 is larger than %2 MiB").arg(path).arg(kMaxDocumentBytes >> 20);
        return;
    }
    if (const QString problem = documentProblem(bytes); !problem.isEmpty()) {
        doc.error = path + QStringLiteral(" is ") + problem;
        return;
    }
    doc.good = bytes;
    doc.haveGood = true;
    doc.error.clear();
}

void FeedCache::startFetch(const QString& url, int timeoutMs)
{
    // Called with the lock held.
    if (!m_thread) {
        m_thread = new QThread;
        m_thread->setObjectName(QStringLiteral("feeds"));
        m_fetcher = new Fetcher(*this);
        m_fetcher->moveToThread(m_thread);
        QObject::connect(m_thread, &QThread::finished, m_fetcher, &QObject::deleteLater);
        m_thread->start();
    }
    QMetaObject::invokeMethod(
        m_fetcher, [fetcher = m_fetcher, url, timeoutMs] { fetcher->fetch(url, timeoutMs); }, Qt::QueuedConnection);
}

void FeedCache::finishFetch(const QString& url, const QByteArray& bytes, const QString& error)
{
    {
        std::lock_guard lock(m_mutex);
        const std::shared_ptr<Document> doc = document(url);
        doc->fetching = false;
        const QString problem = error.isEmpty() ? documentProblem(bytes) : QString();
        if (!error.isEmpty() || !problem.isEmpty()) {
            doc->error = error.isEmpty() ? url + QStringLiteral(" is ") + problem : error;
        } else {
            doc->good = bytes;
            doc->haveGood = true;
            doc->error.clear();
        }
    }
    m_fetched.notify_all();
}

FeedReading FeedCache::read(const QString& source)
{
    const std::optional<JsonLink> link = parseJsonLinkSource(source);
    if (!link)
        return LinkReading::failed(QStringLiteral("not a JSON link: ") + source);
    return read(*link);
}

FeedReading FeedCache::read(const JsonLink& link)
{
    QByteArray bytes;
    FeedReading reading;
    {
        std::unique_lock lock(m_mutex);
        const std::shared_ptr<Document> doc = document(link.document);
        if (!link.remote) {
            refreshFile(*doc, link.document);
        } else {
            const bool due = !doc->attempted || m_refreshSeconds == 0
                             || doc->sinceAttempt.hasExpired(qint64(m_refreshSeconds) * 1000);
            if (due && !doc->fetching && QCoreApplication::instance()) {
                doc->fetching = true;
                doc->attempted = true;
                doc->sinceAttempt.start();
                startFetch(link.document, m_fetchTimeoutMs);
            }
            if (doc->fetching)
                m_fetched.wait_for(lock, std::chrono::milliseconds(m_waitMs), [&doc] { return !doc->fetching; });
            if (doc->fetching && !doc->haveGood && doc->error.isEmpty())
                reading.error = QStringLiteral("waiting for ") + link.document;
        }
        bytes = doc->good;
        if (!doc->error.isEmpty()) {
            reading.error = doc->error;
            reading.stale = doc->haveGood;
        }
        if (!doc->haveGood)
            return reading;
    }
    const JsonPointerResult result = resolveJsonPointer(bytes, link.pointer);
    if (result.ok) {
        reading.value = result.value;
    } else {
        reading.error = result.error;
        reading.stale = false;
    }
    return reading;
}

FeedReading readJsonLink(const QString& source) { return FeedCache::shared().read(source); }

} // namespace links
