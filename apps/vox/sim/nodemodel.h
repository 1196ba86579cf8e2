#ifndef NODEMODEL_H
#define NODEMODEL_H

#include <QString>

class KVRDevice;
class VOXMessage;

/// An observer of the requests that emulated nodes handle.
class NodeObserver
{
public:
    /// Called after @p node has handled @p request, whether it has refused it or not.
    virtual void requestHandled(KVRDevice &node, const VOXMessage &request) = 0;

protected:
    ~NodeObserver() = default;
};

/// A kind of node that the program can emulate.
struct NodeModel
{
    QString name;
    /// Makes a node that is on no bus. @p observer must outlive it.
    KVRDevice *(*create)(unsigned int addr, NodeObserver &observer);
};

/// Null if there is no model of this name.
const NodeModel *findNodeModel(const QString &name);
/// All names, for people.
QString nodeModelNames();

#endif
