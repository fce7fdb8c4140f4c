#pragma once

#include "progids.h"
#include "hostobjects.h"

#include <QObject>
#include <QString>

#include <optional>

// The host's display chooser (ProgID "Lumarex.DisplayChooser"): shows the
// displays of the host's "Displays.dat" with check boxes and gives back the
// chosen display numbers joined by "," ("" when cancelled or nothing was
// checked). A choice is remembered as the host's "Recent" and "LastOpened".
//
// Without a person to answer: when the environment variable
// LUMAREX_CHOOSE_DISPLAYS is set, its value is the choice and no dialog is
// shown; in-process callers can set a scripted answer instead.
class DisplayChooser final : public QObject, public hostobjects::IDisplayChooser {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DisplayChooser)
    Q_INTERFACES(hostobjects::IDisplayChooser)
public:
    static inline const char* kProgId = progid::kDisplayChooser;
    static inline const char* kAnswerVariable = "LUMAREX_CHOOSE_DISPLAYS";

    explicit DisplayChooser(QObject* parent = nullptr);

    Q_INVOKABLE QString SelectDisplays() override;

    // The next choices made without a dialog; nullopt shows the dialog again.
    static void setScriptedAnswer(std::optional<QString> answer);

private:
    static std::optional<QString>& scriptedAnswer();
};
