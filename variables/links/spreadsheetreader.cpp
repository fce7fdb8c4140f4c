#include "spreadsheetreader.h"

#include "codepage.h"
#include "xlsformulas.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QTemporaryFile>

#include <freexl.h>
#include <orcus/orcus_csv.hpp>
#include <orcus/orcus_ods.hpp>
#include <orcus/orcus_xlsx.hpp>
#include <orcus/spreadsheet/factory.hpp>
#include <orcus/spreadsheet/import_interface.hpp>
#include <orcus/spreadsheet/styles.hpp>
#include <orcus/string_pool.hpp>
#include <orcus/zip_archive.hpp>
#include <orcus/zip_archive_stream.hpp>
#include <zlib.h>

#include <QXmlStreamReader>

#include <memory>
#include <optional>
#include <unordered_map>

namespace links {

namespace {

namespace ss = orcus::spreadsheet;

QString fromUtf8(std::string_view s) { return QString::fromUtf8(s.data(), qsizetype(s.size())); }

// The text a CSV field shows: a number when the whole field is one.
QString autoText(const QString& field)
{
    bool ok = false;
    const double value = field.trimmed().toDouble(&ok);
    return ok && !field.trimmed().isEmpty() ? cellText::number(value) : field;
}

class CollectingSheet;

// Cell addresses in A1 form ("$B$2", "A1:C9"), as a workbook names its used
// area and shared formulas; the sheet is always the current one.
class A1Resolver final : public ss::iface::import_reference_resolver {
public:
    ss::src_address_t resolve_address(std::string_view address) override
    {
        ss::src_address_t result{0, 0, 0};
        size_t i = 0;
        int column = 0;
        for (; i < address.size(); ++i) {
            const char c = address[i];
            if (c == '$')
                continue;
            if (!std::isalpha(static_cast<unsigned char>(c)))
                break;
            column = column * 26 + (std::toupper(static_cast<unsigned char>(c)) - 'A' + 1);
        }
        int row = 0;
        for (; i < address.size(); ++i)
            if (std::isdigit(static_cast<unsigned char>(address[i])))
                row = row * 10 + (address[i] - '0');
        result.column = std::max(column - 1, 0);
        result.row = std::max(row - 1, 0);
        return result;
    }
    ss::src_range_t resolve_range(std::string_view range) override
    {
        const size_t colon = range.find(':');
        const ss::src_address_t first = resolve_address(range.substr(0, colon));
        return {first, colon == std::string_view::npos ? first : resolve_address(range.substr(colon + 1))};
    }
};

// Shared strings of a workbook, rich-text segments joined.
class SharedStrings final : public ss::iface::import_shared_strings {
public:
    size_t append(std::string_view s) override
    {
        m_strings.push_back(fromUtf8(s));
        return m_strings.size() - 1;
    }
    size_t add(std::string_view s) override
    {
        const QString text = fromUtf8(s);
        const auto it = m_index.find(text);
        if (it != m_index.end())
            return it->second;
        m_index.emplace(text, m_strings.size());
        m_strings.push_back(text);
        return m_strings.size() - 1;
    }
    void set_segment_font(size_t) override {}
    void set_segment_bold(bool) override {}
    void set_segment_italic(bool) override {}
    void set_segment_font_name(std::string_view) override {}
    void set_segment_font_size(double) override {}
    void set_segment_font_color(ss::color_elem_t, ss::color_elem_t, ss::color_elem_t, ss::color_elem_t) override {}
    void append_segment(std::string_view s) override { m_segments += fromUtf8(s); }
    size_t commit_segments() override
    {
        m_strings.push_back(std::exchange(m_segments, QString()));
        return m_strings.size() - 1;
    }

