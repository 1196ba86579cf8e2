#ifndef VOX_NETWORK_SCHEDULERLANE_P_H
#define VOX_NETWORK_SCHEDULERLANE_P_H

#include <vox/framework/busdispatcher.h>
#include <vox/network/voxscheduler.h>
#include <vox/transport/voxbus.h>

class SchedulerCore;

/// Takes the calls of a lane in, and ends them, in place of a dispatcher that sends.
class LaneDispatcher : public BusDispatcher
{
public:
    LaneDispatcher(SchedulerCore &core, VOXScheduler::Lane lane);

    void enqueue(BusPendingCallData *call) override;
    void init() override { }
    void dispatch(const QByteArray &frame) override { Q_UNUSED(frame) }
    bool scheduleNext() override { return false; }
    /// Goes to the bus at once.
    void reply(const BusMessage &message) override;
    void endAll(BusPendingCall::Error error) override;
    void handleFinished(BusPendingCallData *call) override;
    int queueLength() const override;

    /// Whether watchers are told at once, by tell(), or from the event loop.
    void setTelling(bool isTelling) { m_isTelling = isTelling; }
    /// Tells the watchers of what has ended. Slots run in it.
    void tell() { teller().tell(); }

private:
    SchedulerCore &m_core;
    const VOXScheduler::Lane m_lane;
    bool m_isTelling = false;
};

/// A lane, as the bus that proxies see.
class SchedulerLane : public VOXBus
{
    Q_OBJECT

public:
    SchedulerLane(SchedulerCore &core, VOXScheduler::Lane lane);
    ~SchedulerLane() override;

    int write(const QByteArray &frame) override;
    bool open() override;
    void close() override;
    bool isOpen() const override;
    QString errorString() const override;
    int writeLine(const QByteArray &bytes) override;

    LaneDispatcher &calls() const { return static_cast<LaneDispatcher &>(dispatcher()); }

public Q_SLOTS:
    bool processData() override;

protected:
    bool hasUnseenInput() const override;

private:
    SchedulerCore &m_core;
};

#endif
