#include "changerecord.h"

#include "clsVariableAccess.h"
#include "recorder.h"

namespace history {

namespace {
constexpr int kDataField = clsVariableAccess::Data;
}

std::optional<Entry> changeEntry(const vls::RecordSet& before, const vls::RecordSet& after, const QString& account)
{
    Entry entry;
    bool changed[vls::kFieldCount] = {};
    for (int n = 1; n <= vls::kRecordCount; ++n) {
        const vls::Record& was = before[n - 1];
        const vls::Record& now = after[n - 1];
        if (was == now)
            continue;
        entry.variables.append(n);
        for (int f = 0; f < vls::kFieldCount; ++f)
            changed[f] = changed[f] || was[f] != now[f];
        if (was[kDataField] != now[kDataField])
            entry.sentTexts.append({n, now[kDataField]});
    }
    if (entry.variables.isEmpty())
        return std::nullopt;
    QStringList fields;
    for (int f = 0; f < vls::kFieldCount; ++f)
        if (changed[f])
            fields.append(QString::fromLatin1(vls::kFieldNames[f]));
    entry.when = QDateTime::currentDateTime();
    entry.kind = QStringLiteral("change");
    entry.mode = fields.join(u',');
    entry.result = QStringLiteral("Changed");
    entry.account = account;
    return entry;
}

void recordChange(const vls::RecordSet& before, const vls::RecordSet& after, const QString& account)
{
    if (const std::optional<Entry> entry = changeEntry(before, after, account))
        recordQuietly(*entry);
}

} // namespace history
