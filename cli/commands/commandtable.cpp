#include "commandtable.h"

namespace qmdvars::commands {

QList<Command> table()
{
    return {
        show(), set(), exportCsv(), importCsv(), update(), audit(), watch(), history(),
    };
}

} // namespace qmdvars::commands
