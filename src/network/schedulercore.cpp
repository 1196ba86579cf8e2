#include "network/schedulercore_p.h"

#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"
#include "framework/serialdispatcher.h"
#include "messages/voxcalldata.h"

#include <QVariant>

#include <algorithm>
#include <utility>

namespace {
constexpr const char *SchedulerProperty = "voxScheduler";
constexpr int MoveDeadlineMs = 15000;
constexpr int StopRepeats = 2;
}

SchedulerCore::SchedulerCore(VOXScheduler &owner, VOXBus *bus)
    : m_owner(owner)
{
    m_clock.start();
    if (bus && !bus->property(SchedulerProperty).toBool()) {
        m_bus = bus;
        bus->setProperty(SchedulerProperty, true);
        connect(&bus->dispatcher(), &BusDispatcher::heard, this, &SchedulerCore::handleHeard);
        connect(&bus->dispatcher(), &BusDispatcher::allEnded, this, &SchedulerCore::endAll);
    } else if (bus) {
        qWarning("[VOXScheduler]: this bus has a scheduler already; a second one sends nothing");
    }
    for (int lane = 0; lane < VOXScheduler::LaneCount; ++lane) {
        m_lanes[static_cast<std::size_t>(lane)] =
            std::make_unique<SchedulerLane>(*this, static_cast<Lane>(lane));
        if (m_bus)
            connect(bus, &VOXBus::openChanged, m_lanes[static_cast<std::size_t>(lane)].get(),
                    &VOXBus::openChanged);
    }
}

SchedulerCore::~SchedulerCore()
{
    endAll(BusPendingCall::Canceled);
    if (m_current)
        end(m_current, BusPendingCall::Canceled);
    if (m_bus)
        m_bus->setProperty(SchedulerProperty, QVariant());
    for (auto &lane : m_lanes)
        lane.reset();
}

int SchedulerCore::lineRate() const
{
    if (fixedLineRate > 0 || !m_bus)
        return fixedLineRate;
    const auto *serial = qobject_cast<SerialDispatcher *>(&m_bus->dispatcher());
    return serial ? static_cast<int>(serial->rate()) : 0;
}

int SchedulerCore::loadPercent()
{
    return lineRate() > 0 ? m_load.percent(nowMs()) : 0;
}

VOXScheduler::LaneFigures SchedulerCore::figures(Lane lane) const
{
    const LaneRecord &record = m_records[static_cast<std::size_t>(lane)];
    VOXScheduler::LaneFigures figures = record.figures;
    constexpr int Median = 50;
    constexpr int P99 = 99;
    figures.waitMedianMs = record.waits.percentile(Median, 0);
    figures.waitP99Ms = record.waits.percentile(P99, 0);
    return figures;
}

void SchedulerCore::setPollSource(VOXScheduler::PollSource source)
{
    m_pollSource = std::move(source);
    wakePolls();
}

void SchedulerCore::wakePolls()
{
    m_pollAgainMs = 0;
    pumpLater();
}

// Taking calls in

void SchedulerCore::take(Lane lane, const BusPendingCallPointer &asker)
{
    const Pointer call = makeCall(lane, asker->message());
    call->askers.append(asker);
    admit(call);
    pump();
}

ScheduledCall::Pointer SchedulerCore::makeCall(Lane lane, const BusMessageData &message)
{
    auto call = std::make_shared<ScheduledCall>();
    BusMessageData &copy = *message.clone();
    call->message = &copy;
    if (auto *data = dynamic_cast<VOXCallData *>(&copy))
        data->setMatching(VOXCall::AskedNode);
    if (message.isPrepared())
        copy.setPrepared(true);
    else
        copy.prepare();
    call->request = BusMessage(copy.bytes());
    const VOXMessage frame(call->request);
    call->trait = VOXCommandTrait::of(frame);
    address(*call, frame);
    call->lane = call->trait.kind == VOXCommandTrait::Stop ? VOXScheduler::Stop : lane;
    call->queuedMs = nowMs();
    if (call->lane == VOXScheduler::Poll)
        call->deadlineMs = call->queuedMs + limits.pollPeriodMs;
    else if (call->trait.isMotion())
        call->deadlineMs = call->queuedMs + MoveDeadlineMs;
    const bool isRepeatable = call->trait.isHarmlessTwice && call->lane != VOXScheduler::Poll
        && call->addrType == VOX::P2P && copy.hasReply();
    if (isRepeatable && call->trait.kind == VOXCommandTrait::Stop)
        call->repeatsLeft = StopRepeats;
    else if (isRepeatable && call->destination->isRepeating)
        call->repeatsLeft = 1;
    return call;
}

/// Lets @p call go to where @p frame goes.
void SchedulerCore::address(ScheduledCall &call, const VOXMessage &frame)
{
    call.addrType = frame.addrType();
    if (call.addrType != VOX::BCAST)
        call.addr = call.addrType == VOX::P2P ? frame.destAddr(false) : frame.srcAddr(false);
    call.destination = &m_queue.destination(call.addrType, call.addr);
}

