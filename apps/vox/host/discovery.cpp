#include "vox/host/discovery.h"

#include "framework/busobject.h"
#include "messages/kvr.h"
#include "messages/voxcall.h"
#include "transport/voxbus.h"

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
    return BusObject(&bus, nullptr)
        .call(VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST,
                      VOXCall::DefaultSharedTimeout));
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
