#pragma once

// Compares what a display unit holds with what an update would send it now:
// the data cleaned and mapped as the updater sends it (and as the display's
// code page keeps it), the colour, blink and inverse as the attribute batch
// carries them.

#include "auditrun.h"
#include "clsVarSetupInfo.h"

#include <QHash>
#include <QStringList>

#include <memory>

class clsVarUpdater;
class clsVariableAccess;
class ILinkContainer;
namespace pluginmaster {
class IPluginMaster;
}

namespace compare {

struct Expected {
    QString data;
    int16_t color = 0;
    bool blink = false;
    bool inverse = false;
};

// "Text Var 7", "Cell Var 3".
QString variableName(const clsVarSetupInfo& var);

// One line per difference, each starting with `where` ("display 2 unit 5").
QStringList differences(const QString& where, const clsVarSetupInfo& var, const disptrans::VarReadReply& reply,
                        const Expected& expected, audit::Mode mode);

// What the set would send, worked out once per variable.
class Expectations final {
public:
    Expectations(clsVariableAccess* set, pluginmaster::IPluginMaster* master, ILinkContainer* link);
    ~Expectations();
    Expected of(const clsVarSetupInfo& var);

private:
    clsVariableAccess* m_set;
    std::unique_ptr<clsVarUpdater> m_updater;
    QHash<int, Expected> m_known;
};

} // namespace compare
