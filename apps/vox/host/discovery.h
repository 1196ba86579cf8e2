#ifndef DISCOVERY_H
#define DISCOVERY_H

#include "framework/buspendingcall.h"

#include <QMap>
#include <QVector>

#include <functional>

class VOXBus;

/// Asks all nodes of @p bus for their addresses; the call collects until no more answers come.
BusPendingCall discoverNodes(VOXBus &bus);

/// The nodes that have answered, with their types, in the order of their addresses. A node that has answered
/// several times is in the list as often. Together with @p known, which an earlier discovery has given, a
/// node is as often in the list as in the one that has it more often.
QVector<unsigned int> discoveredAddrs(const BusPendingCall &discovery,
                                      const QVector<unsigned int> &known = {});

/// Who answers a broadcast that is repeated.
struct DiscoveredNodes
{
    /// As discoveredAddrs() gives them.
    QVector<unsigned int> addrs;
    /// In how many rounds a node has answered, by its address without a type.
    QMap<unsigned int, int> answeredRounds;
    int rounds = 0;
    /// Why the bus cannot be asked; else empty.
    QString problem;
};

/// Asks @p rounds times; with 0, until two rounds bring nobody new. Calls @p roundEnded after each.
DiscoveredNodes findNodes(VOXBus &bus, int rounds,
                          const std::function<void(const DiscoveredNodes &)> &roundEnded);

#endif
