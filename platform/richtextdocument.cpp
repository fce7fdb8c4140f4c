#include "richtextdocument.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFragment>

namespace rtf {

QList<Run> runsOf(const QTextDocument& document)
{
    const QFont defaultFont = document.defaultFont();
    CharFormat plain;
    plain.pointSize = defaultFont.pointSizeF() > 0 ? defaultFont.pointSizeF() : 12.0;
    QList<Run> runs;
    auto append = [&runs](const QString& text, const CharFormat& format) {
        if (!runs.isEmpty() && runs.last().format == format)
            runs.last().text += text;
        else
            runs.append({text, format});
    };
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        if (block != document.begin())
            append(QStringLiteral("\n"), runs.isEmpty() ? plain : runs.last().format);
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat f = fragment.charFormat();
            CharFormat format = plain;
            if (f.foreground().style() != Qt::NoBrush)
                format.color = f.foreground().color().rgb() & 0xFFFFFF;
            if (f.fontPointSize() > 0)
                format.pointSize = f.fontPointSize();
            const QStringList families = f.fontFamilies().toStringList();
            format.family = families.isEmpty() ? QString() : families.first();
            format.bold = f.fontWeight() >= QFont::Bold;
            format.italic = f.fontItalic();
            format.underline = f.fontUnderline();
            append(fragment.text(), format);
        }
    }
    return runs;
}

QByteArray write(const QTextDocument& document) { return write(runsOf(document), document.defaultFont().family()); }

void insert(QTextCursor& cursor, const QList<Run>& runs)
{
    for (const Run& run : runs) {
        QTextCharFormat f;
        if (run.format.color)
            f.setForeground(QColor::fromRgb(*run.format.color));
        f.setFontPointSize(run.format.pointSize);
        if (!run.format.family.isEmpty())
            f.setFontFamilies(QStringList{run.format.family});
        f.setFontWeight(run.format.bold ? QFont::Bold : QFont::Normal);
        f.setFontItalic(run.format.italic);
        f.setFontUnderline(run.format.underline);
        const QStringList paragraphs = run.text.split(u'\n');
        for (int i = 0; i < paragraphs.size(); ++i) {
            if (i > 0)
                cursor.insertBlock(cursor.blockFormat(), f);
            if (!paragraphs[i].isEmpty())
                cursor.insertText(paragraphs[i], f);
        }
    }
}

void read(const QByteArray& rtf, QTextDocument& document)
{
    document.clear();
    QTextCursor cursor(&document);
    insert(cursor, read(rtf));
}

bool isRtf(const QByteArray& data) { return data.trimmed().startsWith("{\\rtf"); }
bool isRtf(const QString& text) { return text.trimmed().startsWith(QStringLiteral("{\\rtf")); }

} // namespace rtf
