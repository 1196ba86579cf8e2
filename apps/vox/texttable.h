#ifndef TEXTTABLE_H
#define TEXTTABLE_H

#include <QStringList>
#include <QVector>

/// Rows of cells as lines whose columns stand below each other.
class TextTable
{
public:
    /// The first row. A heading that begins with a space is that of numbers, which stand at the right.
    explicit TextTable(const QStringList &headings) { addRow(headings); }

    void addRow(const QStringList &cells) { m_rows += cells; }
    /// A line for each row, the headings first, without spaces at the end.
    QStringList toLines() const;

private:
    QVector<QStringList> m_rows;
};

#endif
