#ifndef VOX_DEVICES_HRMV2COMPAT_H
#define VOX_DEVICES_HRMV2COMPAT_H

#include <vox/messages/hrmv2.h>
#include <vox/messages/voxreply.h>

class KVRMotorDevice;
namespace VOXAnswer {
struct Checked;
}

/// Answers six requests of the older command set from the state of a motor that otherwise speaks the current
/// one.
///
/// Numbers intermediate positions from 0 where the motor numbers them from 1; SET_LOCK_STATUS alone counts
/// from 1, too, on purpose. Each handler does what its request asks for and returns the answer; dispatch()
/// sends it. A request shorter than its command's frame is refused with NACK_MSGSIZE, except by the handlers
/// that never refuse. Owned by the motor that it serves; used on its thread.
/// @ingroup devices
class VOX_EXPORT HRMv2Compat
{
public:
    /// Keeps a reference to @p motor, which must outlive it.
    explicit HRMv2Compat(KVRMotorDevice &motor);

    /// Answers @p request under the motor's rule; false if it is none of the six.
    bool dispatch(const VOXMessage &request);
    /// The same, but gives the answer in @p answer in place of sending it.
    bool answerTo(const VOXMessage &request, VOXReply *answer);

    /// Turning direction and down limit, 65535 if unset. Never refuses.
    VOXReply getMotorSettings(const VOXMessage &request);
    /// Pulses, 65535 if unset. Refuses an unknown slot with NACK_BADMSG.
    VOXReply getMotorIP(const VOXMessage &request) { return handle(HRMv2::GET_MOTOR_IP, request); }
    /// 1 if the network lock is set, else 0. Never refuses.
    VOXReply getLockStatus(const VOXMessage &request);
    /// Stores any position, 65535 to unset it. Refuses with NACK_END_LIMITS_NOT_SET, and an unknown slot with
    /// NACK_BADMSG.
    VOXReply setMotorIP(const VOXMessage &request) { return handle(HRMv2::SET_IP, request); }
    /// Positions in pulses, or in 255ths of the travel, are not held at the limits. Refuses with
    /// NACK_END_LIMITS_NOT_SET, NACK_NODE_IS_LOCKED, NACK_IP_NOT_SET, and an unknown function with
    /// NACK_BADMSG. Limits and lock also stand against its stop function, unlike CTRL_STOP.
    VOXReply setMotorPosition(const VOXMessage &request)
    {
        return handle(HRMv2::SET_MOTOR_POSITION, request);
    }
    /// Changes the network lock by the rules of CTRL_NETWORK_LOCK, but lacks its functions that lock after
    /// the move, at a pulse and at a percentage. Refuses with NACK_END_LIMITS_NOT_SET, NACK_LOW_PRIORITY,
    /// NACK_IP_NOT_SET, and an unknown function with NACK_BADMSG.
    VOXReply setLockStatus(const VOXMessage &request) { return handle(HRMv2::SET_LOCK_STATUS, request); }

private:
    friend struct VOXAnswer::Checked;
    using Handler = VOXReply (*)(HRMv2Compat &layer, const VOXMessage &request);
    static Handler findHandler(unsigned char cmd);
    VOXReply handle(int cmd, const VOXMessage &request);

    VOXReply motorIPReply(const VOXMessage &request, quint8 index);
    VOXReply handleMotorIP(const VOXMessage &request, quint8 index, quint16 position);
    VOXReply handlePosition(const VOXMessage &request, quint8 function, quint16 value);
    VOXReply handleLock(const VOXMessage &request, quint8 function, quint8 index, quint8 priority);

    KVRMotorDevice &m_motor;
};

#endif
