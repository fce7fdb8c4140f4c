#pragma once

// Rich text in the small RTF subset that reports and variable texts need:
// paragraphs of text runs with a colour, a point size, a font and bold, italic
// and underline. The writer's files open in the common word processors; the
// reader takes their files back, skipping what it does not know (pictures,
// style sheets, document information, fields' instructions, ...).

#include <QByteArray>
#include <QColor>
#include <QList>
#include <QString>

class QTextCursor;
class QTextDocument;

namespace rtf {

struct CharFormat {
    QColor color;          // invalid: the automatic colour (black)
    double pointSize = 12; // RTF's own default
    QString family;        // "": the document's default font
    bool bold = false;
    bool italic = false;
    bool underline = false;

    friend bool operator==(const CharFormat&, const CharFormat&) = default;
};

// A run of text in one format; "\n" in the text ends a paragraph.
struct Run {
    QString text;
    CharFormat format;

    friend bool operator==(const Run&, const Run&) = default;
};

// A whole RTF document from runs.
QByteArray write(const QList<Run>& runs, const QString& defaultFamily = QStringLiteral("Arial"));
// A whole RTF document from a text document's blocks and fragments.
QByteArray write(const QTextDocument& document);

// The runs of an RTF document; neighbouring runs with the same format are joined.
QList<Run> read(const QByteArray& rtf);
// RTF given as text (each character one byte of the file).
QList<Run> read(const QString& rtf);
// Replaces the document's contents with the runs of an RTF document.
void read(const QByteArray& rtf, QTextDocument& document);

// Inserts runs at a cursor, as text with character formats.
void insert(QTextCursor& cursor, const QList<Run>& runs);
// The runs of a text document (paragraphs joined by "\n").
QList<Run> runsOf(const QTextDocument& document);

// Whether the text starts like an RTF document ("{\rtf").
bool isRtf(const QByteArray& data);
bool isRtf(const QString& text);

} // namespace rtf
