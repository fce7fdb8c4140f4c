#include "displaylistfile.h"

#include "codepage.h"
#include "runtimeerror.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSaveFile>

namespace {

int hexValue(QChar c)
{
    if (c >= u'0' && c <= u'9')
        return c.unicode() - u'0';
    if (c >= u'A' && c <= u'F')
        return c.unicode() - u'A' + 10;
    if (c >= u'a' && c <= u'f')
        return c.unicode() - u'a' + 10;
    return -1;
}

QString hexEscape(QChar c) { return u'%' + QString::number(codepage::asc(c), 16).toUpper().rightJustified(2, u'0'); }

// A display number: a whole number 1 ... 32767, leading zeros allowed on reading.
std::optional<int> displayNumber(const QString& text)
{
    if (text.isEmpty() || text.size() > 9)
        return std::nullopt;
    for (QChar c : text) {
        if (!c.isDigit() || c.unicode() > 127)
            return std::nullopt;
    }
    const int n = text.toInt();
    if (n < 1 || n > 32767)
        return std::nullopt;
    return n;
}

// A connection kind: a whole number that fits 16 bits. Gives the reason when not.
std::optional<int16_t> connectionKind(const QString& text, QString* reason)
{
    static const QRegularExpression wholeNumber(QStringLiteral("^[+-]?[0-9]+$"));
    if (!wholeNumber.match(text).hasMatch()) {
        *reason = QStringLiteral("connection kind \"%1\" is not a number").arg(text);
        return std::nullopt;
    }
    bool ok = false;
    const qlonglong n = text.toLongLong(&ok);
    if (!ok || n < -32768 || n > 32767) {
        *reason = QStringLiteral("connection kind \"%1\" is out of range (-32768 to 32767)").arg(text);
        return std::nullopt;
    }
    return int16_t(n);
}

// Splits at LF, CR LF or CR alone: a file that went through another system's
// editor keeps its lines (and its line numbers).
QStringList splitLines(const QString& text)
{
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c != u'\n' && c != u'\r')
            continue;
        lines.append(text.mid(start, i - start));
        if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            ++i;
        start = i + 1;
    }
    lines.append(text.mid(start));
    return lines;
}

const QString kHeader = QStringLiteral(
    "# Lumarex display list: one display per line, fields separated by \"|\".\n"
    "# number|name|connection kind|link target|serial parameters|TCP port|dial number|addresses\n"
    "# Kinds: 1 serial port, 3 TCP, any other value a modem. \"%7C\" writes \"|\", \"%25\" writes \"%\".\n");

} // namespace

bool DisplayRecord::sameContent(const DisplayRecord& o) const
{
    return number == o.number && name == o.name && kind == o.kind && linkTarget == o.linkTarget
           && kind1Param == o.kind1Param && kind3Param == o.kind3Param && otherKindParam == o.otherKindParam
           && addressList == o.addressList;
}

QString DisplayListError::text() const { return QStringLiteral("line %1: %2").arg(line).arg(message); }

QStringList DisplayListFile::Contents::errorTexts() const
{
    QStringList out;
    for (const auto& e : errors)
        out << e.text();
    return out;
}

QString DisplayListFile::escapeField(const QString& field)
{
    QString out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        const QChar c = field[i];
        // Blanks at either end would be trimmed on reading, so they are escaped.
        const bool edgeBlank = c.isSpace() && (i == 0 || i == field.size() - 1);
        if (c == u'%' || c == kSeparator || c == u'\n' || c == u'\r' || edgeBlank)
            out += hexEscape(c);
        else
            out += c;
    }
    return out;
}

QString DisplayListFile::unescapeField(const QString& field)
{
    QString out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == u'%' && i + 2 < field.size() && hexValue(field[i + 1]) >= 0 && hexValue(field[i + 2]) >= 0) {
            out += codepage::chr(hexValue(field[i + 1]) * 16 + hexValue(field[i + 2]));
            i += 2;
        } else {
            out += field[i]; // a "%" without two hex digits stands for itself
        }
    }
    return out;
}

