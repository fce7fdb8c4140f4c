#pragma once

// One display's send: open its connection, send the data and/or attributes of a
// selection to every unit of every address of the display, take the reason of a
// failure, close, record the send in the history. No rows, no report, no timers:
// the update run, the command-line tool and the services all send through this.

#include "classregistry.h"
#include "clsVarSetupInfo.h"

#include <QList>
#include <QMap>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class clsVarUpdater;
class clsVariableAccess;
class ILinkContainer;
namespace disptrans {
class IDispTrans;
class IDisplayList;
} // namespace disptrans
namespace pluginmaster {
class IPluginMaster;
}

// What an update sends: the manager's option, the update dialog's send command
// and the run's mode are this one value.
enum class UpdateOption : int16_t { DataAndAttributes = 1, DataOnly = 2, AttributesOnly = 3 };

// One unit (address) of a display: whether it took every step of the send.
struct UnitResult {
    int16_t address = 0;
    bool sent = false;
    QString error; // the transmission control's reason when not sent
};

struct SendResult {
    // The display's result by the update dialog's rule: the open, then the last
    // unit's answer of the last step taken. A cancel seen at a progress event
    // stops the updater (false); one that comes later only skips the steps left.
    bool ok = false;
    // Every unit of every address took every step (what the tool and services report).
    bool allUnitsSent = false;
    bool canceled = false;            // a cancel flag was seen
    QString error;                    // the transmission control's reason when not ok (the first one)
    QString units;                    // the display's address list as in Displays.dat
    QList<UnitResult> unitResults;    // in the order the units were addressed
    QMap<int16_t, QString> sentTexts; // variable number -> data text sent

    // `error`, or else the first failed unit's reason: what a report of
    // allUnitsSent gives as the reason.
    QString failureText() const;
};

struct SendRequest {
    VarSelection selection;
    UpdateOption option = UpdateOption::DataAndAttributes;
};

// One per thread: it creates its own transmission control, display list and
// plug-in master by ProgID on first use and keeps them for later sends.
class DisplaySender final {
public:
    DisplaySender(clsVariableAccess* variables, ILinkContainer* linkSource);
    ~DisplaySender();
    DisplaySender(const DisplaySender&) = delete;
    DisplaySender& operator=(const DisplaySender&) = delete;

    void setVariableSet(clsVariableAccess* variables) { m_variables = variables; }
    void setLinkSource(ILinkContainer* linkSource) { m_linkSource = linkSource; }

    // A caption with the percent of the step, or with kSamePercent when only the
    // caption changes ("Preparing to Open Connection to Display!", "Closing
    // Connection"). Called on the sending thread.
    static constexpr int kSamePercent = -1;
    using Progress = std::function<void(const QString& caption, int percent)>;
    void setProgress(Progress progress) { m_progress = std::move(progress); }
    // Once per progress event, after the cancel flags were read: where a caller
    // on a window's thread lets pending events run.
    void setEventPump(std::function<void()> pump) { m_pump = std::move(pump); }
    // After the open: whether the connection opened.
    void setOpenObserver(std::function<void(bool opened)> observer) { m_opened = std::move(observer); }
    // Read after the open, between the steps, after the steps and at every
    // progress event. Either may be null. The sender never writes them.
    void setCancelFlags(const std::atomic_bool* cancelDisplay, const std::atomic_bool* cancelAll);
    // Whether each send goes into the send history (it does unless turned off).
    void setRecordHistory(bool record) { m_recordHistory = record; }
    // Who asked for the sends, for the history; empty: the system user.
    void setAccount(const QString& account) { m_account = account; }

    // `displayEntry` is the display's number as Displays.dat has it. Run-time
    // errors of the control end in a failed result with their description.
    SendResult send(const QString& displayEntry, const SendRequest& request);

    // The transmission control of the last send (created on first use).
    disptrans::IDispTrans& control();

private:
    struct UnitState {
        int stepsTaken = 0;
        bool failed = false;
        QString error;
    };
    UnitState& unit(int16_t address);
    bool canceled() const;
    bool open(const QString& display, SendResult& result);
    bool sendStep(bool data, const SendRequest& request, SendResult& result);
    int16_t addressSpan();
    void onProgress(const QString& caption, short percent, bool& cancel);
    void report(const QString& caption, int percent);
    void unitDone(SendResult& result, int16_t address, bool sent);
    void record(const QString& display, const SendRequest& request, const SendResult& result);
    disptrans::IDisplayList& displayList();
    pluginmaster::IPluginMaster& pluginMaster();

    clsVariableAccess* m_variables;
    ILinkContainer* m_linkSource;
    Progress m_progress;
    std::function<void()> m_pump;
    std::function<void(bool)> m_opened;
    const std::atomic_bool* m_cancelDisplay = nullptr;
    const std::atomic_bool* m_cancelAll = nullptr;
    bool m_recordHistory = true;
    QString m_account;

    Component<disptrans::IDispTrans> m_control;
    Component<disptrans::IDisplayList> m_displayList;
    Component<pluginmaster::IPluginMaster> m_pluginMaster;
    std::unique_ptr<clsVarUpdater> m_updater;

    // The units of the send under way, in the order they were first addressed.
    QList<int16_t> m_unitOrder;
    QMap<int16_t, UnitState> m_units;
    std::optional<int16_t> m_currentUnit; // while a unit is being sent
    QString m_displayName;                // of the send under way, for the history
};
