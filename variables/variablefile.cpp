#include "variablefile.h"

#include "installlayout.h"

#include "codepage.h"

#include "clock.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace {

const QByteArray kLineEnd = QByteArrayLiteral("\r\n");

// Gives the text between the first pair of double quotes of each line. A line
// ends at CR LF, LF or CR alone: files that went through other systems' editors
// keep their records.
class QuotedLineReader {
public:
    explicit QuotedLineReader(QIODevice& device) : m_device(device) {}

    // Why next() gave false: the end of the file, or a line that cannot be read.
    enum class Stop { EndOfFile, NoQuotes, TooLong, ReadError };

    bool next(QByteArray& value)
    {
        for (;;) {
            if (!readLine())
                return false;
            if (m_line.trimmed().isEmpty())
                continue; // also the empty "line" between the CR and the LF of a pair
            const qsizetype open = m_line.indexOf('"');
            const qsizetype close = open < 0 ? -1 : m_line.indexOf('"', open + 1);
            if (close < 0) {
                m_stop = Stop::NoQuotes;
                return false;
            }
            value = m_line.mid(open + 1, close - open - 1);
            return true;
        }
    }

    Stop stop() const { return m_stop; }
    int lineNumber() const { return m_lineNumber; } // of the line read last, from 1

private:
    bool readLine()
    {
        m_line.resize(0);
        bool any = false;
        bool counted = false;
        for (;;) {
            if (m_pos >= m_chunk.size()) {
                m_chunk = m_device.read(64 * 1024);
                m_pos = 0;
                if (m_chunk.isEmpty()) {
                    if (m_device.isOpen() && !m_device.atEnd())
                        m_stop = Stop::ReadError;
                    return any; // the last line may lack its line end; a read error ends the file
                }
            }
            any = true;
            const char* begin = m_chunk.constData() + m_pos;
            const char* end = m_chunk.constData() + m_chunk.size();
            // The LF of a CR LF pair ends no line of its own.
            if (!counted) {
                counted = true;
                if (!(m_afterCr && *begin == '\n'))
                    ++m_lineNumber;
            }
            const char* stop = std::find_if(begin, end, [](char c) { return c == '\r' || c == '\n'; });
            m_line.append(begin, stop - begin);
            if (m_line.size() > VariableFile::kMaxLineBytes) {
                m_stop = Stop::TooLong;
                return false;
            }
            m_pos = stop - m_chunk.constData() + (stop != end ? 1 : 0);
            if (stop != end) {
                m_afterCr = *stop == '\r';
                return true;
            }
        }
    }

    QIODevice& m_device;
    QByteArray m_chunk;
    qsizetype m_pos = 0;
    QByteArray m_line;
    Stop m_stop = Stop::EndOfFile;
    int m_lineNumber = 0;
    bool m_afterCr = false;
};

// Why a read stopped before the file was complete, for people.
QString problemText(const QuotedLineReader& lines, int recordsRead, bool headerRead)
{
    const int line = lines.lineNumber();
    switch (lines.stop()) {
    case QuotedLineReader::Stop::NoQuotes: return QStringLiteral("line %1 has no pair of double quotes").arg(line);
    case QuotedLineReader::Stop::TooLong:
        return QStringLiteral("line %1 is longer than %2 MiB").arg(line).arg(VariableFile::kMaxLineBytes >> 20);
    case QuotedLineReader::Stop::ReadError: return QStringLiteral("reading stopped with an error at line %1").arg(line);
    case QuotedLineReader::Stop::EndOfFile: break;
    }
    if (!headerRead)
        return QStringLiteral("the file is empty");
    return QStringLiteral("it ends after %1 of %2 records").arg(recordsRead).arg(vls::kRecordCount);
}

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

VariableFile::ReadResult VariableFile::read(const QString& path, vls::RecordSet& records)
{
    if (path.isEmpty())
        return {};
    QFile file(nativePath(path));
    if (!file.open(QIODevice::ReadOnly)) {
        ReadResult result;
        result.problem = file.errorString();
        return result;
    }
    return read(file, records);
}

