#ifndef VOX_NETWORK_KNOWNNODES_P_H
#define VOX_NETWORK_KNOWNNODES_P_H

#include <vox/messages/vox.h>

#include <QJsonArray>
#include <QVector>

#include <map>

struct NodeState;

/// The nodes of a network as JSON, for the next run.
namespace KnownNodes {

struct Entry
{
    /// With the node type.
    VOX::Addr addr = 0;
    QString label;
    QString serialNumber;
    bool isLegacy = false;
};

QJsonArray write(const std::map<VOX::Addr, NodeState *> &nodes);
/// Empty if there is a mistake; @p problem then names the entry.
QVector<Entry> read(const QJsonArray &nodes, QString *problem);

}

#endif
