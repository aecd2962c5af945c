#pragma once

#include <QtTest>

#include <tuple>

// Adds a named row to a _data() table, the values in column order; a string literal
// enters as a QString.
template <typename... Values> void dataRow(const char *name, const Values &...values)
{
    (QTest::newRow(name) << ... << values);
}

// Adds a table's columns, their types in order.
template <typename... Types> void columns(std::initializer_list<const char *> names)
{
    auto name = names.begin();
    (QTest::addColumn<Types>(*name++), ...);
}

// The current row's values in the named columns, their types in order.
template <typename... Types, typename... Names> std::tuple<Types...> fetchRow(Names... names)
{
    return {*static_cast<Types *>(QTest::qData(names, qMetaTypeId<Types>()))...};
}
