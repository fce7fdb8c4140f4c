#pragma once

// A link container: takes a live link to a document's cell from the clipboard
// and reads the linked value. A link source is the document path, "!", then the
// item (for example "C:\Data\vars.xls!Variables!R2C2").

#include <QString>

class ILinkContainer {
public:
    virtual ~ILinkContainer() = default;
    virtual void setLinkedOnly() = 0; // allow linked objects only
    virtual bool canPaste() = 0;      // the clipboard holds something linkable
    virtual void paste() = 0;         // create the link from the clipboard
    virtual QString sourceDoc() = 0;  // the current link source, "" when none
    virtual void clear() = 0;
    virtual void setDataFormat(const QString& format) = 0; // "CF_TEXT" before reading
    virtual void createLink(const QString& source) = 0;
    virtual QString dataText() = 0; // the linked value as text
};
