// history: what was sent where and when.

#include "commandtable.h"

#include <QFileInfo>

#include "historyview.h"
#include "recorder.h"
#include "sendhistory.h"
#include "varfields.h"

namespace qmdvars::commands {

namespace {

const QCommandLineOption kDisplay(QStringLiteral("display"), QStringLiteral("Only display D."), QStringLiteral("D"));
const QCommandLineOption kVar(QStringLiteral("var"), QStringLiteral("Only the sends of variable N."),
                              QStringLiteral("N"));
const QCommandLineOption kSince(QStringLiteral("since"),
                                QStringLiteral("Only since DATE (2026-11-25, 2026-11-25T10:30) or for an age "
                                               "(3d, 12h, 30m)."),
                                QStringLiteral("DATE"));
const QCommandLineOption kPrune(QStringLiteral("prune"),
                                QStringLiteral("First remove the rows older than the %1 setting (default %2 days).")
                                    .arg(QLatin1String(::history::kKeepDays.name),
                                         QLatin1String(::history::kKeepDays.defaultValue)));

int run(Context& c)
{
    positionals(c, 0, 0);
    ::history::Filter filter;
    filter.display = c.parser.value(kDisplay).trimmed();
    if (c.parser.isSet(kVar)) {
        const auto number = varfields::varNumber(c.parser.value(kVar));
        if (!number)
            throw Failure{BadArguments,
                          QStringLiteral("unknown variable number \"%1\" (1 to 416)").arg(c.parser.value(kVar))};
        filter.variable = *number;
    }
    if (c.parser.isSet(kSince)) {
        const auto since = historyview::parseSince(c.parser.value(kSince));
        if (!since)
            throw Failure{BadArguments, QStringLiteral("--since takes a date such as 2026-11-25 or an age such as 3d, "
                                                       "not \"%1\"")
                                            .arg(c.parser.value(kSince))};
        filter.since = *since;
    }
    const bool csvFile = csvFormat(c);

    ::history::SendHistory history;
    // Reading never makes a history (nor its folder) where there is none.
    if (!QFileInfo::exists(::history::SendHistory::defaultPath())) {
        c.console.err << "qmdvars: " << ::history::SendHistory::defaultPath()
                      << " does not exist: nothing was sent yet\n";
        return AllDone;
    }
    if (!history.openExisting())
        throw Failure{BadInputFile, QStringLiteral("cannot open the send history: ") + history.errorText()};
    if (c.parser.isSet(kPrune)) {
        const int removed = history.pruneOlderThan(::history::keepDays());
        c.console.err << "removed " << removed << " send(s) older than " << ::history::keepDays() << " days\n";
    }
    const QList<::history::Entry> entries = history.entries(filter);
    if (csvFile)
        c.console.raw(csv::write(historyview::csvRows(entries), csv::Encoding::Utf8));
    else
        c.console.out << historyview::text(entries);
    return AllDone;
}

} // namespace

Command history()
{
    return {QStringLiteral("history"),
            QStringLiteral("history [--display D] [--var N] [--since DATE] [--format text|csv] [--prune]"),
            QStringLiteral("Lists what was sent where and when, newest first: one line per display update or audit "
                           "(when, display, kind, mode, variables, result and error), then for data sends one "
                           "line per variable with the text sent. The history is kept beside the machine-wide "
                           "settings by the update dialog, the audit, update and watch."),
            {kDisplay, kVar, kSince, options::format, kPrune},
            {},
            run};
}

} // namespace qmdvars::commands
