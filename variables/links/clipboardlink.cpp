#include "clipboardlink.h"

#include <QMimeData>
#include <QUrl>

namespace links {

QString linkSourceFromFlavour(QByteArrayView bytes)
{
    const QList<QByteArray> fields = bytes.toByteArray().split('\0');
    if (fields.size() < 3 || fields[0].isEmpty() || fields[1].isEmpty() || fields[2].isEmpty())
        return {};
    QString document = QString::fromUtf8(fields[1]);
    // Some versions give the document as a URL.
    if (document.startsWith(QStringLiteral("file:")))
        document = QUrl(document).toLocalFile();
    return document + u'!' + QString::fromUtf8(fields[2]);
}

bool hasLinkFlavour(const QMimeData* data) { return data && data->hasFormat(QString::fromLatin1(kLinkMimeType)); }

QString linkSourceFromClipboard(const QMimeData* data)
{
    return hasLinkFlavour(data) ? linkSourceFromFlavour(data->data(QString::fromLatin1(kLinkMimeType))) : QString();
}

} // namespace links