void SchedulerCore::admit(const Pointer &call)
{
    const bool isStop = call->trait.kind == VOXCommandTrait::Stop;
    if (isStop || call->trait.isMotion())
        m_motions.add(*call, m_queue);
    call->epoch = m_motions.epochOf(*call);
    if (isStop) {
        const QVector<Pointer> moves =
            m_queue.take([&](const ScheduledCall &each) { return m_motions.concerns(*call, each); });
        for (const Pointer &move : moves) {
            ++record(move->lane).figures.superseded;
            end(move, BusPendingCall::Superseded);
        }
        // What the nodes have answered so far counts.
        if (m_inner && m_inner->collectsReplies())
            m_inner->setError(BusPendingCall::Timeout);
    } else if (call->trait.kind == VOXCommandTrait::AbsoluteMove) {
        keepOrder(*call);
    }
    if (join(call))
        return;
    if (isStop || makeRoom(*call))
        m_queue.append(call);
    else
        end(call, BusPendingCall::Overflow);
}

/// Nodes take turns, and a frame for many is none of theirs: what is newer is still to come last.
void SchedulerCore::keepOrder(const ScheduledCall &move)
{
    if (move.addrType == VOX::P2P) {
        for (const Pointer &each : m_queue.calls()) {
            if (each->addrType != VOX::P2P && each->trait.isMotion() && m_motions.concerns(*each, move))
                each->destination->turn = 0;
        }
        return;
    }
    const QVector<Pointer> older = m_queue.take([&](const ScheduledCall &each) {
        return each.trait.kind == VOXCommandTrait::AbsoluteMove && m_motions.concerns(move, each);
    });
    for (const Pointer &each : older) {
        ++record(each->lane).figures.superseded;
        end(each, BusPendingCall::Superseded);
    }
}

/// Lets @p call take part in the one that waits before it, or take its place. False if it has to wait itself.
bool SchedulerCore::join(const Pointer &call)
{
    const Pointer last = call->addrType == VOX::P2P ? m_queue.lastTo(*call->destination) : nullptr;
    if (!last)
        return false;
    const bool isSame = last->message->bytes() == call->message->bytes()
        && (call->trait.kind == VOXCommandTrait::Query || call->trait.kind == VOXCommandTrait::Stop);
    const bool isNewer = last->trait.kind == VOXCommandTrait::AbsoluteMove
        && call->trait.kind == VOXCommandTrait::AbsoluteMove;
    if (!isSame && !isNewer)
        return false;
    m_queue.setLane(*last, std::min(last->lane, call->lane));
    last->deadlineMs =
        last->deadlineMs < 0 || call->deadlineMs < 0 ? -1 : std::max(last->deadlineMs, call->deadlineMs);
    if (isNewer) {
        ++record(last->lane).figures.superseded;
        end(last, BusPendingCall::Superseded);
        last->epoch = call->epoch;
        last->repeatsLeft = call->repeatsLeft;
        last->wasBusy = false;
    }
    if (isNewer || call->message->timeout() > last->message->timeout()) {
        last->message = call->message;
        last->request = call->request;
    }
    // It may have waited to be repeated.
    if (isNewer || call->trait.kind == VOXCommandTrait::Stop)
        last->notBeforeMs = 0;
    last->askers += call->askers;
    return true;
}

bool SchedulerCore::makeRoom(const ScheduledCall &call)
{
    const bool isAutomatic = call.lane >= VOXScheduler::Automatic;
    if (isAutomatic ? call.destination->automatic >= limits.automaticPerNode
                    : call.destination->others >= limits.perNode)
        return false;
    if (m_queue.calls().size() < limits.all)
        return true;
    for (const Lane lane : {VOXScheduler::Poll, VOXScheduler::Automatic}) {
        const Pointer victim = m_queue.oldest(lane);
        if (!victim)
            continue;
        m_queue.remove(victim);
        end(victim, BusPendingCall::Overflow);
        return true;
    }
    return false;
}

void SchedulerCore::end(const Pointer &call, BusPendingCall::Error error)
{
    const bool wasEnding = std::exchange(m_isEnding, true);
    const QVector<BusPendingCallPointer> askers = std::exchange(call->askers, {});
    for (const BusPendingCallPointer &asker : askers) {
        // To a group call a time-out is success.
        asker->setError(error);
    }
    m_isEnding = wasEnding;
}

void SchedulerCore::endLane(Lane lane, BusPendingCall::Error error)
{
    const QVector<Pointer> calls = m_queue.take([=](const ScheduledCall &call) { return call.lane == lane; });
    for (const Pointer &call : calls)
        end(call, error);
}

void SchedulerCore::endAll(BusPendingCall::Error error)
{
    m_timer.stop();
    const QVector<Pointer> calls = m_queue.take([](const ScheduledCall &) { return true; });
    for (const Pointer &call : calls)
        end(call, error);
}

void SchedulerCore::forget(const BusPendingCallData *asker)
{
    if (m_isEnding)
        return;
    const bool isCurrent = m_current
        && std::any_of(m_current->askers.cbegin(), m_current->askers.cend(),
                       [=](const BusPendingCallPointer &each) { return each.get() == asker; });
    const Pointer call = isCurrent ? m_current : m_queue.callOf(asker);
    if (!call)
        return;
    call->askers.erase(std::remove_if(call->askers.begin(), call->askers.end(),
                                      [=](const BusPendingCallPointer &each) { return each.get() == asker; }),
                       call->askers.end());
    if (call->askers.isEmpty() && !isCurrent)
        m_queue.remove(call);
}
