#pragma once

#include "clsVarSetupInfo.h"

#include <QObject>

#include <cstdint>

class clsVariableAccess;
class ILinkContainer;
namespace disptrans {
class IDispTrans;
}
namespace pluginmaster {
class IPluginMaster;
}

// Puts the data or the attributes of a selection of variables on one display
// address, through a connection the caller has already opened. Data goes one
// variable per transfer; attributes go in batches that stay under the display's
// 1000-character command limit.
//
// Progress is reported after every variable through PercentCompleteData /
// PercentCompleteAtts. Their handlers must be connected directly: Cancel is the
// updater's own flag, and once a handler sets it every later operation of this
// updater stops at its first progress event.
class clsVarUpdater final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(clsVarUpdater)
public:
    explicit clsVarUpdater(QObject* parent = nullptr);

    // Set by the caller; the updater owns none of them.
    disptrans::IDispTrans* TransControl = nullptr;
    pluginmaster::IPluginMaster* PluginMaster = nullptr;
    ILinkContainer* LinkSource = nullptr;
    clsVariableAccess* Variables = nullptr;
    int16_t TotalVariables = 0; // kept for callers; no operation reads it
    VarSelection SelectedVars;

    bool UpdateVariableDataOnDisplay(int16_t address);
    bool UpdateVariableAttributesOnDisplay(int16_t address);
    // Writes text and cell variables alike, one transfer each.
    bool SetTextVarsByNonMultiWrite(int16_t address);

    // An attribute batch is sent before the next entry when its command text
    // could pass 1000 characters with that entry's 5.
    static bool batchIsFull(int commandTextLength) { return commandTextLength + 5 > 1000; }
    // position / count x 100, rounded half to even.
    static int16_t percentOf(int position, int count);

    // The text a data update sends for the variable now: its displayable data,
    // cleaned by the bad-word checker and mapped to the extended font.
    QString cleanedText(int16_t varNum);

signals:
    void PercentCompleteData(short& Percent, bool& Cancel);
    void PercentCompleteAtts(short& Percent, bool& Cancel);
    // A data send of one variable went through with this (cleaned) text.
    void VariableSent(int16_t varNum, const QString& text);

private:
    void addressDisplay(int16_t address);
    disptrans::IDispTrans& control() const;
    clsVariableAccess& variables() const;

    bool m_cancel = false;
};
