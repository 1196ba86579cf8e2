#include "panel/groupcover.h"

#include "network/voxnetwork.h"

#include <QSet>

#include <algorithm>

namespace {
/// One frame for a single node is answered, and one for a group is not.
constexpr int FewestMembers = 2;

template <typename Addresses>
bool isWithin(const Addresses &members, const QSet<VOX::Addr> &nodes)
{
    return std::all_of(members.cbegin(), members.cend(),
                       [&](VOX::Addr addr) { return nodes.contains(addr); });
}
}

GroupCover GroupCover::of(const QVector<VOX::Addr> &nodes, const QVector<SiteGroup> &groups,
                          const QVector<VOX::Addr> &all)
{
    if (nodes.size() >= FewestMembers && nodes.size() == all.size()
        && isWithin(all, QSet<VOX::Addr>(nodes.cbegin(), nodes.cend())))
        return {{VOXNetwork::Everyone}, {}};
    GroupCover cover;
    QSet<VOX::Addr> left(nodes.cbegin(), nodes.cend());
    QVector<SiteGroup> larger = groups;
    std::stable_sort(larger.begin(), larger.end(), [](const SiteGroup &one, const SiteGroup &other) {
        return one.members.size() > other.members.size();
    });
    for (const SiteGroup &group : qAsConst(larger)) {
        if (group.members.size() < FewestMembers || !isWithin(group.members, left))
            continue;
        cover.groups += group.addr;
        for (const VOX::Addr addr : group.members)
            left.remove(addr);
    }
    for (const VOX::Addr addr : nodes) {
        if (left.contains(addr))
            cover.singles += addr;
    }
    return cover;
}
