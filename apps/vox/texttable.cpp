#include "vox/texttable.h"

#include <algorithm>

QStringList TextTable::toLines() const
{
    const QStringList &headings = m_rows.constFirst();
    QVector<int> widths(headings.size());
    for (const QStringList &row : m_rows) {
        for (int i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], static_cast<int>(row.at(i).trimmed().size()));
    }
    QStringList lines;
    for (const QStringList &row : m_rows) {
        QStringList cells;
        for (int i = 0; i < row.size(); ++i) {
            const QString cell = row.at(i).trimmed();
            const bool isNumber = headings.at(i).startsWith(QLatin1Char(' '));
            cells += isNumber ? cell.rightJustified(widths.at(i)) : cell.leftJustified(widths.at(i));
        }
        QString line = cells.join(QStringLiteral("  "));
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        lines += line;
    }
    return lines;
}
