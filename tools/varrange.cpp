#include "varrange.h"

#include "legacy.h"

#include <QRegularExpression>

#include <algorithm>

namespace varrange {

namespace {
constexpr int kFirstCellVariable = 257;

int16_t numberOf(const QString& text) { return legacy::toInt16(legacy::val(text)); }

void tick(QList<bool>& rows, int from, int to)
{
    for (int row = from; row <= to; ++row)
        rows[row] = true;
}

QList<int> tickedRows(const QList<bool>& rows)
{
    QList<int> out;
    for (int row = 1; row < rows.size(); ++row) {
        if (rows[row])
            out.append(row);
    }
    return out;
}
} // namespace

QList<int> parse(const QString& text, int count, QList<int>* partial)
{
    QList<bool> rows(std::max(count, 0) + 1, false); // index 0 unused: rows are 1-based
    try {
        for (const QString& element : text.split(u',')) {
            const qsizetype dash = element.indexOf(u'-');
            if (dash < 0) {
                const int n = numberOf(element);
                if (n > 0 && n <= count)
                    tick(rows, n, n);
                continue;
            }
            // The text around the first "-"; an empty side means the first or the last row.
            int start = 1;
            if (dash > 0)
                start = std::max<int>(numberOf(element.left(dash)), 1);
            int end = count;
            if (dash < element.size() - 1)
                end = std::min<int>(numberOf(element.mid(dash + 1)), count);
            if (start <= end)
                tick(rows, start, end);
        }
    } catch (...) {
        if (partial)
            *partial = tickedRows(rows);
        throw;
    }
    return tickedRows(rows);
}

bool wellFormed(const QString& text)
{
    static const QRegularExpression element(QStringLiteral(R"(^\s*(\d+\s*(-\s*(\d+\s*)?)?|-\s*(\d+\s*)?)$)"));
    if (text.trimmed().isEmpty())
        return false;
    const QStringList elements = text.split(u',');
    return std::all_of(elements.begin(), elements.end(), [](const QString& e) { return element.match(e).hasMatch(); });
}

QStringList splitLastUsed(const QString& lastUsed)
{
    if (lastUsed.isEmpty())
        return {};
    return lastUsed.split(u';');
}

QString joinLastUsed(const QList<int>& numbers)
{
    QStringList parts;
    parts.reserve(numbers.size());
    for (int n : numbers)
        parts.append(QString::number(n));
    return parts.join(u';');
}

VarSelection selectionOf(const QList<int>& numbers)
{
    VarSelection out;
    out.reserve(numbers.size());
    for (int n : numbers)
        out.append(clsVarSetupInfo{n < kFirstCellVariable, static_cast<int16_t>(n)});
    return out;
}

} // namespace varrange
