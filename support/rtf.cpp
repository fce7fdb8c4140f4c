#include "rtf.h"

#include "codepage.h"

#include <QHash>
#include <QSet>

#include <cctype>
#include <cmath>

namespace rtf {

// ---- writing ---------------------------------------------------------------

namespace {

QByteArray number(long long n) { return QByteArray::number(n); }

// A document's fonts and colours, numbered in order of first use.
struct Tables {
    QStringList fonts;
    QList<quint32> colors; // \cf1 is colors[0]; \cf0 is the automatic colour

    int font(const QString& family)
    {
        int i = fonts.indexOf(family);
        if (i < 0) {
            fonts.append(family);
            i = fonts.size() - 1;
        }
        return i;
    }
    int color(const Color& c)
    {
        if (!c)
            return 0;
        const quint32 rgb = *c & 0xFFFFFF;
        const qsizetype i = colors.indexOf(rgb);
        if (i >= 0)
            return int(i + 1);
        colors.append(rgb);
        return int(colors.size());
    }
};

// Text of a run: plain ASCII as it is, the code page's characters as \'hh and
// everything else as \uN with "?" for readers that do not know \u.
void appendText(QByteArray& out, const QString& text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == u'\\' || u == u'{' || u == u'}') {
            out += '\\';
            out += char(u);
        } else if (u == u'\n' || u == QChar::ParagraphSeparator) {
            out += "\\par\r\n";
        } else if (u == u'\r') {
            // "\r\n" ends one paragraph; the "\n" does it.
        } else if (u == u'\t') {
            out += "\\tab ";
        } else if (u == QChar::LineSeparator) {
            out += "\\line ";
        } else if (u >= 0x20 && u < 0x7F) {
            out += char(u);
        } else if (u >= 0x80 && codepage::asc(c) != '?') {
            out += "\\'" + QByteArray::number(codepage::asc(c), 16).rightJustified(2, '0');
        } else if (u < 0x20) {
            // other control characters have no place in rich text
        } else {
            out += "\\u" + number(int16_t(u)) + '?';
        }
    }
}

} // namespace

QByteArray write(const QList<Run>& runs, const QString& defaultFamily)
{
    Tables tables;
    tables.font(defaultFamily.isEmpty() ? QStringLiteral("Arial") : defaultFamily);
    for (const Run& run : runs) {
        if (!run.format.family.isEmpty())
            tables.font(run.format.family);
        tables.color(run.format.color);
    }

    QByteArray body;
    CharFormat current; // what the reader assumes after the header: \f0\fs24, automatic colour
    int currentFont = 0;
    int currentColor = 0;
    for (const Run& run : runs) {
        const CharFormat& f = run.format;
        QByteArray words;
        const int font = f.family.isEmpty() ? 0 : tables.font(f.family);
        if (font != currentFont)
            words += "\\f" + number(font);
        const int color = tables.color(f.color);
        if (color != currentColor)
            words += "\\cf" + number(color);
        const long long halfPoints = std::llround(f.pointSize * 2);
        if (halfPoints != std::llround(current.pointSize * 2))
            words += "\\fs" + number(halfPoints);
        if (f.bold != current.bold)
            words += f.bold ? "\\b" : "\\b0";
        if (f.italic != current.italic)
            words += f.italic ? "\\i" : "\\i0";
        if (f.underline != current.underline)
            words += f.underline ? "\\ul" : "\\ulnone";
        if (!words.isEmpty())
            body += words + ' ';
        appendText(body, run.text);
        current = f;
        currentFont = font;
        currentColor = color;
    }

    QByteArray out = "{\\rtf1\\ansi\\ansicpg1252\\deff0\\deflang1033{\\fonttbl";
    for (int i = 0; i < tables.fonts.size(); ++i) {
        out += "{\\f" + number(i) + "\\fnil\\fcharset0 ";
        appendText(out, tables.fonts[i]);
        out += ";}";
    }
    out += "}\r\n{\\colortbl ;";
    for (const quint32 c : tables.colors)
        out += "\\red" + number(red(c)) + "\\green" + number(green(c)) + "\\blue" + number(blue(c)) + ';';
    out += "}\r\n\\viewkind4\\uc1\\pard\\f0\\fs24 ";
    out += body;
    out += "}\r\n";
    return out;
}

// ---- reading ---------------------------------------------------------------

