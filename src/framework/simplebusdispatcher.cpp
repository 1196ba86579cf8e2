#include "framework/simplebusdispatcher.h"

#include "framework/bus.h"
#include "framework/buspendingcalldata.h"

#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace {
// Counts the writes of all dispatchers of this thread. The code that made a call expects no slots to run
// inside the write.
thread_local int writesUnderWay = 0;

// An array without capacity is a view of somebody's buffer, which may be used again.
QByteArray ownBytes(const QByteArray &frame)
{
    return frame.capacity() > 0 ? frame : QByteArray(frame.constData(), frame.size());
}
}

SimpleBusDispatcher::SimpleBusDispatcher(Bus &bus, QObject *parent)
    : BusDispatcher(parent)
    , m_bus(bus)
{
}

SimpleBusDispatcher::~SimpleBusDispatcher()
{
    endAll(BusPendingCall::Canceled);
}

void SimpleBusDispatcher::init()
{
}

void SimpleBusDispatcher::enqueue(BusPendingCallData *call)
{
    call->setDispatcher(this);
    m_queue.append(BusPendingCallPointer(call));
    pump();
}

void SimpleBusDispatcher::reply(const BusMessage &message)
{
    if (!m_bus.isOpen())
        return;
    m_replies.append(message);
    pump();
}

void SimpleBusDispatcher::pump()
{
    if (m_busy) {
        // The caller further up that is busy may be in a nested event loop, so the timer goes on from there.
        if (hasSendable())
            scheduleIn(0);
        return;
    }
    const QPointer<SimpleBusDispatcher> self(this);
    while (self && scheduleNext()) { }
    if (self && !hasSendable())
        m_timer.stop();
}

void SimpleBusDispatcher::scheduleIn(int delayMs)
{
    // When many calls are cancelled, starting the timer anew for each of them would take most of the time.
    if (delayMs == 0 && m_isTimerImmediate && m_timer.isActive())
        return;
    m_timer.start(delayMs, Qt::PreciseTimer, this);
    m_isTimerImmediate = delayMs == 0;
}

bool SimpleBusDispatcher::hasSendable() const
{
    if (!m_replies.isEmpty())
        return true;
    if (m_queue.isEmpty() || m_waiting)
        return false;
    return m_collecting.isEmpty() || !m_queue.first()->message().hasReply();
}

bool SimpleBusDispatcher::scheduleNext()
{
    if (!hasSendable())
        return false;
    if (!m_written && !m_writtenDeadline.hasExpired()) {
        scheduleIn(static_cast<int>(m_writtenDeadline.remainingTime()));
        return false;
    }
    if (m_replies.isEmpty()) {
        send(m_queue.takeFirst());
    } else {
        const BusMessage message = m_replies.takeFirst();
        write(message.sharedData());
    }
    return true;
}

void SimpleBusDispatcher::send(const BusPendingCallPointer &call)
{
    const bool expectsReply = call->message().hasReply();
    const bool stays = expectsReply || call->collectsReplies();
    // The call is registered before the write, because a device may answer from inside it.
    if (expectsReply)
        m_waiting = call;
    else if (stays)
        m_collecting.append(call);

    const QPointer<SimpleBusDispatcher> self(this);
    const bool written = write(call->message());
    if (!self) {
        call->setDispatcher(nullptr);
        call->setError(BusPendingCall::Canceled);
        return;
    }
    const bool wasBusy = std::exchange(m_busy, true);
    if (!written)
        call->setError(BusPendingCall::WriteFailed);
    else if (!stays)
        call->finished();
    else if (!call->isFinished())
        call->setMessageSent(sentDelay(call->message().bytes().size()));
    m_busy = wasBusy;
}

