#include "network/schedulerlane_p.h"

#include "framework/buspendingcalldata.h"
#include "network/schedulercore_p.h"

LaneDispatcher::LaneDispatcher(SchedulerCore &core, VOXScheduler::Lane lane)
    : BusDispatcher(nullptr)
    , m_core(core)
    , m_lane(lane)
{
}

void LaneDispatcher::enqueue(BusPendingCallData *call)
{
    call->setDispatcher(this);
    m_core.take(m_lane, BusPendingCallPointer(call));
}

void LaneDispatcher::reply(const BusMessage &message)
{
    if (VOXBus *bus = m_core.bus())
        bus->dispatcher().reply(message);
}

void LaneDispatcher::endAll(BusPendingCall::Error error)
{
    m_core.endLane(m_lane, error);
}

void LaneDispatcher::handleFinished(BusPendingCallData *call)
{
    call->setDispatcher(nullptr);
    teller().add(BusPendingCallPointer(call));
    m_core.forget(call);
    if (!m_isTelling)
        teller().tellLater();
}

int LaneDispatcher::queueLength() const
{
    return m_core.queue().count(m_lane);
}

SchedulerLane::SchedulerLane(SchedulerCore &core, VOXScheduler::Lane lane)
    : VOXBus(*new LaneDispatcher(core, lane), nullptr)
    , m_core(core)
{
    dispatcher().setParent(this);
    refuseDevices(QStringLiteral("[VOXScheduler]: a lane carries calls; attach devices to the bus itself"));
}

SchedulerLane::~SchedulerLane()
{
    shutDown();
}

int SchedulerLane::write(const QByteArray &frame)
{
    VOXBus *const bus = m_core.bus();
    return bus ? bus->write(frame) : -1;
}

int SchedulerLane::writeLine(const QByteArray &bytes)
{
    VOXBus *const bus = m_core.bus();
    return bus ? bus->writeLine(bytes) : -1;
}

bool SchedulerLane::open()
{
    VOXBus *const bus = m_core.bus();
    return bus && bus->open();
}

void SchedulerLane::close()
{
    if (VOXBus *const bus = m_core.bus())
        bus->close();
}

bool SchedulerLane::isOpen() const
{
    const VOXBus *const bus = m_core.bus();
    return bus && bus->isOpen();
}

QString SchedulerLane::errorString() const
{
    const VOXBus *const bus = m_core.bus();
    return bus ? bus->errorString() : QString();
}

bool SchedulerLane::processData()
{
    VOXBus *const bus = m_core.bus();
    return bus && bus->processData();
}

bool SchedulerLane::hasUnseenInput() const
{
    const VOXBus *const bus = m_core.bus();
    return bus && bus->hasInput();
}
