#pragma once

#include <QList>
#include <QString>

// The delays offered before an update run, with their minutes.
struct DelayChoice {
    QString text;
    int minutes;
};

// "Now", "in 15 Min." ... "in 36 h.": 21 choices. "in 2 h. " ends with a blank,
// as it always has.
const QList<DelayChoice>& delayChoices();
