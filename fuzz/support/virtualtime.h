#ifndef VIRTUALTIME_H
#define VIRTUALTIME_H

#include <QAbstractEventDispatcher>

/// The event loop of a fuzzer: nothing happens unless it says so, and no time passes.
///
/// The clock that timers and deadlines read stands still but for advance(), which also makes all timers
/// expire in their order. So a run does not wait, and ends the same way each time.
class VirtualTime : public QAbstractEventDispatcher
{
public:
    /// Before there is a QCoreApplication.
    static void install();

    /// Delivers all that is posted, and what that posts.
    static void settle();
    static void advance(qint64 ms);
    /// Lets sockets look for input, which they then have or have not.
    static void announceInput();

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override;
    void registerSocketNotifier(QSocketNotifier *notifier) override;
    void unregisterSocketNotifier(QSocketNotifier *notifier) override;
    void registerTimer(int timerId, int interval, Qt::TimerType type, QObject *object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int timerId) override;
    void wakeUp() override;
    void interrupt() override;
    void flush() override;

private:
    struct Timer
    {
        int id;
        int interval;
        Qt::TimerType type;
        QObject *object;
        qint64 due;
    };

    void expireUntil(qint64 end);

    QList<Timer> m_timers;
    QList<QSocketNotifier *> m_notifiers;
    bool m_isPosted = false;
};

#endif
