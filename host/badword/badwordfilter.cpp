#include "badwordfilter.h"

#include "codepage.h"

#include <QFile>

#include <algorithm>

BadWordFilter::BadWordFilter(const QStringList& words)
{
    for (const QString& w : words) {
        const QString word = w.simplified();
        if (!word.isEmpty() && !m_words.contains(word, Qt::CaseInsensitive))
            m_words << word;
    }
    if (m_words.isEmpty())
        return;
    // Longer entries first, so that "bad word" wins over "bad" where both match.
    QStringList alternatives = m_words;
    std::stable_sort(alternatives.begin(), alternatives.end(),
                     [](const QString& a, const QString& b) { return a.size() > b.size(); });
    for (QString& a : alternatives) {
        QStringList parts = a.split(u' ');
        for (QString& p : parts)
            p = QRegularExpression::escape(p);
        a = parts.join(QStringLiteral("\\s+"));
    }
    // A word character next to the match means it is part of a longer word.
    m_pattern = QRegularExpression(
        QStringLiteral("(?<![\\w])(?:") + alternatives.join(u'|') + QStringLiteral(")(?![\\w])"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
}

QStringList BadWordFilter::parseWordList(const QString& text)
{
    QStringList words;
    for (const QString& line : text.split(u'\n')) {
        const QString word = line.trimmed();
        if (!word.isEmpty() && !word.startsWith(u'#'))
            words << word;
    }
    return words;
}

QStringList BadWordFilter::readWordList(const QString& path, bool* found)
{
    QFile file(path);
    const bool opened = file.open(QIODevice::ReadOnly);
    if (found)
        *found = opened;
    if (!opened)
        return {};
    return parseWordList(codepage::fromAnsi(file.readAll()));
}

QString BadWordFilter::clean(const QString& text, bool* masked) const
{
    if (masked)
        *masked = false;
    if (m_words.isEmpty() || text.isEmpty())
        return text;
    QString out = text;
    auto it = m_pattern.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        out.replace(m.capturedStart(), m.capturedLength(), QString(m.capturedLength(), u'*'));
        if (masked)
            *masked = true;
    }
    return out;
}
