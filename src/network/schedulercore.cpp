#include "network/schedulercore_p.h"

#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"
#include "framework/serialdispatcher.h"
#include "messages/kvranswer.h"
#include "messages/voxcalldata.h"

#include <QTimerEvent>
#include <QVariant>

#include <algorithm>
#include <limits>
#include <utility>

namespace {
constexpr const char *SchedulerProperty = "voxScheduler";
constexpr int BitsPerByte = 11;
constexpr int MsPerSecond = 1000;
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 Never = std::numeric_limits<qint64>::max();

constexpr int MoveDeadlineMs = 15000;
constexpr int RepeatMs = 30;
constexpr int BusyMs = 500;
constexpr int StopRepeats = 2;
/// What other hosts send is followed by a pause.
constexpr int HeardPauseMs = 5;
/// How long an acknowledgement may be late.
constexpr int LateAckMs = 5000;
/// How often the load is looked at while it holds something up.
constexpr int LoadCheckMs = 250;
/// Of a line that others fill, polls get one part in so many.
constexpr int PollShare = 10;
/// Below this, a burst of others is no full line.
constexpr int FullLineMs = 900;

bool isBusyNack(const BusMessage &reply)
{
    return KVR::getNackReply(VOXMessage(reply)) == KVR::NACK_BUSY;
}
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
    call->addrType = frame.addrType();
    if (call->addrType != VOX::BCAST)
        call->addr = call->addrType == VOX::P2P ? frame.destAddr(false) : frame.srcAddr(false);
    call->destination = &m_queue.destination(call->addrType, call->addr);
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

void SchedulerCore::admit(const Pointer &call)
{
    const bool isStop = call->trait.kind == VOXCommandTrait::Stop;
    if (isStop || call->trait.isMotion())
        makeObsolete(*call);
    call->epoch = epochOf(*call);
    if (isStop) {
        const QVector<Pointer> moves =
            m_queue.take([&](const ScheduledCall &each) { return concerns(*call, each); });
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
            if (each->addrType != VOX::P2P && each->trait.isMotion() && concerns(*each, move))
                each->destination->turn = 0;
        }
        return;
    }
    const QVector<Pointer> older = m_queue.take([&](const ScheduledCall &each) {
        return each.trait.kind == VOXCommandTrait::AbsoluteMove && concerns(move, each);
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

/// Notes that older moves and stops of the same nodes are not to be repeated.
void SchedulerCore::makeObsolete(const ScheduledCall &call)
{
    if (call.addrType == VOX::BCAST)
        ++m_sharedEpoch;
    else
        ++call.destination->epoch;
    if (call.addrType != VOX::GROUP)
        return;
    const QVector<VOX::Addr> members = m_members.value(call.addr);
    for (const VOX::Addr member : members)
        ++m_queue.destination(VOX::P2P, member).epoch;
}

quint64 SchedulerCore::epochOf(const ScheduledCall &call) const
{
    return call.destination->epoch + m_sharedEpoch;
}

/// Whether the move @p call is one of nodes that @p newer stops, or sends elsewhere.
bool SchedulerCore::concerns(const ScheduledCall &newer, const ScheduledCall &call) const
{
    if (!call.trait.isMotion())
        return false;
    if (newer.addrType == VOX::BCAST || newer.destination == call.destination)
        return true;
    return newer.addrType == VOX::GROUP && call.addrType == VOX::P2P
        && m_members.value(newer.addr).contains(call.addr);
}

// Sending

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
    const bool isPollsTurn = call
        ? othersMs > FullLineMs && pollsMs * (PollShare - 1) < othersMs - FullLineMs
        : percent <= limits.maxLoadPercent || pollsMs < LineLoad::WindowMs / PollShare;
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
    m_load.add(now / NsPerMs, now - m_sentNs, m_isOpenLoadPoll);
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
    if (m_queue.next(now, VOXScheduler::User, VOXScheduler::Poll))
        consider(now + LoadCheckMs);
    if (m_pollSource && m_pollAgainMs != Never)
        consider(std::max(m_pollAgainMs, now + (m_pollAgainMs <= now ? LoadCheckMs : 0)));
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
        m_load.add(nowMs(), (bits * MsPerSecond / lineRate() + HeardPauseMs) * NsPerMs, false);
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
    foreign.addrType = frame.addrType();
    foreign.addr = foreign.addrType == VOX::P2P ? frame.destAddr(false) : frame.srcAddr(false);
    foreign.destination =
        &m_queue.destination(foreign.addrType, foreign.addrType == VOX::BCAST ? 0 : foreign.addr);
    makeObsolete(foreign);
}

// Ends

void SchedulerCore::handleEnd()
{
    // Whoever emits the signal does not touch it any more. To delete it from the event loop would cost more
    // than all else here.
    const std::unique_ptr<BusPendingCallWatcher> watcher = std::move(m_watcher);
    const QPointer<SchedulerCore> self(this);
    const Pointer call = std::exchange(m_current, nullptr);
    m_inner = {};
    if (!call)
        return;
    const BusPendingCall::Error error = watcher->error();
    // The bus is closing or dying: nothing is sent from here.
    if (error == BusPendingCall::Canceled || error == BusPendingCall::NotOpen) {
        m_isLoadOpen = false;
        end(call, error);
        pumpLater();
        return;
    }
    if (error == BusPendingCall::Timeout && VOXMessage(call->request).isAck())
        call->destination->lostAckMs = nowMs();
    if (!repeat(call, error, isBusyNack(watcher->reply()))) {
        report(call, *watcher);
        if (!self)
            return;
        endWith(call, *watcher);
    }
    pump();
    if (self)
        tell();
}

/// Lets @p call be sent once more, if that helps and does no harm.
bool SchedulerCore::repeat(const Pointer &call, BusPendingCall::Error error, bool isBusy)
{
    const bool isUnanswered = error == BusPendingCall::Timeout && call->repeatsLeft > 0;
    const bool waitsForNode = isBusy && call->trait.isHarmlessTwice && !call->wasBusy;
    if (call->askers.isEmpty() || (!isUnanswered && !waitsForNode))
        return false;
    const bool isMove = call->trait.kind == VOXCommandTrait::Stop || call->trait.isMotion();
    if (isMove && epochOf(*call) != call->epoch)
        return false;
    if (isUnanswered)
        --call->repeatsLeft;
    else
        call->wasBusy = true;
    call->notBeforeMs = nowMs() + (isUnanswered ? RepeatMs : BusyMs);
    // All first stops go before any second one.
    if (call->lane == VOXScheduler::Stop)
        m_queue.append(call);
    else
        m_queue.prepend(call);
    return true;
}

/// Counts the end of @p call, and tells of it.
void SchedulerCore::report(const Pointer &call, const BusPendingCallWatcher &end)
{
    if (call->addrType != VOX::P2P || !call->message->hasReply())
        return;
    Destination &node = *call->destination;
    VOXScheduler::LaneFigures &lane = record(call->lane).figures;
    if (end.isError()) {
        ++lane.unanswered;
        ++node.figures.unanswered;
        if (call->isCheckOfStop)
            checkStop(*call, BusMessage());
        Q_EMIT m_owner.unanswered(call->addr, call->request);
        return;
    }
    const BusMessage reply = end.reply();
    const int answerMs = static_cast<int>((m_clock.nsecsElapsed() - m_sentNs) / NsPerMs);
    ++(KVR::isNack(VOXMessage(reply)) ? lane.refused : lane.answered);
    ++node.figures.answered;
    node.answerMs.add(answerMs);
    checkStop(*call, reply);
    Q_EMIT m_owner.answered(call->addr, call->request, reply, answerMs);
}

/// A late acknowledgement of a move can end the stop after it. The status shows what the stop has done.
void SchedulerCore::checkStop(const ScheduledCall &call, const BusMessage &reply)
{
    Destination &node = *call.destination;
    if (call.trait.kind == VOXCommandTrait::Stop && node.lostAckMs >= 0
        && nowMs() - node.lostAckMs < LateAckMs) {
        node.lostAckMs = -1;
        // The older generation has no status to tell.
        if (VOXMessage(call.request).cmd() != KVR::CTRL_STOP) {
            m_queue.append(makeCall(VOXScheduler::Stop, *call.message));
            return;
        }
        const VOX::Addr dest = VOXMessage(call.request).destAddr(true);
        const Pointer check =
            makeCall(VOXScheduler::Stop,
                     VOXCall(KVR::findCmd(KVR::GET_MOTOR_STATUS), VOX::HostAddr, dest, 0).sharedData());
        check->isCheckOfStop = true;
        m_queue.append(check);
    } else if (call.isCheckOfStop) {
        const auto status = KVRAnswer::from<KVRAnswer::MotorStatus>(reply);
        if (status && status->state != KVRMotor::STATE_RUNNING)
            return;
        const VOX::Addr dest = VOXMessage(call.request).destAddr(true);
        VOXCall stop(KVR::findCmd(KVR::CTRL_STOP), VOX::HostAddr, dest, 0);
        stop.setAck(true);
        stop.data()[VOXMessage::HeaderLength] = static_cast<char>(0xff);
        m_queue.append(makeCall(VOXScheduler::Stop, stop.sharedData()));
    }
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

/// Gives all who ask what the call on the bus has got.
void SchedulerCore::endWith(const Pointer &call, const BusPendingCallWatcher &inner)
{
    const bool wasEnding = std::exchange(m_isEnding, true);
    for (const auto &lane : m_lanes)
        lane->calls().setTelling(true);
    const QVector<BusPendingCallPointer> askers = std::exchange(call->askers, {});
    for (const BusPendingCallPointer &asker : askers) {
        if (inner.isError()) {
            asker->setError(inner.error());
        } else if (asker->collectsReplies()) {
            const QList<BusMessage> replies = inner.replies();
            for (const BusMessage &reply : replies)
                asker->setReply(reply);
            asker->setError(BusPendingCall::Timeout);
        } else if (call->message->hasReply()) {
            asker->setReply(inner.reply());
        } else {
            asker->finished();
        }
    }
    for (const auto &lane : m_lanes)
        lane->calls().setTelling(false);
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

void SchedulerCore::tell()
{
    const QPointer<SchedulerCore> self(this);
    for (int lane = 0; self && lane < VOXScheduler::LaneCount; ++lane)
        m_lanes[static_cast<std::size_t>(lane)]->calls().tell();
}
