#ifndef LINELABELS_H
#define LINELABELS_H

#include "vox/line/lineitem.h"

#include <QHash>

/// The labels of nodes, as far as they have been heard.
class LineLabels
{
public:
    /// Of more nodes than a line has, no label is kept.
    static constexpr int MaxNodes = 4096;

    /// Takes the label that a node tells, or that it has just been given.
    void hear(const LineItem &item);
    /// The label of the node at @p addr; empty if it is not known, or if there is none.
    QString of(unsigned int addr) const { return m_labels.value(addr); }

private:
    QHash<unsigned int, QString> m_labels;
    /// The node that is being given a label, which it has not acknowledged yet.
    unsigned int m_asked = 0;
    QString m_wanted;
};

#endif
