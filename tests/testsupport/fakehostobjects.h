#pragma once

// The host's display chooser and the link container, as tests need them.

#include "hostobjects.h"
#include "linkcontainer.h"

#include <QHash>
#include <QObject>
#include <QStringList>

#include <functional>

// The host's display chooser, answering with a fixed list; installed by ProgID.
class FakeDisplayChooser final : public QObject, public hostobjects::IDisplayChooser {
    Q_OBJECT
    Q_INTERFACES(hostobjects::IDisplayChooser)
public:
    explicit FakeDisplayChooser(QString answer);
    ~FakeDisplayChooser() override;
    QString SelectDisplays() override;
    static void install(const QString& answer);
    static inline int alive = 0, asked = 0;

private:
    QString m_answer;
};

// Holds at most one link. Pasting takes `clipboard`; the linked value is the
// entry of `values` for the link, else `value` ("!" raises, as a missing source
// document does). `onRead` runs on every read.
class FakeLinkContainer final : public ILinkContainer {
public:
    QString clipboard, linkedTo, value, dataFormat;
    QStringList linksCreated;
    QHash<QString, QString> values;
    std::function<void()> onRead;

    void setLinkedOnly() override {}
    bool canPaste() override { return !clipboard.isEmpty(); }
    void paste() override { linkedTo = clipboard; }
    QString sourceDoc() override { return linkedTo; }
    void clear() override { linkedTo.clear(); }
    void setDataFormat(const QString& format) override { dataFormat = format; }
    void createLink(const QString& source) override { linksCreated << (linkedTo = source); }
    QString dataText() override;
};
