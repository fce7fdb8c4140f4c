#pragma once

// The value a JSON Pointer (RFC 6901) names in a JSON document, as a linked
// variable shows it: a string's text, or a number as JSON writes it. Anything
// else (an object, an array, true, false, null), a pointer that names nothing
// and a document that is not JSON are errors with a message.
//
// A pure function of its inputs, so it can be fed anything.

#include <QByteArray>
#include <QString>

namespace links {

struct JsonPointerResult {
    bool ok = false;
    QString value;            // ok: the text
    QString error;            // otherwise: why there is none
    bool badDocument = false; // the error is the document's, not the pointer's
};

// `pointer` is "" for the whole document or "/"-separated tokens with "~1" for
// "/" and "~0" for "~"; the URI fragment form ("#/a%20b") is taken too.
JsonPointerResult resolveJsonPointer(const QByteArray& document, const QString& pointer);

} // namespace links
