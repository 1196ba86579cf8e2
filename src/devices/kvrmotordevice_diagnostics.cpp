#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

// The two totals go as three bytes and leave the fourth 0, as the format has it.
VOXReply KVRMotorDevice::diagReply(const VOXMessage &request)
{
    const MotorDiagnosticData &counters = *m_diagnostic.constData();
    const int cmd = KVR::findCmd(request.cmd()).reply();
    switch (cmd) {
    case KVR::DIAG_POST_TOTAL_MOVE_COUNT:
        return answer(*this, request, cmd, counters.totalMoveCount);
    case KVR::DIAG_POST_TOTAL_REV_COUNT:
        return answer(*this, request, cmd, counters.totalRevCount);
    case KVR::DIAG_POST_THERMAL_COUNT:
        return answer(*this, request, cmd, counters.thermalCount, counters.postThermalMove);
    case KVR::DIAG_POST_OBSTACLE_COUNT:
        return answer(*this, request, cmd, counters.obstacleCount, counters.postObstacleMove);
    case KVR::DIAG_POST_POWER_COUNT:
        return answer(*this, request, cmd, counters.powerCount);
    case KVR::DIAG_POST_RESET_COUNT:
        return answer(*this, request, cmd, counters.resetCount);
    case KVR::DIAG_POST_ENCODER_ERRORS:
        return answer(*this, request, cmd, counters.encoderErrCount);
    default:
        return VOXReply();
    }
}
