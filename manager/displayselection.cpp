#include "displayselection.h"

#include "classregistry.h"
#include "hostobjects.h"
#include "legacy.h"
#include "settingsstore.h"

namespace manager {

QString selectDisplays()
{
    switch (legacy::textToInt16(settings::read(settings::kPromptForDisplay))) {
    case 0: return settings::read(settings::kLastOpenedDisplay);
    case 1: {
        QString recent = settings::read(settings::kRecentDisplays);
        recent.replace(QChar(0xFF), u',');
        return recent;
    }
    default: {
        // A fresh chooser for every question, released when it has answered.
        const auto chooser = createComponent<hostobjects::IDisplayChooser>(hostobjects::kDisplayChooserProgId);
        return chooser->SelectDisplays();
    }
    }
}

} // namespace manager
