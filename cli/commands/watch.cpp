// watch: keeps the displays current with their variables' linked sources until stopped.

#include "commandtable.h"

#include "feedlinks.h"
#include "stopsignals.h"
#include "varrange.h"
#include "watch.h"

#include <QEventLoop>

namespace qmdvars::commands {

namespace {

const QCommandLineOption kDebounce(QStringLiteral("debounce"),
                                   QStringLiteral("Send changes that come within MS milliseconds of each "
                                                  "other at once (default 500)."),
                                   QStringLiteral("MS"));

int run(Context& c)
{
    positionals(c, 0, 0);
    watch::Options options;
    options.selection = varrange::selectionOf(
        variablesOf(c.parser.isSet(options::vars) ? c.parser.value(options::vars) : QStringLiteral("-")));
    options.debounceMs = numberOption(c, kDebounce, 0, 3600 * 1000, watch::Options{}.debounceMs);
    options.retryIntervalSeconds = std::max(1, retryIntervalOf(c));
    options.pollSeconds = links::FeedCache::shared().refreshSeconds();
    const QList<displays::Entry> chosen = chosenDisplays(c);
    const VarStore store = loadedStore(c);
    const auto engine = engineFor(store);

    watch::Watcher watcher(engine->get(), chosen, options, c.console.out);
    if (watcher.linked().isEmpty())
        throw Failure{BadArguments, QStringLiteral("none of the chosen variables is linked: nothing to watch")};
    QStringList numbers;
    for (const displays::Entry& e : chosen)
        numbers.append(e.number);
    c.console.err << "watching " << watcher.linked().size() << " linked variable(s) in "
                  << watcher.files().size() + watcher.urls().size() << " source(s) for display(s) "
                  << numbers.join(u',') << '\n';
    c.console.err.flush();

    QEventLoop loop;
    StopSignals stop;
    QObject::connect(&stop, &StopSignals::stopRequested, &loop, [&](int number) {
        c.console.err << "stopping on signal " << number << '\n';
        loop.quit();
    });
    watcher.start();
    loop.exec();
    return AllDone;
}

} // namespace

Command watch()
{
    return {QStringLiteral("watch"),
            QStringLiteral("watch --displays LIST [--vars RANGE] [--debounce MS] [--retry-interval S]"),
            QStringLiteral("Runs until stopped (SIGINT or SIGTERM, exit code 0): sends every linked variable of "
                           "RANGE (default: all) to the displays once, then watches the linked files and polls "
                           "the linked URLs (every --refresh seconds) and sends the data of the variables that "
                           "changed. Changes within the debounce time go out as one send. A display that fails is "
                           "tried again after the retry interval with everything that changed meanwhile. One line "
                           "per send and per failure goes to the output."),
            {options::displays, options::vars, kDebounce, options::retryInterval},
            {},
            run};
}

} // namespace qmdvars::commands
