#include "messages/kvranswer.h"

#include "messages/kvrschema_p.h"
#include "messages/voxanswerof_p.h"

template <typename Answer>
std::optional<Answer> KVRAnswer::from(const BusMessage &message)
{
    return VOXSchema::answerOf<Answer>(message);
}

#define VOX_ANSWER(Answer) \
    template VOX_EXPORT std::optional<KVRAnswer::Answer> KVRAnswer::from<KVRAnswer::Answer>( \
        const BusMessage &);

VOX_ANSWER(GroupAddr)
VOX_ANSWER(NodeLabel)
VOX_ANSWER(NetworkConfig)
VOX_ANSWER(NodeSerialNumber)
VOX_ANSWER(NetworkErrorStat)
VOX_ANSWER(NetworkStat)
VOX_ANSWER(NodeStackVersion)
VOX_ANSWER(NodeAppVersion)
VOX_ANSWER(DataTest2)
VOX_ANSWER(DataTest3)
VOX_ANSWER(MotorPosition)
VOX_ANSWER(MotorStatus)
VOX_ANSWER(AppMode)
VOX_ANSWER(MotorLimits)
VOX_ANSWER(MotorDirection)
VOX_ANSWER(MotorRollingSpeed)
VOX_ANSWER(MotorTiltingSpeed)
VOX_ANSWER(MotorIP)
VOX_ANSWER(NetworkLock)
VOX_ANSWER(DCTLock)
VOX_ANSWER(TiltLimits)
VOX_ANSWER(MotorSoftStartStop)
VOX_ANSWER(TorqueLimitation)
VOX_ANSWER(FactoryDefault)
VOX_ANSWER(TotalMoveCount)
VOX_ANSWER(TotalRevCount)
VOX_ANSWER(ThermalCount)
VOX_ANSWER(ObstacleCount)
VOX_ANSWER(PowerCount)
VOX_ANSWER(ResetCount)
VOX_ANSWER(EncoderErrors)
