#include "network/schedulercore_p.h"

#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"

#include <QTimerEvent>

#include <algorithm>
#include <limits>
#include <utility>

namespace {
constexpr int BitsPerByte = 11;
constexpr int MsPerSecond = 1000;
constexpr qint64 Never = std::numeric_limits<qint64>::max();

/// What other hosts send is followed by a pause.
constexpr int HeardPauseMs = 5;
/// How often the load is looked at while it holds something up.
constexpr int LoadCheckMs = 250;
/// Of a line that others fill, polls get one part in so many.
constexpr int PollShare = 10;
/// Below this, a burst of others is no full line.
constexpr int FullLineMs = 900;
}

void SchedulerCore::pump()
{
    if (m_isPumping || m_current || !m_bus || !m_bus->isOpen())
        return;
    m_isPumping = true;
    expire();
    const int pauseMs = m_bus->dispatcher().lineFreeIn();
    if (pauseMs > 0) {
        m_timer.start(pauseMs, Qt::PreciseTimer, this);
    } else {
        settleLoad();
        const QPointer<SchedulerCore> self(this);
        const Pointer call = choose();
        // The poll source is somebody else's code.
        if (!self)
            return;
        if (call)
            send(call);
        else
            armTimer();
        if (!self)
            return;
    }
    m_isPumping = false;
}

void SchedulerCore::pumpLater()
{
    m_timer.start(0, this);
}

void SchedulerCore::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    pump();
}

void SchedulerCore::expire()
{
    const qint64 now = nowMs();
    const QVector<Pointer> late = m_queue.take(
        [=](const ScheduledCall &call) { return call.deadlineMs >= 0 && call.deadlineMs <= now; });
    for (const Pointer &call : late) {
        ++record(call->lane).figures.expired;
        end(call, BusPendingCall::Expired);
    }
}

ScheduledCall::Pointer SchedulerCore::choose()
{
    const qint64 now = nowMs();
    if (Pointer stop = m_queue.next(now, VOXScheduler::Stop, VOXScheduler::Stop))
        return stop;
    const int percent = loadPercent();
    const int pollsMs = m_load.pollsMs(now);
    const int othersMs = m_load.othersMs(now);
    const Lane last =
        percent > limits.automaticLoadPercent ? VOXScheduler::Configure : VOXScheduler::Automatic;
    Pointer call = m_queue.next(now, VOXScheduler::User, last);
    const bool isPollsTurn = call ? othersMs > FullLineMs && pollsMs * (PollShare - 1) < othersMs - FullLineMs
                                  : (percent <= limits.maxLoadPercent && m_pace.freeMs() <= now)
            || pollsMs < LineLoad::WindowMs / PollShare;
    if (isPollsTurn) {
        if (Pointer poll = nextPoll())
            return poll;
    }
    return call;
}

ScheduledCall::Pointer SchedulerCore::nextPoll()
{
    const qint64 now = nowMs();
    Pointer call = m_queue.next(now, VOXScheduler::Poll, VOXScheduler::Poll);
    if (call || !m_pollSource || now < m_pollAgainMs)
        return call;
    int againInMs = -1;
    const QPointer<SchedulerCore> self(this);
    const std::optional<VOXCall> poll = m_pollSource(&againInMs);
    if (!self)
        return nullptr;
    if (poll)
        return makeCall(VOXScheduler::Poll, poll->sharedData());
    m_pollAgainMs = againInMs < 0 ? Never : nowMs() + againInMs;
    return nullptr;
}

void SchedulerCore::send(const Pointer &call)
{
    m_timer.stop();
    m_queue.remove(call);
    m_current = call;
    call->destination->turn = ++m_turn;
    LaneRecord &lane = record(call->lane);
    if (std::exchange(call->hasBeenSent, true)) {
        ++lane.figures.repeated;
    } else {
        ++lane.figures.sent;
        lane.waits.add(static_cast<int>(nowMs() - call->queuedMs));
    }
    m_inner = BusPendingCallPointer(call->message->createPendingCall(call->message, m_bus));
    m_watcher = std::make_unique<BusPendingCallWatcher>(BusPendingCall(m_inner));
    connect(m_watcher.get(), &BusPendingCallWatcher::finished, this, &SchedulerCore::handleEnd);
    m_sentNs = m_clock.nsecsElapsed();
    m_isLoadOpen = true;
    m_isOpenLoadPoll = call->lane == VOXScheduler::Poll;
    m_bus->dispatcher().enqueue(m_inner.get());
}

void SchedulerCore::settleLoad()
{
    if (!std::exchange(m_isLoadOpen, false))
        return;
    const qint64 now = m_clock.nsecsElapsed();
    m_load.add(now / LineLoad::NsPerMs, now - m_sentNs, m_isOpenLoadPoll);
    if (lineRate() > 0)
        m_pace.add(now / LineLoad::NsPerMs, (now - m_sentNs) / LineLoad::NsPerMs, limits.maxLoadPercent);
    const int percent = loadPercent();
    if (std::exchange(m_toldLoad, percent) != percent)
        Q_EMIT m_owner.loadChanged(percent);
}

void SchedulerCore::armTimer()
{
    const qint64 now = nowMs();
    qint64 next = m_queue.nextChange(now);
    const auto consider = [&](qint64 timeMs) { next = next < 0 ? timeMs : std::min(next, timeMs); };
    // Something that the load holds up.
    const qint64 heldMs =
        m_pace.freeMs() > now ? std::min(m_pace.freeMs(), now + LoadCheckMs) : now + LoadCheckMs;
    if (m_queue.next(now, VOXScheduler::User, VOXScheduler::Poll))
        consider(heldMs);
    if (m_pollSource && m_pollAgainMs != Never)
        consider(m_pollAgainMs <= now ? heldMs : m_pollAgainMs);
    if (next >= 0)
        m_timer.start(static_cast<int>(std::max<qint64>(next - now, 0)), Qt::PreciseTimer, this);
}

void SchedulerCore::handleHeard(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (frame.data().size() < VOXMessage::MinLength)
        return;
    if (!m_current && !m_isLoadOpen && lineRate() > 0) {
        const qint64 bits = qint64{frame.data().size()} * BitsPerByte;
        m_load.add(nowMs(), (bits * MsPerSecond / lineRate() + HeardPauseMs) * LineLoad::NsPerMs, false);
    }
    // Some adapters hear what they send.
    const bool isEcho = m_current && frame.data() == m_current->request.data();
    if (isEcho || frame.destAddr(false) == (VOX::HostAddr & VOX::AddrMask))
        return;
    // Another host moves or stops the node: what it wants is newer.
    const VOXCommandTrait trait = VOXCommandTrait::of(frame);
    if (trait.kind != VOXCommandTrait::Stop && !trait.isMotion())
        return;
    ScheduledCall foreign;
    address(foreign, frame);
    m_motions.add(foreign, m_queue);
}
