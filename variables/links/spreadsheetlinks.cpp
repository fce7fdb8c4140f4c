#include "spreadsheetlinks.h"

#include "clipboardlink.h"
#include "feedlinks.h"
#include "linkitem.h"
#include "topiclinks.h"
#include "topiclink.h"
#include "workbookcache.h"

#include <QClipboard>
#include <QGuiApplication>

namespace links {

namespace {

// The clipboard exists only in a program with a window system.
const QMimeData* clipboardData()
{
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return nullptr;
    return QGuiApplication::clipboard()->mimeData();
}

} // namespace

SpreadsheetLinkContainer::SpreadsheetLinkContainer(WorkbookCache* cache)
    : m_cache(cache ? *cache : WorkbookCache::shared())
{}

bool SpreadsheetLinkContainer::canPaste() { return hasLinkFlavour(clipboardData()); }

void SpreadsheetLinkContainer::paste() { m_source = linkSourceFromClipboard(clipboardData()); }

QString SpreadsheetLinkContainer::dataText() { return readLinkedValue(m_source, m_cache); }

LinkReading SpreadsheetLinkContainer::reading() { return readLink(m_source, m_cache); }

LinkReading readLink(const QString& source, WorkbookCache& cache)
{
    if (mqtt::isTopicSource(source))
        return readTopicLink(source);
    if (parseJsonLinkSource(source))
        return readJsonLink(source);
    const std::optional<CellLink> link = parseLinkSource(source);
    if (!link)
        return LinkReading::failed(QStringLiteral("not a link to a cell: %1").arg(source));
    QString error;
    const std::shared_ptr<const Workbook> book = cache.workbook(link->document, &error);
    if (!book)
        return LinkReading::failed(error);
    if (book->sheets.empty())
        return LinkReading::failed(QStringLiteral("%1 has no sheets").arg(link->document));
    const Sheet* sheet = link->sheet.isEmpty() ? &book->sheets.front() : book->sheet(link->sheet);
    if (!sheet)
        return LinkReading::failed(QStringLiteral("%1 has no sheet \"%2\"").arg(link->document, link->sheet));
    return {sheet->cell(link->row, link->column), QString(), false};
}

QString readLinkedValue(const QString& source, WorkbookCache& cache)
{
    const LinkReading reading = readLink(source, cache);
    return reading.hasValue() ? reading.value : QString();
}

void installSpreadsheetLinks()
{
    setFactory([] { return std::make_unique<SpreadsheetLinkContainer>(); });
}

} // namespace links
