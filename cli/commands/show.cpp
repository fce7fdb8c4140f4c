// show: the variables, one line each, with the data an update would send now.

#include "commandtable.h"

#include "clsVariableAccess.h"
#include "feedlinks.h"
#include "topiclink.h"
#include "topiclinks.h"
#include "linkcontainer.h"
#include "varcsv.h"
#include "varfields.h"

namespace qmdvars::commands {

namespace {

int run(Context& c)
{
    const QStringList args = positionals(c, 0, 1);
    const QList<int> numbers = variablesOf(args.isEmpty() ? QStringLiteral("-") : args.first());
    const bool csvFile = csvFormat(c);
    const csv::Encoding encoding = encodingOf(c);
    const VarStore store = loadedStore(c);
    if (csvFile) {
        c.console.raw(csv::write(varcsv::table(store.records(), numbers), encoding));
        return AllDone;
    }
    // Linked values are read live, as an update would send them.
    const auto engine = engineFor(store);
    const std::unique_ptr<ILinkContainer> link = links::create();
    clsVariableAccess& set = *engine->get();
    for (int n : numbers) {
        const auto v = int16_t(n);
        c.console.out << n << '\t' << set.VariableName(v) << '\t' << varfields::colourName(set.VariableColor(v)) << '\t'
                      << varfields::yesNoName(set.VariableBlink(v)) << '\t'
                      << varfields::yesNoName(set.VariableInverse(v)) << '\t' << set.VariableMaxLength(v) << '\t'
                      << set.GetDisplayableData(v, link.get());
        // A JSON or topic value that is stale or missing says why.
        if (const QString source = set.VariableOLELink(v);
            links::parseJsonLinkSource(source) || mqtt::isTopicSource(source)) {
            const links::FeedReading reading = mqtt::isTopicSource(source) ? links::readTopicLink(source)
                                                                           : links::readJsonLink(source);
            if (!reading.error.isEmpty())
                c.console.out << '\t' << (reading.stale ? "stale: " : "error: ") << reading.error;
        }
        c.console.out << '\n';
    }
    return AllDone;
}

} // namespace

Command show()
{
    return {QStringLiteral("show"),
            QStringLiteral("show [VARS] [--format text|csv] [--encoding E]"),
            QStringLiteral("Prints one line per variable: number, name, colour, blink, inverse, maximum length and "
                           "the data an update would send (linked values read now), separated by tabs. VARS is a "
                           "range such as 1,3,5-12 (default: all 416)."),
            {options::format, options::encoding},
            {{QStringLiteral("VARS"), QStringLiteral("The variables to show.")}},
            run};
}

} // namespace qmdvars::commands
