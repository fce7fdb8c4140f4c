#include "jsonpointer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>
#include <QStringList>
#include <QUrl>

namespace links {

namespace {

JsonPointerResult failure(const QString& error, bool badDocument = false) { return {false, {}, error, badDocument}; }

// "~1" is "/" and "~0" is "~", in that order so "~01" stays "~1"; any other "~" is malformed.
bool unescape(QString& token)
{
    for (qsizetype i = token.indexOf(u'~'); i >= 0; i = token.indexOf(u'~', i + 1)) {
        const QChar next = i + 1 < token.size() ? token[i + 1] : QChar();
        if (next != u'0' && next != u'1')
            return false;
    }
    token.replace(QStringLiteral("~1"), QStringLiteral("/"));
    token.replace(QStringLiteral("~0"), QStringLiteral("~"));
    return true;
}

// An array index: "0" or digits without a leading zero.
qsizetype arrayIndex(const QString& token)
{
    if (token.isEmpty() || token.size() > 9 || (token.size() > 1 && token.front() == u'0'))
        return -1;
    for (QChar c : token)
        if (!c.isDigit() || c.unicode() > u'9')
            return -1;
    return token.toLongLong();
}

// The number in JSON's own shortest form: 21.5, 3, 1e+21.
QString jsonNumberText(const QJsonValue& value)
{
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(wrapped.mid(1, wrapped.size() - 2));
}

} // namespace

JsonPointerResult resolveJsonPointer(const QByteArray& document, const QString& pointer)
{
    QString path = pointer;
    if (path.startsWith(u'#'))
        path = QUrl::fromPercentEncoding(path.mid(1).toUtf8());
    if (!path.isEmpty() && !path.startsWith(u'/'))
        return failure(QStringLiteral("the pointer \"%1\" does not start with /").arg(pointer));

    QJsonParseError parseError;
    // A bare scalar is a whole JSON text too; wrapping lets the parser take it.
    const QByteArray text = document.startsWith("\xEF\xBB\xBF") ? document.mid(3) : document;
    const QJsonDocument parsed = QJsonDocument::fromJson("[" + text + "\n]", &parseError);
    if (parseError.error != QJsonParseError::NoError || parsed.array().size() != 1)
        return failure(QStringLiteral("not a JSON document: %1").arg(parseError.errorString()), true);
    QJsonValue here = parsed.array().first();

    const QStringList tokens = path.isEmpty() ? QStringList() : path.mid(1).split(u'/');
    QString walked;
    for (QString token : tokens) {
        if (!unescape(token))
            return failure(QStringLiteral("the pointer \"%1\" has a ~ not followed by 0 or 1").arg(pointer));
        if (here.isObject()) {
            const QJsonObject object = here.toObject();
            const auto found = object.constFind(token);
            if (found == object.constEnd())
                return failure(QStringLiteral("no member \"%1\" at \"%2\"").arg(token, walked));
            here = *found;
        } else if (here.isArray()) {
            const QJsonArray array = here.toArray();
            const qsizetype index = arrayIndex(token);
            if (index < 0 || index >= array.size())
                return failure(QStringLiteral("no element \"%1\" in the array at \"%2\" of %3")
                                   .arg(token, walked)
                                   .arg(array.size()));
            here = array.at(index);
        } else {
            return failure(QStringLiteral("\"%1\" is not an object or array").arg(walked));
        }
        walked += u'/' + QString(token).replace(u'~', QStringLiteral("~0")).replace(u'/', QStringLiteral("~1"));
    }
    switch (here.type()) {
    case QJsonValue::String: return {true, here.toString(), {}, false};
    case QJsonValue::Double: return {true, jsonNumberText(here), {}, false};
    case QJsonValue::Object: return failure(QStringLiteral("\"%1\" is an object, not a string or number").arg(walked));
    case QJsonValue::Array: return failure(QStringLiteral("\"%1\" is an array, not a string or number").arg(walked));
    default: return failure(QStringLiteral("\"%1\" is %2, not a string or number").arg(walked, jsonNumberText(here)));
    }
}

} // namespace links
