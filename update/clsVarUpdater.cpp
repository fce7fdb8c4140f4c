#include "clsVarUpdater.h"

#include "clsVariableAccess.h"
#include "disptrans.h"
#include "extendedchars.h"
#include "legacy.h"
#include "pluginmaster.h"
#include "runtimeerror.h"

namespace {
const QString kCleanMethod = QStringLiteral("CleanCMD");

int16_t textIndex(int16_t varNum) { return legacy::sub16(varNum, 1); }
int16_t cellIndex(int16_t varNum) { return legacy::sub16(legacy::sub16(varNum, 256), 1); }
} // namespace

clsVarUpdater::clsVarUpdater(QObject* parent) : QObject(parent) {}

int16_t clsVarUpdater::percentOf(int position, int count)
{
    // Divided first, then scaled, in double precision: the order decides some halves.
    return legacy::toInt16(legacy::roundHalfEven(double(position) / double(count) * 100.0));
}

disptrans::IDispTrans& clsVarUpdater::control() const
{
    if (!TransControl)
        RuntimeError::raise(RuntimeError::ObjectRequired);
    return *TransControl;
}

clsVariableAccess& clsVarUpdater::variables() const
{
    if (!Variables)
        RuntimeError::raise(RuntimeError::ObjectRequired);
    return *Variables;
}

void clsVarUpdater::addressDisplay(int16_t address)
{
    // A negative address keeps whatever address the control already talks to.
    if (address >= 0)
        control().setDisplayAddress(address);
}

QString clsVarUpdater::cleanedText(int16_t varNum)
{
    QString text = variables().GetDisplayableData(varNum, LinkSource);
    if (!PluginMaster)
        RuntimeError::raise(RuntimeError::ObjectRequired);
    bool status = false;
    PluginMaster->RunPluginMethod(pluginmaster::kBadWordCheckerProgId, kCleanMethod, text, QString(), status);
    return MapExtendedCharacters(text);
}

bool clsVarUpdater::UpdateVariableDataOnDisplay(int16_t address) { return SetTextVarsByNonMultiWrite(address); }

bool clsVarUpdater::SetTextVarsByNonMultiWrite(int16_t address)
{
    addressDisplay(address);
    disptrans::TextVarDataItem textItem;
    disptrans::CellVarDataItem cellItem;
    const int count = SelectedVars.size();
    int16_t position = 0;
    bool result = false;
    for (const clsVarSetupInfo& member : SelectedVars) {
        position = legacy::add16(position, 1);
        const int16_t varNum = member.VarNum;
        QString text;
        if (member.IsText) {
            textItem.VarIndex = textIndex(varNum);
            textItem.VarText = text = cleanedText(varNum);
            result = control().SendTextVarData(textItem);
        } else {
            cellItem.VarIndex = cellIndex(varNum);
            cellItem.VarText = text = cleanedText(varNum);
            result = control().SendCellVarData(cellItem);
        }
        if (!result)
            return false;
        emit VariableSent(varNum, text);
        short percent = percentOf(position, count);
        emit PercentCompleteData(percent, m_cancel);
        if (m_cancel)
            return false;
    }
    return result;
}

bool clsVarUpdater::UpdateVariableAttributesOnDisplay(int16_t address)
{
    addressDisplay(address);
    disptrans::VarAttributeList list;
    const int count = SelectedVars.size();
    int16_t processed = 0;
    int16_t batch = 0;
    bool lastFlush = false;

    // Adds one variable to the batch, sending the batch first when it is full.
    auto addEntry = [&](const clsVarSetupInfo& member, bool text) {
        if (batchIsFull(list.CommandTextLength())) {
            lastFlush = text ? control().SendTextVarAttributes(list) : control().SendCellVarAttributes(list);
            batch = 0;
        }
        processed = legacy::add16(processed, 1);
        batch = legacy::add16(batch, 1);
        list.setEntryCount(batch);
        const int16_t varNum = member.VarNum;
        list.setEntryVarIndex(batch, text ? textIndex(varNum) : cellIndex(varNum));
        list.setEntryBlink(batch, legacy::textToInt16(variables().VariableBlink(varNum)));
        list.setEntryInverse(batch, legacy::textToInt16(variables().VariableInverse(varNum)));
        list.setEntryColor(batch, legacy::textToInt16(variables().VariableColor(varNum)));
    };

    for (const clsVarSetupInfo& member : SelectedVars) {
        if (member.IsText)
            addEntry(member, true);
        short percent = percentOf(processed, count);
        emit PercentCompleteAtts(percent, m_cancel);
        if (m_cancel)
            return false;
    }
    if (list.EntryCount() > 0)
        lastFlush = control().SendTextVarAttributes(list);
    const int16_t carry = batch;
    list.setEntryCount(0);
    batch = 0;

    for (const clsVarSetupInfo& member : SelectedVars) {
        if (!member.IsText)
            addEntry(member, false);
        // Deliberately the position in the current cell batch plus the last text
        // batch, not the processed count: it falls back when a cell batch is sent.
        short percent = percentOf(legacy::add16(batch, carry), count);
        emit PercentCompleteAtts(percent, m_cancel);
        if (m_cancel)
            return false;
    }
    if (list.EntryCount() > 0)
        return control().SendCellVarAttributes(list);
    return lastFlush;
}
