#include "historyview.h"

#include <QHash>
#include <QRegularExpression>

namespace historyview {

namespace {
QString when(const history::Entry& e) { return e.when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); }

QString numbers(const QList<int>& variables)
{
    QStringList out;
    for (int n : variables)
        out << QString::number(n);
    return out.join(u',');
}
} // namespace

std::optional<QDateTime> parseSince(const QString& text, const QDateTime& now)
{
    static const QRegularExpression age(QStringLiteral(R"(^(\d{1,6})([dhm])$)"));
    const QString t = text.trimmed();
    if (const QRegularExpressionMatch m = age.match(t); m.hasMatch()) {
        const qint64 amount = m.captured(1).toLongLong();
        const QChar unit = m.captured(2).front();
        const qint64 seconds = unit == u'd' ? amount * 86400 : unit == u'h' ? amount * 3600 : amount * 60;
        return now.addSecs(-seconds);
    }
    const QDate date = QDate::fromString(t, QStringLiteral("yyyy-MM-dd"));
    if (date.isValid())
        return QDateTime(date, QTime(0, 0));
    QDateTime moment = QDateTime::fromString(t, Qt::ISODate);
    if (!moment.isValid())
        moment = QDateTime::fromString(t, QStringLiteral("yyyy-MM-dd HH:mm"));
    if (!moment.isValid())
        moment = QDateTime::fromString(t, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!moment.isValid())
        return std::nullopt;
    return moment;
}

QString text(const QList<history::Entry>& entries)
{
    QString out;
    for (const history::Entry& e : entries) {
        // A change of the variables (kind "change") names no display.
        const QString display = e.display.isEmpty() ? QString()
                                : e.displayName.isEmpty()
                                    ? QStringLiteral("  display ") + e.display
                                    : QStringLiteral("  display %1 \"%2\"").arg(e.display, e.displayName);
        out += QStringLiteral("%1%2  %3 (%4) of %5  %6")
                   .arg(when(e), display, e.kind, e.mode, numbers(e.variables), e.result);
        if (!e.error.isEmpty())
            out += QStringLiteral(": ") + e.error;
        if (!e.account.isEmpty())
            out += QStringLiteral("  by ") + e.account;
        out += u'\n';
        // A unit that did not take the send, even when the display's result says Updated.
        for (const history::UnitEntry& unit : e.unitResults)
            if (!unit.sent)
                out += QStringLiteral("    unit %1: FAILED %2\n").arg(unit.address).arg(unit.error);
        for (const auto& [variable, sent] : e.sentTexts)
            out += QStringLiteral("    %1: \"%2\"\n").arg(variable).arg(sent);
    }
    return out;
}

QList<QStringList> csvRows(const QList<history::Entry>& entries)
{
    QList<QStringList> rows{{QStringLiteral("when"), QStringLiteral("kind"), QStringLiteral("display"),
                             QStringLiteral("units"), QStringLiteral("mode"), QStringLiteral("result"),
                             QStringLiteral("error"), QStringLiteral("variable"), QStringLiteral("text"),
                             QStringLiteral("display name"), QStringLiteral("account"),
                             QStringLiteral("failed units")}};
    for (const history::Entry& e : entries) {
        const QStringList head{when(e), e.kind, e.display, e.units, e.mode, e.result, e.error};
        QHash<int, QString> sent;
        for (const auto& [variable, text] : e.sentTexts)
            sent.insert(variable, text);
        QStringList failedUnits;
        for (const history::UnitEntry& unit : e.unitResults)
            if (!unit.sent)
                failedUnits << QString::number(unit.address);
        const QStringList tail{e.displayName, e.account, failedUnits.join(u',')};
        if (e.variables.isEmpty())
            rows << head + QStringList{QString(), QString()} + tail;
        for (int n : e.variables)
            rows << head + QStringList{QString::number(n), sent.value(n)} + tail;
    }
    return rows;
}

} // namespace historyview
