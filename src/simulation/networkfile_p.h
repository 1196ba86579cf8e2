#ifndef VOX_SIMULATION_NETWORKFILE_P_H
#define VOX_SIMULATION_NETWORKFILE_P_H

#include "simulation/nodetable_p.h"

#include <vox/simulation/voxfault.h>

#include <QJsonObject>

/// What a network file describes.
struct Network
{
    /// @p observer must outlive it.
    explicit Network(NodeObserver &observer)
        : nodes(observer)
    {
    }

    QString busUrl;
    NodeTable nodes;
    QVector<VOXFault> faults;
};

/// Fills the empty @p network with what @p json describes:
///
///     {"bus": URL, "nodes": [{"model": MODEL, "address": "000101", ...settings}, ...], "faults": [WORDS,
///     ...], "recorded": anything}
///
/// "address" may be a range, "000101-000164"; then "{n}" in a label is the number of the node in it. False if
/// there is a mistake; @p problem names it with its path, and @p network is then of no use.
bool readNetwork(const QJsonObject &json, Network *network, QString *problem);

#endif
