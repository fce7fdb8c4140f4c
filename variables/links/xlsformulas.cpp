// The compound document library comes before Qt: its GLib headers use names
// that Qt defines as macros.
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-utils.h>

#include "xlsformulas.h"

#include "workbook.h"

#include <QHash>

#include <cstring>
#include <map>
#include <memory>

namespace links {

namespace {

// The record types this walk needs.
enum Record : quint16 {
    kEof = 0x000a,
    kFormula = 0x0006,
    kString = 0x0207,
    kBoundSheet = 0x0085,
    kFormat = 0x041e,
    kXf = 0x00e0,
    kSst = 0x00fc,
    kContinue = 0x003c,
    kLabel = 0x0204,
    kDimension = 0x0200,
};

quint16 u16(const quint8* p) { return quint16(p[0] | (p[1] << 8)); }
quint32 u32(const quint8* p) { return quint32(u16(p)) | (quint32(u16(p + 2)) << 16); }

// A string of `count` characters, one byte each (Latin-1) or two (UTF-16).
QString characters(const quint8* p, size_t available, size_t count, bool wide)
{
    count = std::min(count, wide ? available / 2 : available);
    if (!wide)
        return QString::fromLatin1(reinterpret_cast<const char*>(p), qsizetype(count));
    QString text(qsizetype(count), Qt::Uninitialized);
    for (size_t i = 0; i < count; ++i)
        text[qsizetype(i)] = QChar(u16(p + 2 * i));
    return text;
}

// The workbook stream, out of its compound document.
QByteArray workbookStream(QByteArrayView bytes)
{
    // Damaged documents are expected here: the library's complaints about them
    // are not the user's business.
    static const bool initialised = [] {
        gsf_init();
        for (const char* domain : {"libgsf", "libgsf:msole"})
            g_log_set_handler(
                domain, GLogLevelFlags(G_LOG_LEVEL_MASK), [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {},
                nullptr);
        return true;
    }();
    Q_UNUSED(initialised);
    using Input = std::unique_ptr<GsfInput, decltype(&g_object_unref)>;
    Input memory(gsf_input_memory_new(reinterpret_cast<const guint8*>(bytes.data()), bytes.size(), FALSE),
                 g_object_unref);
    GError* error = nullptr;
    Input document(GSF_INPUT(gsf_infile_msole_new(memory.get(), &error)), g_object_unref);
    if (error)
        g_error_free(error);
    if (!document)
        return {};
    for (const char* name : {"Workbook", "Book"}) {
        Input stream(gsf_infile_child_by_name(GSF_INFILE(document.get()), name), g_object_unref);
        if (!stream)
            continue;
        const gsf_off_t size = gsf_input_size(stream.get());
        if (size < 0 || size > bytes.size()) // a damaged directory entry
            return {};
        QByteArray data(qsizetype(size), Qt::Uninitialized);
        if (size > 0 && !gsf_input_read(stream.get(), size_t(size), reinterpret_cast<guint8*>(data.data())))
            return {};
        return data;
    }
    return {};
}

class RecordWalk {
public:
    explicit RecordWalk(const QByteArray& stream)
        : m_data(reinterpret_cast<const quint8*>(stream.constData())), m_size(size_t(stream.size()))
    {}

    // Moves to the next record; false at the end of the stream or on a record
    // that runs past it, which makes the stream damaged.
    bool next()
    {
        m_pos = m_next;
        if (m_pos + 4 > m_size) {
            m_damaged = m_pos != m_size;
            return false;
        }
        m_type = u16(m_data + m_pos);
        m_length = u16(m_data + m_pos + 2);
        m_next = m_pos + 4 + m_length;
        m_damaged = m_next > m_size;
        return !m_damaged;
    }
    bool damaged() const { return m_damaged; }
    void seek(size_t offset) { m_next = offset; }
    quint16 type() const { return m_type; }
    size_t length() const { return m_length; }
    const quint8* body() const { return m_data + m_pos + 4; }

private:
    const quint8* m_data;
    size_t m_size;
    size_t m_pos = 0;
    size_t m_next = 0;
    quint16 m_type = 0;
    size_t m_length = 0;
    bool m_damaged = false;
};

// Error codes as the cell shows them.
QString errorText(quint8 code)
{
    switch (code) {
    case 0x00: return QStringLiteral("#NULL!");
    case 0x07: return QStringLiteral("#DIV/0!");
    case 0x0f: return QStringLiteral("#VALUE!");
    case 0x17: return QStringLiteral("#REF!");
    case 0x1d: return QStringLiteral("#NAME?");
    case 0x24: return QStringLiteral("#NUM!");
    default: return QStringLiteral("#N/A");
    }
}

// The shared string table, split over its record and the continuation records
// after it. A string's characters may go on in the next part, which then
// starts with a byte telling their width.
class SharedStringCheck {
public:
    void addPart(const quint8* data, size_t size) { m_parts.push_back({data, size}); }
    bool empty() const { return m_parts.empty(); }

    // Whether every string the table announces lies within it.
    bool whole()
    {
        quint32 count = 0;
        if (!skip(4) || !readU32(count))
            return false;
        for (quint32 i = 0; i < count; ++i) {
            quint16 length = 0;
            quint8 flags = 0;
            quint16 runs = 0;
            quint32 extra = 0;
            if (!readU16(length) || !readByte(flags))
                return false;
            if ((flags & 0x08) && !readU16(runs))
                return false;
            if ((flags & 0x04) && !readU32(extra))
                return false;
            if (!skipCharacters(length, flags & 0x01) || !skip(size_t(runs) * 4 + extra))
                return false;
        }
        return true;
    }

private:
    struct Part {
        const quint8* data;
        size_t size;
    };
    size_t left() const { return m_part < m_parts.size() ? m_parts[m_part].size - m_offset : 0; }
    bool nextPart()
    {
        if (m_part + 1 >= m_parts.size())
            return false;
        ++m_part;
        m_offset = 0;
        return true;
    }
    bool readByte(quint8& value)
    {
        while (left() == 0)
            if (!nextPart())
                return false;
        value = m_parts[m_part].data[m_offset++];
        return true;
    }
    bool readU16(quint16& value)
    {
        quint8 low = 0, high = 0;
        if (!readByte(low) || !readByte(high))
            return false;
        value = quint16(low | (high << 8));
        return true;
    }
    bool readU32(quint32& value)
    {
        quint16 low = 0, high = 0;
        if (!readU16(low) || !readU16(high))
            return false;
        value = quint32(low) | (quint32(high) << 16);
        return true;
    }
    bool skip(size_t count)
    {
        while (count > 0) {
            if (left() == 0 && !nextPart())
                return false;
            const size_t step = std::min(count, left());
            m_offset += step;
            count -= step;
        }
        return true;
    }
    bool skipCharacters(size_t count, bool wide)
    {
        while (count > 0) {
            if (left() == 0) {
                quint8 flags = 0;
                if (!nextPart() || !readByte(flags))
                    return false;
                wide = flags & 0x01;
            }
            const size_t width = wide ? 2 : 1;
            const size_t step = std::min(count, left() / width);
            if (step == 0)
                return false; // half a character before the part ends
            m_offset += step * width;
            count -= step;
        }
        return true;
    }

    std::vector<Part> m_parts;
    size_t m_part = 0;
    size_t m_offset = 0;
};

} // namespace

QByteArray rebuiltXlsDocument(QByteArrayView bytes)
{
    const QByteArray stream = workbookStream(bytes);
    if (stream.isEmpty())
        return {};
    using Output = std::unique_ptr<GsfOutput, decltype(&g_object_unref)>;
    Output memory(gsf_output_memory_new(), g_object_unref);
    {
        Output document(GSF_OUTPUT(gsf_outfile_msole_new(memory.get())), g_object_unref);
        Output child(gsf_outfile_new_child(GSF_OUTFILE(document.get()), "Workbook", FALSE), g_object_unref);
        const bool written = gsf_output_write(child.get(), size_t(stream.size()),
                                              reinterpret_cast<const guint8*>(stream.constData()));
        gsf_output_close(child.get());
        gsf_output_close(document.get());
        if (!written)
            return {};
    }
    const auto* out = gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(memory.get()));
    return QByteArray(reinterpret_cast<const char*>(out), qsizetype(gsf_output_size(memory.get())));
}

// What the cell reader trusts without checking: the text of a FORMAT or LABEL
// record is copied by the character count it states, whatever the record's
// length; a sheet's cell table is sized by its one DIMENSION record (a second
// one that fails to allocate leaves the sizes and the table out of step).
bool cellReaderCanTake(const QByteArray& stream)
{
    RecordWalk walk(stream);
    bool biff8 = false;
    int dimensions = 0;
    for (bool first = true; walk.next(); first = false) {
        const quint8* b = walk.body();
        if (first)
            biff8 = walk.length() >= 2 && u16(b) == 0x0600;
        if (walk.type() == 0x0809) // each sheet's substream starts with its own BOF
            dimensions = 0;
        if (walk.type() == kDimension) {
            if (++dimensions > 1 || walk.length() < (biff8 ? 14u : 10u))
                return false;
            const quint32 rows = biff8 ? u32(b + 4) : u16(b + 2);
            const quint16 columns = u16(b + (biff8 ? 10 : 6));
            if (rows > 65536 || columns > 256)
                return false;
        }
        const size_t header = walk.type() == kLabel ? 8 : walk.type() == kFormat && biff8 ? 4 : 0;
        if (header == 0)
            continue;
        if (walk.length() < header)
            return false;
        const size_t count = u16(b + header - 2);
        size_t needed = header + count;
        if (biff8) { // a flags byte, optional run and extension counts, one or two bytes a character
            if (walk.length() < header + 1)
                return false;
            const quint8 flags = b[header];
            needed = header + 1 + (flags & 8 ? 2 : 0) + (flags & 4 ? 4 : 0) + count * (flags & 1 ? 2 : 1);
        }
        if (needed > walk.length())
            return false;
    }
    return true;
}

std::optional<std::vector<XlsFormulaResult>> readXlsFormulaResults(QByteArrayView bytes)
{
    constexpr quint16 kBof = 0x0809;
    std::vector<XlsFormulaResult> results;
    const QByteArray stream = workbookStream(bytes);
    RecordWalk walk(stream);
    if (stream.size() < 4 || u16(reinterpret_cast<const quint8*>(stream.constData())) != kBof
        || !cellReaderCanTake(stream))
        return std::nullopt;

    // The globals: where each sheet starts, and the number formats of the cell
    // formats, so that a formula giving a date shows a date.
    std::vector<std::pair<size_t, QString>> sheets;
    QHash<quint16, QString> formatCodes;
    std::vector<quint16> xfFormats;
    SharedStringCheck strings;
    quint16 previous = 0;
    while (walk.next() && walk.type() != kEof) {
        const quint8* b = walk.body();
        if (walk.type() == kSst || (walk.type() == kContinue && previous == kSst))
            strings.addPart(b, walk.length());
        if (walk.type() != kContinue)
            previous = walk.type();
        if (walk.type() == kBoundSheet && walk.length() >= 8 && b[5] == 0) // a worksheet
            sheets.emplace_back(u32(b), characters(b + 8, walk.length() - 8, b[6], b[7] & 1));
        else if (walk.type() == kFormat && walk.length() >= 5)
            formatCodes.insert(u16(b), characters(b + 5, walk.length() - 5, u16(b + 2), b[4] & 1));
        else if (walk.type() == kXf && walk.length() >= 4)
            xfFormats.push_back(u16(b + 2));
    }
    if (walk.damaged() || (!strings.empty() && !strings.whole()))
        return std::nullopt;

    for (const auto& [offset, name] : sheets) {
        if (offset + 4 > size_t(stream.size())
            || u16(reinterpret_cast<const quint8*>(stream.constData()) + offset) != kBof)
            return std::nullopt;
        walk.seek(offset);
        XlsFormulaResult* awaitingString = nullptr;
        while (walk.next() && walk.type() != kEof) {
            const quint8* b = walk.body();
            if (walk.type() == kString && awaitingString && walk.length() >= 3) {
                awaitingString->text = characters(b + 3, walk.length() - 3, u16(b), b[2] & 1);
                awaitingString = nullptr;
                continue;
            }
            awaitingString = nullptr;
            if (walk.type() != kFormula || walk.length() < 14)
                continue;
            XlsFormulaResult result{name, u16(b), u16(b + 2), {}};
            const quint8* value = b + 6;
            if (u16(value + 6) == 0xffff) {
                switch (value[0]) {
                case 1: result.text = cellText::boolean(value[2] != 0); break;
                case 2: result.text = errorText(value[2]); break;
                default: break; // 0: the text follows in a string record; 3: empty
                }
            } else {
                double number = 0;
                std::memcpy(&number, value, sizeof number);
                const quint16 xf = u16(b + 4);
                const quint16 format = xf < xfFormats.size() ? xfFormats[xf] : 0;
                const NumberFormatShape shape = numberFormatShape(format, formatCodes.value(format).toStdString());
                result.text = shape.date || shape.time ? cellText::serialDate(number, shape.date, shape.time)
                                                       : cellText::number(number);
            }
            results.push_back(result);
            if (value[0] == 0 && u16(value + 6) == 0xffff)
                awaitingString = &results.back();
        }
        if (walk.damaged())
            return std::nullopt;
    }
    return results;
}

} // namespace links
