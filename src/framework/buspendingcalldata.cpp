#include "framework/buspendingcalldata.h"

#include "framework/bus.h"
#include "framework/busdispatcher.h"
#include "framework/buspendingcallwatcher.h"

#include <QCoreApplication>
#include <QTimerEvent>

#include <algorithm>
#include <limits>
#include <utility>

namespace {
// A time-out must end even if noise keeps coming.
constexpr int MaxDrainMs = 50;
// Other timers of the thread are late by this much at most. The limit of waitForFinished() is one of them.
constexpr int MaxDriveMs = 4;
}

BusPendingCallData::BusPendingCallData(const QSharedDataPointer<BusMessageData> &message, Bus *bus)
    : m_message(message)
    , m_bus(bus)
{
}

BusPendingCallData::~BusPendingCallData() = default;

void BusPendingCallData::setError(BusPendingCall::Error error)
{
    if (m_finished)
        return;
    m_error = error;
    if (error == BusPendingCall::Timeout)
        timeout();
    else
        finished();
}

void BusPendingCallData::setReply(const BusMessage &reply)
{
    if (m_finished)
        return;
    m_reply = reply;
    finished();
}

QList<BusMessage> BusPendingCallData::replies() const
{
    return progress() > 0 ? QList<BusMessage>{m_reply} : QList<BusMessage>();
}

void BusPendingCallData::setMessageSent(unsigned int delay)
{
    startTimeout(delay);
}

void BusPendingCallData::startTimeout(unsigned int delay)
{
    const qint64 interval = qint64{message().timeout()} + delay;
    m_timer.start(static_cast<int>(std::min<qint64>(interval, std::numeric_limits<int>::max())),
                  Qt::PreciseTimer, this);
}

bool BusPendingCallData::collectsReplies() const
{
    return false;
}

int BusPendingCallData::progress() const
{
    return m_reply.data().isEmpty() ? 0 : 1;
}

void BusPendingCallData::driveBus()
{
    const BusPendingCallPointer self(this);
    const int before = progress();
    const auto goesOn = [&] { return m_bus && m_bus->isOpen() && !m_finished && progress() == before; };
    const QDeadlineTimer end(MaxDriveMs, Qt::PreciseTimer);
    while (goesOn() && !end.hasExpired()) {
        // Input that has been read already waits for a pass that the bus has queued.
        QCoreApplication::sendPostedEvents(m_bus, QEvent::MetaCall);
        if (!goesOn() || !m_bus->hasInput())
            return;
        m_bus->processData();
    }
}

void BusPendingCallData::removeWatcher(BusPendingCallWatcher *watcher)
{
    const auto *const found = std::find(m_watchers.cbegin(), m_watchers.cend(), watcher);
    if (found != m_watchers.cend())
        m_watchers.erase(found);
}

void BusPendingCallData::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const BusPendingCallPointer self(this);
    if (!std::exchange(m_isDraining, true))
        m_drainEnd = QDeadlineTimer(MaxDrainMs, Qt::PreciseTimer);
    // The timer is started anew: the one that has just gone off would not go off again in the event loop of a
    // slot that runs now.
    m_timer.start(MaxDriveMs, Qt::PreciseTimer, this);
    m_inTimerEvent = true;
    const int before = progress();
    driveBus();
    m_isDraining = !m_finished && progress() == before;
    if (m_isDraining) {
        if (m_bus && m_bus->hasInput() && !m_drainEnd.hasExpired())
            m_timer.start(0, this);
        else
            setError(BusPendingCall::Timeout);
    }
    // This stays set if the call has ended. The last reference to go must not delete the call under its own
    // event.
    m_inTimerEvent = m_finished;
}

void BusPendingCallData::timeout()
{
    m_timer.stop();
    finished();
}

void BusPendingCallData::finished()
{
    if (m_finished)
        return;
    const BusPendingCallPointer self(this);
    m_timer.stop();
    m_finished = true;
    if (m_dispatcher)
        m_dispatcher->handleFinished(this);
    else
        announce();
}

BusPendingCallWatcher *BusPendingCallData::takeWatcher()
{
    BusPendingCallWatcher *const first = m_watchers.isEmpty() ? nullptr : m_watchers.first();
    if (first)
        m_watchers.erase(m_watchers.cbegin());
    return first;
}

void BusPendingCallData::announce()
{
    while (BusPendingCallWatcher *watcher = takeWatcher())
        watcher->announce();
}
