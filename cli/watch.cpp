#include "watch.h"

#include "buswatch.h"

#include "clsVariableAccess.h"
#include "linkcontainer.h"
#include "displaysender.h"
#include "documentwatcher.h"

#include <QDateTime>
#include <QFileInfo>

namespace watch {

namespace {
// The values the watcher read, by link source: what the sender sends is what
// was read and logged, never a second reading of a source that went away since.
class ReadValues final : public ILinkContainer {
public:
    QHash<QString, QString> values;
    void setLinkedOnly() override {}
    bool canPaste() override { return false; }
    void paste() override {}
    QString sourceDoc() override { return m_source; }
    void clear() override { m_source.clear(); }
    void setDataFormat(const QString&) override {}
    void createLink(const QString& source) override { m_source = source; }
    QString dataText() override { return values.value(m_source); }

private:
    QString m_source;
};
} // namespace

Watcher::Watcher(clsVariableAccess* set, const QList<displays::Entry>& displays, const Options& options,
                 QTextStream& log)
    : m_set(set), m_displays(displays), m_options(options), m_log(log), m_link(links::create()),
      m_sent(std::make_unique<ReadValues>()), m_files(new links::DocumentWatcher(this))
{
    m_sender = std::make_unique<DisplaySender>(set, m_sent.get());
    for (const clsVarSetupInfo& member : std::as_const(m_options.selection)) {
        const QString source = m_set->VariableOLELink(member.VarNum);
        if (source.isEmpty())
            continue;
        m_linked.append(member);
        const links::WatchedSource watched = links::watchedSourceOf(source);
        if (!watched.url.isEmpty())
            m_urls.append(watched.url);
        if (!watched.document.isEmpty())
            m_documents.append(QFileInfo(watched.document).absoluteFilePath());
    }
    m_documents.removeDuplicates();
    m_urls.removeDuplicates();
    m_topics = std::make_unique<TopicFollower>(
        m_set, m_linked, [this] { sourceChanged(); }, [this](const QString& line) { logLine(line); });

    m_debounce.setSingleShot(true);
    m_debounce.setInterval(m_options.debounceMs);
    connect(&m_debounce, &QTimer::timeout, this, &Watcher::sendChanges);
    m_burstCap.setSingleShot(true);
    m_burstCap.setInterval(3 * m_options.debounceMs);
    connect(&m_burstCap, &QTimer::timeout, this, &Watcher::sendChanges);
    m_retry.setSingleShot(true);
    m_retry.setInterval(m_options.retryIntervalSeconds * 1000);
    connect(&m_retry, &QTimer::timeout, this, &Watcher::sendChanges);
    m_poll.setInterval(std::max(1, m_options.pollSeconds) * 1000);
    connect(&m_poll, &QTimer::timeout, this, &Watcher::sourceChanged);
    connect(m_files, &links::DocumentWatcher::changed, this, &Watcher::sourceChanged);
}

Watcher::~Watcher() = default;

QStringList Watcher::files() const { return m_documents; }

QStringList Watcher::topics() const { return m_topics->topics(); }

void Watcher::start()
{
    m_files->setDocuments(m_documents);
    if (!m_urls.isEmpty())
        m_poll.start();
    sendChanges();
}

void Watcher::sourceChanged()
{
    if (m_sending) {
        m_changedWhileSending = true;
        return;
    }
    // A burst goes out once, after its last change; a source that never rests
    // still goes out every three debounce times.
    if (!m_burstCap.isActive())
        m_burstCap.start();
    m_debounce.start();
}

void Watcher::sendChanges()
{
    if (m_sending) {
        m_changedWhileSending = true;
        return;
    }
    m_sending = true;
    m_changedWhileSending = false;
    m_debounce.stop();
    m_burstCap.stop();
    const QHash<int16_t, QString> now = readSources();

    bool anyFailed = false;
    for (const displays::Entry& display : std::as_const(m_displays)) {
        const auto known = m_onDisplay.constFind(display.number);
        VarSelection changed;
        for (const clsVarSetupInfo& member : std::as_const(m_linked)) {
            if (!now.contains(member.VarNum))
                continue; // never read: nothing to send
            if (known == m_onDisplay.constEnd() || !known->contains(member.VarNum)
                || known->value(member.VarNum) != now.value(member.VarNum))
                changed.append(member);
        }
        if (changed.isEmpty())
            continue;
        if (sendTo(display, changed, UpdateOption::DataOnly,
                   m_started ? QStringLiteral("link") : QStringLiteral("start"))) {
            QHash<int16_t, QString>& held = m_onDisplay[display.number];
            for (const clsVarSetupInfo& member : std::as_const(changed))
                held.insert(member.VarNum, now.value(member.VarNum));
        } else {
            anyFailed = true;
        }
    }
    if (anyFailed)
        m_retry.start();
    m_started = true;
    m_sending = false;
    if (m_changedWhileSending) {
        m_burstCap.start();
        m_debounce.start();
    }
}

QHash<int16_t, QString> Watcher::readSources()
{
    QHash<int16_t, QString> now;
    auto& sent = static_cast<ReadValues&>(*m_sent);
    for (const clsVarSetupInfo& member : std::as_const(m_linked)) {
        const int16_t n = member.VarNum;
        const QString link = m_set->VariableOLELink(n);
        const links::LinkReading reading = m_set->DisplayableReading(n, m_link.get());
        Source& source = m_sources[n];
        if (reading.readable()) {
            if (!source.problem.isEmpty())
                logLine(QStringLiteral("variable %1: its source can be read again: %2").arg(n).arg(link));
            source.problem.clear();
            source.good = reading.value;
        } else if (source.problem.isEmpty()) {
            source.problem = reading.error;
            logLine(QStringLiteral("variable %1: cannot read its source: %2; %3")
                        .arg(n)
                        .arg(reading.error, source.good ? QStringLiteral("the signs keep \"%1\"").arg(*source.good)
                                                        : QStringLiteral("nothing is sent until it can be read")));
        }
        if (source.good) {
            now.insert(n, *source.good);
            sent.values.insert(link, *source.good);
        }
    }
    return now;
}

void Watcher::sendNow(const VarSelection& vars, UpdateOption option)
{
    for (const displays::Entry& display : std::as_const(m_displays))
        sendTo(display, vars, option, QStringLiteral("command"));
}

bool Watcher::sendTo(const displays::Entry& display, const VarSelection& vars, UpdateOption option,
                     const QString& cause)
{
    const SendResult result = m_sender->send(display.number, {vars, option});
    const bool ok = result.ok && result.allUnitsSent;
    QStringList numbers;
    for (const clsVarSetupInfo& member : vars)
        numbers.append(QString::number(member.VarNum));
    if (ok)
        logLine(QStringLiteral("display %1: sent %2").arg(display.number, numbers.join(u',')));
    else
        logLine(QStringLiteral("display %1: FAILED %2; trying again in %3 s")
                    .arg(display.number, result.failureText())
                    .arg(m_options.retryIntervalSeconds));
    emit sendFinished(display.number, ok);
    agent::SendReport report;
    report.display = display.number;
    report.name = display.name;
    report.ok = ok;
    report.error = ok ? QString() : result.failureText();
    report.cause = cause;
    for (const UnitResult& unit : result.unitResults)
        report.units.append({unit.address, unit.sent, unit.error});
    for (auto it = result.sentTexts.cbegin(); it != result.sentTexts.cend(); ++it)
        report.variables.insert(it.key(), it.value());
    emit sent(report);
    return ok;
}

void Watcher::logLine(const QString& text)
{
    m_log << QDateTime::currentDateTime().toString(Qt::ISODate) << ' ' << text << '\n';
    m_log.flush();
}

} // namespace watch
