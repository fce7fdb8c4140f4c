#include "runs.h"

#include "auditrun.h"
#include "classregistry.h"
#include "clsVariableAccess.h"
#include "compare.h"
#include "linkcontainer.h"
#include "pluginmaster.h"
#include "varrange.h"

#include <QDateTime>
#include <QJsonArray>

namespace serve {

namespace {
QString phaseName(updatejobs::State::Phase phase)
{
    switch (phase) {
    case updatejobs::State::Queued: return QStringLiteral("queued");
    case updatejobs::State::Waiting: return QStringLiteral("waiting");
    case updatejobs::State::Sending: return QStringLiteral("sending");
    case updatejobs::State::RetryWait: return QStringLiteral("retry wait");
    case updatejobs::State::Done: return QStringLiteral("done");
    }
    return {};
}

QString now() { return QDateTime::currentDateTime().toString(Qt::ISODate); }

QString rangeText(const QList<int>& numbers)
{
    QStringList parts;
    for (qsizetype i = 0; i < numbers.size();) {
        qsizetype j = i;
        while (j + 1 < numbers.size() && numbers[j + 1] == numbers[j] + 1)
            ++j;
        parts.append(j == i ? QString::number(numbers[i]) : QStringLiteral("%1-%2").arg(numbers[i]).arg(numbers[j]));
        i = j + 1;
    }
    return parts.join(u',');
}

// The name the audit looks a display up by: its name when that names it and no
// other, else its number.
QString auditName(const displays::Entry& entry, const QList<displays::Entry>& all)
{
    const auto count = std::count_if(all.begin(), all.end(), [&](const displays::Entry& e) {
        return e.name.compare(entry.name, Qt::CaseInsensitive) == 0
               || e.number.compare(entry.name, Qt::CaseInsensitive) == 0;
    });
    return count == 1 && !entry.name.contains(u',') ? entry.name : entry.number;
}
} // namespace

Runs::Runs(Workspace* workspace, int jobs, QObject* parent) : QObject(parent), m_workspace(workspace), m_jobs(jobs) {}

Runs::~Runs()
{
    for (QThread* t : std::as_const(m_threads)) {
        t->wait();
        delete t;
    }
}

bool Runs::busy() const
{
    return std::any_of(m_threads.begin(), m_threads.end(), [](QThread* t) { return t->isRunning(); });
}

void Runs::publish(const QString& kind, const QString& id, const QJsonObject& given)
{
    // Each state of a run has a higher number, so a page can drop one that comes late.
    QJsonObject run = given;
    run.insert(QStringLiteral("seq"), run.value(u"seq").toInt() + 1);
    (kind == u"updates" ? m_updates : m_audits).insert(id, run);
    QJsonObject message = run;
    message.insert(QStringLiteral("type"), kind == u"updates" ? QStringLiteral("update") : QStringLiteral("audit"));
    emit changed(message);
}

QJsonObject Runs::run(const QString& kind, const QString& id) const
{
    return (kind == u"updates" ? m_updates : m_audits).value(id);
}

QJsonArray Runs::list(const QString& kind) const
{
    QList<QJsonObject> runs = (kind == u"updates" ? m_updates : m_audits).values();
    std::sort(runs.begin(), runs.end(), [](const QJsonObject& a, const QJsonObject& b) {
        return a.value(u"started").toString() > b.value(u"started").toString();
    });
    QJsonArray array;
    for (const QJsonObject& r : std::as_const(runs))
        array.append(r);
    return array;
}

QJsonObject Runs::newRun(QChar prefix, const QList<displays::Entry>& displays, const QList<int>& variables,
                         const QString& account, const QJsonObject& row)
{
    QJsonArray rows;
    for (const displays::Entry& d : displays) {
        QJsonObject r = row;
        r.insert(QStringLiteral("number"), d.number);
        r.insert(QStringLiteral("name"), d.name);
        rows.append(r);
    }
    return QJsonObject{{QStringLiteral("id"), QString(prefix + QString::number(++m_counter))},
                       {QStringLiteral("state"), QStringLiteral("running")},
                       {QStringLiteral("account"), account},
                       {QStringLiteral("started"), now()},
                       {QStringLiteral("variables"), rangeText(variables)},
                       {QStringLiteral("displays"), rows}};
}

QString Runs::startUpdate(const UpdateRequest& request, const Snapshot& snapshot)
{
    QJsonObject initial = newRun(u'u', request.displays, request.variables, request.account,
                                 {{QStringLiteral("phase"), QStringLiteral("queued")},
                                  {QStringLiteral("percent"), 0},
                                  {QStringLiteral("units"), QJsonArray()}});
    const QString id = initial.value(u"id").toString();
    initial.insert(QStringLiteral("mode"), request.option == UpdateOption::DataOnly ? QStringLiteral("data")
                                           : request.option == UpdateOption::AttributesOnly
                                               ? QStringLiteral("attributes")
                                               : QStringLiteral("both"));
    publish(QStringLiteral("updates"), id, initial);

    updatejobs::Options options;
    options.option = request.option;
    options.selection = varrange::selectionOf(request.variables);
    options.delayMinutes = request.delayMinutes;
    options.retries = request.retries;
    options.retryIntervalSeconds = request.retryIntervalSeconds;
    options.jobs = m_jobs;
    options.account = request.account;
    const QList<displays::Entry> chosen = request.displays;
    const vls::RecordSet records = snapshot.records;

    // The states as the run's JSON; called on the server's thread.
    auto apply = [this, id, chosen](const QList<updatejobs::State>& states, bool finished) {
        QJsonObject run = m_updates.value(id);
        QJsonArray rows;
        for (qsizetype i = 0; i < chosen.size(); ++i) {
            const updatejobs::State& s = states[i];
            const bool done = finished || s.phase == updatejobs::State::Done;
            // Each unit's own result once the display was sent; before that its addresses.
            QJsonArray units;
            for (const UnitResult& u : s.units) {
                QJsonObject unit{{QStringLiteral("address"), u.address}, {QStringLiteral("sent"), u.sent}};
                if (!u.error.isEmpty())
                    unit.insert(QStringLiteral("error"), u.error);
                units.append(unit);
            }
            if (s.units.isEmpty())
                for (const QString& unit : chosen[i].units.split(u',', Qt::SkipEmptyParts))
                    units.append(QJsonObject{{QStringLiteral("address"), unit.trimmed().toInt()},
                                             {QStringLiteral("sent"), false}});
            QJsonObject row{{QStringLiteral("number"), chosen[i].number},
                            {QStringLiteral("name"), chosen[i].name},
                            {QStringLiteral("phase"), finished ? QStringLiteral("done") : phaseName(s.phase)},
                            {QStringLiteral("attempt"), s.attempt},
                            {QStringLiteral("caption"), s.caption},
                            {QStringLiteral("percent"), done ? 100 : s.percent},
                            {QStringLiteral("units"), units}};
            if (done)
                row.insert(QStringLiteral("result"), s.updated ? QStringLiteral("Updated") : QStringLiteral("FAILED"));
            if (!s.error.isEmpty())
                row.insert(QStringLiteral("error"), s.error);
            rows.append(row);
        }
        run.insert(QStringLiteral("displays"), rows);
        if (finished) {
            run.insert(QStringLiteral("state"), QStringLiteral("finished"));
            run.insert(QStringLiteral("finished"), now());
            run.insert(QStringLiteral("ok"),
                       std::all_of(states.begin(), states.end(), [](const updatejobs::State& s) { return s.updated; }));
        }
        if (run != m_updates.value(id))
            publish(QStringLiteral("updates"), id, run);
    };

    QThread* thread = QThread::create([this, options, chosen, records, apply] {
        EngineSet engine(records);
        updatejobs::Jobs jobs(engine.get(), chosen, options);
        jobs.run([this, apply](const QList<updatejobs::State>& states, const QList<updatejobs::Event>&) {
            QMetaObject::invokeMethod(
                this, [apply, states] { apply(states, false); }, Qt::QueuedConnection);
        });
        const QList<updatejobs::State> states = jobs.states();
        QMetaObject::invokeMethod(
            this, [apply, states] { apply(states, true); }, Qt::QueuedConnection);
    });
    m_threads.append(thread);
    thread->start();
    return id;
}

QString Runs::startAudit(const AuditRequest& request, const Snapshot& snapshot)
{
    QJsonObject initial = newRun(u'a', request.displays, request.variables, request.account,
                                 {{QStringLiteral("reads"), 0}, {QStringLiteral("differences"), QJsonArray()}});
    const QString id = initial.value(u"id").toString();
    initial.insert(QStringLiteral("compare"), request.compare);
    initial.insert(QStringLiteral("expected_reads"),
                   int(request.variables.size() * std::max<qsizetype>(1, request.displays.size())));
    publish(QStringLiteral("audits"), id, initial);

    // Each step changes the run's JSON on the server's thread.
    auto step = [this, id](std::function<void(QJsonObject&)> change) {
        QMetaObject::invokeMethod(
            this,
            [this, id, change] {
                QJsonObject run = m_audits.value(id);
                change(run);
                publish(QStringLiteral("audits"), id, run);
            },
            Qt::QueuedConnection);
    };
    auto changeDisplay = [](QJsonObject& run, const QString& number, const std::function<void(QJsonObject&)>& f) {
        QJsonArray rows = run.value(u"displays").toArray();
        for (qsizetype i = 0; i < rows.size(); ++i) {
            QJsonObject row = rows[i].toObject();
            if (row.value(u"number").toString() == number) {
                f(row);
                rows[i] = row;
            }
        }
        run.insert(QStringLiteral("displays"), rows);
    };

    QThread* thread = QThread::create([request, records = snapshot.records, step, changeDisplay] {
        QHash<QString, QString> numberOf;
        QStringList names;
        for (const displays::Entry& e : request.displays) {
            names.append(auditName(e, request.everyDisplay));
            numberOf.insert(names.last(), e.number);
        }
        EngineSet engine(records);
        const std::unique_ptr<ILinkContainer> link = links::create();
        auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
        auto master = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
        compare::Expectations expectations(engine.get(), master.get(), link.get());
        const auto mode = audit::Mode(request.mode);

        class Report final : public audit::ReportSink {
        public:
            void append(const QString& text, quint32, bool) override { plain += text; }
            int endLine() override { return int(plain.count(QStringLiteral("\r\n"))); }
            QString plain;
        } report;
        audit::AuditRun run;
        run.setVariablesToAudit(varrange::selectionOf(request.variables));
        run.setMode(mode);
        run.setDisplaySelection([names] { return names.join(u','); });
        run.setSink(&report);
        run.setControl(control.get());
        run.setAccount(request.account);
        run.setOpenObserver([&](const QString& name, bool opened) {
            const QString number = numberOf.value(name);
            const QString error = opened ? QString() : control->LastErrorText();
            step([=](QJsonObject& r) {
                changeDisplay(r, number, [&](QJsonObject& row) {
                    row.insert(QStringLiteral("opened"), opened);
                    if (!opened)
                        row.insert(QStringLiteral("error"), error);
                });
            });
        });
        run.setReadObserver([&](const QString& name, int16_t unit, const clsVarSetupInfo& var, bool succeeded,
                                const disptrans::VarReadReply& reply) {
            const QString number = numberOf.value(name);
            const QString where = QStringLiteral("display %1 unit %2").arg(number).arg(unit);
            QStringList lines;
            if (!succeeded)
                lines.append(where + u' ' + compare::variableName(var) + QStringLiteral(": read FAILED ")
                             + control->LastErrorText());
            else if (request.compare)
                lines = compare::differences(where, var, reply, expectations.of(var), mode);
            const QJsonObject read{{QStringLiteral("unit"), unit},
                                   {QStringLiteral("variable"), var.VarNum},
                                   {QStringLiteral("data"), reply.Data},
                                   {QStringLiteral("color"), audit::colourName(reply.Color)},
                                   {QStringLiteral("blink"), audit::yesNo(reply.Blink)},
                                   {QStringLiteral("inverse"), audit::yesNo(reply.Inverse)},
                                   {QStringLiteral("ok"), succeeded}};
            step([=](QJsonObject& r) {
                changeDisplay(r, number, [&](QJsonObject& row) {
                    row.insert(QStringLiteral("reads"), row.value(u"reads").toInt() + 1);
                    QJsonArray values = row.value(u"values").toArray();
                    values.append(read);
                    row.insert(QStringLiteral("values"), values);
                    QJsonArray diffs = row.value(u"differences").toArray();
                    for (const QString& l : lines)
                        diffs.append(l);
                    row.insert(QStringLiteral("differences"), diffs);
                });
            });
        });
        const audit::AuditRun::Outcome outcome = run.run();
        const QString error = run.errorText();
        const QString text = QString(report.plain).remove(u'\r');
        step([=](QJsonObject& r) {
            r.insert(QStringLiteral("state"), QStringLiteral("finished"));
            r.insert(QStringLiteral("finished"), now());
            r.insert(QStringLiteral("report"), text);
            bool same = outcome != audit::AuditRun::Outcome::Failed;
            for (const QJsonValue& d : r.value(u"displays").toArray())
                same = same && d.toObject().value(u"differences").toArray().isEmpty()
                       && d.toObject().value(u"opened").toBool(true);
            r.insert(QStringLiteral("ok"), same);
            if (outcome == audit::AuditRun::Outcome::Failed)
                r.insert(QStringLiteral("error"), error);
        });
    });
    m_threads.append(thread);
    thread->start();
    return id;
}

} // namespace serve
