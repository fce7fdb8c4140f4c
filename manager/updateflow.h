#pragma once

#include "clsVarSetupInfo.h"
#include "updaterun.h"

#include <QString>

#include <functional>
#include <memory>

class QWidget;
class clsVariableAccess;

namespace manager {

// What an update sends, from the manager's three option buttons:
// "Data Only" wins over "Attributes Only"; neither (or the first) sends both.
UpdateOption updateOptionOf(bool dataOnly, bool attributesOnly);

// The dialogs an update goes through, as the update steps use them. The real
// ones are the chooser, the delay dialog and the update dialog; tests install
// their own through setUpdateDialogs.
class VariableChooser {
public:
    virtual ~VariableChooser() = default;
    virtual void setVariableSet(clsVariableAccess* set) = 0;
    virtual VarSelection GetChosenVars() = 0; // asks the user
    virtual VarSelection GetLastVars() = 0;   // the last choice, no dialog
};

class DelayPrompt {
public:
    virtual ~DelayPrompt() = default;
    virtual void exec() = 0; // modal; returns when the user is done
    virtual bool Cancelled() const = 0;
    virtual QString DisplayList() const = 0;
    virtual QString DelayList() const = 0;
};

class UpdateSender {
public:
    virtual ~UpdateSender() = default;
    virtual void setVariableSet(clsVariableAccess* set) = 0;
    virtual void start(const UpdateRequest& request) = 0; // runs the update modally
};

class UpdateDialogs {
public:
    virtual ~UpdateDialogs() = default;
    virtual std::unique_ptr<VariableChooser> createChooser(QWidget* parent) = 0;
    virtual std::unique_ptr<DelayPrompt> createDelayPrompt(std::function<QString()> displaySelection,
                                                           QWidget* parent) = 0;
    virtual std::unique_ptr<UpdateSender> createUpdateSender(QWidget* parent) = 0;
};

// The dialogs in use: the real ones unless a test installed others.
UpdateDialogs& updateDialogs();
UpdateDialogs& realUpdateDialogs();
void setUpdateDialogs(UpdateDialogs* dialogs); // null restores the real ones

// One update as the manager starts it, once its pages are committed: saves the
// set, picks the variables ("PromptForVariable"), the displays and delays
// ("PromptForDelay", else `displaySelection` with no delay), hands everything to
// a new update dialog and starts the send chosen by `option`. An empty choice
// ends it silently; run-time errors reach the caller.
class UpdateFlow final {
public:
    explicit UpdateFlow(std::function<QString()> displaySelection);
    // False when it ended without starting an update.
    bool run(clsVariableAccess& set, UpdateOption option, QWidget* parent = nullptr);

    // "0" once per display of a display list, joined by ",".
    static QString noDelays(const QString& displays);

private:
    std::function<QString()> m_displaySelection;
};

// The variables an update or the manager's "Choose Variables" goes to: the
// chooser when `prompt` is set, the last choice otherwise.
VarSelection chooseVariables(clsVariableAccess& set, bool prompt, QWidget* parent = nullptr);

} // namespace manager
