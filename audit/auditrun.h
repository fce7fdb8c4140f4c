#pragma once

#include "classregistry.h"
#include "clsVarSetupInfo.h"
#include "disptrans.h"
#include "rtf.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <functional>

// The variable audit: reads the chosen variables back from every chosen display,
// unit by unit, and writes a coloured report. It only reads; it changes nothing
// on the displays and nothing in the variable set.
namespace audit {

// Report colours as the report's colour words store them: blue-green-red.
constexpr quint32 kRed = 0x0000FF;
constexpr quint32 kGreen = 0x00FF00;
constexpr quint32 kBlue = 0xFF0000;
constexpr quint32 kMagenta = 0xFF00FF;
constexpr int kHeadingPoints = 18;
constexpr int kNormalPoints = 10;

enum class Mode { DataAndAttributes, DataOnly, AttributesOnly };
// "Data Only" is looked at first, then "Attributes Only"; neither means both.
Mode modeOf(bool dataOnly, bool attributesOnly);

// Where report text goes: always appended at the end of the text.
class ReportSink {
public:
    virtual ~ReportSink() = default;
    virtual void append(const QString& text, quint32 colour, bool heading) = 0;
    // The line of the report (as shown, wrapped lines counted) that holds the end of the text.
    virtual int endLine() = 0;
};

// The report as text (with its "\r\n" line ends), as plain lines, and as
// coloured runs for a rich-text file: what a program without a window shows
// and saves.
class TextReport final : public ReportSink {
public:
    void append(const QString& text, quint32 colour, bool heading) override;
    int endLine() override { return int(m_text.count(QStringLiteral("\r\n"))); }
    const QString& text() const { return m_text; }
    QString plain() const { return QString(m_text).remove(u'\r'); }
    const QList<rtf::Run>& runs() const { return m_runs; }
    void clear();

private:
    QString m_text;
    QList<rtf::Run> m_runs;
};

// "Last Var Download: " M "/" D "/" year "00" " " hh ":" mm ":" ss, without the line end.
QString downloadText(const disptrans::DownloadTime& t);
// 1 "Red" ... 7 "White"; any other code "".
QString colourName(int16_t code);
// "Yes" for 1, "No" for anything else.
QString yesNo(int16_t value);
QString columnHeader(Mode mode);
// One variable's report entry, without the line end; n is the number the report shows.
QString entryText(Mode mode, bool text, int16_t n, const disptrans::VarReadReply& reply);
// The number of unit addresses that follow a group's first one; raises Overflow.
int16_t groupExtraCount(const disptrans::DisplayConfiguration& configuration);

// One audit run over the chosen displays. The transmission control and the
// display list are created by ProgID on first use unless given.
class AuditRun final {
public:
    enum class Outcome {
        NothingToDo, // no display chosen: the report stays empty
        Finished,
        Cancelled,
        Failed // a run-time error ended the run where it was; see errorText()
    };

    AuditRun();
    ~AuditRun();
    AuditRun(const AuditRun&) = delete;
    AuditRun& operator=(const AuditRun&) = delete;

    void setVariablesToAudit(const VarSelection& vars) { m_variables = vars; }
    void setMode(Mode mode) { m_mode = mode; }
    // Asked once per run for the chosen display names joined by ",".
    void setDisplaySelection(std::function<QString()> selection) { m_selection = std::move(selection); }
    void setSink(ReportSink* sink) { m_sink = sink; }
    // Called between reads, so a view can process its events (and its cancel button).
    void setPump(std::function<void()> pump) { m_pump = std::move(pump); }
    // Called once the run has displays to audit, before the first line.
    void setStarted(std::function<void()> started) { m_started = std::move(started); }
    void setControl(disptrans::IDispTrans* control) { m_givenControl = control; }
    void setDisplayList(disptrans::IDisplayList* list) { m_givenList = list; }
    // Told whether each display's connection opened, and what every read of a
    // variable gave (succeeded false: the read failed), for callers that judge
    // the answers themselves.
    using OpenObserver = std::function<void(const QString& display, bool opened)>;
    using ReadObserver = std::function<void(const QString& display, int16_t unit, const clsVarSetupInfo& var,
                                            bool succeeded, const disptrans::VarReadReply& reply)>;
    void setOpenObserver(OpenObserver observer) { m_openObserver = std::move(observer); }
    void setReadObserver(ReadObserver observer) { m_readObserver = std::move(observer); }

    // Whether every audited display goes into the send history (it does unless turned off).
    void setRecordHistory(bool record) { m_recordHistory = record; }
    // Who asked for the audit, for the history; empty: the system user.
    void setAccount(const QString& account) { m_account = account; }

    Outcome run();
    void requestCancel() { m_cancelRequested = true; }
    bool cancelRequested() const { return m_cancelRequested; }
    QString errorText() const { return m_errorText; }

private:
    void auditDisplay(const QString& name);
    bool openDisplay(const QString& name);
    void readOneVariable(const clsVarSetupInfo& selector);
    void append(const QString& text, quint32 colour, bool heading = false);
    void pump();
    void recordAudit(const QString& units, const QString& error);
    disptrans::IDispTrans& control();
    disptrans::IDisplayList& displayList();

    VarSelection m_variables;
    Mode m_mode = Mode::DataAndAttributes;
    std::function<QString()> m_selection;
    std::function<void()> m_pump;
    std::function<void()> m_started;
    OpenObserver m_openObserver;
    ReadObserver m_readObserver;
    QString m_display;
    QString m_displayNumber, m_displayName; // found in the display list, for the history
    int16_t m_unit = 0;
    ReportSink* m_sink = nullptr;
    disptrans::IDispTrans* m_givenControl = nullptr;
    disptrans::IDisplayList* m_givenList = nullptr;
    Component<disptrans::IDispTrans> m_control;
    Component<disptrans::IDisplayList> m_list;
    disptrans::VarReadRequest m_textRequest;
    disptrans::VarReadRequest m_cellRequest;
    bool m_readOk = false;
    bool m_cancelRequested = false;
    bool m_recordHistory = true;
    QString m_account;
    QString m_errorText;
};

} // namespace audit
