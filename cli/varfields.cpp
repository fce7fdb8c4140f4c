#include "varfields.h"

#include "clsVariableAccess.h"

#include <QStringList>

namespace varfields {

namespace {
const QStringList kColours{QStringLiteral("red"),  QStringLiteral("green"),   QStringLiteral("yellow"),
                           QStringLiteral("blue"), QStringLiteral("magenta"), QStringLiteral("cyan"),
                           QStringLiteral("white")};

// Digits only, so "+5", " 5" and "5.0" are refused rather than guessed at.
std::optional<int> wholeNumber(const QString& text)
{
    if (text.isEmpty() || text.size() > 6)
        return std::nullopt;
    for (QChar c : text)
        if (!c.isDigit() || c.unicode() > 127)
            return std::nullopt;
    return text.toInt();
}
} // namespace

std::optional<QString> colourCode(const QString& text)
{
    const QString t = text.trimmed().toLower();
    const qsizetype named = kColours.indexOf(t);
    if (named >= 0)
        return QString::number(named + 1);
    if (const auto n = wholeNumber(t); n && *n >= 1 && *n <= 7)
        return QString::number(*n);
    return std::nullopt;
}

QString colourName(const QString& code)
{
    const auto n = wholeNumber(code);
    if (n && *n >= 1 && *n <= 7) {
        QString name = kColours[*n - 1];
        name[0] = name[0].toUpper();
        return name;
    }
    return code;
}

std::optional<QString> yesNoCode(const QString& text)
{
    const QString t = text.trimmed().toLower();
    if (t == u"yes" || t == u"1")
        return QStringLiteral("1");
    if (t == u"no" || t == u"2")
        return QStringLiteral("2");
    return std::nullopt;
}

QString yesNoName(const QString& code) { return code == u"1" ? QStringLiteral("yes") : QStringLiteral("no"); }

int longestLength(int varNum) { return clsVariableAccess::defaultMaxLength(varNum).toInt(); }

std::optional<QString> maxLength(const QString& text, int varNum)
{
    const auto n = wholeNumber(text.trimmed());
    if (!n || *n < 1 || *n > longestLength(varNum))
        return std::nullopt;
    return QString::number(*n);
}

std::optional<int> varNumber(const QString& text)
{
    const auto n = wholeNumber(text.trimmed());
    if (!n || *n < 1 || *n > clsVariableAccess::kVariableCount)
        return std::nullopt;
    return n;
}

bool storable(const QString& text)
{
    for (QChar c : text)
        if (c == u'\r' || c == u'\n' || c.unicode() == 0 || c.unicode() == 1)
            return false;
    return true;
}

std::optional<Fields> checkedFields(int number, const Fields& given, const Spelling& spelling, QString* error)
{
    using F = clsVariableAccess::Field;
    // The order in which a refusal is found when more than one value is bad.
    static constexpr F kOrder[] = {F::Name, F::Data, F::Color, F::Blink, F::Inverse, F::MaxLength, F::OLELink};
    Fields fields;
    for (const F f : kOrder) {
        if (!given[f])
            continue;
        const QString& text = *given[f];
        const QString& named = spelling.names[f];
        std::optional<QString> stored;
        QString refusal;
        switch (f) {
        case F::Color:
            stored = colourCode(text);
            refusal = QStringLiteral("unknown colour \"%1\"").arg(text);
            break;
        case F::Blink:
        case F::Inverse:
            stored = yesNoCode(text);
            refusal = QStringLiteral("%1 takes yes or no").arg(named);
            break;
        case F::MaxLength:
            stored = maxLength(text, number);
            refusal =
                QStringLiteral("%1 of variable %2 takes 1 to %3").arg(named).arg(number).arg(longestLength(number));
            break;
        case F::Name:
        case F::Data:
        case F::OLELink:
            if (storable(text))
                stored = f == F::OLELink ? text.trimmed() : text;
            refusal = QStringLiteral("%1 cannot hold a line break or control character").arg(named);
            break;
        }
        if (!stored) {
            if (error)
                *error = refusal;
            return std::nullopt;
        }
        fields[f] = stored;
    }
    if (std::none_of(fields.begin(), fields.end(), [](const auto& f) { return f.has_value(); })) {
        if (error)
            *error = QStringLiteral("nothing to change: give at least one of the ") + spelling.all;
        return std::nullopt;
    }
    return fields;
}

} // namespace varfields
