// export: every variable as one CSV row.

#include "commandtable.h"

#include "clsVariableAccess.h"
#include "varcsv.h"

namespace qmdvars::commands {

namespace {

int run(Context& c)
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

} // namespace

Command exportCsv()
{
    return {QStringLiteral("export"),
            QStringLiteral("export FILE.csv [--encoding E]"),
            QStringLiteral("Writes every variable as one CSV row under the header "
                           "number,name,data,color,blink,inverse,max_length,link."),
            {options::encoding},
            {{QStringLiteral("FILE.csv"), QStringLiteral("The file to write.")}},
            run};
}

} // namespace qmdvars::commands