    QString at(size_t index) const { return index < m_strings.size() ? m_strings[index] : QString(); }

private:
    std::vector<QString> m_strings;
    std::unordered_map<QString, size_t> m_index;
    QString m_segments;
};

// A formula's cached result, the value the document last showed.
class FormulaResult final : public ss::iface::import_formula {
public:
    explicit FormulaResult(CollectingSheet& sheet) : m_sheet(sheet) {}
    void set_position(ss::row_t row, ss::col_t col) override
    {
        m_row = row;
        m_col = col;
        m_number.reset();
        m_text.reset();
    }
    void set_formula(ss::formula_grammar_t, std::string_view) override {}
    void set_shared_formula_index(size_t) override {}
    void set_result_string(std::string_view value) override { m_text = fromUtf8(value); }
    void set_result_value(double value) override { m_number = value; }
    void set_result_bool(bool value) override { m_text = cellText::boolean(value); }
    void set_result_empty() override { m_text = QString(); }
    void commit() override;

private:
    CollectingSheet& m_sheet;
    ss::row_t m_row = 0;
    ss::col_t m_col = 0;
    std::optional<double> m_number;
    std::optional<QString> m_text;
};

// Collects one sheet's cells. Numbers wait for the end of the document, when
// their cell formats are known, to be shown as numbers or as dates.
class CollectingSheet final : public ss::iface::import_sheet {
public:
    CollectingSheet(QString name, const SharedStrings& strings) : sheet(std::move(name)), m_strings(strings) {}

    ss::iface::import_formula* get_formula() override { return &m_formula; }
    void set_auto(ss::row_t row, ss::col_t col, std::string_view s) override
    {
        sheet.setCell(row, col, autoText(fromUtf8(s)));
    }
    void set_string(ss::row_t row, ss::col_t col, ss::string_id_t index) override
    {
        sheet.setCell(row, col, m_strings.at(index));
    }
    void set_value(ss::row_t row, ss::col_t col, double value) override { setNumber(row, col, value); }
    void set_bool(ss::row_t row, ss::col_t col, bool value) override
    {
        sheet.setCell(row, col, cellText::boolean(value));
    }
    void set_date_time(ss::row_t row, ss::col_t col, int year, int month, int day, int hour, int minute,
                       double second) override
    {
        sheet.setCell(row, col, cellText::dateTime(year, month, day, hour, minute, second));
    }
    void set_format(ss::row_t row, ss::col_t col, size_t xf) override { m_formats[key(row, col)] = xf; }
    void set_format(ss::row_t, ss::col_t, ss::row_t, ss::col_t, size_t) override {}
    void fill_down_cells(ss::row_t row, ss::col_t col, ss::row_t count) override
    {
        const QString text = sheet.cell(row, col);
        for (ss::row_t r = 1; r <= count; ++r)
            sheet.setCell(row + r, col, text);
    }
    ss::range_size_t get_sheet_size() const override { return {1048576, 16384}; }

    void setNumber(ss::row_t row, ss::col_t col, double value)
    {
        sheet.setCell(row, col, cellText::number(value));
        m_numbers[key(row, col)] = value;
    }
    void setText(ss::row_t row, ss::col_t col, const QString& text)
    {
        sheet.setCell(row, col, text);
        m_numbers.erase(key(row, col));
    }

    // Numbers whose cell format shows a date get their date text.
    template <typename ShapeOf> void finish(ShapeOf shapeOf)
    {
        for (const auto& [k, xf] : m_formats) {
            const auto number = m_numbers.find(k);
            if (number == m_numbers.end())
                continue;
            const NumberFormatShape shape = shapeOf(xf);
            if (shape.date || shape.time)
                sheet.setCell(int(k >> 32), int(k & 0xffffffff),
                              cellText::serialDate(number->second, shape.date, shape.time));
        }
    }

    Sheet sheet;

private:
    static quint64 key(ss::row_t row, ss::col_t col) { return (quint64(quint32(row)) << 32) | quint32(col); }

