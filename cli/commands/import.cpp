// import: the variables of a CSV file's rows, all or nothing.

#include "commandtable.h"

#include "varcsv.h"

#include <QFile>

namespace qmdvars::commands {

namespace {

int run(Context& c)
{
    const QString path = positionals(c, 1, 1).first();
    const csv::Encoding encoding = encodingOf(c);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure{BadInputFile, QStringLiteral("cannot read %1: %2").arg(path, file.errorString())};
    const varcsv::ImportResult imported = varcsv::parse(file.readAll(), encoding);
    if (imported.error)
        throw Failure{BadInputFile, path + QStringLiteral(" ") + varcsv::describe(*imported.error)};
    modifyStore(c, [&imported](vls::RecordSet& records) {
        for (const varcsv::Change& change : imported.changes)
            records[change.varNum - 1] = change.record;
    });
    c.console.err << "imported " << imported.changes.size() << " variable(s) into " << VarStore(c.file).path() << '\n';
    return AllDone;
}

} // namespace

Command importCsv()
{
    return {QStringLiteral("import"),
            QStringLiteral("import FILE.csv [--encoding E]"),
            QStringLiteral("Changes the variables of the rows in the file and saves. A file with any bad row changes "
                           "nothing: the message names its line and field."),
            {options::encoding},
            {{QStringLiteral("FILE.csv"), QStringLiteral("The file to read.")}},
            run};
}

} // namespace qmdvars::commands
