#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

class clsVariableAccess;
class ILinkContainer;

// What one property page of the variable manager shows for a variable and writes
// back to the set, free of widgets.
namespace manager {

enum class PageKind { Text, Cell };

struct PageRange {
    int first, last; // variable numbers
    int maxLength;   // the longest text a variable of the kind holds
};
PageRange rangeOf(PageKind kind);

// "Text Var: 1 of 256" ... "Cell Var: 160 of 160".
QString selectionText(int variableNumber);
// "1" ... "250" or "1" ... "58".
QStringList lengthChoices(PageKind kind);

// The seven row captions of a page, top to bottom.
QStringList rowCaptions();

struct EditorValues {
    QString name, color, blink, inverse, data, link, maxLength;
};

// The editors' values for variable n: the data as it would be sent (a linked
// variable's current value; character 0 removed for cell variables), the maximum
// length 15 when the set gives none.
EditorValues valuesOf(const clsVariableAccess& set, int16_t n, ILinkContainer* links);
// Writes every field of the editors to variable n.
void commitValues(clsVariableAccess& set, int16_t n, const EditorValues& values);

// The current value of `link` as the data box shows it live: as read, with no
// character 0 and no line ends, not cut to a maximum length (that is for
// sending); "" when it cannot be read.
QString liveValue(ILinkContainer& links, const QString& link);

// The paste button reads "Clear" while a link source is shown.
QString pasteCaption(const QString& linkSource);

} // namespace manager
