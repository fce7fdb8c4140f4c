#pragma once

#include "linkcontainer.h"

#include <QString>

namespace links {

class WorkbookCache;

// A link container over spreadsheet files: it takes links from the clipboard's
// link flavour and reads a linked cell's shown text from the document on disk,
// through a cache shared by all containers. dataText() never fails loudly: a
// missing file, sheet or cell reads as empty text; reading() says why.
class SpreadsheetLinkContainer final : public ILinkContainer {
public:
    explicit SpreadsheetLinkContainer(WorkbookCache* cache = nullptr);

    void setLinkedOnly() override {}
    bool canPaste() override;
    void paste() override;
    QString sourceDoc() override { return m_source; }
    void clear() override { m_source.clear(); }
    void setDataFormat(const QString&) override {} // always text
    void createLink(const QString& source) override { m_source = source; }
    QString dataText() override;
    LinkReading reading() override;

private:
    WorkbookCache& m_cache;
    QString m_source;
};

// The shown text of the cell (or JSON value) a link source names, or why it
// cannot be read: no such file, not a document, no such sheet, a document too large.
LinkReading readLink(const QString& source, WorkbookCache& cache);
// The same, empty when it cannot be read (a stale feed gives its last value).
QString readLinkedValue(const QString& source, WorkbookCache& cache);

// Makes links::create() give spreadsheet link containers.
void installSpreadsheetLinks();

} // namespace links
