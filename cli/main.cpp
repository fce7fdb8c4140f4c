// qmdvars: the variable plug-in's set, CSV files, update and audit runs from a
// command line. `qmdvars --help` lists the commands; docs/qmdvars.md is the manual.

#include "app.h"
#include "servecommands.h"
#include "components.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qmdvars"));
    components::install();
    qmdvars::Console console;
    console.terminal = isatty(fileno(stderr)) != 0;
    serve::addCommands();
    return qmdvars::run(QCoreApplication::arguments(), console);
}
