#pragma once

#include "transmitupdate.h"

#include <QDialog>

#include <memory>

class QLabel;
class QObject;
class clsVariableAccess;
class ILinkContainer;

// The small window of an update on transmit: one status word while all
// variables go to the display the host is about to transmit to, then it closes
// by itself.
class dlgTransmitVars final : public QDialog { // objectName "dlgTransmitVars"
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgTransmitVars)
public:
    explicit dlgTransmitVars(QWidget* parent = nullptr);
    ~dlgTransmitVars() override;

    // Both optional: without a set the dialog loads the current variable file
    // (and writes it back when it goes); without a container linked variables
    // read as empty text.
    void setVariableSet(clsVariableAccess* set) { m_variables = set; }
    void setLinkSource(ILinkContainer* source) { m_linkSource = source; }
    void setPluginMaster(pluginmaster::IPluginMaster* master) { m_update.setPluginMaster(master); }

    // `transmission` is the host's transmission control, already connected and
    // addressed. Shows the dialog modally; the update runs on its first
    // activation and the dialog closes when it is done.
    void UpdateVars(QObject* transmission);

    QString statusText() const; // the label: "Updating.............", "Successful" or "FAILED!"
    const TransmitUpdate& update() const { return m_update; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void runOnce();
    clsVariableAccess& variables();

    TransmitUpdate m_update;
    clsVariableAccess* m_variables = nullptr;
    std::unique_ptr<clsVariableAccess> m_ownVariables;
    ILinkContainer* m_linkSource = nullptr;
    std::unique_ptr<ILinkContainer> m_oleVarGrab;
    bool m_started = false;
    QLabel* m_status;
};
