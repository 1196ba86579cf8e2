#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

void KVRMotorDevice::lockNetwork(const VOXMessage &request, unsigned char priority)
{
    m_networkLock.apply(true, priority, request.srcAddr(false));
}

VOXReply KVRMotorDevice::ctrlNetworkLockReply(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, LimitsSet))
        return nack(request, refused);
    unsigned char function = 0;
    unsigned short value = 0;
    unsigned char priority = 0;
    if (!read(request, function, value, priority))
        return nack(request, KVR::NACK_BADMSG);
    if (!m_networkLock.admits(priority))
        return nack(request, KVR::NACK_LOW_PRIORITY);

    // The lock is complete before anything moves, so that an arrival at once shows it.
    const auto lockAt = [&](unsigned short target) {
        lockNetwork(request, priority);
        return go(request, target);
    };
    VOXReply done = ack(request);
    const auto show = [&](KVRMotor::State state) {
        setStatus(state, KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_NETWORK, m_status.direction);
        return done;
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
        return m_status.state == KVRMotor::STATE_RUNNING ? done : show(KVRMotor::STATE_LOCKED);
    case KVRMotor::LOCK_AT_IP: {
        const unsigned short target = motorIP(static_cast<unsigned char>(value));
        return target == UnsetPosition ? nack(request, KVR::NACK_IP_NOT_SET) : lockAt(target);
    }
    case KVRMotor::LOCK_RELEASE:
        m_networkLock.apply(false, priority, request.srcAddr(false));
        return m_status.state == KVRMotor::STATE_LOCKED ? show(KVRMotor::STATE_STOPPED) : done;
    case KVRMotor::LOCK_AT_PULSES:
        return lockAt(value);
    case KVRMotor::LOCK_AT_PERCENT:
        return lockAt(toPulses(static_cast<unsigned char>(value)));
    default:
        return nack(request, KVR::NACK_BADMSG);
    }
}
