#pragma once

// qmdvars: the variable set, its CSV files and the update and audit runs from a
// command line, for scripts and scheduled jobs.

#include <QFile>
#include <QStringList>
#include <QTextStream>

namespace qmdvars {

enum ExitCode {
    AllDone = 0,
    DisplayFailed = 1, // or, when comparing, a display differs from the set
    BadArguments = 2,  // nothing was changed
    BadInputFile = 3   // nothing was changed
};

// Where the tool writes: its output, its messages, and whether the messages go
// to a terminal (then an update shows a progress bar).
struct Console {
    Console();
    QFile outFile;
    QFile errFile;
    QTextStream out;
    QTextStream err;
    bool terminal = false;
    void raw(const QByteArray& bytes); // encoded output, as it is
};

// Runs one command line (the program's name first).
int run(const QStringList& arguments, Console& console);

// The text every help ends with.
QString exitCodesHelp();

} // namespace qmdvars
