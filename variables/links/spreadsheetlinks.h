#pragma once

#include "linkcontainer.h"

#include <QString>

namespace links {

class WorkbookCache;

// A link container over spreadsheet files: it takes links from the clipboard's
// link flavour and reads a linked cell's shown text from the document on disk,
// through a cache shared by all containers. Reading never fails loudly: a
// missing file, sheet or cell reads as empty text.
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

private:
    WorkbookCache& m_cache;
    QString m_source;
};

// The shown text of the cell a link source names; empty when it cannot be read.
QString readLinkedValue(const QString& source, WorkbookCache& cache);

// Makes links::create() give spreadsheet link containers.
void installSpreadsheetLinks();

} // namespace links
