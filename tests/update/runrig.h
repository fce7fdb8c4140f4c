#pragma once

// An update run wired to the fake control, display list and plug-in master,
// with its own settings and a fixed clock.

#include "classregistry.h"
#include "clock.h"
#include "clsVarSetupInfo.h"
#include "clsVariableAccess.h"
#include "fakedisplays.h"
#include "fakepluginmaster.h"
#include "pluginmaster.h"
#include "testenvironment.h"

#include <QStringList>

#include <memory>

inline const QDateTime kRunStart(QDate(2010, 3, 5), QTime(14, 7, 9));

// Display records "1" ... "n", each at the address of its number, reached at
// target "host<n>".
inline void addDisplays(int count)
{
    for (int i = 1; i <= count; ++i) {
        FakeDisplayRecord r;
        r.number = QString::number(i);
        r.name = QStringLiteral("Display ") + r.number;
        r.target = QStringLiteral("host") + r.number;
        r.addressList = r.number;
        FakeDisplays::records << r;
    }
}

inline VarSelection textVars(int count)
{
    VarSelection vars;
    for (int n = 1; n <= count; ++n)
        vars.append(clsVarSetupInfo{true, int16_t(n)});
    return vars;
}

struct FakeWorld {
    TestEnvironment env;
    std::unique_ptr<clsVariableAccess> vars;

    FakeWorld()
    {
        FakeDisplays::reset();
        FakePluginMaster::reset();
        FakeDisplays::install();
        ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, [] { return new FakePluginMaster; });
        Clock::setFixed(kRunStart);
        vars = std::make_unique<clsVariableAccess>();
    }
    ~FakeWorld()
    {
        FakeDisplays::uninstall();
        ComponentLoader::setFactory(pluginmaster::kPluginMasterProgId, {});
        Clock::reset();
    }
    FakeWorld(const FakeWorld&) = delete;
    FakeWorld& operator=(const FakeWorld&) = delete;
};
