#include "options.h"

#include "changerecord.h"
#include "clsVariableAccess.h"
#include "feedlinks.h"
#include "settingsstore.h"
#include "varrange.h"

#include <QFileInfo>
#include <QSaveFile>

namespace qmdvars {

QCommandLineOption valued(const QString& name, const QString& description, const QString& valueName,
                          const QString& defaultValue)
{
    return QCommandLineOption(name, description, valueName, defaultValue);
}

QCommandLineOption flag(const QString& name, const QString& description)
{
    return QCommandLineOption(name, description);
}

namespace options {

const QCommandLineOption file = valued("file", "Work on variable file F instead of the current one.", "F");
const QCommandLineOption displaysFile = valued("displays-file",
                                               "Read the display list from F instead of the host's "
                                               "Displays.dat.",
                                               "F");
const QCommandLineOption refresh = valued("refresh",
                                          QStringLiteral("Fetch a linked JSON URL at most once in S seconds "
                                                         "(default %1).")
                                              .arg(links::FeedCache::kDefaultRefreshSeconds),
                                          "S");
const QCommandLineOption feedWait = valued("feed-wait",
                                           QStringLiteral("Wait at most MS milliseconds for a JSON URL before using "
                                                          "its last value (default %1).")
                                               .arg(links::FeedCache::kDefaultWaitMs),
                                           "MS");
const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                              QStringLiteral("Show this help."));
const QCommandLineOption encoding = valued("encoding", "The CSV file's encoding: utf-8 (default) or windows-1252.", "E",
                                           "utf-8");
const QCommandLineOption displays = valued("displays",
                                           "The displays, by number, in the chooser's range syntax "
                                           "(\"1,3,5-12\", \"-\" for all).",
                                           "LIST");
const QCommandLineOption vars = valued("vars",
                                       "The variables, 1-256 text and 257-416 cell, in the same "
                                       "syntax.",
                                       "RANGE");
const QCommandLineOption dataOnly = flag("data-only", "Data only.");
const QCommandLineOption attributesOnly = flag("attributes-only", "Colour, blink and inverse only.");
const QCommandLineOption format = valued("format", "text (default: one tab-separated line per variable) or csv.",
                                         "FORMAT", "text");
const QCommandLineOption retryInterval = valued("retry-interval",
                                                "Seconds between tries (default: the plug-in's "
                                                "RetryInterval setting).",
                                                "S");

} // namespace options

QList<int> variablesOf(const QString& range)
{
    if (!varrange::wellFormed(range))
        throw Failure{BadArguments, QStringLiteral("bad variable range \"%1\" (for example 1,3,5-12)").arg(range)};
    QList<int> numbers;
    try {
        numbers = varrange::parse(range, clsVariableAccess::kVariableCount);
    } catch (const RuntimeError&) {
        throw Failure{BadArguments, QStringLiteral("a number in \"%1\" is too large").arg(range)};
    }
    if (numbers.isEmpty())
        throw Failure{BadArguments, QStringLiteral("\"%1\" names no variable (1 to 416)").arg(range)};
    return numbers;
}

csv::Encoding encodingOf(const Context& c)
{
    const auto encoding = csv::encodingNamed(c.parser.value(options::encoding));
    if (!encoding)
        throw Failure{
            BadArguments,
            QStringLiteral("unknown encoding \"%1\" (utf-8 or windows-1252)").arg(c.parser.value(options::encoding))};
    return *encoding;
}

QString required(const Context& c, const QCommandLineOption& option)
{
    if (!c.parser.isSet(option))
        throw Failure{BadArguments, QStringLiteral("--%1 is required").arg(option.names().constFirst())};
    return c.parser.value(option);
}

