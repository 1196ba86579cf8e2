#ifndef HOST_H
#define HOST_H

#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrbcastproxy.h"
#include "proxies/kvrgroupproxy.h"
#include "transport/voxbus.h"

#include <deque>
#include <memory>
#include <random>
#include <vector>

/// What has become of the calls of a host.
struct Tally
{
    qint64 calls = 0;
    qint64 replies = 0;
    qint64 refusals = 0;
    qint64 timeouts = 0;
    /// Canceled, or ended by the closing of the bus.
    qint64 withdrawn = 0;
    qint64 endedTwice = 0;
    qint64 lost = 0;
};

/// A host that calls the motors of one line, always some at a time, and adds up how the calls end.
class Host : public QObject
{
    Q_OBJECT

public:
    Host(std::unique_ptr<VOXBus> bus, quint32 seed, Tally &tally);

    void start();
    void stop() { m_isRunning = false; }
    /// Counts the calls that have not ended by now, and forgets all.
    void settle();

private:
    struct Call
    {
        explicit Call(const BusPendingCall &call)
            : watcher(call)
        {
        }
        BusPendingCallWatcher watcher;
        int ends = 0;
    };

    BusPendingCall callSomebody();
    void next();
    void handleEnd(Call &call);
    void count(const BusPendingCall &call);
    void forgetOldest();

    std::unique_ptr<VOXBus> m_bus;
    std::minstd_rand m_random;
    Tally &m_tally;
    std::vector<std::unique_ptr<KVRMotorProxy>> m_motors;
    KVRGroupProxy m_group;
    KVRBCastProxy m_all;
    std::deque<std::unique_ptr<Call>> m_calls;
    int m_waiting = 0;
    bool m_isRunning = false;
};

#endif
