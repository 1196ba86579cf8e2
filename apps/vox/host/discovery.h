#ifndef DISCOVERY_H
#define DISCOVERY_H

#include "framework/buspendingcall.h"

#include <QVector>

class VOXBus;

/// Asks all nodes of @p bus for their addresses; the call collects until no more answers come.
BusPendingCall discoverNodes(VOXBus &bus);

/// The nodes that have answered, with their types, in the order of their addresses. A node that has answered
/// several times is in the list as often. Together with @p known, which an earlier discovery has given, a
/// node is as often in the list as in the one that has it more often.
QVector<unsigned int> discoveredAddrs(const BusPendingCall &discovery,
                                      const QVector<unsigned int> &known = {});

#endif
