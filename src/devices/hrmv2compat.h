#ifndef HRMV2COMPAT_H
#define HRMV2COMPAT_H

#include "messages/kvr.h"
#include "messages/voxreply.h"

class KVRMotorDevice;

/// Answers six requests of the older command set from the state of a motor that otherwise speaks the current
/// one.
///
/// Numbers intermediate positions from 0 where the motor numbers them from 1. Owned by the motor that it
/// serves.
class VOX_EXPORT HRMv2Compat
{
public:
    explicit HRMv2Compat(KVRMotorDevice &motor);

    /// Answers @p request under the motor's rule; false if it is none of the six.
    bool dispatch(const VOXMessage &request);

    VOXReply getMotorSettings(const VOXMessage &request);
    VOXReply getMotorIP(const VOXMessage &request);
    VOXReply getLockStatus(const VOXMessage &request);
    VOXReply setMotorIP(const VOXMessage &request);
    VOXReply setMotorPosition(const VOXMessage &request);
    VOXReply setLockStatus(const VOXMessage &request);

private:
    KVR::NackStatus refusal(const VOXMessage &request, int checks);

    KVRMotorDevice &m_motor;
};

#endif
