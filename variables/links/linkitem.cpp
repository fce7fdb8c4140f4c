#include "linkitem.h"

#include <QRegularExpression>

namespace links {

namespace {

// Column letters to a 0-based index ("A" 0, "Z" 25, "AA" 26).
int columnIndex(QStringView letters)
{
    int index = 0;
    for (QChar c : letters)
        index = index * 26 + (c.toUpper().unicode() - u'A' + 1);
    return index - 1;
}

} // namespace

std::optional<CellLink> parseLinkSource(const QString& source)
{
    // Sheet (quoted with '' for a quote, or bare and shortest), then "!" or ".",
    // then the cell in A1 or row-column form; a range's end is dropped first.
    static const QRegularExpression item(QStringLiteral(
        R"(^(?:\$?(?:'((?:[^']|'')*)'|([^'].*?))[!.])?(?:\$?([A-Za-z]{1,3})\$?([0-9]{1,7})|[Rr]([0-9]{1,7})[Cc]([0-9]{1,5}))$)"));
    const qsizetype bang = source.indexOf(u'!');
    if (bang <= 0)
        return std::nullopt;
    QString document = source.left(bang);
    document.replace(u'\\', u'/');
    const QString ref = source.mid(bang + 1).section(u':', 0, 0).trimmed();
    const QRegularExpressionMatch m = item.match(ref);
    if (!m.hasMatch())
        return std::nullopt;
    CellLink link;
    link.document = document;
    link.sheet = m.hasCaptured(1) ? m.captured(1).replace(QStringLiteral("''"), QStringLiteral("'")) : m.captured(2);
    if (m.hasCaptured(3)) {
        link.column = columnIndex(m.capturedView(3));
        link.row = m.capturedView(4).toInt() - 1;
    } else {
        link.row = m.capturedView(5).toInt() - 1;
        link.column = m.capturedView(6).toInt() - 1;
    }
    if (link.row < 0 || link.column < 0)
        return std::nullopt;
    return link;
}

} // namespace links
