// set: changes one variable's fields and saves the file.

#include "commandtable.h"

#include "clsVariableAccess.h"
#include "linkcontainer.h"
#include "varfields.h"

#include <iterator>

namespace qmdvars::commands {

namespace {

const QCommandLineOption kName = valued("name", "The variable's name.", "T");
const QCommandLineOption kData = valued("data", "The variable's data.", "T");
const QCommandLineOption kColor = valued("color", "red, green, yellow, blue, magenta, cyan, white, or 1-7.", "C");
const QCommandLineOption kBlink = valued("blink", "yes or no.", "B");
const QCommandLineOption kInverse = valued("inverse", "yes or no.", "I");
const QCommandLineOption kMaxLength = valued("max-length",
                                             "Characters sent at most: 1-250 for a text variable, 1-58 "
                                             "for a cell variable.",
                                             "L");
const QCommandLineOption kLink = valued("link",
                                        "Link the variable to a spreadsheet cell (path!sheet!RnCn) or to "
                                        "a value in JSON (feed.json!/a/b, https://host/feed!/a/0).",
                                        "SOURCE");
const QCommandLineOption kUnlink = flag("unlink", "Remove the variable's link.");

int run(Context& c)
{
    const QString numberText = positionals(c, 1, 1).first();
    const auto number = varfields::varNumber(numberText);
    if (!number)
        throw Failure{BadArguments, QStringLiteral("unknown variable number \"%1\" (1 to 416)").arg(numberText)};
    const std::optional<bool> link = oneOf(c, kLink, kUnlink);
    // The options of the fields, in the record's order.
    const QCommandLineOption* const options[] = {&kName, &kColor, &kBlink, &kInverse, &kData, &kLink, &kMaxLength};
    static_assert(std::size(options) == clsVariableAccess::kFieldCount);
    varfields::Fields given;
    varfields::Spelling spelling{{}, QStringLiteral("options")};
    for (int f = 0; f < clsVariableAccess::kFieldCount; ++f) {
        spelling.names[f] = QStringLiteral("--") + options[f]->names().constFirst();
        if (c.parser.isSet(*options[f]))
            given[f] = c.parser.value(*options[f]);
    }
    if (link && !*link)
        given[clsVariableAccess::OLELink] = QString();
    // Every value is checked before the file is read, so a bad one changes nothing.
    QString error;
    const std::optional<varfields::Fields> checked = varfields::checkedFields(*number, given, spelling, &error);
    if (!checked)
        throw Failure{BadArguments, error};
    const varfields::Fields& fields = *checked;

    modifyStore(c, [&](vls::RecordSet& records) {
        for (int f = 0; f < clsVariableAccess::kFieldCount; ++f)
            if (fields[f])
                records[*number - 1][f] = *fields[f];
    });
    // The link is stored either way; a source that cannot be read now is said.
    if (link && *link) {
        const std::unique_ptr<ILinkContainer> container = links::create();
        container->createLink(*fields[clsVariableAccess::OLELink]);
        if (const links::LinkReading reading = container->reading(); !reading.readable())
            c.console.err << "qmdvars: warning: the link of variable " << *number
                          << " cannot be read now: " << reading.error << '\n';
    }
    return AllDone;
}

} // namespace

Command set()
{
    return {QStringLiteral("set"),
            QStringLiteral("set N [--name T] [--data T] [--color C] [--blink yes|no] [--inverse yes|no] "
                           "[--max-length L] [--link SOURCE|--unlink]"),
            QStringLiteral("Changes variable N (1-256 text, 257-416 cell) and saves the file."),
            {kName, kData, kColor, kBlink, kInverse, kMaxLength, kLink, kUnlink},
            {{QStringLiteral("N"), QStringLiteral("The variable's number.")}},
            run};
}

} // namespace qmdvars::commands
