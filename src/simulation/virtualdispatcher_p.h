#ifndef VOX_SIMULATION_VIRTUALDISPATCHER_P_H
#define VOX_SIMULATION_VIRTUALDISPATCHER_P_H

#include <vox/simulation/localsockets_p.h>
#include <vox/simulation/virtualclock_p.h>
#include <vox/simulation/voxvirtualtime.h>

#include <QAbstractEventDispatcher>
#include <QHash>

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

/// The event dispatcher behind VOXVirtualTime: where others wait, it moves the clock to the next timer.
class VirtualDispatcher : public QAbstractEventDispatcher
{
    Q_OBJECT

public:
    explicit VirtualDispatcher(VOXVirtualTime::Sockets sockets);

    /// Milliseconds since it was made.
    qint64 elapsed() const;
    void settle();
    /// Runs what is due within @p ms; ends early once @p condition holds, which may be empty.
    bool run(const std::function<bool()> &condition, qint64 ms);
    void announceInput();

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    void registerSocketNotifier(QSocketNotifier *notifier) override;
    void unregisterSocketNotifier(QSocketNotifier *notifier) override;
#if QT_VERSION_MAJOR >= 6
    using Interval = qint64;
#else
    using Interval = int;
    bool hasPendingEvents() override
    {
        return m_isPosted;
    }
    void flush() override
    {
    }
#endif
    void registerTimer(int id, Interval interval, Qt::TimerType type, QObject *object) override;
    bool unregisterTimer(int id) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int id) override;
    void wakeUp() override;
    void interrupt() override;

private:
    // When, and of several at one time the one that was first.
    using Turn = std::pair<qint64, quint64>;
    struct Timer
    {
        Interval interval;
        Qt::TimerType type;
        QObject *object;
        Turn turn;
    };

    bool sendPosted();
    bool serveSockets();
    void announce(const QList<QSocketNotifier *> &notifiers);
    bool expireNext(qint64 end);
    void waitForOthers();

    const VOXVirtualTime::Sockets m_sockets;
    VirtualClock m_clock;
    const qint64 m_start = m_clock.now();
    QHash<int, Timer> m_timers;
    // Those that may go off, by their turn. One whose slot is at work is not among them.
    std::map<Turn, int> m_queue;
    quint64 m_turns = 0;
    int m_depth = 0;
    QList<QSocketNotifier *> m_notifiers;
    // Those that have yet to hear.
    QList<QSocketNotifier *> m_ready;
    // Of Local sockets only.
    std::unique_ptr<LocalSockets> m_local;
    bool m_isInterrupted = false;

    // Other threads post, too.
    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::atomic<bool> m_isPosted{true};
};

#endif
