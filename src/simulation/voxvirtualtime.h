#ifndef VOX_SIMULATION_VOXVIRTUALTIME_H
#define VOX_SIMULATION_VOXVIRTUALTIME_H

#include <vox/simulation/simulation_export.h>

#include <QPointer>

#include <functional>

class VirtualDispatcher;

/// Time that a test lets pass: nothing waits, and what happens is the same in each run.
///
/// Stands in for the event loop of the thread that makes it, and for that thread's monotonic clock, which all
/// timers, deadlines and QElapsedTimer go by. The clock begins at the real time, and stands still but for
/// advance(), runUntil(), and for whatever else would wait: an event loop without anything to do goes on to
/// its next timer at once, and a sleep is over at once. So QSignalSpy::wait(), QTRY_COMPARE() and
/// BusPendingCall::waitForFinished() do what they always do, in no time. All timers go off to the nanosecond,
/// coarse ones too, those of one time in the order in which they were started or went off last, and one of 0
/// ms once a millisecond. A loop that only reads the clock, or only calls processEvents(), never ends.
///
/// QDateTime and other threads keep the real time. What another thread is to do takes no time here: wait for
/// it with QThread::wait() or a QSemaphore, not for a signal with a limit.
///
/// One in a program, made before the QCoreApplication; where Qt Test makes that one, as a static object:
/// @code
/// static const VOXVirtualTime virtualTime;
/// QTEST_GUILESS_MAIN(tst_MyHost)
/// @endcode
/// A program that has an application already, or does not itself link Vox::Simulation, ends with a text that
/// says so. All functions are for the thread that has made it, also from inside what they run.
/// @ingroup simulation
class VOX_SIMULATION_EXPORT VOXVirtualTime
{
public:
    /// What becomes of real sockets and serial ports, whose input comes in real time.
    enum Sockets {
        Refused, ///< They end the program, with a text that names them.
        Local, ///< What comes from this machine, to UDP sockets, is there before time passes on.
        OnDemand ///< They hear of input from announceInput() alone.
    };

    /// From now on, for this thread.
    explicit VOXVirtualTime(Sockets sockets = Refused);
    /// Time is real again once the application has gone, too.
    ~VOXVirtualTime();
    Q_DISABLE_COPY_MOVE(VOXVirtualTime)

    /// Lets @p ms milliseconds pass: delivers what is posted, and lets timers go off at their times. Called
    /// inside of itself, both end when the later one does.
    static void advance(qint64 ms);
    /// As advance(), but no further than until @p condition holds, which is asked after each timer. False if
    /// it does not hold after @p ms milliseconds either.
    static bool runUntil(const std::function<bool()> &condition, qint64 ms);
    /// Delivers all that is posted, and what that posts, while no time passes.
    static void settle();
    /// Milliseconds that have passed since the virtual time was made.
    static qint64 now();
    /// Lets all sockets look for input once, whether or not there is any.
    static void announceInput();

private:
    QPointer<QObject> m_dispatcher;
};

#endif