std::optional<int> boundedNumber(const QCommandLineParser& parser, const QCommandLineOption& option, int lowest,
                                 int highest)
{
    if (!parser.isSet(option))
        return std::nullopt;
    bool ok = false;
    const int value = parser.value(option).toInt(&ok);
    if (!ok || value < lowest || value > highest)
        throw Failure{BadArguments, QStringLiteral("--%1 takes a whole number from %2 to %3, not \"%4\"")
                                        .arg(option.names().constFirst())
                                        .arg(lowest)
                                        .arg(highest)
                                        .arg(parser.value(option))};
    return value;
}

int numberOption(const Context& c, const QCommandLineOption& option, int lowest, int highest, int otherwise)
{
    return boundedNumber(c.parser, option, lowest, highest).value_or(otherwise);
}

int retryIntervalOf(const Context& c)
{
    bool ok = false;
    int setting = settings::read(settings::kRetryInterval).toInt(&ok);
    if (!ok)
        setting = QString::fromLatin1(settings::kRetryInterval.defaultValue).toInt();
    return numberOption(c, options::retryInterval, 0, 24 * 3600, setting);
}

bool csvFormat(const Context& c)
{
    const QString format = c.parser.value(options::format);
    if (format != u"text" && format != u"csv")
        throw Failure{BadArguments, QStringLiteral("unknown format \"%1\" (text or csv)").arg(format)};
    return format == u"csv";
}

QStringList positionals(const Context& c, int lowest, int highest)
{
    const QStringList args = c.parser.positionalArguments();
    if (args.size() < lowest)
        throw Failure{BadArguments, QStringLiteral("missing argument")};
    if (args.size() > highest)
        throw Failure{BadArguments, QStringLiteral("unexpected argument \"%1\"").arg(args[highest])};
    return args;
}

std::optional<bool> oneOf(const Context& c, const QCommandLineOption& a, const QCommandLineOption& b)
{
    if (c.parser.isSet(a) && c.parser.isSet(b))
        throw Failure{
            BadArguments,
            QStringLiteral("--%1 and --%2 cannot go together").arg(a.names().constFirst(), b.names().constFirst())};
    if (c.parser.isSet(a))
        return true;
    if (c.parser.isSet(b))
        return false;
    return std::nullopt;
}

UpdateOption updateOptionOf(const Context& c)
{
    const std::optional<bool> dataOnly = oneOf(c, options::dataOnly, options::attributesOnly);
    if (!dataOnly)
        return UpdateOption::DataAndAttributes;
    return *dataOnly ? UpdateOption::DataOnly : UpdateOption::AttributesOnly;
}

VarStore loadedStore(const Context& c)
{
    VarStore store(c.file);
    QString error;
    if (!store.load(&error))
        throw Failure{BadInputFile, error};
    return store;
}

std::unique_ptr<EngineSet> engineFor(const VarStore& store) { return std::make_unique<EngineSet>(store.records()); }

void modifyStore(const Context& c, const std::function<void(vls::RecordSet&)>& change)
{
    VarStore target(c.file);
    QString error;
    vls::RecordSet before, after;
    const bool changed = target.store().modifyRecords(
        [&](vls::RecordSet& records) {
            before = records;
            change(records);
            after = records;
        },
        &error);
    if (!changed)
        throw Failure{BadInputFile, error};
    history::recordChange(before, after);
    if (target.store().createdFile())
        c.console.err << "qmdvars: " << target.path() << " did not exist: made it from the default set\n";
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw Failure{BadInputFile, QStringLiteral("cannot write %1: %2").arg(path, file.errorString())};
}

QList<displays::Entry> chosenDisplays(const Context& c)
{
    const QString list = required(c, options::displays);
    const QString file = displays::listFile(c.displaysFile);
    QList<displays::Entry> chosen;
    QString error;
    switch (displays::select(list, file, &chosen, &error)) {
    case displays::Problem::None: return chosen;
    case displays::Problem::BadArgument: throw Failure{BadArguments, error};
    case displays::Problem::BadFile: throw Failure{BadInputFile, error};
    }
    return chosen;
}

} // namespace qmdvars
