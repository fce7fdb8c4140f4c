#pragma once

#include <QString>

// The maker's private-label information, shown by the about box. One place, so
// a re-branded build changes only this file.
namespace privatelabel {
inline const QString kCompanyName = QStringLiteral("Morvel Display Systems");
inline const QString kProductName = QStringLiteral("Variable Access/QMD");
inline const QString kWebSite = QStringLiteral("www.morvel-displays.example");
inline const QString kPhoneNumber = QStringLiteral("(555) 010-4477");
// The application's default title, used by message boxes that name none.
inline const QString kAppTitle = QStringLiteral("zolQMDVariablePlugin");
} // namespace privatelabel
