#ifndef VOX_NETWORK_SCHEDULERCORE_P_H
#define VOX_NETWORK_SCHEDULERCORE_P_H

#include <vox/network/lineload_p.h>
#include <vox/network/motionorder_p.h>
#include <vox/network/schedulerlane_p.h>
#include <vox/network/schedulerqueue_p.h>

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QPointer>

#include <array>

class BusPendingCallWatcher;

/// The works of a VOXScheduler: takes calls in from the lanes, hands them to the bus one by one, and ends
/// them.
///
/// Each call has two call data. The outer one, the asker, was handed out by the lane; it has no timer and is
/// never on the line. The inner one is on the bus. Canceling the outer one leaves the inner one alone.
class SchedulerCore : public QObject
{
    Q_OBJECT

public:
    using Lane = VOXScheduler::Lane;

    SchedulerCore(VOXScheduler &owner, VOXBus *bus);
    ~SchedulerCore() override;

    /// Null if the bus has gone, or if another scheduler has it.
    VOXBus *bus() const { return m_bus; }
    SchedulerLane &lane(Lane lane) const { return *m_lanes[static_cast<std::size_t>(lane)]; }
    const SchedulerQueue &queue() const { return m_queue; }
    int lineRate() const;
    int loadPercent();
    VOXScheduler::LaneFigures figures(Lane lane) const;
    void setPollSource(VOXScheduler::PollSource source);
    void wakePolls();
    void setRepeating(VOX::Addr node, bool isRepeating)
    {
        m_queue.destination(VOX::P2P, node).isRepeating = isRepeating;
    }
    void setGroupMembers(VOX::Addr group, const QVector<VOX::Addr> &members)
    {
        m_motions.setMembers(group, members);
    }

    /// A call that @p lane has handed out is to be sent.
    void take(Lane lane, const BusPendingCallPointer &asker);
    /// Ends all calls of @p lane.
    void endLane(Lane lane, BusPendingCall::Error error);
    /// @p asker has ended: nobody waits for it any more.
    void forget(const BusPendingCallData *asker);

    VOXScheduler::Limits limits;
    int fixedLineRate = 0;

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    using Pointer = ScheduledCall::Pointer;

    /// The counters and waits of one lane.
    struct LaneRecord
    {
        VOXScheduler::LaneFigures figures;
        Samples<512> waits;
    };

    LaneRecord &record(Lane lane) { return m_records[static_cast<std::size_t>(lane)]; }
    qint64 nowMs() const { return m_clock.elapsed(); }

    Pointer makeCall(Lane lane, const BusMessageData &message);
    void address(ScheduledCall &call, const VOXMessage &frame);
    void admit(const Pointer &call);
    bool join(const Pointer &call);
    bool makeRoom(const ScheduledCall &call);
    void keepOrder(const ScheduledCall &move);

    void end(const Pointer &call, BusPendingCall::Error error);
    void endAll(BusPendingCall::Error error);

    // schedulercore_line.cpp: what goes onto the line, and when.
    void pump();
    void pumpLater();
    void expire();
    Pointer choose();
    Pointer nextPoll();
    void send(const Pointer &call);
    void settleLoad();
    void armTimer();
    void handleHeard(const BusMessage &message);

    // schedulercore_ends.cpp: what comes of a call that was on the line.
    void handleEnd();
    bool repeat(const Pointer &call, BusPendingCall::Error error, bool isBusy);
    void report(const Pointer &call, const BusPendingCallWatcher &end);
    void checkStop(const ScheduledCall &call, const BusMessage &reply);
    void endWith(const Pointer &call, const BusPendingCallWatcher &inner);
    void tell();

    VOXScheduler &m_owner;
    QPointer<VOXBus> m_bus;
    std::array<std::unique_ptr<SchedulerLane>, VOXScheduler::LaneCount> m_lanes;
    std::array<LaneRecord, VOXScheduler::LaneCount> m_records;
    SchedulerQueue m_queue;
    MotionOrder m_motions;
    LineLoad m_load;
    PollPace m_pace;
    int m_toldLoad = 0;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
    VOXScheduler::PollSource m_pollSource;
    qint64 m_pollAgainMs = 0;

    // What is on the line, and since when.
    Pointer m_current;
    BusPendingCallPointer m_inner;
    std::unique_ptr<BusPendingCallWatcher> m_watcher;
    qint64 m_sentNs = 0;
    // Set until the pause after the last call is over.
    bool m_isLoadOpen = false;
    bool m_isOpenLoadPoll = false;

    quint64 m_turn = 0;
    bool m_isPumping = false;
    bool m_isEnding = false;
};

#endif
