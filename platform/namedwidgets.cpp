#include "namedwidgets.h"

#include <QMenu>
#include <QPushButton>

namespace widgets {

QPushButton* namedButton(QWidget* parent, const char* name, const QString& caption)
{
    auto* button = named(new QPushButton(caption, parent), name);
    button->setAutoDefault(false);
    return button;
}

QAction* namedAction(QMenu* menu, const char* name, const QString& caption)
{
    return named(menu->addAction(caption), name);
}

QAction* namedSeparator(QMenu* menu, const char* name) { return named(menu->addSeparator(), name); }

} // namespace widgets
