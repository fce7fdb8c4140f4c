#pragma once

// A link container: takes a live link to a document's cell from the clipboard
// and reads the linked value. A link source is the document path, "!", then the
// item (for example "C:\Data\vars.xls!Variables!R2C2").

#include <QString>

#include <functional>
#include <memory>

namespace links {

// What reading a link gave: its value, or why it could not be read. Every kind
// of source reports this way: a spreadsheet cell, a JSON feed, a message topic.
//   readable:  value is current, error empty
//   stale:     the source fails now ("error" says why); value is its last good one
//   unreadable: the source fails and never gave a value; value empty
// A program that keeps signs current sends only what hasValue(), and logs the
// error when it changes.
struct LinkReading {
    QString value;
    QString error;      // why the source cannot be read now; empty when it can
    bool stale = false; // `value` is the last good one of a source that fails now

    bool readable() const { return error.isEmpty(); }
    bool hasValue() const { return error.isEmpty() || stale; }
    static LinkReading failed(const QString& why) { return {QString(), why, false}; }
};

} // namespace links

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
    // The linked value, or why it cannot be read; containers that can tell
    // the difference override this (dataText() is then reading().value).
    virtual links::LinkReading reading() { return {dataText(), QString(), false}; }
};

namespace links {

// A container that never holds a link: nothing can be pasted and a linked
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
    LinkReading reading() override { return LinkReading::failed(QStringLiteral("links cannot be read here")); }
};

// A fresh link container for a dialog's own `oleVarGrab`: from the installed
// factory (the live-link library's, or a test's), else one that links nothing.
using Factory = std::function<std::unique_ptr<ILinkContainer>()>;
std::unique_ptr<ILinkContainer> create();
void setFactory(Factory factory); // empty restores the default

} // namespace links
