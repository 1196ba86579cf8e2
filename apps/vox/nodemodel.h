#ifndef NODEMODEL_H
#define NODEMODEL_H

#include <QString>

class KVRDevice;
class VOXBus;

/// A kind of node that the program can emulate.
struct NodeModel
{
    QString name;
    KVRDevice *(*create)(unsigned int addr, VOXBus *bus);
};

/// Null if there is no model of this name.
const NodeModel *findNodeModel(const QString &name);
/// All names, for people.
QString nodeModelNames();

/// Reads the address of a node, six hexadecimal digits. Addresses that mean something else are refused.
bool readNodeAddr(const QString &text, unsigned int *addr, QString *problem);

#endif
