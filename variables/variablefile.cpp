#include "variablefile.h"

#include "codepage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

const QByteArray kLineEnd = QByteArrayLiteral("\r\n");

// Gives the text between the first pair of double quotes of each line.
class QuotedLineReader {
public:
    explicit QuotedLineReader(QFile& file) : m_file(file), m_chunk(64 * 1024, Qt::Uninitialized) {}

    bool next(QByteArray& value)
    {
        for (;;) {
            if (!readLine())
                return false;
            if (m_line.trimmed().isEmpty())
                continue;
            const qsizetype open = m_line.indexOf('"');
            const qsizetype close = open < 0 ? -1 : m_line.indexOf('"', open + 1);
            if (close < 0)
                return false;
            value = m_line.mid(open + 1, close - open - 1);
            return true;
        }
    }

private:
    // One line into m_line, in chunks: QIODevice::readLine(maxSize) would set
    // aside the whole maximum for every line.
    bool readLine()
    {
        m_line.resize(0);
        while (!m_file.atEnd()) {
            const qint64 got = m_file.readLine(m_chunk.data(), m_chunk.size());
            if (got <= 0)
                return false; // read error
            m_line.append(m_chunk.constData(), got);
            if (m_line.size() > VariableFile::kMaxLineBytes)
                return false;
            if (m_line.endsWith('\n'))
                return true;
        }
        return !m_line.isEmpty(); // the last line may lack its line end
    }

    QFile& m_file;
    QByteArray m_chunk;
    QByteArray m_line;
};

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

VariableFile::ReadResult VariableFile::read(const QString& path, vls::RecordSet& records)
{
    ReadResult result;
    if (path.isEmpty())
        return result;
    QFile file(nativePath(path));
    if (!file.open(QIODevice::ReadOnly))
        return result;
    result.opened = true;

    QuotedLineReader lines(file);
    QByteArray value;
    if (!lines.next(value))
        return result;
    result.headerRead = true;
    if (value != kHeader.toLatin1())
        return result;
    result.compatible = true;

    codepage::Decoder decode;
    while (result.recordsRead < vls::kRecordCount && lines.next(value)) {
        records[result.recordsRead] = splitRecord(decode(value));
        ++result.recordsRead;
    }
    return result;
}

bool VariableFile::write(const QString& path, const vls::RecordSet& records, QString* error)
{
    const QString target = nativePath(path);
    if (target.isEmpty()) {
        setError(error, QStringLiteral("No file name"));
        return false;
    }
    if (QFileInfo::exists(target)) {
        // Opening for appending writes nothing, but fails for a read-only file
        // just as overwriting it in place would.
        QFile probe(target);
        if (!probe.open(QIODevice::WriteOnly | QIODevice::Append)) {
            setError(error, probe.errorString());
            return false;
        }
    }
    QSaveFile out(target);
    // A writable file in a folder that refuses new files is written in place:
    // the operator can still save, without the crash safety of a rename.
    out.setDirectWriteFallback(true);
    // Unbuffered: a buffered short write (a full disk) goes unnoticed by
    // commit(), which would then put a cut-off file in place of the old one.
    if (!out.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        setError(error, out.errorString());
        return false;
    }
    const QByteArray bytes = encode(records);
    if (out.write(bytes) != bytes.size() || out.size() != bytes.size()) {
        setError(error, QStringLiteral("The file could not be written completely"));
        out.cancelWriting();
        return false;
    }
    if (!out.commit()) {
        setError(error, out.errorString());
        return false;
    }
    return true;
}

QByteArray VariableFile::encode(const vls::RecordSet& records)
{
    QString text;
    text.reserve(64 * (vls::kRecordCount + 1));
    text += u'"' + kHeader + u'"' + QLatin1String(kLineEnd);
    for (const vls::Record& record : records)
        text += u'"' + joinRecord(record) + u'"' + QLatin1String(kLineEnd);
    return codepage::toAnsi(text);
}

QString VariableFile::joinRecord(const vls::Record& record)
{
    QString joined;
    for (int i = 0; i < vls::kFieldCount; ++i) {
        if (i > 0)
            joined += QChar(kFieldSeparator);
        joined += carriable(record[i]);
    }
    joined.replace(u'"', QChar(kQuoteCarrier));
    return joined;
}

vls::Record VariableFile::splitRecord(QString value)
{
    value.replace(QChar(kQuoteCarrier), u'"');
    vls::Record record;
    qsizetype start = 0;
    for (int i = 0; i < vls::kFieldCount; ++i) {
        const qsizetype end = value.indexOf(QChar(kFieldSeparator), start);
        record[i] = value.mid(start, end < 0 ? -1 : end - start);
        if (end < 0)
            break; // the remaining fields stay empty
        start = end + 1;
    }
    return record;
}

QString VariableFile::carriable(QString text)
{
    text.removeIf([](QChar c) {
        const char16_t u = c.unicode();
        return u == kQuoteCarrier || u == kFieldSeparator || u == u'\r' || u == u'\n';
    });
    return text;
}

QString VariableFile::defaultPathIn(const QString& folder)
{
    const bool endsWithSeparator = folder.endsWith(u'\\') || folder.endsWith(u'/');
    if (folder.size() >= 4 || (!folder.isEmpty() && !endsWithSeparator))
        return folder + QDir::separator() + kDefaultFileName;
    return folder + kDefaultFileName;
}

QString VariableFile::nativePath(const QString& path)
{
#ifdef Q_OS_WIN
    return QDir::toNativeSeparators(path);
#else
    QString native = path;
    native.replace(u'\\', u'/');
    return native;
#endif
}
