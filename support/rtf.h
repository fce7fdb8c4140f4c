#pragma once

// Rich text in the small RTF subset that reports and variable texts need:
// paragraphs of text runs with a colour, a point size, a font and bold, italic
// and underline. The writer's files open in the common word processors; the
// reader takes their files back, skipping what it does not know (pictures,
// style sheets, document information, fields' instructions, ...).

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace rtf {

// A colour as 0xRRGGBB; empty: the automatic colour (black).
using Color = std::optional<quint32>;
constexpr quint32 rgb(int red, int green, int blue) { return quint32(red) << 16 | quint32(green) << 8 | quint32(blue); }
constexpr int red(quint32 rgb) { return int(rgb >> 16 & 0xFF); }
constexpr int green(quint32 rgb) { return int(rgb >> 8 & 0xFF); }
constexpr int blue(quint32 rgb) { return int(rgb & 0xFF); }

struct CharFormat {
    Color color;
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

// The runs of an RTF document; neighbouring runs with the same format are joined.
QList<Run> read(const QByteArray& rtf);
// RTF given as text (each character one byte of the file).
QList<Run> read(const QString& rtf);

// Whether the text starts like an RTF document ("{\rtf").
bool isRtf(const QByteArray& data);
bool isRtf(const QString& text);

} // namespace rtf
