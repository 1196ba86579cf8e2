#include "vox/host/discovery.h"

#include "framework/busobject.h"
#include "messages/kvr.h"
#include "network/discoveryrounds_p.h"
#include "transport/voxbus.h"

#include <QSet>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {
bool isBefore(unsigned int a, unsigned int b)
{
    return std::pair(a & VOX::AddrMask, a) < std::pair(b & VOX::AddrMask, b);
}
}

BusPendingCall discoverNodes(VOXBus &bus)
{
    return BusObject(&bus, nullptr).call(DiscoveryRounds::question());
}

QVector<unsigned int> discoveredAddrs(const BusPendingCall &discovery, const QVector<unsigned int> &known)
{
    QVector<unsigned int> addrs;
    const QList<BusMessage> replies = discovery.replies();
    for (const BusMessage &answer : replies) {
        const VOXMessage reply(answer);
        if (reply.cmd() == KVR::POST_NODE_ADDR)
            addrs += reply.srcAddr(true);
    }
    std::sort(addrs.begin(), addrs.end(), isBefore);
    QVector<unsigned int> all;
    std::set_union(addrs.cbegin(), addrs.cend(), known.cbegin(), known.cend(), std::back_inserter(all),
                   isBefore);
    return all;
}

DiscoveredNodes findNodes(VOXBus &bus, int rounds,
                          const std::function<void(const DiscoveredNodes &)> &roundEnded)
{
    DiscoveredNodes nodes;
    for (DiscoveryRounds progress(rounds); !progress.isOver();) {
        const BusPendingCall discovery = discoverNodes(bus);
        discovery.waitForFinished();
        nodes.problem = discovery.errorString();
        if (discovery.isError())
            break;
        QSet<unsigned int> here;
        const QVector<unsigned int> answered = discoveredAddrs(discovery);
        for (const unsigned int addr : answered)
            here.insert(addr & VOX::AddrMask);
        for (const unsigned int addr : qAsConst(here))
            ++nodes.answeredRounds[addr];
        const QVector<unsigned int> known = nodes.addrs;
        nodes.addrs = discoveredAddrs(discovery, known);
        progress.handleRound(static_cast<int>(nodes.addrs.size() - known.size()));
        nodes.rounds = progress.count();
        roundEnded(nodes);
    }
    return nodes;
}
