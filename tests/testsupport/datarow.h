#pragma once

#include <QTest>

// Adds a row of test data with one value per column, so a row stays one line.
template <class... Values> void addRow(const char* tag, const Values&... values)
{
    (QTest::newRow(tag) << ... << values);
}
