#pragma once

// Helpers shared by the variable manager's tests: reading and writing ".vls"
// files the way the host's tools do, a link container that holds one link, and
// update dialogs that record what the manager asks of them.

#include "clsVarSetupInfo.h"
#include "linkcontainer.h"
#include "updateflow.h"

#include <QFile>
#include <QStringList>

#include <functional>
#include <map>

namespace testing {

// The seven fields of variable n as the file on disk holds them.
inline QStringList vlsRecord(const QString& path, int n)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QList<QByteArray> lines = file.readAll().split('\n');
    if (lines.size() <= n)
        return {};
    QByteArray line = lines[n];
    if (line.endsWith('\r'))
        line.chop(1);
    if (line.size() < 2 || !line.startsWith('"') || !line.endsWith('"'))
        return {};
    return QString::fromLatin1(line.mid(1, line.size() - 2)).split(QChar(1));
}

// A file of the current version with default records except the names given.
inline void writeVls(const QString& path, const std::map<int, QString>& names)
{
    QByteArray out = "\"QMDVariableFileZOL1.1\"\r\n";
    for (int n = 1; n <= 416; ++n) {
        const auto named = names.find(n);
        const QString name = named != names.end() ? named->second
                             : n <= 256         ? QStringLiteral("Text Var %1").arg(n)
                                                : QStringLiteral("Cell Var %1").arg(n - 256);
        const QStringList fields{name, "1", "2", "2", "", "", n <= 256 ? "250" : "58"};
        out += '"' + fields.join(QChar(1)).toLatin1() + "\"\r\n";
    }
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(out);
}

// Holds at most one link; pasting takes `clipboardSource`.
class FakeLinkContainer final : public ILinkContainer {
public:
    QString clipboardSource;   // "" = nothing linkable on the clipboard
    QString value;             // the linked document's current text
    QString source;
    void setLinkedOnly() override {}
    bool canPaste() override { return !clipboardSource.isEmpty(); }
    void paste() override { source = clipboardSource; }
    QString sourceDoc() override { return source; }
    void clear() override { source.clear(); }
    void setDataFormat(const QString&) override {}
    void createLink(const QString& s) override { source = s; }
    QString dataText() override { return source.isEmpty() ? QString() : value; }
};

inline QString numbers(const VarSelection& vars)
{
    QStringList out;
    for (const clsVarSetupInfo& v : vars)
        out << QString::number(v.VarNum) + (v.IsText ? QStringLiteral("t") : QStringLiteral("c"));
    return out.join(u',');
}

// Records every call the update steps make, in order, as "name" or "name:argument".
class RecordingDialogs final : public manager::UpdateDialogs {
public:
    QStringList calls;
    VarSelection chosen{{true, 1}};    // what GetChosenVars gives
    VarSelection last{{true, 1}};      // what GetLastVars gives
    bool delayCancelled = false;
    QString delayDisplays = QStringLiteral("x,y");
    QString delayDelays = QStringLiteral("0,15");
    // Runs when the chooser is asked, before it answers (checks what it was lent).
    std::function<void(clsVariableAccess*)> onChoose;
    // Creates the chooser; the real one when set.
    bool realChooser = false;

    std::unique_ptr<manager::VariableChooser> createChooser(QWidget* parent) override
    {
        calls << QStringLiteral("createChooser");
        if (realChooser)
            return manager::realUpdateDialogs().createChooser(parent);
        return std::make_unique<Chooser>(*this);
    }
    std::unique_ptr<manager::DelayPrompt> createDelayPrompt(std::function<QString()> displaySelection,
                                                            QWidget*) override
    {
        calls << QStringLiteral("createDelayPrompt");
        return std::make_unique<Delay>(*this, std::move(displaySelection));
    }
    std::unique_ptr<manager::UpdateSender> createUpdateSender(QWidget*) override
    {
        calls << QStringLiteral("createUpdateSender");
        return std::make_unique<Sender>(*this);
    }

private:
    struct Chooser final : manager::VariableChooser {
        explicit Chooser(RecordingDialogs& d) : d(d) {}
        void setVariableSet(clsVariableAccess* s) override
        {
            set = s;
            d.calls << QStringLiteral("chooser.setVariableSet");
        }
        VarSelection GetChosenVars() override
        {
            d.calls << QStringLiteral("GetChosenVars");
            if (d.onChoose)
                d.onChoose(set);
            return d.chosen;
        }
        VarSelection GetLastVars() override
        {
            d.calls << QStringLiteral("GetLastVars");
            if (d.onChoose)
                d.onChoose(set);
            return d.last;
        }
        RecordingDialogs& d;
        clsVariableAccess* set = nullptr;
    };
    struct Delay final : manager::DelayPrompt {
        Delay(RecordingDialogs& d, std::function<QString()> selection) : d(d), selection(std::move(selection)) {}
        void exec() override { d.calls << QStringLiteral("delay.exec:") + selection(); }
        bool Cancelled() const override { return d.delayCancelled; }
        QString DisplayList() const override { return d.delayDisplays; }
        QString DelayList() const override { return d.delayDelays; }
        RecordingDialogs& d;
        std::function<QString()> selection;
    };
    struct Sender final : manager::UpdateSender {
        explicit Sender(RecordingDialogs& d) : d(d) {}
        void setVariableSet(clsVariableAccess* s) override
        {
            d.calls << QStringLiteral("setVariableSet") + (s ? QString() : QStringLiteral(":null"));
        }
        void setSelectedVars(const VarSelection& vars) override
        {
            d.calls << QStringLiteral("setSelectedVars:") + numbers(vars);
        }
        void setDisplayList(const QString& displays) override { d.calls << QStringLiteral("setDisplayList:") + displays; }
        void setDelayList(const QString& delays) override { d.calls << QStringLiteral("setDelayList:") + delays; }
        void SendVarData() override { d.calls << QStringLiteral("SendVarData"); }
        void SendVarAttributes() override { d.calls << QStringLiteral("SendVarAttributes"); }
        void SendAllVarInfo() override { d.calls << QStringLiteral("SendAllVarInfo"); }
        RecordingDialogs& d;
    };
};

} // namespace testing
