#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// The host's table of command tokens in the machine-wide settings hive. Writes
// are gathered and reach the hive together: at the end of the current turn of
// the event loop, or at flush(), which the plug-in master calls when it is
// released. Seeding writes hundreds of tokens in a row, and every separate
// write of the hive is a full, synced rewrite of it. Reads see gathered writes
// at once.
namespace tokenstore {

// Token names are not case-sensitive: "vbl001" is "VBL001".
QString normalName(const QString& name);

QString text(const QString& name); // "" for an unknown token
void setText(const QString& name, const QString& text);
QStringList names(); // upper case, sorted
// Writes what was gathered; true when nothing was waiting or the hive took it.
bool flush();
int pendingCount();

} // namespace tokenstore
