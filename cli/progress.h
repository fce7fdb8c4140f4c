#pragma once

// How an update run shows where it stands: a bar redrawn in place on a
// terminal, plain lines (one per change of a display's phase) otherwise.

#include "displays.h"
#include "updatejobs.h"

#include <QList>
#include <QString>
#include <QTextStream>

class ProgressView final {
public:
    ProgressView(QTextStream& out, bool terminal, const QList<displays::Entry>& displays);
    void show(const QList<updatejobs::State>& states, const QList<updatejobs::Event>& events);
    // Ends the bar's line.
    void finish();

    static QString phaseText(const updatejobs::State& state, int retries);
    static QString barLine(const QList<updatejobs::State>& states, const QList<displays::Entry>& displays,
                           int width = 30);

    int retries = 0;

private:
    QTextStream& m_out;
    bool m_terminal;
    QList<displays::Entry> m_displays;
    bool m_barDrawn = false;
};
