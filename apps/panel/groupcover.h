#ifndef GROUPCOVER_H
#define GROUPCOVER_H

#include "panel/site.h"

/// How a command reaches several nodes with few frames: by groups of which all members are meant, and singly.
struct GroupCover
{
    /// Larger groups go first. @p all are the motors of the line: if all are meant, one frame to everyone
    /// does.
    static GroupCover of(const QVector<VOX::Addr> &nodes, const QVector<SiteGroup> &groups,
                         const QVector<VOX::Addr> &all);

    QVector<VOX::Addr> groups;
    QVector<VOX::Addr> singles;
};

#endif
