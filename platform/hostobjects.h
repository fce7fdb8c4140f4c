#pragma once

// The host application's own objects, handed to the plug-in or created by it.

#include "progids.h"
#include <QObject>
#include <QString>

namespace hostobjects {

// The host's display chooser class: shows the host's display choice and gives
// back the chosen displays as one string ("" when nothing was chosen).
inline const QString kDisplayChooserProgId = QString::fromLatin1(progid::kDisplayChooser);

class IDisplayChooser {
public:
    virtual ~IDisplayChooser() = default;
    virtual QString SelectDisplays() = 0;
};

// The frame-editor form passed to StartFrameFeature: called late-bound by name,
// "addtexttocurrentline"(text) appends text at the editor's current line.
void addTextToCurrentLine(QObject* frameEditor, const QString& text);

// The transmission context passed to StartPreTransmit is the host's own
// transmission control, already connected and addressed: it offers
// disptrans::IDispTrans (see transmissionControlOf in disptrans use).

} // namespace hostobjects

Q_DECLARE_INTERFACE(hostobjects::IDisplayChooser, "zol.DisplayChooser/1")
