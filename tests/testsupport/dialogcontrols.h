#pragma once

#include <QString>

#include <initializer_list>
#include <utility>

class QWidget;

// What the control of that objectName shows ("" = the dialog itself): the window
// title, a button's or menu item's text, a group box's title, a label's, text
// box's or list's current text, or a tab widget's page titles joined by "|";
// followed by " (disabled)" when it cannot be used. "<missing>" when there is no
// such control.
QString shownState(QWidget* dialog, const QString& name);

// The data of a default-state test: columns "name" and "shown", one row per
// control given as {objectName, what shownState gives}.
void addControlRows(std::initializer_list<std::pair<const char*, const char*>> controls);
