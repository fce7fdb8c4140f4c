#include "commandtable.h"

namespace qmdvars::commands {

namespace {
QList<Command>& added()
{
    static QList<Command> commands;
    return commands;
}
} // namespace

QList<Command> table()
{
    return QList<Command>{
               show(), set(), exportCsv(), importCsv(), update(), audit(), watch(), history(),
           }
           + added();
}

void add(const Command& command) { added().append(command); }

} // namespace qmdvars::commands
