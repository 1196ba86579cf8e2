#ifndef VOX_NETWORK_SCHEDULERQUEUE_P_H
#define VOX_NETWORK_SCHEDULERQUEUE_P_H

#include <vox/framework/busmessage.h>
#include <vox/framework/buspendingcallpointer.h>
#include <vox/messages/voxcommandtrait.h>
#include <vox/network/samples_p.h>
#include <vox/network/voxscheduler.h>

#include <QSharedDataPointer>

#include <unordered_map>

/// What the scheduler knows of a destination: a node, a group, or all nodes.
struct Destination
{
    VOXScheduler::NodeFigures figures;
    Samples<15> answerMs;
    /// How many of its calls wait: in Poll and Automatic, and in the other lanes.
    int automatic = 0;
    int others = 0;
    /// Whether calls other than stops are sent again when nobody answers.
    bool isRepeating = true;
    /// The higher, the later its last call was sent.
    quint64 turn = 0;
    /// Counts the stops and moves that make older ones obsolete.
    quint64 epoch = 0;
    /// When an acknowledgement failed to come, which may come late; -1 for never.
    qint64 lostAckMs = -1;
};

/// A call that waits, or is on the line, and all who wait for its end.
struct ScheduledCall
{
    using Pointer = std::shared_ptr<ScheduledCall>;

    /// As it goes onto the line.
    QSharedDataPointer<BusMessageData> message;
    /// The bytes of it, for those who hear of its end.
    BusMessage request;
    /// The calls that were handed out. Empty for a poll, and once all have been canceled.
    QVector<BusPendingCallPointer> askers;
    VOXScheduler::Lane lane = VOXScheduler::User;
    VOXCommandTrait trait;
    VOX::AddrType addrType = VOX::P2P;
    /// 24 bits.
    VOX::Addr addr = 0;
    Destination *destination = nullptr;
    qint64 queuedMs = 0;
    /// -1 for none.
    qint64 deadlineMs = -1;
    /// Not to be sent earlier; 0 for a call that is sent for the first time.
    qint64 notBeforeMs = 0;
    quint64 epoch = 0;
    int repeatsLeft = 0;
    bool hasBeenSent = false;
    bool wasBusy = false;
    /// Read to see what a stop has done.
    bool isCheckOfStop = false;
};

/// The calls that wait, in their order of arrival. There are a few hundred at most, so they are simply looked
/// through.
class SchedulerQueue
{
public:
    using Pointer = ScheduledCall::Pointer;

    Destination &destination(VOX::AddrType type, VOX::Addr addr);
    /// Null if nothing has been sent there yet.
    const Destination *find(VOX::Addr node) const;

    const QVector<Pointer> &calls() const { return m_calls; }
    int count(VOXScheduler::Lane lane) const;

    /// Adds @p call behind all others.
    void append(const Pointer &call);
    /// Puts a call that is to be sent once more before all others of its destination.
    void prepend(const Pointer &call);
    void remove(const Pointer &call);

    /// Lets @p call, which waits here, wait in another lane.
    void setLane(ScheduledCall &call, VOXScheduler::Lane lane);

    /// The call that goes next at @p nowMs, of the lanes from @p first to @p last; null if none may go.
    Pointer next(qint64 nowMs, VOXScheduler::Lane first, VOXScheduler::Lane last) const;
    /// The last waiting call to the destination of @p call; null if there is none.
    Pointer lastTo(const Destination &destination) const;
    /// The oldest in @p lane; null if there is none.
    Pointer oldest(VOXScheduler::Lane lane) const;
    /// The call that @p asker waits for; null if that does not wait here.
    Pointer callOf(const BusPendingCallData *asker) const;
    /// Removes and gives all calls for which @p condition holds.
    template <typename Condition>
    QVector<Pointer> take(Condition condition)
    {
        QVector<Pointer> taken;
        for (const Pointer &call : qAsConst(m_calls)) {
            if (condition(*call))
                taken.append(call);
        }
        for (const Pointer &call : qAsConst(taken))
            remove(call);
        return taken;
    }
    /// The earliest time at which a call may be sent or expires, after @p nowMs; -1 for none.
    qint64 nextChange(qint64 nowMs) const;

private:
    static int &countOf(ScheduledCall &call);

    // Destinations stay: calls point to them.
    std::unordered_map<quint64, Destination> m_destinations;
    QVector<Pointer> m_calls;
};

#endif