    const SharedStrings& m_strings;
    FormulaResult m_formula{*this};
    std::unordered_map<quint64, double> m_numbers;
    std::unordered_map<quint64, size_t> m_formats;
};

void FormulaResult::commit()
{
    // Without a reported result the cell keeps the text the document showed
    // for it, if the filter gave one.
    if (m_number)
        m_sheet.setNumber(m_row, m_col, *m_number);
    else if (m_text)
        m_sheet.setText(m_row, m_col, *m_text);
}

// Builds a Workbook from what an import filter reports.
class CollectingFactory final : public ss::iface::import_factory {
public:
    CollectingFactory() : m_styleImport(m_styles, m_pool) {}

    ss::iface::import_shared_strings* get_shared_strings() override { return &m_strings; }
    ss::iface::import_styles* get_styles() override { return &m_styleImport; }
    ss::iface::import_reference_resolver* get_reference_resolver(ss::formula_ref_context_t) override
    {
        return &m_resolver;
    }
    ss::iface::import_sheet* append_sheet(ss::sheet_t, std::string_view name) override
    {
        m_sheets.push_back(std::make_unique<CollectingSheet>(fromUtf8(name), m_strings));
        return m_sheets.back().get();
    }
    ss::iface::import_sheet* get_sheet(std::string_view name) override
    {
        for (auto& s : m_sheets)
            if (s->sheet.name() == fromUtf8(name))
                return s.get();
        return nullptr;
    }
    ss::iface::import_sheet* get_sheet(ss::sheet_t index) override
    {
        return index >= 0 && size_t(index) < m_sheets.size() ? m_sheets[size_t(index)].get() : nullptr;
    }
    void finalize() override {}

    Workbook take()
    {
        Workbook book;
        for (auto& s : m_sheets) {
            s->finish([this](size_t xf) { return shapeOfCellFormat(xf); });
            book.sheets.push_back(std::move(s->sheet));
        }
        return book;
    }

private:
    NumberFormatShape shapeOfCellFormat(size_t xf) const
    {
        const ss::cell_format_t* format = m_styles.get_cell_format(xf);
        if (!format)
            return {};
        // A cell format names its number format by identifier; custom codes are
        // stored with theirs.
        for (size_t i = 0; i < m_styles.get_number_format_count(); ++i) {
            const ss::number_format_t* nf = m_styles.get_number_format(i);
            if (nf && nf->identifier == format->number_format)
                return numberFormatShape(nf->identifier, nf->format_string);
        }
        return numberFormatShape(format->number_format, {});
    }

