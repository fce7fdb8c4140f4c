#pragma once

#include <QString>

// The values behind the update settings dialog and the arithmetic of its retry
// interval, which the dialog shows as hours, minutes and seconds.
namespace manager {

struct UpdateSettings {
    int displayChoice = 2; // 0 current display, 1 last selection, 2 ask every time
    bool promptForVariable = true;
    bool promptForDelay = false;
    QString hours, minutes, seconds; // the retry interval as the three boxes show it
};

class VariableSettings final {
public:
    // The stored settings as the dialog shows them. An out-of-range or unreadable
    // "PromptForDisplay" shows "ask every time"; "TRUE" is compared exactly.
    static UpdateSettings load();
    // Stores the dialog's values. No validation: boxes are read by their leading
    // number and the interval is rounded half to even.
    static void store(const UpdateSettings& values);

    // The stored display value of the three display options: the last one wins,
    // then the first, then the second; none selected stores 0.
    static int displayChoiceOf(bool current, bool lastSelection, bool askEveryTime);

    struct Parts {
        int hours, minutes, seconds;
    };
    // The interval as a time of day: hours wrap at 24 (90000 s is 1:00:00).
    static Parts splitInterval(long long seconds);
    static long long intervalOf(const QString& hours, const QString& minutes, const QString& seconds);
};

} // namespace manager
