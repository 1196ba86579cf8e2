#include "simulation/virtualdispatcher_p.h"

#include <QAbstractSocket>
#include <QCoreApplication>
#include <QFile>
#include <QHostAddress>
#include <QScopedValueRollback>
#include <QSocketNotifier>
#include <QTimerEvent>

namespace {
constexpr qint64 NsPerMs = 1000000;

/// Who uses a socket or a port, for people: "QUdpSocket 127.0.0.1:4800 of VOXUdpBus".
QString nameOf(const QSocketNotifier &notifier)
{
    QStringList owners;
    for (const QObject *owner = notifier.parent(); owner; owner = owner->parent()) {
        QString name = QString::fromLatin1(owner->metaObject()->className());
        if (const auto *socket = qobject_cast<const QAbstractSocket *>(owner))
            name += QStringLiteral(" %1:%2").arg(socket->localAddress().toString()).arg(socket->localPort());
        owners += name;
    }
    const auto handle = static_cast<qint64>(notifier.socket());
    const QString file = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(handle));
    return QStringLiteral("%1 (%2)").arg(owners.join(QStringLiteral(" of ")), file);
}
}

VirtualDispatcher::VirtualDispatcher(VOXVirtualTime::Sockets sockets)
    : m_sockets(sockets)
{
    if (sockets == VOXVirtualTime::Local)
        m_local = std::make_unique<LocalSockets>();
    if (!m_clock.isHeeded())
        qFatal("[VOXVirtualTime]: the system's clock is read: link the program itself with Vox::Simulation");
}

qint64 VirtualDispatcher::elapsed() const
{
    return (m_clock.now() - m_start) / NsPerMs;
}

bool VirtualDispatcher::sendPosted()
{
    const bool isPosted = m_isPosted.exchange(false);
    Q_EMIT awake();
    QCoreApplication::sendPostedEvents();
    return isPosted;
}

void VirtualDispatcher::settle()
{
    const QScopedValueRollback<int> inside(m_depth, m_depth + 1);
    bool isBusy = true;
    while (isBusy) {
        isBusy = sendPosted();
        // Further in, a slot of what is to be deleted may be at work.
        if (m_depth == 1)
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        isBusy = isBusy || serveSockets();
    }
}

bool VirtualDispatcher::run(const std::function<bool()> &condition, qint64 ms)
{
    const qint64 end = m_clock.now() + ms * NsPerMs;
    do {
        settle();
        if (condition && condition())
            return true;
    } while (expireNext(end));
    m_clock.moveTo(end);
    return condition && condition();
}

void VirtualDispatcher::announceInput()
{
    QList<QSocketNotifier *> readers;
    for (QSocketNotifier *notifier : qAsConst(m_notifiers)) {
        if (notifier->type() == QSocketNotifier::Read)
            readers.append(notifier);
    }
    announce(readers);
    settle();
}

bool VirtualDispatcher::serveSockets()
{
    const QList<QSocketNotifier *> ready = m_local ? m_local->ready() : QList<QSocketNotifier *>();
    announce(ready);
    return !ready.isEmpty();
}

// Inside of itself, it goes on with what has been seen last: the rest is old by then.
void VirtualDispatcher::announce(const QList<QSocketNotifier *> &notifiers)
{
    m_ready = notifiers;
    while (!m_ready.isEmpty()) {
        QEvent event(QEvent::SockAct);
        QCoreApplication::sendEvent(m_ready.takeFirst(), &event);
    }
}

bool VirtualDispatcher::expireNext(qint64 end)
{
    const auto next = m_queue.begin();
    if (next == m_queue.end() || next->first.first > end)
        return false;
    const int id = next->second;
    m_queue.erase(next);
    Timer &timer = m_timers[id];
    m_clock.moveTo(timer.turn.first);
    // One of 0 ms would go off for ever while no time passes.
    const qint64 interval = qMax<qint64>(timer.interval, 1) * NsPerMs;
    qint64 due = timer.turn.first + interval;
    if (due < m_clock.now())
        due = m_clock.now() + interval;
    const Turn turn(due, ++m_turns);
    timer.turn = turn;
    const QScopedValueRollback<int> inside(m_depth, m_depth + 1);
    QTimerEvent event(id);
    QCoreApplication::sendEvent(timer.object, &event);
    // It may have been stopped, and started anew.
    if (m_timers.value(id).turn == turn)
        m_queue.emplace(turn, id);
    return true;
}

bool VirtualDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    m_isInterrupted = false;
    bool hasDone = sendPosted();
    if (!flags.testFlag(QEventLoop::ExcludeSocketNotifiers))
        hasDone = serveSockets() || hasDone;
    const bool withTimers = !flags.testFlag(QEventLoop::X11ExcludeTimers);
    while (withTimers && !m_isInterrupted && expireNext(m_clock.now()))
        hasDone = true;
    if (hasDone || m_isInterrupted || !flags.testFlag(QEventLoop::WaitForMoreEvents))
        return hasDone;
    Q_EMIT aboutToBlock();
    if (m_isPosted)
        return sendPosted();
    if (!withTimers || m_queue.empty())
        waitForOthers();
    else
        expireNext(m_queue.begin()->first.first);
    sendPosted();
    return true;
}

// Nothing will ever happen on this thread.
void VirtualDispatcher::waitForOthers()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_posted.wait(lock, [this] { return m_isPosted.load(); });
}

void VirtualDispatcher::wakeUp()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isPosted = true;
    m_posted.notify_one();
}

void VirtualDispatcher::interrupt()
{
    m_isInterrupted = true;
    wakeUp();
}

void VirtualDispatcher::registerSocketNotifier(QSocketNotifier *notifier)
{
    if (m_sockets == VOXVirtualTime::Refused)
        qFatal("[VOXVirtualTime]: a real socket or port has no place in virtual time: %s",
               qPrintable(nameOf(*notifier)));
    m_notifiers.append(notifier);
    if (m_local)
        m_local->add(notifier);
}

void VirtualDispatcher::unregisterSocketNotifier(QSocketNotifier *notifier)
{
    m_ready.removeAll(notifier);
    if (m_notifiers.removeAll(notifier) > 0 && m_local)
        m_local->remove(notifier);
}

void VirtualDispatcher::registerTimer(int id, Interval interval, Qt::TimerType type, QObject *object)
{
    const Turn turn(m_clock.now() + interval * NsPerMs, ++m_turns);
    m_timers.insert(id, {interval, type, object, turn});
    m_queue.emplace(turn, id);
}

bool VirtualDispatcher::unregisterTimer(int id)
{
    m_queue.erase(m_timers.value(id).turn);
    return m_timers.remove(id) > 0;
}

bool VirtualDispatcher::unregisterTimers(QObject *object)
{
    const QList<TimerInfo> all = registeredTimers(object);
    for (const TimerInfo &timer : all)
        unregisterTimer(timer.timerId);
    return !all.isEmpty();
}

QList<QAbstractEventDispatcher::TimerInfo> VirtualDispatcher::registeredTimers(QObject *object) const
{
    QList<TimerInfo> timers;
    for (auto timer = m_timers.cbegin(); timer != m_timers.cend(); ++timer) {
        if (timer->object == object)
            timers.append(TimerInfo(timer.key(), static_cast<int>(timer->interval), timer->type));
    }
    return timers;
}

int VirtualDispatcher::remainingTime(int id)
{
    if (!m_timers.contains(id))
        return -1;
    const qint64 rest = m_timers[id].turn.first - m_clock.now();
    return static_cast<int>(qMax<qint64>(rest + NsPerMs - 1, 0) / NsPerMs);
}
