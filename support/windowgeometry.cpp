#include "windowgeometry.h"

#include <QRegularExpression>

std::optional<WindowGeometry> WindowGeometry::parse(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^(?:(\\d+)x(\\d+))?(?:([+-]\\d+)([+-]\\d+))?$"));
    const QRegularExpressionMatch m = form.match(text.trimmed());
    if (!m.hasMatch() || text.trimmed().isEmpty())
        return std::nullopt;
    WindowGeometry g;
    if (m.hasCaptured(1))
        g.size = QSize(m.captured(1).toInt(), m.captured(2).toInt());
    if (m.hasCaptured(3))
        g.position = QPoint(m.captured(3).toInt(), m.captured(4).toInt());
    return g;
}
