#pragma once

// Keeps displays current with their variables' linked sources: files (the
// spreadsheets and JSON files links name) are watched, also when a program
// saves by writing a new file and renaming it over the old one, and URLs are
// polled. Changes that come within the debounce time of each other go out as
// one send, of the changed variables' data only, through the display sender. A
// display that cannot be reached is tried again after the retry interval with
// everything that changed meanwhile.

#include "clsVarSetupInfo.h"
#include "displays.h"
#include "mqttagent.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTextStream>
#include <QTimer>

#include <memory>
#include <optional>

class DisplaySender;
class ILinkContainer;
enum class UpdateOption : int16_t;
class clsVariableAccess;
namespace links {
class DocumentWatcher;
}

namespace watch {

class TopicFollower;

struct Options {
    VarSelection selection; // the variables to follow; those without a link are left out
    int debounceMs = 500;
    int retryIntervalSeconds = 60;
    int pollSeconds = 60; // URLs
};

class Watcher final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Watcher)
public:
    // `log` gets one line per send and per failure.
    Watcher(clsVariableAccess* set, const QList<displays::Entry>& displays, const Options& options, QTextStream& log);
    ~Watcher() override;

    // The chosen variables that have a link.
    const VarSelection& linked() const { return m_linked; }
    // The files watched and the URLs polled.
    QStringList files() const;
    QStringList urls() const { return m_urls; }
    // The linked topics followed on message brokers.
    QStringList topics() const;

    // Sends every linked value once (the displays' contents are not known yet),
    // then follows the sources.
    void start();

    // A linked source changed: the changes go out after the debounce time.
    void sourceChanged();
    // Sends `vars` to every display now (a command from the message bus).
    void sendNow(const VarSelection& vars, UpdateOption option);

signals:
    // After each send attempt to a display.
    void sendFinished(const QString& display, bool ok);
    // The same, with what was sent and each unit's result.
    void sent(const agent::SendReport& report);

private:
    void sendChanges();
    // The values to send now: only those read well at least once.
    QHash<int16_t, QString> readSources();
    bool sendTo(const displays::Entry& display, const VarSelection& vars, UpdateOption option, const QString& cause);
    void logLine(const QString& text);

    clsVariableAccess* m_set;
    QList<displays::Entry> m_displays;
    Options m_options;
    QTextStream& m_log;
    std::unique_ptr<ILinkContainer> m_link;
    std::unique_ptr<ILinkContainer> m_sent; // gives the sender the values read, not a second reading
    std::unique_ptr<DisplaySender> m_sender;
    VarSelection m_linked;
    QStringList m_documents; // absolute paths of linked files
    QStringList m_urls;
    links::DocumentWatcher* m_files; // the linked files and their folders
    QTimer m_debounce;
    QTimer m_burstCap; // a source that never rests still goes out this often
    // What each linked variable's source last gave: its last good value (none
    // until it was read once) and, while it cannot be read, why.
    struct Source {
        std::optional<QString> good;
        QString problem;
    };
    QHash<int16_t, Source> m_sources;
    QTimer m_retry;
    QTimer m_poll;
    std::unique_ptr<TopicFollower> m_topics;
    bool m_started = false;
    // What each display holds as far as this watcher knows: variable -> value sent.
    QHash<QString, QHash<int16_t, QString>> m_onDisplay;
    bool m_sending = false;
    bool m_changedWhileSending = false;
};

} // namespace watch
