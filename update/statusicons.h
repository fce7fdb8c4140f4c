#pragma once

#include <QIcon>
#include <QString>

// The small icons of the status lists, keyed by status text: "Not Updated",
// "Scheduled", "Updating", "Updated", "FAILED" and the delay dialog's "Now".
// Unknown keys give a grey mark.
QIcon statusIcon(const QString& key);
