#pragma once

// Widgets made with their stable objectName, the control's name in the design,
// by which tests and the rest of the program find them.

#include <QString>

class QAction;
class QMenu;
class QPushButton;
class QWidget;

namespace widgets {

template <class W> W* named(W* widget, const QString& name)
{
    widget->setObjectName(name);
    return widget;
}
template <class W> W* named(W* widget, const char* name) { return named(widget, QString::fromLatin1(name)); }

// A push button that never becomes the default button by taking the focus.
QPushButton* namedButton(QWidget* parent, const char* name, const QString& caption);
// A menu item, and a separator, at the end of `menu`.
QAction* namedAction(QMenu* menu, const char* name, const QString& caption);
QAction* namedSeparator(QMenu* menu, const char* name);

} // namespace widgets
