#include "network/schedulerqueue_p.h"

#include "framework/buspendingcalldata.h"

#include <QVarLengthArray>

#include <algorithm>
#include <tuple>

namespace {
constexpr int TypeShift = 32;

/// The smaller goes first. Among stops, first ones go before repeated ones, and these before what checks
/// them.
auto placeOf(const ScheduledCall &call)
{
    const bool isStop = call.trait.kind == VOXCommandTrait::Stop;
    const bool isFirst = call.lane != VOXScheduler::Stop || (isStop && !call.hasBeenSent);
    return std::make_tuple(call.lane, !isFirst, call.lane == VOXScheduler::Stop && !isStop,
                           call.destination->turn);
}

quint64 keyOf(VOX::AddrType type, VOX::Addr addr)
{
    return quint64(type) << TypeShift | addr;
}
}

Destination &SchedulerQueue::destination(VOX::AddrType type, VOX::Addr addr)
{
    return m_destinations[keyOf(type, addr)];
}

const Destination *SchedulerQueue::find(VOX::Addr node) const
{
    const auto found = m_destinations.find(keyOf(VOX::P2P, node));
    return found == m_destinations.cend() ? nullptr : &found->second;
}

int SchedulerQueue::count(VOXScheduler::Lane lane) const
{
    return static_cast<int>(std::count_if(m_calls.cbegin(), m_calls.cend(),
                                          [=](const Pointer &call) { return call->lane == lane; }));
}

int &SchedulerQueue::countOf(ScheduledCall &call)
{
    return call.lane >= VOXScheduler::Automatic ? call.destination->automatic : call.destination->others;
}

void SchedulerQueue::append(const Pointer &call)
{
    ++countOf(*call);
    m_calls.append(call);
}

void SchedulerQueue::prepend(const Pointer &call)
{
    ++countOf(*call);
    m_calls.prepend(call);
}

void SchedulerQueue::remove(const Pointer &call)
{
    if (m_calls.removeOne(call))
        --countOf(*call);
}

void SchedulerQueue::setLane(ScheduledCall &call, VOXScheduler::Lane lane)
{
    --countOf(call);
    call.lane = lane;
    ++countOf(call);
}

ScheduledCall::Pointer SchedulerQueue::next(qint64 nowMs, VOXScheduler::Lane first,
                                            VOXScheduler::Lane last) const
{
    // A call that waits to be repeated holds up the younger ones of its lane and destination.
    QVarLengthArray<const ScheduledCall *, 16> held;
    const auto isHeld = [&](const ScheduledCall &call) {
        return std::any_of(held.cbegin(), held.cend(), [&](const ScheduledCall *each) {
            return each->destination == call.destination && each->lane == call.lane;
        });
    };
    Pointer best;
    for (const Pointer &call : m_calls) {
        if (call->lane < first || call->lane > last || isHeld(*call))
            continue;
        if (call->notBeforeMs > nowMs) {
            if (call->lane != VOXScheduler::Stop)
                held.append(call.get());
            continue;
        }
        const bool isBetter = !best || placeOf(*call) < placeOf(*best);
        if (isBetter)
            best = call;
    }
    return best;
}

ScheduledCall::Pointer SchedulerQueue::lastTo(const Destination &destination) const
{
    const auto found = std::find_if(m_calls.crbegin(), m_calls.crend(),
                                    [&](const Pointer &call) { return call->destination == &destination; });
    return found == m_calls.crend() ? nullptr : *found;
}

ScheduledCall::Pointer SchedulerQueue::oldest(VOXScheduler::Lane lane) const
{
    const auto found = std::find_if(m_calls.cbegin(), m_calls.cend(),
                                    [=](const Pointer &call) { return call->lane == lane; });
    return found == m_calls.cend() ? nullptr : *found;
}

ScheduledCall::Pointer SchedulerQueue::callOf(const BusPendingCallData *asker) const
{
    for (const Pointer &call : m_calls) {
        for (const BusPendingCallPointer &each : qAsConst(call->askers)) {
            if (each.get() == asker)
                return call;
        }
    }
    return nullptr;
}

qint64 SchedulerQueue::nextChange(qint64 nowMs) const
{
    qint64 earliest = -1;
    const auto consider = [&](qint64 timeMs) {
        if (timeMs > nowMs && (earliest < 0 || timeMs < earliest))
            earliest = timeMs;
    };
    for (const Pointer &call : m_calls) {
        consider(call->notBeforeMs);
        consider(call->deadlineMs);
    }
    return earliest;
}
