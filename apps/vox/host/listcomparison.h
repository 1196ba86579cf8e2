#ifndef LISTCOMPARISON_H
#define LISTCOMPARISON_H

#include "vox/host/foundnode.h"
#include "vox/host/listednodes.h"

/// How the nodes that were found differ from those of a list.
class ListComparison
{
public:
    ListComparison(const ListedNodes &list, const QVector<FoundNode> &found);

    bool isSame() const { return m_missing.isEmpty() && m_new.isEmpty() && m_changed.isEmpty(); }
    QJsonObject toJson() const;
    void print(const QString &fileName) const;

private:
    /// A value that is another one than the list says.
    struct Change
    {
        const char *what;
        QString listed;
        QString found;
    };

    static QVector<Change> changesOf(const FoundNode &node, const ListedNodes::Node &listed);

    QMap<VOX::Addr, ListedNodes::Node> m_missing;
    QVector<FoundNode> m_new;
    QMap<VOX::Addr, QVector<Change>> m_changed;
    QVector<FoundNode> m_weak;
    int m_listed;
};

#endif
