#include "csv.h"

#include "codepage.h"

#include <QStringDecoder>

namespace csv {

namespace {
// The 1-based line of the first byte that is not UTF-8, or 0.
int firstBadUtf8Line(const QByteArray& bytes)
{
    int line = 1;
    qsizetype start = 0;
    while (start <= bytes.size()) {
        qsizetype end = bytes.indexOf('\n', start);
        if (end < 0)
            end = bytes.size();
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString decoded = decoder.decode(QByteArrayView(bytes).sliced(start, end - start));
        if (decoder.hasError())
            return line;
        ++line;
        start = end + 1;
    }
    return 0;
}

class Reader {
public:
    explicit Reader(const QString& text) : m_text(text) {}

    ReadResult run()
    {
        ReadResult result;
        while (m_at < m_text.size()) {
            if (atLineEnd()) { // a blank line
                skipLineEnd();
                continue;
            }
            Record record;
            record.line = m_line;
            if (!readRecord(record.fields, result))
                return result;
            result.records.append(record);
        }
        return result;
    }

private:
    bool atLineEnd() const
    {
        const QChar c = m_text[m_at];
        return c == u'\n' || (c == u'\r' && m_at + 1 < m_text.size() && m_text[m_at + 1] == u'\n');
    }
    void skipLineEnd()
    {
        m_at += m_text[m_at] == u'\r' ? 2 : 1;
        ++m_line;
    }
    bool fail(ReadResult& result, int field, const QString& message, int line = 0)
    {
        result.error = Error{line ? line : m_line, field, message};
        return false;
    }

    bool readRecord(QStringList& fields, ReadResult& result)
    {
        for (;;) {
            QString field;
            const int number = int(fields.size()) + 1;
            if (m_at < m_text.size() && m_text[m_at] == u'"') {
                const int startLine = m_line;
                ++m_at;
                for (;;) {
                    if (m_at >= m_text.size())
                        return fail(result, number, QStringLiteral("a quoted field does not end"), startLine);
                    const QChar c = m_text[m_at++];
                    if (c == u'"') {
                        if (m_at < m_text.size() && m_text[m_at] == u'"') {
                            field += u'"';
                            ++m_at;
                            continue;
                        }
                        break;
                    }
                    if (c == u'\n')
                        ++m_line;
                    field += c;
                }
                if (m_at < m_text.size() && m_text[m_at] != u',' && !atLineEnd())
                    return fail(result, number, QStringLiteral("text after the closing quote"));
            } else {
                while (m_at < m_text.size() && m_text[m_at] != u',' && !atLineEnd()) {
                    if (m_text[m_at] == u'"')
                        return fail(result, number,
                                    QStringLiteral("a quote inside a field that does not start with one"));
                    field += m_text[m_at++];
                }
            }
            fields.append(field);
            if (m_at >= m_text.size())
                return true;
            if (m_text[m_at] == u',') {
                ++m_at;
                continue;
            }
            skipLineEnd();
            return true;
        }
    }

    const QString& m_text;
    qsizetype m_at = 0;
    int m_line = 1;
};
} // namespace

std::optional<Encoding> encodingNamed(const QString& name)
{
    const QString n = name.trimmed().toLower();
    if (n == u"utf-8" || n == u"utf8")
        return Encoding::Utf8;
    if (n == u"windows-1252" || n == u"cp1252")
        return Encoding::Windows1252;
    return std::nullopt;
}

ReadResult read(const QByteArray& bytes, Encoding encoding)
{
    QString text;
    if (encoding == Encoding::Utf8) {
        QByteArrayView view(bytes);
        if (view.startsWith("\xEF\xBB\xBF"))
            view = view.sliced(3);
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        text = decoder.decode(view);
        if (decoder.hasError()) {
            ReadResult result;
            result.error = Error{firstBadUtf8Line(view.toByteArray()), 0,
                                 QStringLiteral("not UTF-8 text (try --encoding windows-1252)")};
            return result;
        }
    } else {
        text = codepage::fromAnsi(bytes);
    }
    return Reader(text).run();
}

QString formatRecord(const QStringList& fields)
{
    QStringList out;
    out.reserve(fields.size());
    for (const QString& f : fields) {
        // A leading U+FEFF would be taken for a byte order mark at the start of a file.
        const bool quote = f.contains(u',') || f.contains(u'"') || f.contains(u'\n') || f.contains(u'\r')
                           || f.startsWith(QChar(0xfeff));
        out.append(quote ? u'"' + QString(f).replace(QStringLiteral("\""), QStringLiteral("\"\"")) + u'"' : f);
    }
    // A record of one empty field would be a blank line, which readers skip.
    if (fields.size() == 1 && fields.front().isEmpty())
        return QStringLiteral("\"\"");
    return out.join(u',');
}

QByteArray write(const QList<QStringList>& records, Encoding encoding)
{
    QString text;
    for (const QStringList& r : records)
        text += formatRecord(r) + QStringLiteral("\r\n");
    return encoding == Encoding::Utf8 ? text.toUtf8() : codepage::toAnsi(text);
}

} // namespace csv
