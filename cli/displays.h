#pragma once

// The displays a command names, from the host's display list.

#include <QList>
#include <QString>

namespace displays {

struct Entry {
    QString number;
    QString name;
    QString units; // the unit addresses, as the list writes them ("1,2,3")
};

// The list file the tool reads: `option` when given, else the host's
// "Displays.dat" in the host's folder.
QString listFile(const QString& option);

enum class Problem { None, BadArgument, BadFile };

// The displays of the list whose numbers the range text names ("1,3,5-12", "-"
// for all), in number order. A single number that is not in the list, a range
// that names none or a malformed text is a bad argument; a list file that
// cannot be read is a bad file.
Problem select(const QString& rangeText, const QString& file, QList<Entry>* chosen, QString* error);

// Every run of the engine reads `file` where it would read the host's list.
void useListFile(const QString& file);

} // namespace displays
