#include "statusicons.h"

#include <QHash>
#include <QPainter>
#include <QPixmap>

namespace {
QColor colorOf(const QString& key)
{
    static const QHash<QString, QColor> colors{
        {QStringLiteral("Not Updated"), QColor(0x9e, 0x9e, 0x9e)},
        {QStringLiteral("Scheduled"), QColor(0x1e, 0x66, 0xd0)},
        {QStringLiteral("Updating"), QColor(0xf0, 0xa0, 0x00)},
        {QStringLiteral("Updated"), QColor(0x1f, 0xa0, 0x3c)},
        {QStringLiteral("FAILED"), QColor(0xd0, 0x20, 0x20)},
        {QStringLiteral("Now"), QColor(0x1f, 0xa0, 0x3c)},
    };
    return colors.value(key, QColor(0x9e, 0x9e, 0x9e));
}

QPixmap circle(const QColor& color, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color.darker(140), size / 16.0));
    painter.setBrush(color);
    const qreal margin = size / 8.0;
    painter.drawEllipse(QRectF(margin, margin, size - 2 * margin, size - 2 * margin));
    return pixmap;
}
} // namespace

QIcon statusIcon(const QString& key)
{
    static QHash<QString, QIcon> cache;
    auto it = cache.constFind(key);
    if (it != cache.constEnd())
        return *it;
    QIcon icon;
    const QColor color = colorOf(key);
    for (int size : {16, 32})
        icon.addPixmap(circle(color, size));
    cache.insert(key, icon);
    return icon;
}
