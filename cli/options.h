#pragma once

// What every command of the tool shares: the command type and its table entry,
// the options more than one command takes, and the checks of their values.
// A check that fails throws Failure; nothing has been changed by then.

#include "app.h"
#include "csv.h"
#include "displays.h"
#include "displaysender.h"
#include "varstore.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace qmdvars {

// A command line that cannot be carried out; nothing has been changed yet.
struct Failure {
    int code;
    QString message;
};

// What a command works with: where to write, its parsed line, and the variable
// file and display list the global options chose.
struct Context {
    Console& console;
    QCommandLineParser& parser;
    QString file;
    QString displaysFile;
};

// One command: its name, its help and what it does; run gives the exit code.
struct Command {
    QString name;
    QString synopsis;
    QString description;
    QList<QCommandLineOption> options;
    QList<std::pair<QString, QString>> arguments; // name, description
    std::function<int(Context&)> run;
};

namespace options {

// Before or after the command.
extern const QCommandLineOption file;
extern const QCommandLineOption displaysFile;
extern const QCommandLineOption refresh;
extern const QCommandLineOption feedWait;
extern const QCommandLineOption help;
// Taken by several commands.
extern const QCommandLineOption encoding;
extern const QCommandLineOption displays;
extern const QCommandLineOption vars;
extern const QCommandLineOption dataOnly;
extern const QCommandLineOption attributesOnly;
extern const QCommandLineOption format;
extern const QCommandLineOption retryInterval;

} // namespace options

// The variable numbers of a range text ("1,3,5-12", "-" for all).
QList<int> variablesOf(const QString& range);
csv::Encoding encodingOf(const Context& c);
// An option's value; a bad-arguments failure when it was not given.
QString required(const Context& c, const QCommandLineOption& option);
// A whole number from `lowest` to `highest` from an option of `parser`; nothing when not given.
std::optional<int> boundedNumber(const QCommandLineParser& parser, const QCommandLineOption& option, int lowest,
                                 int highest);
// The same from the command's options, `otherwise` when not given.
int numberOption(const Context& c, const QCommandLineOption& option, int lowest, int highest, int otherwise);
// --retry-interval, else the plug-in's "RetryInterval" setting, else its default.
int retryIntervalOf(const Context& c);
// "text" or "csv" from --format.
bool csvFormat(const Context& c);
// The positional arguments, at least `lowest` and at most `highest` of them.
QStringList positionals(const Context& c, int lowest, int highest);
// The first option of a pair that cannot go together: true for `a`, false for `b`.
std::optional<bool> oneOf(const Context& c, const QCommandLineOption& a, const QCommandLineOption& b);
// --data-only / --attributes-only.
UpdateOption updateOptionOf(const Context& c);

VarStore loadedStore(const Context& c);
// The engine's set for the records; it belongs to no file.
std::unique_ptr<EngineSet> engineFor(const VarStore& store);
// Changes the file's records under its lock (read, change, write); a file that
// does not exist yet is made from the default set, and the tool says so.
void modifyStore(const Context& c, const std::function<void(vls::RecordSet&)>& change);
void writeFile(const QString& path, const QByteArray& bytes);
// The displays --displays names.
QList<displays::Entry> chosenDisplays(const Context& c);

} // namespace qmdvars
