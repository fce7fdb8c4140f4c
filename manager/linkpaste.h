#pragma once

#include "linkcontainer.h"

#include <QString>

class QWidget;

namespace manager {

// The manager's link container while no platform container for live document
// links exists.
using NoLinkContainer = ::NoLinkContainer;

// Takes a link from the clipboard through `container`: the link source, or ""
// when the clipboard holds nothing linkable, when the linked document was never
// saved (a message says so) or when the container fails (an "OLE Error" message).
QString takeLinkFromClipboard(ILinkContainer& container, QWidget* parent = nullptr);

} // namespace manager
