#include "app.h"

#include "auditrun.h"
#include "classregistry.h"
#include "clsVariableAccess.h"
#include "compare.h"
#include "csv.h"
#include "displays.h"
#include "feedlinks.h"
#include "historyview.h"
#include "linkcontainer.h"
#include "pluginmaster.h"
#include "recorder.h"
#include "progress.h"
#include "rtf.h"
#include "settingsstore.h"
#include "stopsignals.h"
#include "updatejobs.h"
#include "varcsv.h"
#include "varfields.h"
#include "varrange.h"
#include "varstore.h"
#include "watch.h"
#include "buswatch.h"
#include "mqttagent.h"
#include "topiccache.h"
#include "topiclinks.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QFileInfo>
#include <QSaveFile>

#include <functional>
#include <optional>

namespace qmdvars {

namespace {

// A command line that cannot be carried out; nothing has been changed yet.
struct Failure {
    int code;
    QString message;
};

const QCommandLineOption kFileOption(QStringLiteral("file"),
                                     QStringLiteral("Work on variable file F instead of the current one."),
                                     QStringLiteral("F"));
const QCommandLineOption kDisplaysFileOption(QStringLiteral("displays-file"),
                                             QStringLiteral("Read the display list from F instead of the host's "
                                                            "Displays.dat."),
                                             QStringLiteral("F"));
const QCommandLineOption kRefreshOption(QStringLiteral("refresh"),
                                        QStringLiteral("Fetch a linked JSON URL at most once in S seconds "
                                                       "(default 60)."),
                                        QStringLiteral("S"));
const QCommandLineOption kFeedWaitOption(QStringLiteral("feed-wait"),
                                         QStringLiteral("Wait at most MS milliseconds for a JSON URL before using "
                                                        "its last value (default 1000)."),
                                         QStringLiteral("MS"));
const QCommandLineOption kHelpOption(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                     QStringLiteral("Show this help."));
const QCommandLineOption kEncodingOption(QStringLiteral("encoding"),
                                         QStringLiteral("The CSV file's encoding: utf-8 (default) or windows-1252."),
                                         QStringLiteral("E"), QStringLiteral("utf-8"));
const QCommandLineOption kDisplaysOption(QStringLiteral("displays"),
                                         QStringLiteral("The displays, by number, in the chooser's range syntax "
                                                        "(\"1,3,5-12\", \"-\" for all)."),
                                         QStringLiteral("LIST"));
const QCommandLineOption kVarsOption(QStringLiteral("vars"),
                                     QStringLiteral("The variables, 1-256 text and 257-416 cell, in the same "
                                                    "syntax."),
                                     QStringLiteral("RANGE"));
const QCommandLineOption kDataOnlyOption(QStringLiteral("data-only"), QStringLiteral("Data only."));
const QCommandLineOption kAttributesOnlyOption(QStringLiteral("attributes-only"),
                                               QStringLiteral("Colour, blink and inverse only."));

struct Context {
    Console& console;
    QCommandLineParser& parser;
    QString file;
    QString displaysFile;
};

// One command: its help and what it does.
struct Command {
    QString name;
    QString synopsis;
    QString description;
    QList<QCommandLineOption> options;
    QList<std::pair<QString, QString>> arguments; // name, description
    std::function<int(Context&)> run;
};

// ---- shared checks ---------------------------------------------------------

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
    const auto encoding = csv::encodingNamed(c.parser.value(kEncodingOption));
    if (!encoding)
        throw Failure{
            BadArguments,
            QStringLiteral("unknown encoding \"%1\" (utf-8 or windows-1252)").arg(c.parser.value(kEncodingOption))};
    return *encoding;
}

QString required(const Context& c, const QCommandLineOption& option)
{
    if (!c.parser.isSet(option))
        throw Failure{BadArguments, QStringLiteral("--%1 is required").arg(option.names().constFirst())};
    return c.parser.value(option);
}

// A whole number within bounds, from an option.
int numberOption(const Context& c, const QCommandLineOption& option, int lowest, int highest, int otherwise)
{
    if (!c.parser.isSet(option))
        return otherwise;
    bool ok = false;
    const int value = c.parser.value(option).toInt(&ok);
    if (!ok || value < lowest || value > highest)
        throw Failure{BadArguments, QStringLiteral("--%1 takes a whole number from %2 to %3, not \"%4\"")
                                        .arg(option.names().constFirst())
                                        .arg(lowest)
                                        .arg(highest)
                                        .arg(c.parser.value(option))};
    return value;
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

VarStore loadedStore(const Context& c)
{
    VarStore store(c.file);
    QString error;
    if (!store.load(&error))
        throw Failure{BadInputFile, error};
    return store;
}

// The engine's set for the records. Its object reads the current file when it
// is made and writes it when it is released, which would replace a damaged
// current file: the tool stops before that instead.
std::unique_ptr<EngineSet> engineFor(const VarStore& store)
{
    if (!store.isCurrent()) {
        VarStore current{QString()};
        QString error;
        if (QFileInfo::exists(current.path()) && !current.load(&error))
            throw Failure{BadInputFile, QStringLiteral("the current variable file is damaged: ") + error};
    }
    return std::make_unique<EngineSet>(store.records());
}

void saveStore(VarStore& store)
{
    QString error;
    if (!store.save(&error))
        throw Failure{BadInputFile, QStringLiteral("cannot write %1: %2").arg(store.path(), error)};
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw Failure{BadInputFile, QStringLiteral("cannot write %1: %2").arg(path, file.errorString())};
}

QList<displays::Entry> chosenDisplays(const Context& c)
{
    const QString list = required(c, kDisplaysOption);
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

// ---- show ------------------------------------------------------------------

const QCommandLineOption kFormatOption(QStringLiteral("format"),
                                       QStringLiteral("text (default: one tab-separated line per variable) or csv."),
                                       QStringLiteral("FORMAT"), QStringLiteral("text"));

int show(Context& c)
{
    const QStringList args = positionals(c, 0, 1);
    const QList<int> numbers = variablesOf(args.isEmpty() ? QStringLiteral("-") : args.first());
    const QString format = c.parser.value(kFormatOption);
    if (format != u"text" && format != u"csv")
        throw Failure{BadArguments, QStringLiteral("unknown format \"%1\" (text or csv)").arg(format)};
    const csv::Encoding encoding = encodingOf(c);
    const VarStore store = loadedStore(c);
    if (format == u"csv") {
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
        // A JSON value that is stale or missing says why.
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

// ---- set -------------------------------------------------------------------

const QCommandLineOption kNameOption(QStringLiteral("name"), QStringLiteral("The variable's name."),
                                     QStringLiteral("T"));
const QCommandLineOption kDataOption(QStringLiteral("data"), QStringLiteral("The variable's data."),
                                     QStringLiteral("T"));
const QCommandLineOption kColorOption(QStringLiteral("color"),
                                      QStringLiteral("red, green, yellow, blue, magenta, cyan, white, or 1-7."),
                                      QStringLiteral("C"));
const QCommandLineOption kBlinkOption(QStringLiteral("blink"), QStringLiteral("yes or no."), QStringLiteral("B"));
const QCommandLineOption kInverseOption(QStringLiteral("inverse"), QStringLiteral("yes or no."), QStringLiteral("I"));
const QCommandLineOption kMaxLengthOption(QStringLiteral("max-length"),
                                          QStringLiteral("Characters sent at most: 1-250 for a text variable, 1-58 "
                                                         "for a cell variable."),
                                          QStringLiteral("L"));
const QCommandLineOption kLinkOption(QStringLiteral("link"),
                                     QStringLiteral("Link the variable to a spreadsheet cell (path!sheet!RnCn) or to "
                                                    "a value in JSON (feed.json!/a/b, https://host/feed!/a/0)."),
                                     QStringLiteral("SOURCE"));
const QCommandLineOption kUnlinkOption(QStringLiteral("unlink"), QStringLiteral("Remove the variable's link."));

QString checkedText(const Context& c, const QCommandLineOption& option)
{
    const QString text = c.parser.value(option);
    if (!varfields::storable(text))
        throw Failure{
            BadArguments,
            QStringLiteral("--%1 cannot hold a line break or control character").arg(option.names().constFirst())};
    return text;
}

int set(Context& c)
{
    const QString numberText = positionals(c, 1, 1).first();
    const auto number = varfields::varNumber(numberText);
    if (!number)
        throw Failure{BadArguments, QStringLiteral("unknown variable number \"%1\" (1 to 416)").arg(numberText)};
    const std::optional<bool> link = oneOf(c, kLinkOption, kUnlinkOption);
    // Every value is checked before the file is read, so a bad one changes nothing.
    std::array<std::optional<QString>, clsVariableAccess::kFieldCount> fields;
    if (c.parser.isSet(kNameOption))
        fields[clsVariableAccess::Name] = checkedText(c, kNameOption);
    if (c.parser.isSet(kDataOption))
        fields[clsVariableAccess::Data] = checkedText(c, kDataOption);
    if (c.parser.isSet(kColorOption)
        && !(fields[clsVariableAccess::Color] = varfields::colourCode(c.parser.value(kColorOption))))
        throw Failure{BadArguments, QStringLiteral("unknown colour \"%1\"").arg(c.parser.value(kColorOption))};
    if (c.parser.isSet(kBlinkOption)
        && !(fields[clsVariableAccess::Blink] = varfields::yesNoCode(c.parser.value(kBlinkOption))))
        throw Failure{BadArguments, QStringLiteral("--blink takes yes or no")};
    if (c.parser.isSet(kInverseOption)
        && !(fields[clsVariableAccess::Inverse] = varfields::yesNoCode(c.parser.value(kInverseOption))))
        throw Failure{BadArguments, QStringLiteral("--inverse takes yes or no")};
    if (c.parser.isSet(kMaxLengthOption)
        && !(fields[clsVariableAccess::MaxLength] = varfields::maxLength(c.parser.value(kMaxLengthOption), *number)))
        throw Failure{BadArguments, QStringLiteral("--max-length of variable %1 takes 1 to %2")
                                        .arg(*number)
                                        .arg(varfields::longestLength(*number))};
    if (link)
        fields[clsVariableAccess::OLELink] = *link ? checkedText(c, kLinkOption).trimmed() : QString();
    if (std::none_of(fields.begin(), fields.end(), [](const auto& f) { return f.has_value(); }))
        throw Failure{BadArguments, QStringLiteral("nothing to change: give at least one of the options")};

    VarStore store = loadedStore(c);
    vls::Record& record = store.records()[*number - 1];
    for (int f = 0; f < clsVariableAccess::kFieldCount; ++f)
        if (fields[f])
            record[f] = *fields[f];
    saveStore(store);
    return AllDone;
}

// ---- export and import -----------------------------------------------------

int exportCsv(Context& c)
{
    const QString path = positionals(c, 1, 1).first();
    const csv::Encoding encoding = encodingOf(c);
    const VarStore store = loadedStore(c);
    QList<int> all;
    for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n)
        all.append(n);
    writeFile(path, csv::write(varcsv::table(store.records(), all), encoding));
    return AllDone;
}

int importCsv(Context& c)
{
    const QString path = positionals(c, 1, 1).first();
    const csv::Encoding encoding = encodingOf(c);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure{BadInputFile, QStringLiteral("cannot read %1: %2").arg(path, file.errorString())};
    const varcsv::ImportResult imported = varcsv::parse(file.readAll(), encoding);
    if (imported.error)
        throw Failure{BadInputFile, path + QStringLiteral(" ") + varcsv::describe(*imported.error)};
    VarStore store = loadedStore(c);
    for (const varcsv::Change& change : imported.changes)
        store.records()[change.varNum - 1] = change.record;
    saveStore(store);
    c.console.err << "imported " << imported.changes.size() << " variable(s) into " << store.path() << '\n';
    return AllDone;
}

// ---- update ----------------------------------------------------------------

const QCommandLineOption kDelayOption(QStringLiteral("delay"), QStringLiteral("Wait MIN minutes before sending."),
                                      QStringLiteral("MIN"));
const QCommandLineOption kRetriesOption(QStringLiteral("retries"),
                                        QStringLiteral("Try a failed display N more times (default 0)."),
                                        QStringLiteral("N"));
const QCommandLineOption kRetryIntervalOption(QStringLiteral("retry-interval"),
                                              QStringLiteral("Seconds between tries (default: the plug-in's "
                                                             "RetryInterval setting)."),
                                              QStringLiteral("S"));
const QCommandLineOption kJobsOption(QStringLiteral("jobs"),
                                     QStringLiteral("Update up to N displays at once (default 1)."),
                                     QStringLiteral("N"));

UpdateOption updateOptionOf(const Context& c)
{
    const std::optional<bool> dataOnly = oneOf(c, kDataOnlyOption, kAttributesOnlyOption);
    if (!dataOnly)
        return UpdateOption::DataAndAttributes;
    return *dataOnly ? UpdateOption::DataOnly : UpdateOption::AttributesOnly;
}

int update(Context& c)
{
    positionals(c, 0, 0);
    updatejobs::Options options;
    options.option = updateOptionOf(c);
    const QList<int> numbers = variablesOf(required(c, kVarsOption));
    options.selection = varrange::selectionOf(numbers);
    options.delayMinutes = numberOption(c, kDelayOption, 0, 7 * 24 * 60, 0);
    options.retries = numberOption(c, kRetriesOption, 0, 1000, 0);
    bool ok = false;
    const int setting = settings::read(settings::kRetryInterval).toInt(&ok);
    options.retryIntervalSeconds = numberOption(c, kRetryIntervalOption, 0, 24 * 3600, ok ? setting : 3600);
    options.jobs = numberOption(c, kJobsOption, 1, 64, 1);
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

// ---- audit -----------------------------------------------------------------

const QCommandLineOption kRtfOption(QStringLiteral("rtf"), QStringLiteral("Also save the report as rich text in F."),
                                    QStringLiteral("F"));
const QCommandLineOption kCompareOption(QStringLiteral("compare"),
                                        QStringLiteral("Print only what differs from what an update would send now, "
                                                       "one line each."));

// The report as plain text and as coloured runs.
class ReportText final : public audit::ReportSink {
public:
    void append(const QString& text, quint32 colour, bool heading) override
    {
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

private:
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

int auditCommand(Context& c)
{
    positionals(c, 0, 0);
    const std::optional<bool> dataOnly = oneOf(c, kDataOnlyOption, kAttributesOnlyOption);
    const audit::Mode mode = audit::modeOf(dataOnly.value_or(false), dataOnly && !*dataOnly);
    const QList<int> numbers = variablesOf(required(c, kVarsOption));
    const bool comparing = c.parser.isSet(kCompareOption);
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
        differences.append(QStringLiteral("display %1: FAILED %2").arg(numberOf.value(name), control->LastErrorText()));
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
    if (c.parser.isSet(kRtfOption))
        writeFile(c.parser.value(kRtfOption), rtf::write(report.runs()));
    if (outcome == audit::AuditRun::Outcome::Failed) {
        c.console.err << "qmdvars: the audit stopped: " << run.errorText() << '\n';
        return DisplayFailed;
    }
    return failed || !differences.isEmpty() ? DisplayFailed : AllDone;
}

// ---- watch -----------------------------------------------------------------

const QCommandLineOption kDebounceOption(QStringLiteral("debounce"),
                                         QStringLiteral("Send changes that come within MS milliseconds of each "
                                                        "other at once (default 500)."),
                                         QStringLiteral("MS"));

int retryIntervalOf(const Context& c)
{
    bool ok = false;
    const int setting = settings::read(settings::kRetryInterval).toInt(&ok);
    return numberOption(c, kRetryIntervalOption, 0, 24 * 3600, ok ? setting : 3600);
}

const QCommandLineOption kPublishOption(QStringLiteral("publish"),
                                        QStringLiteral("Publish each display's state, every send and this agent's "
                                                       "presence on the broker URL, under its topic prefix."),
                                        QStringLiteral("mqtt[s]://[USER@]HOST[:PORT]/PREFIX"));
const QCommandLineOption kSiteOption(QStringLiteral("site"),
                                     QStringLiteral("This agent's site: its topics under PREFIX/sites/NAME, and "
                                                    "commands from PREFIX/all/ too."),
                                     QStringLiteral("NAME"));
const QCommandLineOption kAgentOption(QStringLiteral("agent"),
                                      QStringLiteral("This agent's name (default: the site, or the host's name)."),
                                      QStringLiteral("NAME"));
const QCommandLineOption kAcceptCommandsOption(QStringLiteral("accept-commands"),
                                               QStringLiteral("Act on PREFIX/variables/<n>/set messages."));
const QCommandLineOption kKeepAliveOption(QStringLiteral("keepalive"),
                                          QStringLiteral("Seconds between signs of life to the brokers (default "
                                                         "30)."),
                                          QStringLiteral("S"));

// The agent's options from --publish, --site, --agent and --accept-commands.
std::optional<agent::Options> agentOptionsOf(const Context& c, int keepAlive)
{
    if (!c.parser.isSet(kPublishOption)) {
        for (const QCommandLineOption* o : {&kSiteOption, &kAgentOption, &kAcceptCommandsOption})
            if (c.parser.isSet(*o))
                throw Failure{BadArguments, QStringLiteral("--%1 needs --publish").arg(o->names().first())};
        return std::nullopt;
    }
    const mqtt::ParsedBrokerUrl url = mqtt::parseBrokerUrl(c.parser.value(kPublishOption));
    if (!url.broker)
        throw Failure{BadArguments,
                      QStringLiteral("bad --publish \"%1\": %2").arg(c.parser.value(kPublishOption), url.error)};
    agent::Options options;
    options.broker = *url.broker;
    options.prefix = url.prefix;
    options.site = c.parser.value(kSiteOption);
    options.name = c.parser.value(kAgentOption);
    for (const QString& name : {options.site, options.name})
        if (!name.isEmpty() && !agent::validLevel(name))
            throw Failure{BadArguments, QStringLiteral("\"%1\" cannot be a topic level (no /, + or #)").arg(name)};
    if (c.parser.isSet(kSiteOption) && options.site.isEmpty())
        throw Failure{BadArguments, QStringLiteral("an empty --site")};
    options.acceptCommands = c.parser.isSet(kAcceptCommandsOption);
    options.keepAliveSeconds = keepAlive;
    return options;
}

int watchCommand(Context& c)
{
    positionals(c, 0, 0);
    watch::Options options;
    options.selection = varrange::selectionOf(
        variablesOf(c.parser.isSet(kVarsOption) ? c.parser.value(kVarsOption) : QStringLiteral("-")));
    options.debounceMs = numberOption(c, kDebounceOption, 0, 3600 * 1000, 500);
    options.retryIntervalSeconds = std::max(1, retryIntervalOf(c));
    options.pollSeconds = links::FeedCache::shared().refreshSeconds();
    const int keepAlive = numberOption(c, kKeepAliveOption, 5, 3600, 30);
    const std::optional<agent::Options> agentOptions = agentOptionsOf(c, keepAlive);
    const QList<displays::Entry> chosen = chosenDisplays(c);
    const VarStore store = loadedStore(c);
    const auto engine = engineFor(store);
    QStringList numbers;
    for (const displays::Entry& e : chosen)
        numbers.append(e.number);
    std::unique_ptr<agent::Agent> bus;
    if (agentOptions) {
        bus = std::make_unique<agent::Agent>(*agentOptions, numbers);
        // The linked topics in a session of their own that the broker keeps.
        mqtt::TopicCache::shared().setSession(
            QStringLiteral("qmdvars-links-") + (agentOptions->site.isEmpty() ? QString() : agentOptions->site + u'-')
                + bus->topics().name,
            keepAlive);
    }

    watch::Watcher watcher(engine->get(), chosen, options, c.console.out);
    if (watcher.linked().isEmpty() && !(agentOptions && agentOptions->acceptCommands))
        throw Failure{BadArguments, QStringLiteral("none of the chosen variables is linked: nothing to watch")};
    c.console.err << "watching " << watcher.linked().size() << " linked variable(s) in "
                  << watcher.files().size() + watcher.urls().size() + watcher.topics().size()
                  << " source(s) for display(s) " << numbers.join(u',') << '\n';
    if (bus) {
        const agent::Topics& t = bus->topics();
        c.console.err << "publishing to " << agentOptions->broker.key() << " under " << t.base() << " as agent "
                      << t.name << (agentOptions->acceptCommands ? "; commands accepted" : "; commands ignored")
                      << '\n';
        QObject::connect(&watcher, &watch::Watcher::sent, bus.get(), &agent::Agent::publishSend);
        auto logLine = [&c](const QString& text) {
            c.console.out << QDateTime::currentDateTime().toString(Qt::ISODate) << ' ' << text << '\n';
            c.console.out.flush();
        };
        QObject::connect(bus.get(), &agent::Agent::brokerLost, bus.get(), [=](const QString& reason) {
            logLine(
                QStringLiteral("link to broker %1 for publishing lost: %2").arg(agentOptions->broker.key(), reason));
        });
        QObject::connect(bus.get(), &agent::Agent::brokerBack, bus.get(), [=] {
            logLine(QStringLiteral("link to broker %1 for publishing up").arg(agentOptions->broker.key()));
        });
        QObject::connect(bus.get(), &agent::Agent::commandRefused, bus.get(),
                         [=](const QString& topic, const QString& why) {
                             logLine(QStringLiteral("command on %1 refused: %2").arg(topic, why));
                         });
        QObject::connect(
            bus.get(), &agent::Agent::commandReceived, bus.get(), [&, logLine](const agent::Command& command) {
                QString error;
                if (!watch::applyCommand(c.file, engine->get(), command, &error)) {
                    logLine(QStringLiteral("command for variable %1 refused: %2").arg(command.variable).arg(error));
                    return;
                }
                const UpdateOption option = !command.hasAttributes() ? UpdateOption::DataOnly
                                            : command.data           ? UpdateOption::DataAndAttributes
                                                                     : UpdateOption::AttributesOnly;
                logLine(QStringLiteral("command: variable %1 changed").arg(command.variable));
                watcher.sendNow(varrange::selectionOf({command.variable}), option);
            });
        bus->start();
    }
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

// ---- history ---------------------------------------------------------------

const QCommandLineOption kDisplayOption(QStringLiteral("display"), QStringLiteral("Only display D."),
                                        QStringLiteral("D"));
const QCommandLineOption kVarOption(QStringLiteral("var"), QStringLiteral("Only the sends of variable N."),
                                    QStringLiteral("N"));
const QCommandLineOption kSinceOption(QStringLiteral("since"),
                                      QStringLiteral("Only since DATE (2026-11-25, 2026-11-25T10:30) or for an age "
                                                     "(3d, 12h, 30m)."),
                                      QStringLiteral("DATE"));
const QCommandLineOption kPruneOption(QStringLiteral("prune"),
                                      QStringLiteral("First remove the rows older than the HistoryKeepDays setting "
                                                     "(default 90 days)."));

int historyCommand(Context& c)
{
    positionals(c, 0, 0);
    history::Filter filter;
    filter.display = c.parser.value(kDisplayOption).trimmed();
    if (c.parser.isSet(kVarOption)) {
        const auto number = varfields::varNumber(c.parser.value(kVarOption));
        if (!number)
            throw Failure{BadArguments,
                          QStringLiteral("unknown variable number \"%1\" (1 to 416)").arg(c.parser.value(kVarOption))};
        filter.variable = *number;
    }
    if (c.parser.isSet(kSinceOption)) {
        const auto since = historyview::parseSince(c.parser.value(kSinceOption));
        if (!since)
            throw Failure{BadArguments, QStringLiteral("--since takes a date such as 2026-11-25 or an age such as 3d, "
                                                       "not \"%1\"")
                                            .arg(c.parser.value(kSinceOption))};
        filter.since = *since;
    }
    const QString format = c.parser.value(kFormatOption);
    if (format != u"text" && format != u"csv")
        throw Failure{BadArguments, QStringLiteral("unknown format \"%1\" (text or csv)").arg(format)};

    history::SendHistory history;
    if (!history.open())
        throw Failure{BadInputFile, QStringLiteral("cannot open the send history: ") + history.errorText()};
    if (c.parser.isSet(kPruneOption)) {
        const int removed = history.pruneOlderThan(history::keepDays());
        c.console.err << "removed " << removed << " send(s) older than " << history::keepDays() << " days\n";
    }
    const QList<history::Entry> entries = history.entries(filter);
    if (format == u"csv")
        c.console.raw(csv::write(historyview::csvRows(entries), csv::Encoding::Utf8));
    else
        c.console.out << historyview::text(entries);
    return AllDone;
}

// ---- the table of commands -------------------------------------------------

QList<Command> commands()
{
    return {
        {QStringLiteral("show"),
         QStringLiteral("show [VARS] [--format text|csv] [--encoding E]"),
         QStringLiteral("Prints one line per variable: number, name, colour, blink, inverse, maximum length and "
                        "the data an update would send (linked values read now), separated by tabs. VARS is a "
                        "range such as 1,3,5-12 (default: all 416)."),
         {kFormatOption, kEncodingOption},
         {{QStringLiteral("VARS"), QStringLiteral("The variables to show.")}},
         show},
        {QStringLiteral("set"),
         QStringLiteral("set N [--name T] [--data T] [--color C] [--blink yes|no] [--inverse yes|no] "
                        "[--max-length L] [--link SOURCE|--unlink]"),
         QStringLiteral("Changes variable N (1-256 text, 257-416 cell) and saves the file."),
         {kNameOption, kDataOption, kColorOption, kBlinkOption, kInverseOption, kMaxLengthOption, kLinkOption,
          kUnlinkOption},
         {{QStringLiteral("N"), QStringLiteral("The variable's number.")}},
         set},
        {QStringLiteral("export"),
         QStringLiteral("export FILE.csv [--encoding E]"),
         QStringLiteral("Writes every variable as one CSV row under the header "
                        "number,name,data,color,blink,inverse,max_length,link."),
         {kEncodingOption},
         {{QStringLiteral("FILE.csv"), QStringLiteral("The file to write.")}},
         exportCsv},
        {QStringLiteral("import"),
         QStringLiteral("import FILE.csv [--encoding E]"),
         QStringLiteral("Changes the variables of the rows in the file and saves. A file with any bad row changes "
                        "nothing: the message names its line and field."),
         {kEncodingOption},
         {{QStringLiteral("FILE.csv"), QStringLiteral("The file to read.")}},
         importCsv},
        {QStringLiteral("update"),
         QStringLiteral("update --displays LIST --vars RANGE [--data-only|--attributes-only] [--delay MIN] "
                        "[--retries N] [--retry-interval S] [--jobs N]"),
         QStringLiteral("Sends the variables to the displays and prints one line per display: \"Updated\" or "
                        "\"FAILED\" and the reason. Progress goes to the error output: a bar on a terminal, "
                        "plain lines otherwise."),
         {kDisplaysOption, kVarsOption, kDataOnlyOption, kAttributesOnlyOption, kDelayOption, kRetriesOption,
          kRetryIntervalOption, kJobsOption},
         {},
         update},
        {QStringLiteral("audit"),
         QStringLiteral("audit --displays LIST --vars RANGE [--data-only|--attributes-only] [--rtf FILE] "
                        "[--compare]"),
         QStringLiteral("Reads the variables back from every unit of the displays and prints the audit report. "
                        "With --compare prints only the variables that differ from what an update would send "
                        "now, for example: display 2 unit 5 Text Var 7: data \"A\" on the display, \"B\" in the "
                        "set."),
         {kDisplaysOption, kVarsOption, kDataOnlyOption, kAttributesOnlyOption, kRtfOption, kCompareOption},
         {},
         auditCommand},
        {QStringLiteral("watch"),
         QStringLiteral("watch --displays LIST [--vars RANGE] [--debounce MS] [--retry-interval S] [--keepalive S]\n"
                        "      [--publish mqtt[s]://[USER@]HOST[:PORT]/PREFIX [--site NAME] [--agent NAME] "
                        "[--accept-commands]]"),
         QStringLiteral("Runs until stopped (SIGINT or SIGTERM, exit code 0): sends every linked variable of "
                        "RANGE (default: all) to the displays once, then watches the linked files and polls "
                        "the linked URLs (every --refresh seconds) and sends the data of the variables that "
                        "changed. Changes within the debounce time go out as one send. A display that fails is "
                        "tried again after the retry interval with everything that changed meanwhile. One line "
                        "per send and per failure goes to the output."),
         {kDisplaysOption, kVarsOption, kDebounceOption, kRetryIntervalOption, kKeepAliveOption, kPublishOption,
          kSiteOption, kAgentOption, kAcceptCommandsOption},
         {},
         watchCommand},
        {QStringLiteral("history"),
         QStringLiteral("history [--display D] [--var N] [--since DATE] [--format text|csv] [--prune]"),
         QStringLiteral("Lists what was sent where and when, newest first: one line per display update or audit "
                        "(when, display, kind, mode, variables, result and error), then for data sends one "
                        "line per variable with the text sent. The history is kept beside the machine-wide "
                        "settings by the update dialog, the audit, update and watch."),
         {kDisplayOption, kVarOption, kSinceOption, kFormatOption, kPruneOption},
         {},
         historyCommand},
    };
}

QString commandHelp(const Command& command, QCommandLineParser& parser)
{
    QString options = parser.helpText();
    options = options.mid(options.indexOf(u'\n') + 1); // the parser's own usage line is not the command's
    return QStringLiteral("Usage: qmdvars [--file F] [--displays-file F] ") + command.synopsis + QStringLiteral("\n\n")
           + command.description + u'\n' + options + u'\n' + exitCodesHelp();
}

QString generalHelp(const QList<Command>& all)
{
    QString text = QStringLiteral(
        "Usage: qmdvars [--file F] [--displays-file F] [--refresh S] [--feed-wait MS] COMMAND "
        "[options]\n\n"
        "Works on the current variable file (the one the plug-in uses) or on --file F,\n"
        "and on the host's display list Displays.dat or --displays-file F.\n\n"
        "Commands (each has --help):\n");
    for (const Command& c : all)
        text += QStringLiteral("  ") + c.synopsis + u'\n';
    return text + u'\n' + exitCodesHelp();
}

// --refresh and --feed-wait, given before or after the command.
void configureFeeds(const Context& c, const QCommandLineParser& global)
{
    auto value = [&](const QCommandLineOption& option, int lowest, int highest) -> std::optional<int> {
        const QCommandLineParser& p = c.parser.isSet(option) ? c.parser : global;
        if (!p.isSet(option))
            return std::nullopt;
        bool ok = false;
        const int v = p.value(option).toInt(&ok);
        if (!ok || v < lowest || v > highest)
            throw Failure{BadArguments, QStringLiteral("--%1 takes a whole number from %2 to %3, not \"%4\"")
                                            .arg(option.names().constFirst())
                                            .arg(lowest)
                                            .arg(highest)
                                            .arg(p.value(option))};
        return v;
    };
    if (const auto refresh = value(kRefreshOption, 1, 24 * 3600))
        links::FeedCache::shared().setRefreshSeconds(*refresh);
    if (const auto wait = value(kFeedWaitOption, 0, 60000))
        links::FeedCache::shared().setWaitMs(*wait);
}

int usage(Console& console, const QString& message, const QString& command)
{
    console.err << "qmdvars: " << message << "\nTry 'qmdvars " << (command.isEmpty() ? QString() : command + u' ')
                << "--help'.\n";
    return BadArguments;
}

} // namespace

Console::Console() : out(&outFile), err(&errFile)
{
    outFile.open(stdout, QIODevice::WriteOnly);
    errFile.open(stderr, QIODevice::WriteOnly);
}

void Console::raw(const QByteArray& bytes)
{
    out.flush();
    outFile.write(bytes);
    outFile.flush();
}

QString exitCodesHelp()
{
    return QStringLiteral("Exit codes:\n"
                          "  0  all done\n"
                          "  1  a display failed, or (audit --compare) a display differs from the set\n"
                          "  2  bad arguments: a usage message, nothing changed\n"
                          "  3  a bad input file (variable file, CSV file, display list) or a file that cannot\n"
                          "     be written: nothing changed\n");
}

int run(const QStringList& arguments, Console& console)
{
    const QList<Command> all = commands();
    QCommandLineParser global;
    global.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    global.addOptions({kFileOption, kDisplaysFileOption, kRefreshOption, kFeedWaitOption, kHelpOption});
    global.addPositionalArgument(QStringLiteral("command"), QStringLiteral("The command."));
    if (!global.parse(arguments))
        return usage(console, global.errorText(), QString());
    const QStringList rest = global.positionalArguments();
    if (rest.isEmpty()) {
        if (global.isSet(kHelpOption)) {
            console.out << generalHelp(all);
            return AllDone;
        }
        return usage(console, QStringLiteral("no command given"), QString());
    }
    const auto command = std::find_if(all.begin(), all.end(), [&](const Command& c) { return c.name == rest.first(); });
    if (command == all.end())
        return usage(console, QStringLiteral("unknown command \"%1\"").arg(rest.first()), QString());

    QCommandLineParser parser;
    parser.addOptions({kFileOption, kDisplaysFileOption, kRefreshOption, kFeedWaitOption, kHelpOption});
    parser.addOptions(command->options);
    for (const auto& [name, description] : command->arguments)
        parser.addPositionalArgument(name, description);
    if (!parser.parse(QStringList{QStringLiteral("qmdvars")} + rest.mid(1)))
        return usage(console, parser.errorText(), command->name);
    if (parser.isSet(kHelpOption) || global.isSet(kHelpOption)) {
        console.out << commandHelp(*command, parser);
        return AllDone;
    }
    Context context{console, parser, parser.isSet(kFileOption) ? parser.value(kFileOption) : global.value(kFileOption),
                    parser.isSet(kDisplaysFileOption) ? parser.value(kDisplaysFileOption)
                                                      : global.value(kDisplaysFileOption)};
    if (!context.displaysFile.isEmpty())
        displays::useListFile(displays::listFile(context.displaysFile));
    try {
        configureFeeds(context, global);
        const int code = command->run(context);
        console.out.flush();
        return code;
    } catch (const Failure& failure) {
        console.out.flush();
        if (failure.code == BadArguments)
            return usage(console, failure.message, command->name);
        console.err << "qmdvars: " << failure.message << '\n';
        return failure.code;
    } catch (const RuntimeError& e) {
        console.out.flush();
        console.err << "qmdvars: " << e.description() << '\n';
        return DisplayFailed;
    }
}

} // namespace qmdvars
