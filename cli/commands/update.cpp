// update: sends the variables to the displays, a display sender per display.

#include "commandtable.h"

#include "progress.h"
#include "updatejobs.h"
#include "varrange.h"

namespace qmdvars::commands {

namespace {

const QCommandLineOption kDelay(QStringLiteral("delay"), QStringLiteral("Wait MIN minutes before sending."),
                                QStringLiteral("MIN"));
const QCommandLineOption kRetries(QStringLiteral("retries"),
                                  QStringLiteral("Try a failed display N more times (default 0)."),
                                  QStringLiteral("N"));
const QCommandLineOption kJobs(QStringLiteral("jobs"), QStringLiteral("Update up to N displays at once (default 1)."),
                               QStringLiteral("N"));

int run(Context& c)
{
    positionals(c, 0, 0);
    updatejobs::Options options;
    options.option = updateOptionOf(c);
    const QList<int> numbers = variablesOf(required(c, options::vars));
    options.selection = varrange::selectionOf(numbers);
    options.delayMinutes = numberOption(c, kDelay, 0, 7 * 24 * 60, 0);
    options.retries = numberOption(c, kRetries, 0, 1000, 0);
    options.retryIntervalSeconds = retryIntervalOf(c);
    options.jobs = numberOption(c, kJobs, 1, 64, 1);
    const QList<displays::Entry> chosen = chosenDisplays(c);
    const VarStore store = loadedStore(c);

    const auto engine = engineFor(store);
    updatejobs::Jobs jobs(engine->get(), chosen, options);
    ProgressView view(c.console.err, c.console.terminal, chosen);
    view.retries = options.retries;
    jobs.run([&view](const QList<updatejobs::State>& states, const QList<updatejobs::Event>& events) {
        view.show(states, events);
    });
    view.finish();

    bool allUpdated = true;
    const QList<updatejobs::State> states = jobs.states();
    for (int i = 0; i < chosen.size(); ++i) {
        allUpdated = allUpdated && states[i].updated;
        c.console.out << "display " << chosen[i].number << ": "
                      << (states[i].updated ? QStringLiteral("Updated") : QStringLiteral("FAILED ") + states[i].error)
                      << '\n';
    }
    return allUpdated ? AllDone : DisplayFailed;
}

} // namespace

Command update()
{
    return {QStringLiteral("update"),
            QStringLiteral("update --displays LIST --vars RANGE [--data-only|--attributes-only] [--delay MIN] "
                           "[--retries N] [--retry-interval S] [--jobs N]"),
            QStringLiteral("Sends the variables to the displays and prints one line per display: \"Updated\" or "
                           "\"FAILED\" and the reason. Progress goes to the error output: a bar on a terminal, "
                           "plain lines otherwise."),
            {options::displays, options::vars, options::dataOnly, options::attributesOnly, kDelay, kRetries,
             options::retryInterval, kJobs},
            {},
            run};
}

} // namespace qmdvars::commands
