#pragma once

#include <QtTest>

// Adds a named row to a _data() table, the values in column order; a string literal
// enters as a QString.
template <typename... Values> void dataRow(const char *name, const Values &...values)
{
    (QTest::newRow(name) << ... << values);
}
