// The compound document library comes before Qt: its GLib headers use names
// that Qt defines as macros.
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input.h>
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
    static const bool initialised = (gsf_init(), true);
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
    // that runs past it.
    bool next()
    {
        m_pos = m_next;
        if (m_pos + 4 > m_size)
            return false;
        m_type = u16(m_data + m_pos);
        m_length = u16(m_data + m_pos + 2);
        m_next = m_pos + 4 + m_length;
        return m_next <= m_size;
    }
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

} // namespace

std::vector<XlsFormulaResult> readXlsFormulaResults(QByteArrayView bytes)
{
    std::vector<XlsFormulaResult> results;
    const QByteArray stream = workbookStream(bytes);
    RecordWalk walk(stream);

    // The globals: where each sheet starts, and the number formats of the cell
    // formats, so that a formula giving a date shows a date.
    std::vector<std::pair<size_t, QString>> sheets;
    QHash<quint16, QString> formatCodes;
    std::vector<quint16> xfFormats;
    while (walk.next() && walk.type() != kEof) {
        const quint8* b = walk.body();
        if (walk.type() == kBoundSheet && walk.length() >= 8 && b[5] == 0) // a worksheet
            sheets.emplace_back(u32(b), characters(b + 8, walk.length() - 8, b[6], b[7] & 1));
        else if (walk.type() == kFormat && walk.length() >= 5)
            formatCodes.insert(u16(b), characters(b + 5, walk.length() - 5, u16(b + 2), b[4] & 1));
        else if (walk.type() == kXf && walk.length() >= 4)
            xfFormats.push_back(u16(b + 2));
    }

    for (const auto& [offset, name] : sheets) {
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
    }
    return results;
}

} // namespace links
