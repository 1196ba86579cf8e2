#include "host.h"

#include "crowd.h"

namespace {
constexpr int CallsAtATime = 4;
// So long a call is watched after its end, in later calls.
constexpr std::size_t WatchedCalls = 1000;
constexpr unsigned char NoSuchIndex = 200;

using Operation = BusPendingCall (*)(KVRMotorProxy &);
const Operation operations[] = {
    [](KVRMotorProxy &motor) { return motor.getMotorStatus(); },
    [](KVRMotorProxy &motor) { return motor.getMotorPosition(); },
    [](KVRMotorProxy &motor) { return motor.getMotorLimits(); },
    [](KVRMotorProxy &motor) { return motor.getNodeLabel(); },
    [](KVRMotorProxy &motor) { return motor.getNodeSerialNumber(); },
    [](KVRMotorProxy &motor) { return motor.setNodeLabel("soaked"); },
    [](KVRMotorProxy &motor) { return motor.setMotorIP(KVRMotor::IP_PULSES, 1, 1000); },
    [](KVRMotorProxy &motor) { return motor.getMotorIP(NoSuchIndex); },
    [](KVRMotorProxy &motor) { return motor.ctrlStop(); },
    [](KVRMotorProxy &motor) { return motor.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 0); },
    [](KVRMotorProxy &motor) { return motor.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 50); },
};
}

Host::Host(std::unique_ptr<VOXBus> bus, quint32 seed, Tally &tally)
    : m_bus(std::move(bus))
    , m_random(seed)
    , m_tally(tally)
    , m_group(Crowd::Group, m_bus.get())
    , m_all(m_bus.get())
{
    for (unsigned int node = 0; node < Crowd::NodesPerLine; ++node)
        m_motors.push_back(std::make_unique<KVRMotorProxy>(Crowd::home(node), m_bus.get()));
}

void Host::start()
{
    m_isRunning = true;
    for (int i = 0; i < CallsAtATime; ++i)
        next();
}

BusPendingCall Host::callSomebody()
{
    switch (m_random() % 1000) {
    case 0:
        return m_group.ctrlStop();
    case 1:
        return m_all.ctrlStop();
    default:
        return operations[m_random() % std::size(operations)](*m_motors[m_random() % m_motors.size()]);
    }
}

void Host::next()
{
    ++m_tally.calls;
    ++m_waiting;
    m_calls.push_back(std::make_unique<Call>(callSomebody()));
    Call &call = *m_calls.back();
    connect(&call.watcher, &BusPendingCallWatcher::finished, this, [this, &call] { handleEnd(call); });
    const auto chance = m_random() % 10000;
    if (chance < 20) {
        call.watcher.cancel();
    } else if (chance == 20) {
        m_bus->close();
        m_bus->open();
    }
}

void Host::handleEnd(Call &call)
{
    if (++call.ends > 1) {
        ++m_tally.endedTwice;
        return;
    }
    --m_waiting;
    count(call.watcher);
    if (m_calls.size() > WatchedCalls)
        forgetOldest();
    if (m_isRunning)
        next();
}

void Host::count(const BusPendingCall &call)
{
    if (call.error() == BusPendingCall::Timeout)
        ++m_tally.timeouts;
    else if (call.isError())
        ++m_tally.withdrawn;
    else if (KVR::getNackReply(call.reply()) != static_cast<KVR::NackStatus>(-1))
        ++m_tally.refusals;
    else
        ++m_tally.replies;
}

void Host::forgetOldest()
{
    if (m_calls.front()->ends == 0)
        ++m_tally.lost;
    m_calls.pop_front();
}

void Host::settle()
{
    while (!m_calls.empty())
        forgetOldest();
    m_calls.shrink_to_fit();
    m_waiting = 0;
}
