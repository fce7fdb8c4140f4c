#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringList>

// Masks listed words in a text: whole words only, whatever their case, each
// character of a match replaced by "*". A list entry of several words matches
// them with any blanks between.
class BadWordFilter final {
public:
    BadWordFilter() = default;
    explicit BadWordFilter(const QStringList& words);

    // A word list file's text: one word (or phrase) per line; blank lines and
    // lines starting with "#" are skipped, blanks around a word are ignored.
    static QStringList parseWordList(const QString& text);
    // Reads a word list file (Windows-1252); an empty list when it cannot be read.
    static QStringList readWordList(const QString& path, bool* found = nullptr);

    bool isEmpty() const { return m_words.isEmpty(); }
    const QStringList& words() const { return m_words; }

    // The text with every listed word masked; `masked` tells whether any was.
    QString clean(const QString& text, bool* masked = nullptr) const;

private:
    QStringList m_words;
    QRegularExpression m_pattern;
};
