// The real dialogs behind an update: the chooser, the delay dialog and the
// update dialog, each wrapped in the small interface the update steps use.

#include "updateflow.h"

#include "dlgChooseVars.h"

#include "dlgUpdateDelay.h"
#include "dlgVariableUpdate.h"

namespace manager {

namespace {

class ChooserDialog final : public VariableChooser {
public:
    explicit ChooserDialog(QWidget* parent) : m_dialog(parent) {}
    void setVariableSet(clsVariableAccess* set) override { m_dialog.setVariableSet(set); }
    VarSelection GetChosenVars() override { return m_dialog.GetChosenVars(); }
    VarSelection GetLastVars() override { return m_dialog.GetLastVars(); }

private:
    dlgChooseVars m_dialog;
};

class DelayDialog final : public DelayPrompt {
public:
    DelayDialog(std::function<QString()> displaySelection, QWidget* parent)
        : m_dialog(std::move(displaySelection), parent)
    {}
    void exec() override { m_dialog.exec(); }
    bool Cancelled() const override { return m_dialog.Cancelled(); }
    QString DisplayList() const override { return m_dialog.DisplayList(); }
    QString DelayList() const override { return m_dialog.DelayList(); }

private:
    dlgUpdateDelay m_dialog;
};

class UpdateDialog final : public UpdateSender {
public:
    explicit UpdateDialog(QWidget* parent) : m_dialog(parent) {}
    void setVariableSet(clsVariableAccess* set) override { m_dialog.setVariableSet(set); }
    void start(const UpdateRequest& request) override { m_dialog.start(request); }

private:
    dlgVariableUpdate m_dialog;
};

class RealDialogs final : public UpdateDialogs {
public:
    std::unique_ptr<VariableChooser> createChooser(QWidget* parent) override
    {
        return std::make_unique<ChooserDialog>(parent);
    }

    std::unique_ptr<DelayPrompt> createDelayPrompt(std::function<QString()> displaySelection, QWidget* parent) override
    {
        return std::make_unique<DelayDialog>(std::move(displaySelection), parent);
    }
    std::unique_ptr<UpdateSender> createUpdateSender(QWidget* parent) override
    {
        return std::make_unique<UpdateDialog>(parent);
    }
};

} // namespace

UpdateDialogs& realUpdateDialogs()
{
    static RealDialogs dialogs;
    return dialogs;
}

} // namespace manager
