#include "messagemarkup.h"

#include <QStringList>

namespace emulator {

namespace {
class LineBuilder {
public:
    void add(const QString& text, int16_t color, bool blink, bool inverse)
    {
        // Text may itself hold line breaks (a variable's data, for one).
        qsizetype start = 0;
        for (qsizetype i = 0; i <= text.size(); ++i) {
            const bool end = i == text.size();
            const QChar c = end ? QChar() : text[i];
            if (end || c == u'\r' || c == u'\n') {
                append(text.mid(start, i - start), color, blink, inverse);
                if (!end) {
                    if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
                        ++i;
                    newLine();
                }
                start = i + 1;
            }
        }
    }
    void newLine() { m_lines.append(MessageLine()); }
    QList<MessageLine> take() { return std::move(m_lines); }

private:
    void append(const QString& text, int16_t color, bool blink, bool inverse)
    {
        QString clean;
        clean.reserve(text.size());
        for (QChar c : text)
            if (c.unicode() >= 32)
                clean += c;
        if (clean.isEmpty())
            return;
        MessageLine& line = m_lines.last();
        if (!line.isEmpty() && line.last().color == color && line.last().blink == blink
            && line.last().inverse == inverse) {
            line.last().text += clean;
            return;
        }
        line.append(MessageRun{clean, color, blink, inverse});
    }
    QList<MessageLine> m_lines{MessageLine()};
};

bool threeDigits(const QString& text, qsizetype at, int* value)
{
    if (at + 3 > text.size())
        return false;
    int v = 0;
    for (qsizetype i = at; i < at + 3; ++i) {
        if (!text[i].isDigit() || text[i].unicode() > u'9')
            return false;
        v = v * 10 + (text[i].unicode() - u'0');
    }
    *value = v;
    return true;
}
} // namespace

QList<MessageLine> layoutMessage(const QString& message, const DisplayUnit* unit)
{
    LineBuilder builder;
    int16_t fixedColor = 1;
    QString fixed;
    auto flush = [&] {
        builder.add(fixed, fixedColor, false, false);
        fixed.clear();
    };
    for (qsizetype i = 0; i < message.size(); ++i) {
        const QChar c = message[i];
        if (c == kVariableMark && i + 1 < message.size() && (message[i + 1] == u'A' || message[i + 1] == u'V')) {
            int index = 0;
            if (threeDigits(message, i + 2, &index)) {
                flush();
                const VarKind kind = message[i + 1] == u'A' ? VarKind::Text : VarKind::Cell;
                if (const VariableState* v = unit ? unit->variable(kind, index) : nullptr)
                    builder.add(v->data, v->color, v->blink, v->inverse);
                i += 4;
                continue;
            }
        }
        if (c == kColorMark && i + 1 < message.size() && message[i + 1] >= u'1' && message[i + 1] <= u'7') {
            flush();
            fixedColor = int16_t(message[i + 1].unicode() - u'0');
            ++i;
            continue;
        }
        fixed += c;
    }
    flush();
    QList<MessageLine> lines = builder.take();
    while (lines.size() > 1 && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QString plainText(const QList<MessageLine>& lines)
{
    QStringList out;
    for (const MessageLine& line : lines) {
        QString text;
        for (const MessageRun& run : line)
            text += run.text;
        out.append(text);
    }
    return out.join(QLatin1Char('\n'));
}

} // namespace emulator
