#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

#include <algorithm>

using namespace VOXAnswer;

namespace {
template <auto Command>
VOXReply lockReply(const VOXNode &node, const VOXMessage &request, const Lock &lock)
{
    return answer<Command>(node, request, lock.isLocked(), lock.getSource(), lock.getCurrentPrio());
}
}

void KVRMotorDevice::lockNetwork(const VOXMessage &request, unsigned char priority)
{
    m_networkLock.apply(true, priority, request.srcAddr(false));
}

VOXReply KVRMotorDevice::changeNetworkLock(const VOXMessage &request, quint8 function, quint16 value,
                                           quint8 priority)
{
    if (!m_networkLock.admits(priority))
        return nack(request, KVR::NACK_LOW_PRIORITY);

    // The lock is complete before anything moves, so that an arrival at once shows it.
    const auto lockAt = [&](unsigned short target) {
        lockNetwork(request, priority);
        return go(request, target);
    };
    const auto show = [&](KVRMotor::State state) {
        setStatus(state, KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_NETWORK, m_status.direction);
        return acknowledgement(request);
    };
    switch (function) {
    case KVRMotor::LOCK_HERE:
        lockNetwork(request, priority);
        m_position.stopMoving();
        return show(KVRMotor::STATE_LOCKED);
    case KVRMotor::LOCK_AT_UP_LIMIT:
        return lockAt(upLimit());
    case KVRMotor::LOCK_AT_DOWN_LIMIT:
        return lockAt(downLimit());
    case KVRMotor::LOCK_AFTER_MOVE:
        lockNetwork(request, priority);
        return m_status.state == KVRMotor::STATE_RUNNING ? acknowledgement(request)
                                                         : show(KVRMotor::STATE_LOCKED);
    case KVRMotor::LOCK_AT_IP: {
        const unsigned short target = motorIP(static_cast<unsigned char>(value));
        return target == UnsetPosition ? nack(request, KVR::NACK_IP_NOT_SET) : lockAt(target);
    }
    case KVRMotor::LOCK_RELEASE:
        m_networkLock.apply(false, priority, request.srcAddr(false));
        return m_status.state == KVRMotor::STATE_LOCKED ? show(KVRMotor::STATE_STOPPED)
                                                        : acknowledgement(request);
    case KVRMotor::LOCK_AT_PULSES:
        return lockAt(value);
    case KVRMotor::LOCK_AT_PERCENT:
        return lockAt(toPulses(static_cast<unsigned char>(value)));
    default:
        return nack(request, KVR::NACK_BADMSG);
    }
}

// Unlike CTRL_NETWORK_LOCK, this needs no limits and does not show in the status.
VOXReply KVRMotorDevice::handleNetworkLock(const VOXMessage &request, quint8 lock, quint8 priority)
{
    if (!m_networkLock.admits(priority))
        return nack(request, KVR::NACK_LOW_PRIORITY);
    if (lock > VOX::LOCKED)
        return nack(request, KVR::NACK_BADMSG);
    m_networkLock.apply(lock == VOX::LOCKED, priority, request.srcAddr(false));
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::getNetworkLockReply(const VOXMessage &request)
{
    return lockReply<KVR::POST_NETWORK_LOCK>(*this, request, m_networkLock);
}

VOXReply KVRMotorDevice::handleDCTLock(const VOXMessage &request, quint8 lock, quint8 index, quint8 priority)
{
    if (lock > VOX::LOCKED || index > m_dctLocks.size())
        return nack(request, KVR::NACK_BADMSG);
    // Index 0 means all of them, or none if one of them does not admit it.
    const auto first = m_dctLocks.begin() + (index == 0 ? 0 : index - 1);
    const auto last = index == 0 ? m_dctLocks.end() : first + 1;
    if (!std::all_of(first, last, [&](const Lock &one) { return one.admits(priority); }))
        return nack(request, KVR::NACK_LOW_PRIORITY);
    std::for_each(first, last,
                  [&](Lock &one) { one.apply(lock == VOX::LOCKED, priority, request.srcAddr(false)); });
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::dctLockReply(const VOXMessage &request, quint8 index)
{
    if (index == 0 || index > m_dctLocks.size())
        return nack(request, KVR::NACK_BADMSG);
    return lockReply<KVR::POST_DCT_LOCK>(*this, request, m_dctLocks.at(index - 1));
}

void KVRMotorDevice::setNetworkLock(const Lock &lock)
{
    m_networkLock = lock;
    if (m_status.state != KVRMotor::STATE_RUNNING)
        setStatus(restState(), m_status.source, m_status.cause, m_status.direction);
}

bool KVRMotorDevice::setDCTLock(int index, const Lock &lock)
{
    if (index < 1 || index > m_dctLocks.size())
        return false;
    m_dctLocks[index - 1] = lock;
    return true;
}

void KVRMotorDevice::resetLocks()
{
    for (Lock &lock : m_dctLocks)
        lock.setLock(false);
    m_networkLock.setLock(false);
}

bool KVRMotorDevice::isDefaultLocks() const
{
    return !m_networkLock.isLocked()
        && std::none_of(m_dctLocks.begin(), m_dctLocks.end(),
                        [](const Lock &lock) { return lock.isLocked(); });
}
