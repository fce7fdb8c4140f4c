#pragma once

#include "linkcontainer.h"

#include <QString>

class QWidget;

namespace manager {

// The manager's link container while no platform container for live document
// links exists: it never holds a link, so nothing can be pasted and a linked
// variable reads as empty text.
class NoLinkContainer final : public ILinkContainer {
public:
    void setLinkedOnly() override {}
    bool canPaste() override { return false; }
    void paste() override {}
    QString sourceDoc() override { return {}; }
    void clear() override {}
    void setDataFormat(const QString&) override {}
    void createLink(const QString&) override {}
    QString dataText() override { return {}; }
};

// Takes a link from the clipboard through `container`: the link source, or ""
// when the clipboard holds nothing linkable, when the linked document was never
// saved (a message says so) or when the container fails (an "OLE Error" message).
QString takeLinkFromClipboard(ILinkContainer& container, QWidget* parent = nullptr);

} // namespace manager