namespace {

enum class Destination { Text, Skip, FontTable, ColorTable };

struct State {
    CharFormat format;
    int uc = 1; // characters to skip after \uN
    Destination destination = Destination::Text;
};

// Destinations whose contents are not text of the document.
const QSet<QByteArray>& skippedDestinations()
{
    static const QSet<QByteArray> set{"stylesheet",
                                      "info",
                                      "pict",
                                      "object",
                                      "header",
                                      "headerl",
                                      "headerr",
                                      "headerf",
                                      "footer",
                                      "footerl",
                                      "footerr",
                                      "footerf",
                                      "footnote",
                                      "annotation",
                                      "fldinst",
                                      "xmlnstbl",
                                      "listtable",
                                      "listoverridetable",
                                      "revtbl",
                                      "rsidtbl",
                                      "generator",
                                      "themedata",
                                      "colorschememapping",
                                      "latentstyles",
                                      "datastore",
                                      "filetbl",
                                      "pgdsctbl",
                                      "nonshppict",
                                      "shp",
                                      "shpinst",
                                      "objdata",
                                      "template",
                                      "comment",
                                      "title",
                                      "author",
                                      "operator",
                                      "subject",
                                      "keywords",
                                      "doccomm",
                                      "company",
                                      "creatim",
                                      "revtim",
                                      "printim",
                                      "buptim",
                                      "tc",
                                      "xe",
                                      "txe",
                                      "mmathPr",
                                      "pntxta",
                                      "pntxtb",
                                      "fchars",
                                      "lchars",
                                      "bkmkstart",
                                      "bkmkend"};
    return set;
}

const QHash<QByteArray, char16_t>& symbolWords()
{
    static const QHash<QByteArray, char16_t> map{
        {"tab", u'\t'},     {"cell", u'\t'},    {"par", u'\n'},        {"sect", u'\n'},       {"page", u'\n'},
        {"row", u'\n'},     {"line", 0x2028},   {"emdash", 0x2014},    {"endash", 0x2013},    {"bullet", 0x2022},
        {"lquote", 0x2018}, {"rquote", 0x2019}, {"ldblquote", 0x201C}, {"rdblquote", 0x201D}, {"enspace", u' '},
        {"emspace", u' '},  {"qmspace", u' '}};
    return map;
}

class Reader {
public:
    explicit Reader(const QByteArray& data) : m_data(data) {}

    QList<Run> run()
    {
        const int n = m_data.size();
        int i = 0;
        while (i < n) {
            const char c = m_data[i];
            if (c == '{') {
                m_stack.append(m_state);
                m_groupStart = true;
                ++i;
                continue;
            }
            if (c == '}') {
                endGroup();
                ++i;
                continue;
            }
            if (c == '\\') {
                i = controlWord(i + 1);
                m_groupStart = false;
                continue;
            }
            m_groupStart = false;
            ++i;
            // Line ends are not text in RTF, nor are other control bytes (junk).
            if (uchar(c) < 0x20)
                continue;
            text(codepage::chr(uchar(c)));
        }
        flushName();
        return m_runs;
    }

private:
    void endGroup()
    {
        if (m_state.destination == Destination::FontTable)
            flushName();
        if (!m_stack.isEmpty())
            m_state = m_stack.takeLast();
        m_skipChars = 0;
        m_groupStart = false;
    }

    // Parses a control word or symbol that starts after the backslash at i;
    // gives back the position after it.
    int controlWord(int i)
    {
        const int n = m_data.size();
        if (i >= n)
            return i;
        const char c = m_data[i];
        if (!std::isalpha(uchar(c)))
            return controlSymbol(i);
        int j = i;
        while (j < n && std::isalpha(uchar(m_data[j])))
            ++j;
        const QByteArray word = m_data.mid(i, j - i);
        bool hasParam = false;
        int param = 0;
        if (j < n && (m_data[j] == '-' || std::isdigit(uchar(m_data[j])))) {
            int k = j + (m_data[j] == '-' ? 1 : 0);
            int end = k;
            while (end < n && std::isdigit(uchar(m_data[end])))
                ++end;
            if (end > k) {
                hasParam = true;
                param = m_data.mid(j, end - j).toInt();
                j = end;
            }
        }
        if (j < n && m_data[j] == ' ')
            ++j;
        if (word == "bin" && hasParam) {
            return qMin(n, j + qMax(param, 0)); // binary data is skipped whole
        }
        handleWord(word, hasParam, param);
        return j;
    }

    int controlSymbol(int i)
    {
        const char c = m_data[i];
        switch (c) {
        case '\\':
        case '{':
        case '}': text(QChar(uchar(c))); return i + 1;
        case '~': text(QChar(0x00A0)); return i + 1;
        case '_': text(QChar(0x2011)); return i + 1;
        case '*':
            if (m_groupStart)
                m_state.destination = Destination::Skip;
            return i + 1;
        case '\'': {
            // Exactly two hex digits; a cut-off "\'h" carries no character.
            const QByteArray hex = m_data.mid(i + 1, 2);
            bool ok = hex.size() == 2 && std::isxdigit(uchar(hex[0])) && std::isxdigit(uchar(hex[1]));
            const int code = ok ? hex.toInt(&ok, 16) : 0;
            if (ok)
                escapedText(codepage::chr(code));
            return i + 1 + int(hex.size());
        }
        case '\r':
        case '\n': text(QChar(u'\n')); return i + 1;
        default: return i + 1; // "\-", "\:", "\|" and unknown symbols carry no text
        }
    }

