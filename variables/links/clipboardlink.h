#pragma once

#include <QByteArrayView>
#include <QString>

class QMimeData;

namespace links {

// The clipboard flavour a spreadsheet offers for linking to the copied cells:
// three NUL-terminated fields, application, document and item, then one more
// NUL ("soffice\0/home/u/book.ods\0Sheet1.B2\0..."); the item may name a range
// and further fields may follow.
inline constexpr char kLinkMimeType[] = "application/x-openoffice-link;windows_formatname=\"Link\"";

// The link source (document, "!", item) that the flavour's bytes describe,
// empty when they describe none. A document never saved has a bare title for a
// path ("Untitled 1"), which is kept: the caller decides what to do with it.
QString linkSourceFromFlavour(QByteArrayView bytes);

// The flavour's bytes when the clipboard content offers one.
bool hasLinkFlavour(const QMimeData* data);
QString linkSourceFromClipboard(const QMimeData* data);

} // namespace links
