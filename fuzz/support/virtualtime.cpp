#include "support/virtualtime.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimerEvent>

#include <algorithm>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 MsPerSecond = 1000;

VirtualTime *theTime = nullptr;
// Not 0, which some take for no time at all.
qint64 now = 1000000;
}

// In place of the system's, for this program and its libraries. The fuzzer's engine measures by another
// clock.
extern "C" Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_MONOTONIC)
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    *time = {now / MsPerSecond, now % MsPerSecond * NsPerMs};
    return 0;
}

void VirtualTime::install()
{
    theTime = new VirtualTime;
    QCoreApplication::setEventDispatcher(theTime);
}

void VirtualTime::settle()
{
    // Each call leaves what is posted meanwhile to the next.
    do {
        theTime->m_isPosted = false;
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    } while (theTime->m_isPosted);
}

void VirtualTime::advance(qint64 ms)
{
    settle();
    theTime->expireUntil(now + ms);
}

void VirtualTime::announceInput()
{
    const QList<QSocketNotifier *> all = theTime->m_notifiers;
    for (QSocketNotifier *notifier : all) {
        QEvent event(QEvent::SockAct);
        if (theTime->m_notifiers.contains(notifier) && notifier->type() == QSocketNotifier::Read)
            QCoreApplication::sendEvent(notifier, &event);
    }
    settle();
}

void VirtualTime::expireUntil(qint64 end)
{
    const auto isSooner = [](const Timer &one, const Timer &other) { return one.due < other.due; };
    for (;;) {
        const auto next = std::min_element(m_timers.begin(), m_timers.end(), isSooner);
        if (next == m_timers.end() || next->due > end)
            break;
        now = std::max(now, next->due);
        next->due = now + next->interval;
        QTimerEvent event(next->id);
        QCoreApplication::sendEvent(next->object, &event);
        settle();
    }
    now = end;
}

bool VirtualTime::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    Q_UNUSED(flags)
    Q_EMIT awake();
    settle();
    return true;
}

bool VirtualTime::hasPendingEvents()
{
    return m_isPosted;
}

void VirtualTime::registerSocketNotifier(QSocketNotifier *notifier)
{
    m_notifiers.append(notifier);
}

void VirtualTime::unregisterSocketNotifier(QSocketNotifier *notifier)
{
    m_notifiers.removeAll(notifier);
}

void VirtualTime::registerTimer(int timerId, int interval, Qt::TimerType type, QObject *object)
{
    m_timers.append({timerId, interval, type, object, now + interval});
}

bool VirtualTime::unregisterTimer(int timerId)
{
    const auto gone = std::remove_if(m_timers.begin(), m_timers.end(),
                                     [=](const Timer &timer) { return timer.id == timerId; });
    const bool isKnown = gone != m_timers.end();
    m_timers.erase(gone, m_timers.end());
    return isKnown;
}

bool VirtualTime::unregisterTimers(QObject *object)
{
    const auto gone = std::remove_if(m_timers.begin(), m_timers.end(),
                                     [=](const Timer &timer) { return timer.object == object; });
    const bool isKnown = gone != m_timers.end();
    m_timers.erase(gone, m_timers.end());
    return isKnown;
}

QList<QAbstractEventDispatcher::TimerInfo> VirtualTime::registeredTimers(QObject *object) const
{
    QList<TimerInfo> timers;
    for (const Timer &timer : m_timers) {
        if (timer.object == object)
            timers.append(TimerInfo(timer.id, timer.interval, timer.type));
    }
    return timers;
}

int VirtualTime::remainingTime(int timerId)
{
    for (const Timer &timer : m_timers) {
        if (timer.id == timerId)
            return static_cast<int>(std::max<qint64>(timer.due - now, 0));
    }
    return -1;
}

void VirtualTime::wakeUp()
{
    m_isPosted = true;
}

void VirtualTime::interrupt()
{
}

void VirtualTime::flush()
{
}
