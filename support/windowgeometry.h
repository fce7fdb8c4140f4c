#pragma once

// A window's size and place as X11 programs take them on their command line:
// "WxH+X+Y", "WxH" or "+X+Y".

#include <QPoint>
#include <QSize>
#include <QString>

#include <optional>

struct WindowGeometry {
    std::optional<QSize> size;
    std::optional<QPoint> position;

    // Nothing when `text` is none of the three forms.
    static std::optional<WindowGeometry> parse(const QString& text);
};
