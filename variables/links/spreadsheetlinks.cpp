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

QString readLinkedValue(const QString& source, WorkbookCache& cache)
{
    if (mqtt::isTopicSource(source))
        return readTopicLink(source).value;
    if (parseJsonLinkSource(source))
        return readJsonLink(source).value;
    const std::optional<CellLink> link = parseLinkSource(source);
    if (!link)
        return {};
    const std::shared_ptr<const Workbook> book = cache.workbook(link->document);
    if (!book || book->sheets.empty())
        return {};
    const Sheet* sheet = link->sheet.isEmpty() ? &book->sheets.front() : book->sheet(link->sheet);
    return sheet ? sheet->cell(link->row, link->column) : QString();
}

void installSpreadsheetLinks()
{
    setFactory([] { return std::make_unique<SpreadsheetLinkContainer>(); });
}

} // namespace links
