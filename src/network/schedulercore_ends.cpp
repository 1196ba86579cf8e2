#include "network/schedulercore_p.h"

#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"
#include "messages/kvranswer.h"

#include <utility>

namespace {
constexpr int RepeatMs = 30;
constexpr int BusyMs = 500;
/// How long an acknowledgement may be late.
constexpr int LateAckMs = 5000;

bool isBusyNack(const BusMessage &reply)
{
    return KVR::getNackReply(VOXMessage(reply)) == KVR::NACK_BUSY;
}
}

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
    if (isMove && m_motions.epochOf(*call) != call->epoch)
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
    const int answerMs = static_cast<int>((m_clock.nsecsElapsed() - m_sentNs) / LineLoad::NsPerMs);
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

void SchedulerCore::tell()
{
    const QPointer<SchedulerCore> self(this);
    for (int lane = 0; self && lane < VOXScheduler::LaneCount; ++lane)
        m_lanes[static_cast<std::size_t>(lane)]->calls().tell();
}
