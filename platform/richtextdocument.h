#pragma once

// Rich text between RTF and Qt's text documents: what the report and editor
// windows show is read from and written to RTF through here.

#include "rtf.h"

class QTextCursor;
class QTextDocument;

namespace rtf {

// A whole RTF document from a text document's blocks and fragments.
QByteArray write(const QTextDocument& document);
// Replaces the document's contents with the runs of an RTF document.
void read(const QByteArray& rtf, QTextDocument& document);
// Inserts runs at a cursor, as text with character formats.
void insert(QTextCursor& cursor, const QList<Run>& runs);
// The runs of a text document (paragraphs joined by "\n").
QList<Run> runsOf(const QTextDocument& document);

} // namespace rtf
