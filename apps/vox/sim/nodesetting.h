#ifndef NODESETTING_H
#define NODESETTING_H

#include "devices/kvrdevice.h"
#include "vox/sim/jsonplace.h"

#include <QVector>

/// A setting: who has it, and how it is read and written.
struct NodeSetting
{
    QString key;
    bool (*isOf)(KVRDevice &node);
    void (*read)(KVRDevice &node, const JsonPlace &place);
    /// Null for what no host can change.
    QJsonValue (*write)(KVRDevice &node);
};

template <typename Node>
bool isA(KVRDevice &node)
{
    return qobject_cast<Node *>(&node) != nullptr;
}

template <typename Node, void (*Read)(Node &, const JsonPlace &)>
void readAs(KVRDevice &node, const JsonPlace &place)
{
    Read(static_cast<Node &>(node), place);
}

template <typename Node, QJsonValue (*Write)(Node &)>
QJsonValue writeAs(KVRDevice &node)
{
    return Write(static_cast<Node &>(node));
}

template <typename Node, void (*Read)(Node &, const JsonPlace &), QJsonValue (*Write)(Node &)>
NodeSetting setting(const QString &key)
{
    return {key, isA<Node>, readAs<Node, Read>, writeAs<Node, Write>};
}

template <typename Node, void (*Read)(Node &, const JsonPlace &)>
NodeSetting constant(const QString &key)
{
    return {key, isA<Node>, readAs<Node, Read>, nullptr};
}

/// Of a node of any model.
QVector<NodeSetting> commonSettings();
/// Of motors, those that a single model has included.
QVector<NodeSetting> motorSettings();

#endif
