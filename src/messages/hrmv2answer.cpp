#include "messages/hrmv2answer.h"

#include "messages/hrmv2schema_p.h"
#include "messages/voxanswerof_p.h"

template <typename Answer>
std::optional<Answer> HRMv2Answer::from(const BusMessage &message)
{
    return VOXSchema::answerOf<Answer>(message);
}

#define VOX_ANSWER(Answer) \
    template VOX_EXPORT std::optional<HRMv2Answer::Answer> HRMv2Answer::from<HRMv2Answer::Answer>( \
        const BusMessage &);

VOX_ANSWER(GroupAddr)
VOX_ANSWER(MotorSettings)
VOX_ANSWER(MotorIP)
VOX_ANSWER(LockStatus)
VOX_ANSWER(MotorPosition)
VOX_ANSWER(MotorInfo)
VOX_ANSWER(MotorStatus)
VOX_ANSWER(Diag)
VOX_ANSWER(IRConfig)
VOX_ANSWER(MotorConfig)
VOX_ANSWER(NodeSWVersion)
