#ifndef VOX_SIMULATION_NODESETTING_P_H
#define VOX_SIMULATION_NODESETTING_P_H

#include "devices/kvrdevice.h"
#include "simulation/voxjsonplace_p.h"

#include <QVector>

/// A setting: which nodes have it, and how it is read and written.
struct NodeSetting
{
    QString key;
    bool (*isOf)(KVRDevice &node);
    void (*read)(KVRDevice &node, const VOXJsonPlace &place);
    /// Null for a setting that no host can change.
    QJsonValue (*write)(KVRDevice &node);
};

template <typename Node>
bool isA(KVRDevice &node)
{
    return qobject_cast<Node *>(&node) != nullptr;
}

template <typename Node, void (*Read)(Node &, const VOXJsonPlace &)>
void readAs(KVRDevice &node, const VOXJsonPlace &place)
{
    Read(static_cast<Node &>(node), place);
}

template <typename Node, QJsonValue (*Write)(Node &)>
QJsonValue writeAs(KVRDevice &node)
{
    return Write(static_cast<Node &>(node));
}

template <typename Node, void (*Read)(Node &, const VOXJsonPlace &), QJsonValue (*Write)(Node &)>
NodeSetting setting(const QString &key)
{
    return {key, isA<Node>, readAs<Node, Read>, writeAs<Node, Write>};
}

template <typename Node, void (*Read)(Node &, const VOXJsonPlace &)>
NodeSetting constant(const QString &key)
{
    return {key, isA<Node>, readAs<Node, Read>, nullptr};
}

/// The settings of a node of any model.
QVector<NodeSetting> commonSettings();
/// The settings of motors, including those that only one model has.
QVector<NodeSetting> motorSettings();

#endif
