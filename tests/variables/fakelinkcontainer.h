#pragma once

#include "linkcontainer.h"
#include "runtimeerror.h"

#include <QStringList>

// A link container in memory: records what it was asked to do and answers with
// the value of whatever source it is linked to.
class FakeLinkContainer final : public ILinkContainer {
public:
    QString linkedTo;       // the current link source
    QString value;          // the linked value
    QString dataFormat;
    QStringList linksCreated;
    bool failReading = false;  // dataText raises, as a missing source document would

    void setLinkedOnly() override {}
    bool canPaste() override { return false; }
    void paste() override {}
    QString sourceDoc() override { return linkedTo; }
    void clear() override { linkedTo.clear(); }
    void setDataFormat(const QString& format) override { dataFormat = format; }
    void createLink(const QString& source) override
    {
        linksCreated << source;
        linkedTo = source;
    }
    QString dataText() override
    {
        if (failReading)
            throw RuntimeError(RuntimeError::AutomationError);
        return value;
    }
};
