#pragma once

#include <QList>

#include <cstdint>

// One chosen variable: its kind and its number (1 ... 416). A selection of
// variables travels between dialogs as a VarSelection, in order.
struct clsVarSetupInfo {
    bool IsText = false;
    int16_t VarNum = 0;

    friend bool operator==(const clsVarSetupInfo&, const clsVarSetupInfo&) = default;
};

using VarSelection = QList<clsVarSetupInfo>;
