// audit: reads the variables back from every unit of the displays.

#include "commandtable.h"

#include "auditrun.h"
#include "compare.h"
#include "linkcontainer.h"
#include "pluginmaster.h"
#include "rtf.h"
#include "varrange.h"

namespace qmdvars::commands {

namespace {

const QCommandLineOption kRtf(QStringLiteral("rtf"), QStringLiteral("Also save the report as rich text in F."),
                              QStringLiteral("F"));
const QCommandLineOption kCompare(QStringLiteral("compare"),
                                  QStringLiteral("Print only what differs from what an update would send now, "
                                                 "one line each."));

// The report as plain text and as coloured runs.
class ReportText final : public audit::ReportSink {
public:
    void append(const QString& text, quint32 colour, bool heading) override
    {
        // A display that could not be reached: its reason, and no unit block.
        if (m_skipping && !text.startsWith(QStringLiteral("Closing Connection")))
            return;
        m_skipping = false;
        m_text += text;
        rtf::CharFormat format;
        // The report's colour words are blue-green-red.
        format.color = rtf::rgb(int(colour & 0xFF), int(colour >> 8 & 0xFF), int(colour >> 16 & 0xFF));
        format.pointSize = heading ? audit::kHeadingPoints : audit::kNormalPoints;
        m_runs.append({QString(text).remove(u'\r'), format});
    }
    int endLine() override { return int(m_text.count(QStringLiteral("\r\n"))); }
    QString plain() const { return QString(m_text).remove(u'\r'); }
    const QList<rtf::Run>& runs() const { return m_runs; }
    void unreachable(const QString& reason)
    {
        append(QStringLiteral("Cannot reach the display: %1\r\n").arg(reason), 255, false);
        m_skipping = true;
    }

private:
    bool m_skipping = false;
    QString m_text;
    QList<rtf::Run> m_runs;
};

// The name the audit looks a display up by: its name when that finds it and no
// other, else its number.
QString auditName(const displays::Entry& entry, const QList<displays::Entry>& all)
{
    const bool unique = std::count_if(all.begin(), all.end(),
                                      [&](const displays::Entry& e) {
                                          return e.name.compare(entry.name, Qt::CaseInsensitive) == 0
                                                 || e.number.compare(entry.name, Qt::CaseInsensitive) == 0;
                                      })
                        == 1;
    return unique && !entry.name.contains(u',') ? entry.name : entry.number;
}

int run(Context& c)
{
    positionals(c, 0, 0);
    const std::optional<bool> dataOnly = oneOf(c, options::dataOnly, options::attributesOnly);
    const audit::Mode mode = audit::modeOf(dataOnly.value_or(false), dataOnly && !*dataOnly);
    const QList<int> numbers = variablesOf(required(c, options::vars));
    const bool comparing = c.parser.isSet(kCompare);
    const QList<displays::Entry> chosen = chosenDisplays(c);
    QList<displays::Entry> everyDisplay;
    QString ignored;
    displays::select(QStringLiteral("-"), displays::listFile(c.displaysFile), &everyDisplay, &ignored);
    const VarStore store = loadedStore(c);

    QHash<QString, QString> numberOf; // the audit's name of a display -> its number
    QStringList names;
    for (const displays::Entry& e : chosen) {
        names.append(auditName(e, everyDisplay));
        numberOf.insert(names.last(), e.number);
    }

    const auto engine = engineFor(store);
    const std::unique_ptr<ILinkContainer> link = links::create();
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    auto master = createComponent<pluginmaster::IPluginMaster>(pluginmaster::kPluginMasterProgId);
    compare::Expectations expectations(engine->get(), master.get(), link.get());

    ReportText report;
    bool failed = false;
    QStringList differences;
    audit::AuditRun run;
    run.setVariablesToAudit(varrange::selectionOf(numbers));
    run.setMode(mode);
    run.setDisplaySelection([&names] { return names.join(u','); });
    run.setSink(&report);
    run.setControl(control.get());
    run.setOpenObserver([&](const QString& name, bool opened) {
        if (opened)
            return;
        failed = true;
        const QString reason = control->LastErrorText();
        differences.append(QStringLiteral("display %1: FAILED %2").arg(numberOf.value(name), reason));
        report.unreachable(reason);
    });
    run.setReadObserver([&](const QString& name, int16_t unit, const clsVarSetupInfo& var, bool succeeded,
                            const disptrans::VarReadReply& reply) {
        const QString where = QStringLiteral("display %1 unit %2").arg(numberOf.value(name)).arg(unit);
        if (!succeeded) {
            failed = true;
            differences.append(where + u' ' + compare::variableName(var) + QStringLiteral(": read FAILED ")
                               + control->LastErrorText());
            return;
        }
        if (comparing)
            differences += compare::differences(where, var, reply, expectations.of(var), mode);
    });
    const audit::AuditRun::Outcome outcome = run.run();

    if (comparing) {
        for (const QString& line : std::as_const(differences))
            c.console.out << line << '\n';
    } else {
        c.console.out << report.plain();
    }
    if (c.parser.isSet(kRtf))
        writeFile(c.parser.value(kRtf), rtf::write(report.runs()));
    if (outcome == audit::AuditRun::Outcome::Failed) {
        c.console.err << "qmdvars: the audit stopped: " << run.errorText() << '\n';
        return DisplayFailed;
    }
    return failed || !differences.isEmpty() ? DisplayFailed : AllDone;
}

} // namespace

Command audit()
{
    return {QStringLiteral("audit"),
            QStringLiteral("audit --displays LIST --vars RANGE [--data-only|--attributes-only] [--rtf FILE] "
                           "[--compare]"),
            QStringLiteral("Reads the variables back from every unit of the displays and prints the audit report. "
                           "With --compare prints only the variables that differ from what an update would send "
                           "now, for example: display 2 unit 5 Text Var 7: data \"A\" on the display, \"B\" in the "
                           "set."),
            {options::displays, options::vars, options::dataOnly, options::attributesOnly, kRtf, kCompare},
            {},
            run};
}

} // namespace qmdvars::commands
