#include "app.h"

#include "commands/commandtable.h"
#include "feedlinks.h"
#include "options.h"

namespace qmdvars {

namespace {

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
    auto value = [&](const QCommandLineOption& option, int lowest, int highest) {
        return boundedNumber(c.parser.isSet(option) ? c.parser : global, option, lowest, highest);
    };
    if (const auto refresh = value(options::refresh, 1, 24 * 3600))
        links::FeedCache::shared().setRefreshSeconds(*refresh);
    if (const auto wait = value(options::feedWait, 0, 60000))
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
    const QList<Command> all = commands::table();
    QCommandLineParser global;
    global.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    global.addOptions({options::file, options::displaysFile, options::refresh, options::feedWait, options::help});
    global.addPositionalArgument(QStringLiteral("command"), QStringLiteral("The command."));
    if (!global.parse(arguments))
        return usage(console, global.errorText(), QString());
    const QStringList rest = global.positionalArguments();
    if (rest.isEmpty()) {
        if (global.isSet(options::help)) {
            console.out << generalHelp(all);
            return AllDone;
        }
        return usage(console, QStringLiteral("no command given"), QString());
    }
    const auto command = std::find_if(all.begin(), all.end(), [&](const Command& c) { return c.name == rest.first(); });
    if (command == all.end())
        return usage(console, QStringLiteral("unknown command \"%1\"").arg(rest.first()), QString());

    QCommandLineParser parser;
    parser.addOptions({options::file, options::displaysFile, options::refresh, options::feedWait, options::help});
    parser.addOptions(command->options);
    for (const auto& [name, description] : command->arguments)
        parser.addPositionalArgument(name, description);
    if (!parser.parse(QStringList{QStringLiteral("qmdvars")} + rest.mid(1)))
        return usage(console, parser.errorText(), command->name);
    if (parser.isSet(options::help) || global.isSet(options::help)) {
        console.out << commandHelp(*command, parser);
        return AllDone;
    }
    Context context{console, parser,
                    parser.isSet(options::file) ? parser.value(options::file) : global.value(options::file),
                    parser.isSet(options::displaysFile) ? parser.value(options::displaysFile)
                                                        : global.value(options::displaysFile)};
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