std::optional<DisplayRecord> DisplayListFile::parseLine(const QString& rawLine, QString* error)
{
    if (error)
        error->clear();
    QString line = rawLine;
    while (line.endsWith(u'\r'))
        line.chop(1);
    const QString trimmed = line.trimmed();
    if (trimmed.isEmpty() || trimmed.startsWith(u'#'))
        return std::nullopt;

    auto fail = [&](const QString& message) -> std::optional<DisplayRecord> {
        if (error)
            *error = message;
        return std::nullopt;
    };

    const QStringList fields = line.split(kSeparator);
    if (fields.size() != kFieldCount)
        return fail(
            QStringLiteral("expected %1 fields separated by \"|\", found %2").arg(kFieldCount).arg(fields.size()));

    auto field = [&](int i) { return unescapeField(fields[i].trimmed()); };
    DisplayRecord r;
    const QString numberText = field(0);
    const auto number = displayNumber(numberText);
    if (!number)
        return fail(QStringLiteral("display number \"%1\" is not a whole number from 1 to 32767").arg(numberText));
    r.number = QString::number(*number);
    r.name = field(1);
    if (r.name.trimmed().isEmpty())
        return fail(QStringLiteral("display %1 has no name").arg(r.number));
    QString kindError;
    const auto kind = connectionKind(field(2), &kindError);
    if (!kind)
        return fail(kindError);
    r.kind = *kind;
    r.linkTarget = field(3);
    r.kind1Param = field(4);
    r.kind3Param = field(5);
    r.otherKindParam = field(6);
    r.addressList = field(7);
    return r;
}

DisplayListFile::Contents DisplayListFile::parse(const QString& text)
{
    Contents contents;
    QHash<QString, int> lineOfNumber;
    const QStringList lines = splitLines(text);
    for (int i = 0; i < lines.size(); ++i) {
        const int lineNumber = i + 1;
        QString error;
        auto record = parseLine(lines[i], &error);
        if (!record) {
            if (!error.isEmpty())
                contents.errors.append({lineNumber, error});
            continue;
        }
        if (auto it = lineOfNumber.constFind(record->number); it != lineOfNumber.constEnd()) {
            contents.errors.append(
                {lineNumber,
                 QStringLiteral("display number %1 is already used on line %2").arg(record->number).arg(*it)});
            continue;
        }
        lineOfNumber.insert(record->number, lineNumber);
        record->line = lineNumber;
        contents.records.append(*record);
    }
    return contents;
}

QString DisplayListFile::formatRecord(const DisplayRecord& r)
{
    const QStringList fields{r.number,     r.name,       QString::number(r.kind), r.linkTarget,
                             r.kind1Param, r.kind3Param, r.otherKindParam,        r.addressList};
    QStringList escaped;
    for (const QString& f : fields)
        escaped << escapeField(f);
    return escaped.join(QChar(kSeparator));
}

QString DisplayListFile::format(const QList<DisplayRecord>& records)
{
    QString text = kHeader;
    for (const DisplayRecord& r : records)
        text += formatRecord(r) + u'\n';
    return text;
}

DisplayListFile::Contents DisplayListFile::read(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        throw RuntimeError(RuntimeError::FileNotFound, QStringLiteral("Display list file not found: %1").arg(path));
    QFile file(path);
    auto cannotRead = [&](const QString& reason) {
        return RuntimeError(RuntimeError::PathFileAccessError,
                            QStringLiteral("Display list file cannot be read: %1 (%2)").arg(path, reason));
    };
    if (info.isDir())
        throw cannotRead(QStringLiteral("it is a folder"));
    if (!file.open(QIODevice::ReadOnly))
        throw cannotRead(file.errorString());
    // One byte more than allowed tells a file over the limit from one at it,
    // also where the size cannot be known beforehand (a pipe, a growing file).
    const QByteArray bytes = file.read(kMaxFileBytes + 1);
    if (file.error() != QFileDevice::NoError)
        throw cannotRead(file.errorString());
    if (bytes.size() > kMaxFileBytes)
        throw cannotRead(QStringLiteral("larger than %1 MiB; a display list is far smaller, so this is not one")
                             .arg(kMaxFileBytes / (1024 * 1024)));
    // A file saved by an editor that marks UTF-8 is read as UTF-8.
    static const QByteArray utf8Mark("\xEF\xBB\xBF");
    if (bytes.startsWith(utf8Mark))
        return parse(QString::fromUtf8(bytes.mid(utf8Mark.size())));
    return parse(codepage::fromAnsi(bytes));
}

bool DisplayListFile::write(const QString& path, const QList<DisplayRecord>& records, QString* error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    QString text = format(records);
#ifdef Q_OS_WIN
    text.replace(u'\n', QStringLiteral("\r\n"));
#endif
    file.write(codepage::toAnsi(text));
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