bool SimpleBusDispatcher::write(const BusMessageData &message)
{
    const unsigned int busFreeDelay = message.busFreeDelay();
    // The flag is set before the write, because a datagram socket reports from inside it.
    m_written = !m_waitDeviceWritten;
    // An answer has no time-out, so its bus-free delay is the limit.
    const unsigned int longest = message.timeout() > 0 ? message.timeout() : busFreeDelay;
    m_writtenDeadline = QDeadlineTimer(longest, Qt::PreciseTimer);
    frameSent(message.bytes().size(), busFreeDelay);

    const QPointer<SimpleBusDispatcher> self(this);
    const bool wasBusy = std::exchange(m_busy, true);
    ++writesUnderWay;
    const bool ok = message.writeTo(m_bus) >= 0;
    --writesUnderWay;
    if (!self)
        return ok;
    m_busy = wasBusy;
    if (!ok) {
        m_written = true;
        frameSent(0, 0);
    }
    return ok;
}

BusPendingCallPointer SimpleBusDispatcher::claimant(const BusMessage &message) const
{
    if (m_waiting && m_waiting->message().isReply(message))
        return m_waiting;
    const auto newest = std::find_if(m_collecting.crbegin(), m_collecting.crend(),
                                     [&](const auto &call) { return call->message().isReply(message); });
    return newest == m_collecting.crend() ? BusPendingCallPointer() : *newest;
}

void SimpleBusDispatcher::dispatch(const QByteArray &frame)
{
    const BusMessage message(ownBytes(frame));
    const BusPendingCallPointer call = claimant(message);
    frameHeard(call ? &call->message() : nullptr);

    const QPointer<SimpleBusDispatcher> self(this);
    if (!call) {
        Q_EMIT unhandled(message);
        if (self)
            pump();
        return;
    }
    const bool wasBusy = std::exchange(m_busy, true);
    const bool tells = !wasBusy && writesUnderWay == 0;
    m_willTell = m_willTell || tells;
    call->setReply(message);
    m_busy = wasBusy;
    pump();
    // On a line in memory, a slot may have destroyed the bus inside a write.
    if (!self || !tells)
        return;
    m_willTell = false;
    teller().tell();
}

void SimpleBusDispatcher::handleFinished(BusPendingCallData *call)
{
    call->setDispatcher(nullptr);
    const BusPendingCallPointer ended(call);
    if (m_queue.contains(call))
        m_queue.take(call);
    else if (m_waiting == ended)
        m_waiting = {};
    else
        m_collecting.removeOne(ended);
    if (hasSendable())
        scheduleIn(0);
    teller().add(ended);
    if (!m_willTell || writesUnderWay > 0)
        teller().tellLater();
}

void SimpleBusDispatcher::endAll(BusPendingCall::Error error)
{
    m_timer.stop();
    m_written = true;
    m_replies.clear();
    QVector<BusPendingCallPointer> ended = std::exchange(m_collecting, {});
    if (m_waiting)
        ended.append(std::exchange(m_waiting, {}));
    // No slot of any of these calls runs before all of them have ended.
    ended.reserve(ended.size() + m_queue.size());
    while (!m_queue.isEmpty())
        ended.append(m_queue.takeFirst());
    for (const BusPendingCallPointer &call : qAsConst(ended))
        call->setError(error);
}

void SimpleBusDispatcher::setWaitDeviceWritten(bool wait)
{
    m_waitDeviceWritten = wait;
}

void SimpleBusDispatcher::setNetworkLatency(unsigned int latencyUs)
{
    m_latencyUs = latencyUs;
}

void SimpleBusDispatcher::deviceWritten()
{
    m_written = true;
    pump();
}

unsigned int SimpleBusDispatcher::sentDelay(int length) const
{
    Q_UNUSED(length)
    constexpr unsigned int UsPerMs = 1000;
    return m_latencyUs / UsPerMs + (m_latencyUs % UsPerMs != 0 ? 1 : 0);
}

void SimpleBusDispatcher::frameSent(int length, unsigned int busFreeDelay)
{
    Q_UNUSED(length)
    Q_UNUSED(busFreeDelay)
}

void SimpleBusDispatcher::frameHeard(const BusMessageData *call)
{
    Q_UNUSED(call)
}

void SimpleBusDispatcher::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        BusDispatcher::timerEvent(event);
        return;
    }
    m_timer.stop();
    // An event loop delivers this event, so a caller further up that is busy is waiting in that loop.
    const bool wasBusy = std::exchange(m_busy, false);
    const QPointer<SimpleBusDispatcher> self(this);
    pump();
    if (self)
        m_busy = wasBusy;
}
