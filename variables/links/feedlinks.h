#pragma once

// Links to values in JSON feeds: a local ".json" file or an http:// or https://
// URL, "!", then a JSON Pointer ("weather.json!/today/high",
// "https://example.org/now.json!/temp"). Files are read at every look; a URL
// is fetched at most once per refresh interval and kept, and a reader waits for
// a fetch at most the wait limit, getting the last value it had otherwise. A
// feed that fails keeps its last good document, and the reading says it is
// stale and why.

#include "linkcontainer.h"
#include "machinesettings.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

class QThread;

namespace links {

struct JsonLink {
    QString document; // a file path or a URL
    QString pointer;
    bool remote = false;
};

// The source split at its first "!" when the document is a ".json" file or an
// http(s) URL; nothing for any other source (a spreadsheet link, say).
std::optional<JsonLink> parseJsonLinkSource(const QString& source);

using FeedReading = LinkReading;

// The shared cache's refresh interval and wait limit, when set (otherwise the
// defaults below); a program may still change them, as qmdvars does for
// --refresh and --feed-wait.
inline constexpr settings::Key kRefreshSetting{"Lumarex3", "VariablePlugin", "FeedRefreshSeconds", nullptr};
inline constexpr settings::Key kWaitSetting{"Lumarex3", "VariablePlugin", "FeedWaitMs", nullptr};

class FeedCache final {
public:
    static constexpr int kDefaultRefreshSeconds = 60;
    static constexpr int kDefaultWaitMs = 1000;
    static constexpr int kFetchTimeoutMs = 30000;
    // A document larger than this is refused with its reason (a file, or a
    // body that never ends), instead of filling memory.
    static constexpr qint64 kMaxDocumentBytes = 4 * 1024 * 1024;

    // The one every link container reads through; it stops its network thread
    // when the application object goes.
    static FeedCache& shared();

    FeedCache();
    ~FeedCache();
    FeedCache(const FeedCache&) = delete;
    FeedCache& operator=(const FeedCache&) = delete;

    void setRefreshSeconds(int seconds);
    int refreshSeconds() const;
    void setWaitMs(int ms);
    int waitMs() const;
    // How long a fetch may take in all, the body included (default kFetchTimeoutMs).
    void setFetchTimeoutMs(int ms);

    FeedReading read(const QString& source);
    FeedReading read(const JsonLink& link);

    // Ends the network thread; fetches under way are dropped.
    void stop();

private:
    struct Document;
    std::shared_ptr<Document> document(const QString& name);
    void refreshFile(Document& doc, const QString& path);
    void startFetch(const QString& url, int timeoutMs);
    void finishFetch(const QString& url, const QByteArray& bytes, const QString& error);

    mutable std::mutex m_mutex;
    std::condition_variable m_fetched;
    QHash<QString, std::shared_ptr<Document>> m_documents;
    int m_refreshSeconds = kDefaultRefreshSeconds;
    int m_waitMs = kDefaultWaitMs;
    int m_fetchTimeoutMs = kFetchTimeoutMs;
    QThread* m_thread = nullptr;
    class Fetcher;
    Fetcher* m_fetcher = nullptr; // lives in m_thread
};

// Through the shared cache.
FeedReading readJsonLink(const QString& source);

} // namespace links
