// set: changes one variable's fields and saves the file.

#include "commandtable.h"

#include "clsVariableAccess.h"
#include "linkcontainer.h"
#include "varfields.h"

#include <array>

namespace qmdvars::commands {

namespace {

const QCommandLineOption kName(QStringLiteral("name"), QStringLiteral("The variable's name."), QStringLiteral("T"));
const QCommandLineOption kData(QStringLiteral("data"), QStringLiteral("The variable's data."), QStringLiteral("T"));
const QCommandLineOption kColor(QStringLiteral("color"),
                                QStringLiteral("red, green, yellow, blue, magenta, cyan, white, or 1-7."),
                                QStringLiteral("C"));
const QCommandLineOption kBlink(QStringLiteral("blink"), QStringLiteral("yes or no."), QStringLiteral("B"));
const QCommandLineOption kInverse(QStringLiteral("inverse"), QStringLiteral("yes or no."), QStringLiteral("I"));
const QCommandLineOption kMaxLength(QStringLiteral("max-length"),
                                    QStringLiteral("Characters sent at most: 1-250 for a text variable, 1-58 "
                                                   "for a cell variable."),
                                    QStringLiteral("L"));
const QCommandLineOption kLink(QStringLiteral("link"),
                               QStringLiteral("Link the variable to a spreadsheet cell (path!sheet!RnCn) or to "
                                              "a value in JSON (feed.json!/a/b, https://host/feed!/a/0)."),
                               QStringLiteral("SOURCE"));
const QCommandLineOption kUnlink(QStringLiteral("unlink"), QStringLiteral("Remove the variable's link."));

QString checkedText(const Context& c, const QCommandLineOption& option)
{
    const QString text = c.parser.value(option);
    if (!varfields::storable(text))
        throw Failure{
            BadArguments,
            QStringLiteral("--%1 cannot hold a line break or control character").arg(option.names().constFirst())};
    return text;
}

int run(Context& c)
{
    const QString numberText = positionals(c, 1, 1).first();
    const auto number = varfields::varNumber(numberText);
    if (!number)
        throw Failure{BadArguments, QStringLiteral("unknown variable number \"%1\" (1 to 416)").arg(numberText)};
    const std::optional<bool> link = oneOf(c, kLink, kUnlink);
    // Every value is checked before the file is read, so a bad one changes nothing.
    std::array<std::optional<QString>, clsVariableAccess::kFieldCount> fields;
    if (c.parser.isSet(kName))
        fields[clsVariableAccess::Name] = checkedText(c, kName);
    if (c.parser.isSet(kData))
        fields[clsVariableAccess::Data] = checkedText(c, kData);
    if (c.parser.isSet(kColor) && !(fields[clsVariableAccess::Color] = varfields::colourCode(c.parser.value(kColor))))
        throw Failure{BadArguments, QStringLiteral("unknown colour \"%1\"").arg(c.parser.value(kColor))};
    if (c.parser.isSet(kBlink) && !(fields[clsVariableAccess::Blink] = varfields::yesNoCode(c.parser.value(kBlink))))
        throw Failure{BadArguments, QStringLiteral("--blink takes yes or no")};
    if (c.parser.isSet(kInverse)
        && !(fields[clsVariableAccess::Inverse] = varfields::yesNoCode(c.parser.value(kInverse))))
        throw Failure{BadArguments, QStringLiteral("--inverse takes yes or no")};
    if (c.parser.isSet(kMaxLength)
        && !(fields[clsVariableAccess::MaxLength] = varfields::maxLength(c.parser.value(kMaxLength), *number)))
        throw Failure{BadArguments, QStringLiteral("--max-length of variable %1 takes 1 to %2")
                                        .arg(*number)
                                        .arg(varfields::longestLength(*number))};
    if (link)
        fields[clsVariableAccess::OLELink] = *link ? checkedText(c, kLink).trimmed() : QString();
    if (std::none_of(fields.begin(), fields.end(), [](const auto& f) { return f.has_value(); }))
        throw Failure{BadArguments, QStringLiteral("nothing to change: give at least one of the options")};

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