VariableFile::ReadResult VariableFile::read(QIODevice& device, vls::RecordSet& records)
{
    ReadResult result;
    result.opened = true;
    QuotedLineReader lines(device);
    QByteArray value;
    if (!lines.next(value)) {
        result.problem = problemText(lines, 0, false);
        return result;
    }
    result.headerRead = true;
    if (value != kHeader.toLatin1()) {
        result.problem = QStringLiteral("its first line is not \"%1\"").arg(kHeader);
        return result;
    }
    result.compatible = true;

    codepage::Decoder decode;
    while (result.recordsRead < vls::kRecordCount && lines.next(value)) {
        records[result.recordsRead] = splitRecord(decode(value));
        ++result.recordsRead;
    }
    if (!result.complete())
        result.problem = problemText(lines, result.recordsRead, true);
    return result;
}

VariableFile::ReadResult VariableFile::readBytes(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    vls::RecordSet scratch;
    return read(buffer, scratch);
}

bool VariableFile::readsCompletely(const QByteArray& bytes) { return readBytes(bytes).complete(); }

QString VariableFile::backupPath(const QString& path) { return nativePath(path) + QStringLiteral(".bak"); }

QString VariableFile::unreadableCopyPath(const QString& path, const QDateTime& when)
{
    return nativePath(path) + QStringLiteral(".unreadable-") + when.toString(QStringLiteral("yyyyMMdd-hhmmss"));
}

bool VariableFile::writeWhole(const QString& target, const QByteArray& bytes, QString* error)
{
    // In the operators' shared folder a file one operator writes stays
    // writable by the others.
    install::shareNewFilesIn(QFileInfo(target).absolutePath());
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

bool VariableFile::keepReplaced(const QString& target, const QByteArray& old, QString* error)
{
    if (const ReadResult read = readBytes(old); !read.complete()) {
        // What the set could not read may still be worth something to its
        // owner: it is kept under a name of its own, never rotated away.
        const QString base = unreadableCopyPath(target, Clock::now());
        QString copy = base;
        for (int i = 2; QFileInfo::exists(copy); ++i)
            copy = base + u'-' + QString::number(i);
        if (!writeWhole(copy, old, error))
            return false;
        qWarning("The variable file %s could not be read completely (%s); its content is kept as %s",
                 qUtf8Printable(target), qUtf8Printable(read.problem), qUtf8Printable(copy));
    }
    // The previous generation of a readable file is kept where the folder takes
    // new files; where it refuses them, saving in place still goes ahead.
    if (!writeWhole(backupPath(target), old, nullptr))
        qWarning("The previous content of %s could not be kept beside it", qUtf8Printable(target));
    return true;
}

bool VariableFile::write(const QString& path, const vls::RecordSet& records, QString* error)
{
    const QString target = nativePath(path);
    if (target.isEmpty()) {
        setError(error, QStringLiteral("No file name"));
        return false;
    }
    const QByteArray bytes = encode(records);
    if (QFileInfo::exists(target)) {
        // Opening for appending writes nothing, but fails for a read-only file
        // just as overwriting it in place would.
        QFile probe(target);
        if (!probe.open(QIODevice::WriteOnly | QIODevice::Append)) {
            setError(error, probe.errorString());
            return false;
        }
        probe.close();
        // The content about to be replaced is kept first; a file that cannot
        // be kept is not replaced.
        QFile current(target);
        if (!current.open(QIODevice::ReadOnly)) {
            setError(error, current.errorString());
            return false;
        }
        const QByteArray old = current.readAll();
        if (current.error() != QFileDevice::NoError) {
            setError(error, current.errorString());
            return false;
        }
        current.close();
        if (old == bytes)
            return true; // nothing would change
        if (!keepReplaced(target, old, error))
            return false;
    }
    return writeWhole(target, bytes, error);
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
