#ifndef VOX_SIMULATION_NODEMODEL_P_H
#define VOX_SIMULATION_NODEMODEL_P_H

#include <vox/messages/vox.h>

#include <QString>
#include <QStringList>

class KVRDevice;

/// An observer of emulated nodes.
class NodeObserver
{
public:
    /// Called after a host has asked @p node to change a setting, whether that was refused or not, and when
    /// a motor has come to rest.
    virtual void settingChanged(KVRDevice &node) = 0;
    /// Called while @p node, which was made with @p addr, is being destroyed.
    virtual void nodeDestroyed(const KVRDevice *node, VOX::Addr addr) = 0;

protected:
    ~NodeObserver() = default;
};

/// A kind of node that can be emulated.
struct NodeModel
{
    QString name;
    /// Makes a node that is on no bus. @p observer must outlive it.
    KVRDevice *(*create)(VOX::Addr addr, NodeObserver &observer);
};

/// Null if there is no model of this name.
const NodeModel *findNodeModel(const QString &name);
QStringList nodeModelNames();

#endif