    void handleWord(const QByteArray& word, bool hasParam, int param)
    {
        const bool firstInGroup = m_groupStart;
        m_groupStart = false;
        if (m_state.destination == Destination::Skip)
            return;
        if (firstInGroup && skippedDestinations().contains(word)) {
            m_state.destination = Destination::Skip;
            return;
        }
        if (word == "fonttbl") {
            m_state.destination = Destination::FontTable;
            return;
        }
        if (word == "colortbl") {
            m_state.destination = Destination::ColorTable;
            m_red = m_green = m_blue = -1;
            return;
        }
        if (m_state.destination == Destination::FontTable) {
            if (word == "f" && hasParam) {
                flushName();
                m_fontNumber = param;
            }
            return;
        }
        if (m_state.destination == Destination::ColorTable) {
            if (word == "red")
                m_red = param;
            else if (word == "green")
                m_green = param;
            else if (word == "blue")
                m_blue = param;
            return;
        }

        CharFormat& f = m_state.format;
        const bool on = !hasParam || param != 0;
        if (word == "u" && hasParam) {
            escapedText(QChar(char16_t(param < 0 ? param + 65536 : param)));
            m_skipChars = m_state.uc;
        } else if (word == "uc") {
            m_state.uc = qMax(param, 0);
        } else if (word == "plain") {
            f = CharFormat();
            f.family = m_fonts.value(m_defaultFont);
        } else if (word == "b") {
            f.bold = on;
        } else if (word == "i") {
            f.italic = on;
        } else if (word == "ul" || word == "uld" || word == "uldb" || word == "ulw" || word == "uldash") {
            f.underline = on;
        } else if (word == "ulnone") {
            f.underline = false;
        } else if (word == "cf") {
            f.color = m_colors.value(param); // entry 0 is the automatic colour
        } else if (word == "fs" && hasParam && param > 0) {
            f.pointSize = param / 2.0;
        } else if (word == "f" && hasParam) {
            f.family = m_fonts.value(param);
        } else if (word == "deff" && hasParam) {
            m_defaultFont = param;
        } else if (const auto it = symbolWords().constFind(word); it != symbolWords().constEnd()) {
            text(QChar(*it));
        }
    }

    // Control characters carry nothing in rich text however they are escaped;
    // the writer drops them too. A tab is text.
    void escapedText(QChar c)
    {
        if (c.unicode() >= 0x20 || c == u'\t')
            text(c);
        else if (m_skipChars > 0)
            --m_skipChars;
    }

    void text(QChar c)
    {
        if (m_skipChars > 0) {
            --m_skipChars;
            return;
        }
        switch (m_state.destination) {
        case Destination::Skip: return;
        case Destination::FontTable:
            if (c == u';')
                flushName();
            else
                m_name += c;
            return;
        case Destination::ColorTable:
            if (c == u';') {
                m_colors.append(m_red < 0 && m_green < 0 && m_blue < 0
                                    ? Color()
                                    : rgb(qBound(0, m_red, 255), qBound(0, m_green, 255), qBound(0, m_blue, 255)));
                m_red = m_green = m_blue = -1;
            }
            return;
        case Destination::Text: break;
        }
        CharFormat format = m_state.format;
        if (format.family.isEmpty())
            format.family = m_fonts.value(m_defaultFont);
        if (!m_runs.isEmpty() && m_runs.last().format == format)
            m_runs.last().text += c;
        else
            m_runs.append({QString(c), format});
    }

    void flushName()
    {
        const QString name = m_name.trimmed();
        if (!name.isEmpty() && m_fontNumber >= 0)
            m_fonts.insert(m_fontNumber, name);
        m_name.clear();
    }

    const QByteArray& m_data;
    QList<State> m_stack;
    State m_state;
    bool m_groupStart = false;
    int m_skipChars = 0;
    QHash<int, QString> m_fonts;
    int m_fontNumber = -1;
    int m_defaultFont = 0;
    QString m_name;
    QList<Color> m_colors;
    int m_red = -1, m_green = -1, m_blue = -1;
    QList<Run> m_runs;
};

} // namespace

QList<Run> read(const QByteArray& rtf) { return Reader(rtf).run(); }

QList<Run> read(const QString& rtf) { return read(codepage::toAnsi(rtf)); }

} // namespace rtf
