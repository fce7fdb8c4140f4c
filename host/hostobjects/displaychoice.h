#pragma once

#include "displaylistfile.h"

#include <QString>
#include <QStringList>

// The host's memory of chosen displays: "Recent" (application "LumarexLite",
// section "Display"; display numbers joined by character 255) and "LastOpened"
// (section "RecentDisplay"; the display numbers joined by ",").
namespace displaychoice {

inline const QChar kRecentSeparator(char16_t(255));

// The choice as the plug-in's display list text: numbers joined by ",".
QString joined(const QStringList& numbers);
// Writes both values; an empty choice changes nothing.
void remember(const QStringList& numbers);
// The numbers of the last choice ("Recent"), in order.
QStringList recent();

// The text the chooser shows for a display: "3 - Lobby".
QString caption(const DisplayRecord& record);
// How the display is reached, every field of its kind: "TCP 127.0.0.1 port
// 47010, units 1", "serial port /dev/ttyS0 at 9600,N,8,1, units 1,2", "modem
// (kind 2) on /dev/ttyS1 dialling 5551234, units 1".
QString connectionText(const DisplayRecord& record);

} // namespace displaychoice
