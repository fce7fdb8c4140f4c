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

// A container that never holds a link: nothing can be pasted and a linked
// variable reads as empty text. Used where no container for live document links
// is available.
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
