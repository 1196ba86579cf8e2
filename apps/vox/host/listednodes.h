#ifndef LISTEDNODES_H
#define LISTEDNODES_H

#include "messages/vox.h"

#include <QMap>
#include <QString>

/// The nodes of a building, as a file lists them: a network file, or what `vox scan --json` has printed.
struct ListedNodes
{
    /// What the file says of a node. Null where it says nothing.
    struct Node
    {
        QString type;
        QString label;
        QString version;
    };

    /// False if @p fileName is no such list; @p problem says why, in one line.
    bool read(const QString &fileName, QString *problem);

    /// By address, without node types.
    QMap<VOX::Addr, Node> nodes;
};

#endif
