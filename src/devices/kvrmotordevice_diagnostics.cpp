#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

VOXReply KVRMotorDevice::diagReply(const VOXMessage &request)
{
    const MotorDiagnosticData &counters = *m_diagnostic.constData();
    switch (request.cmd()) {
    case KVR::DIAG_GET_TOTAL_MOVE_COUNT:
        return answer<KVR::DIAG_POST_TOTAL_MOVE_COUNT>(*this, request, counters.totalMoveCount);
    case KVR::DIAG_GET_TOTAL_REV_COUNT:
        return answer<KVR::DIAG_POST_TOTAL_REV_COUNT>(*this, request, counters.totalRevCount);
    case KVR::DIAG_GET_THERMAL_COUNT:
        return answer<KVR::DIAG_POST_THERMAL_COUNT>(*this, request, counters.thermalCount,
                                                    counters.postThermalMove);
    case KVR::DIAG_GET_OBSTACLE_COUNT:
        return answer<KVR::DIAG_POST_OBSTACLE_COUNT>(*this, request, counters.obstacleCount,
                                                     counters.postObstacleMove);
    case KVR::DIAG_GET_POWER_COUNT:
        return answer<KVR::DIAG_POST_POWER_COUNT>(*this, request, counters.powerCount);
    case KVR::DIAG_GET_RESET_COUNT:
        return answer<KVR::DIAG_POST_RESET_COUNT>(*this, request, counters.resetCount);
    case KVR::DIAG_GET_ENCODER_ERRORS:
        return answer<KVR::DIAG_POST_ENCODER_ERRORS>(*this, request, counters.encoderErrCount);
    default:
        return VOXReply();
    }
}
