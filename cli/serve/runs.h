#pragma once

// Updates and audits started over the API: each runs on a worker thread of
// its own (an update sends up to `jobs` displays at once, each over its own
// link), and every step is told to the server's thread through queued calls,
// as a JSON object ready for the WebSocket clients.

#include "displays.h"
#include "updatejobs.h"
#include "workspace.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QThread>

#include <memory>

namespace serve {

struct UpdateRequest {
    QList<displays::Entry> displays;
    QList<int> variables;
    UpdateOption option = UpdateOption::DataAndAttributes;
    double delayMinutes = 0;
    int retries = 0;
    int retryIntervalSeconds = 0;
    QString account;
};

struct AuditRequest {
    QList<displays::Entry> displays;
    QList<displays::Entry> everyDisplay; // to tell names that name one display only
    QList<int> variables;
    int mode = 0; // audit::Mode
    bool compare = true;
    QString account;
};

class Runs final : public QObject {
    Q_OBJECT
public:
    Runs(Workspace* workspace, int jobs, QObject* parent = nullptr);
    ~Runs() override; // waits for the runs still going

    QString startUpdate(const UpdateRequest& request, const Snapshot& snapshot);
    QString startAudit(const AuditRequest& request, const Snapshot& snapshot);
    // "updates" or "audits"; empty when there is no such run.
    QJsonObject run(const QString& kind, const QString& id) const;
    QJsonArray list(const QString& kind) const;
    bool busy() const;

signals:
    // Every change of a run: {"type": "update"|"audit", ...the run as GET gives it}.
    void changed(const QJsonObject& run);

private:
    void publish(const QString& kind, const QString& id, const QJsonObject& run);
    // A new run as it starts: its id (`prefix` and a number no other run has),
    // "running", who and when, the variables, and per display `row` with its
    // number and name.
    QJsonObject newRun(QChar prefix, const QList<displays::Entry>& displays, const QList<int>& variables,
                       const QString& account, const QJsonObject& row);
    Workspace* m_workspace;
    int m_jobs;
    QHash<QString, QJsonObject> m_updates;
    QHash<QString, QJsonObject> m_audits;
    QList<QThread*> m_threads;
    int m_counter = 0;
};

} // namespace serve