    orcus::string_pool m_pool;
    ss::styles m_styles;
    ss::import_styles m_styleImport;
    SharedStrings m_strings;
    A1Resolver m_resolver;
    std::vector<std::unique_ptr<CollectingSheet>> m_sheets;
};

quint32 le(const quint8* p, int bytes)
{
    quint32 value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = (value << 8) | p[i];
    return value;
}

// The import filters trust the package's XML parts: one damaged on disk can
// stop the program. So each part is first checked against the checksum its
// package stores for it, and for being well-formed XML.
void checkPackage(QByteArrayView bytes)
{
    const auto* data = reinterpret_cast<const quint8*>(bytes.data());
    const size_t size = size_t(bytes.size());
    // The end record of the central directory, at most 64 KiB of comment from the end.
    size_t end = size >= 22 ? size - 22 : size;
    while (end < size && end + 22 + 0xffff >= size && le(data + end, 4) != 0x06054b50)
        end = end > 0 ? end - 1 : size;
    if (end >= size)
        throw ReadError("no package directory");
    size_t pos = le(data + end + 16, 4);
    const quint32 count = le(data + end + 10, 2);
    try {
        orcus::zip_archive_stream_blob blob(data, size);
        orcus::zip_archive archive(&blob);
        archive.load();
        std::vector<unsigned char> part;
        for (quint32 i = 0; i < count; ++i) {
            if (pos + 46 > size || le(data + pos, 4) != 0x02014b50)
                throw ReadError("a damaged package directory");
            const quint32 crc = le(data + pos + 16, 4);
            const size_t partSize = le(data + pos + 24, 4);
            const size_t nameLength = le(data + pos + 28, 2);
            const size_t next = pos + 46 + nameLength + le(data + pos + 30, 2) + le(data + pos + 32, 2);
            if (next > size)
                throw ReadError("a damaged package directory");
            const std::string_view name(reinterpret_cast<const char*>(data + pos + 46), nameLength);
            pos = next;
            if (!name.ends_with(".xml") && !name.ends_with(".rels"))
                continue;
            part.clear();
            // The part comes back with a terminating zero byte after it.
            if (!archive.read_file_entry(name, part) || part.size() < partSize
                || crc32(0, part.data(), uInt(partSize)) != crc)
                throw ReadError("a damaged package part");
            QXmlStreamReader xml(
                QByteArray::fromRawData(reinterpret_cast<const char*>(part.data()), qsizetype(partSize)));
            while (!xml.atEnd())
                xml.readNext();
            if (xml.hasError())
                throw ReadError("a package part that is not XML");
        }
    } catch (const ReadError&) {
        throw;
    } catch (const std::exception& e) {
        throw ReadError(e.what());
    }
}

template <typename Filter> Workbook readWith(QByteArrayView bytes)
{
    CollectingFactory factory;
    try {
        Filter filter(&factory);
        filter.read_stream(std::string_view(bytes.data(), size_t(bytes.size())));
    } catch (const std::exception& e) {
        throw ReadError(e.what());
    }
    return factory.take();
}

bool startsWith(QByteArrayView bytes, QByteArrayView prefix) { return bytes.startsWith(prefix); }

const QByteArray kCompoundDocument = QByteArray::fromHex("d0cf11e0a1b11ae1");

// freexl reads files only: the bytes go through a temporary file.
class XlsHandle {
public:
    explicit XlsHandle(const QString& path)
    {
        if (freexl_open(QFile::encodeName(path).constData(), &m_handle) != FREEXL_OK)
            throw ReadError("not a readable 97-2003 workbook");
    }
    ~XlsHandle()
    {
        if (m_handle)
            freexl_close(m_handle);
    }
    XlsHandle(const XlsHandle&) = delete;
    XlsHandle& operator=(const XlsHandle&) = delete;
    const void* get() const { return m_handle; }

private:
    const void* m_handle = nullptr;
};

QString xlsCellText(const FreeXL_CellValue& value)
{
    switch (value.type) {
    case FREEXL_CELL_INT: return cellText::number(value.value.int_value);
    case FREEXL_CELL_DOUBLE: return cellText::number(value.value.double_value);
    case FREEXL_CELL_TEXT:
    case FREEXL_CELL_SST_TEXT:
    case FREEXL_CELL_DATE:
    case FREEXL_CELL_DATETIME:
    case FREEXL_CELL_TIME: return QString::fromUtf8(value.value.text_value);
    default: return {};
    }
}

// freexl skips formula cells: their cached results are read separately. That
// reading also checks the records and the shared strings first: freexl reads
// past the end of a string whose length is damaged.
Workbook readXlsPath(const QString& path, QByteArrayView bytes)
{
    const std::optional<std::vector<XlsFormulaResult>> formulas = readXlsFormulaResults(bytes);
    if (!formulas)
        throw ReadError("a damaged 97-2003 workbook");
    XlsHandle xls(path);
    unsigned int sheetCount = 0;
    if (freexl_get_info(xls.get(), FREEXL_BIFF_SHEET_COUNT, &sheetCount) != FREEXL_OK)
        throw ReadError("a 97-2003 workbook without sheets");
    Workbook book;
    for (unsigned short index = 0; index < sheetCount; ++index) {
        const char* name = nullptr;
        if (freexl_get_worksheet_name(xls.get(), index, &name) != FREEXL_OK
            || freexl_select_active_worksheet(xls.get(), index) != FREEXL_OK)
            throw ReadError("a damaged sheet in a 97-2003 workbook");
        Sheet sheet(QString::fromUtf8(name));
        unsigned int rows = 0;
        unsigned short columns = 0;
        if (freexl_worksheet_dimensions(xls.get(), &rows, &columns) != FREEXL_OK)
            throw ReadError("a damaged sheet in a 97-2003 workbook");
        for (unsigned int row = 0; row < rows; ++row) {
            for (unsigned short column = 0; column < columns; ++column) {
                FreeXL_CellValue value;
                if (freexl_get_cell_value(xls.get(), row, column, &value) == FREEXL_OK)
                    sheet.setCell(int(row), column, xlsCellText(value));
            }
        }
        book.sheets.push_back(std::move(sheet));
    }
    for (const XlsFormulaResult& formula : *formulas)
        for (Sheet& sheet : book.sheets)
            if (sheet.name() == formula.sheet)
                sheet.setCell(formula.row, formula.column, formula.text);
    return book;
}

} // namespace

DocumentKind detectKind(QByteArrayView bytes)
{
    if (startsWith(bytes, kCompoundDocument))
        return DocumentKind::Xls;
    if (startsWith(bytes, "PK\x03\x04")) {
        // An OpenDocument package starts with its uncompressed "mimetype" entry.
        if (bytes.size() > 38 && bytes.sliced(30, 8) == "mimetype"
            && bytes.sliced(38, std::min<qsizetype>(64, bytes.size() - 38)).toByteArray().contains("opendocument"))
            return DocumentKind::Ods;
        return DocumentKind::Xlsx;
    }
    return DocumentKind::Csv;
}

Workbook readXlsx(QByteArrayView bytes)
{
    checkPackage(bytes);
    return readWith<orcus::orcus_xlsx>(bytes);
}

Workbook readOds(QByteArrayView bytes)
{
    checkPackage(bytes);
    return readWith<orcus::orcus_ods>(bytes);
}

Workbook readXls(QByteArrayView bytes)
{
    QTemporaryFile file;
    if (!file.open() || file.write(bytes.data(), bytes.size()) != bytes.size() || !file.flush())
        throw ReadError("no room for a temporary copy of the workbook");
    return readXlsPath(file.fileName(), bytes);
}

QString decodeCsvText(QByteArrayView bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        return codepage::fromAnsi(bytes);
    if (text.startsWith(QChar(0xfeff)))
        text.remove(0, 1);
    return text;
}

Workbook readCsv(QByteArrayView bytes, const QString& sheetName)
{
    // Lines may end in CR LF: the parser splits at LF alone.
    const QByteArray utf8 = decodeCsvText(bytes).replace(QStringLiteral("\r\n"), QStringLiteral("\n")).toUtf8();
    Workbook book = readWith<orcus::orcus_csv>(utf8);
    if (book.sheets.empty())
        book.sheets.emplace_back();
    book.sheets.resize(1);
    book.sheets.front().setName(sheetName);
    return book;
}

Workbook readDocument(QByteArrayView bytes, const QString& csvSheetName)
{
    switch (detectKind(bytes)) {
    case DocumentKind::Xlsx: return readXlsx(bytes);
    case DocumentKind::Ods: return readOds(bytes);
    case DocumentKind::Xls: return readXls(bytes);
    case DocumentKind::Csv: break;
    }
    return readCsv(bytes, csvSheetName);
}

Workbook readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ReadError("cannot open the document");
    const QByteArray bytes = file.readAll();
    // A workbook on disk is read in place, with no temporary copy.
    if (detectKind(bytes) == DocumentKind::Xls)
        return readXlsPath(path, bytes);
    return readDocument(bytes, QFileInfo(path).completeBaseName());
}

} // namespace links
