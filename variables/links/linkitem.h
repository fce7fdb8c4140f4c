#pragma once

#include <QString>

#include <optional>

namespace links {

// One cell of a document named by a link source: the document path, "!", then
// the item. Items come in row-column form ("Variables!R2C2") and in A1 forms
// ("Sheet1!B2", "Sheet1.$B$2", "'My Sheet'.A1"); a range names its first cell
// and an item without a sheet the first sheet.
struct CellLink {
    QString document;
    QString sheet; // empty: the first sheet
    int row = 0;   // 0-based
    int column = 0;
};

// The link source split and its item understood; nothing for a malformed one.
std::optional<CellLink> parseLinkSource(const QString& source);

} // namespace links
