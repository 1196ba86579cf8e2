#ifndef COLUMNS_H
#define COLUMNS_H

#include <QtTest>

template <typename>
using ColumnName = const char *;

/// Adds the columns of a data function. Gives a function that adds a row: its name, then a value per column.
template <typename... Types>
auto columns(ColumnName<Types>... names)
{
    (QTest::addColumn<Types>(names), ...);
    return [](const char *name, const Types &...values) { (QTest::newRow(name) << ... << values); };
}

/// Values of any kinds as one text: a comparison of two such shows which differs. They are made in any order.
/// Texts are equal whether they are strings or byte arrays.
template <typename... Values>
QString list(const Values &...values)
{
    QString text;
    (QDebug(&text).noquote() << ... << values);
    return text;
}

/// What steps have come to that are taken one after the other: in braces, as in InOrder({first(), second()}).
using InOrder = QList<bool>;

#endif
