#include "network/motionorder_p.h"

void MotionOrder::add(const ScheduledCall &call, SchedulerQueue &queue)
{
    if (call.addrType == VOX::BCAST)
        ++m_sharedEpoch;
    else
        ++call.destination->epoch;
    if (call.addrType != VOX::GROUP)
        return;
    const QVector<VOX::Addr> members = m_members.value(call.addr);
    for (const VOX::Addr member : members)
        ++queue.destination(VOX::P2P, member).epoch;
}

bool MotionOrder::concerns(const ScheduledCall &newer, const ScheduledCall &call) const
{
    if (!call.trait.isMotion())
        return false;
    if (newer.addrType == VOX::BCAST || newer.destination == call.destination)
        return true;
    return newer.addrType == VOX::GROUP && call.addrType == VOX::P2P
        && m_members.value(newer.addr).contains(call.addr);
}
