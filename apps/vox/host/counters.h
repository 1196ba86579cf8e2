#ifndef COUNTERS_H
#define COUNTERS_H

#include "framework/buspendingcall.h"
#include "messages/vox.h"

#include <QJsonObject>
#include <QMap>
#include <QStringList>

#include <optional>

class VOXBus;

/// The error counters of nodes, by the names that docs/commands.md has for them.
struct Counters
{
    using Values = QMap<QString, int>;

    /// All names, in the order in which they are shown.
    static QStringList names();
    /// Reads those of @p node. A node that is no motor refuses a part of them; those are left out. Empty if
    /// the node does not answer; then @p problem says so.
    static std::optional<Values> read(VOX::Addr node, VOXBus *lane, QString *problem);

    /// {"crcError": 3}
    static QJsonObject toJson(const Values &values);
    /// How much each has grown from @p before to @p after; without those that have not changed. Negative if
    /// the node has begun to count anew.
    static Values changes(const Values &before, const Values &after);
};

/// What all nodes have told, for people: a row each, a column for each counter that is not 0 in all of them.
class CountersTable
{
public:
    /// Null for a node that has not answered. @p before has no node when this is the first reading.
    void addRow(VOX::Addr node, const QString &label, const std::optional<Counters::Values> &before,
                const std::optional<Counters::Values> &after);

    struct Line
    {
        QString text;
        /// A counter has grown, or the node has not answered.
        bool isMarked;
    };
    QVector<Line> toLines() const;

private:
    struct Row
    {
        QString node;
        QString label;
        std::optional<Counters::Values> before;
        std::optional<Counters::Values> after;

        QString cell(const QString &name) const;
    };

    QVector<Row> m_rows;
};

#endif
