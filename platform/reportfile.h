#pragma once

// Saving a report window's text as rich text in a file the user chooses. The
// file ends in ".doc" on purpose: it is rich text that a word processor opens.

#include <QString>

class QTextDocument;
class QWidget;

namespace reportfile {

struct SaveRequest {
    QString namePrefix; // the proposed name is this, then today as m-d-yyyy, then ".doc"
    QString title;
    QString filter;
    // A file that exists is replaced only after "File already exists, Do You
    // Wish to Overwrite it?" is answered Yes; otherwise it is replaced at once.
    bool askOverwrite = false;
    // Shown with the reason when the file cannot be written; empty: nothing is said.
    QString errorPrefix;
};

// Offers the save dialog and writes the report to the chosen file; a cancelled
// dialog or an empty name writes nothing.
void save(const QTextDocument& report, const SaveRequest& request, QWidget* parent);

} // namespace reportfile
