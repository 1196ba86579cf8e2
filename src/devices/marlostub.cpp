#include "devices/marlostub.h"

#include "devices/voxanswer_p.h"

#include <algorithm>
#include <array>

using namespace VOXAnswer;

namespace {
constexpr std::array<unsigned char, 4> AllowedSpeeds = {87, 105, 122, 140};
/// The shortest move, in units of 10 ms.
constexpr unsigned char MinDuration = 72;
/// The shortest jog, in pulses or units of 10 ms.
constexpr unsigned short MinJog = 30;
}

const ProductStub::DataSheet &MarloStub::dataSheet()
{
    static const DataSheet sheet = [] {
        DataSheet filled;
        filled.type = VOX::NODETYPE_MARLO;
        filled.pulsesPerRound = 128;
        // The least, the most, and the value as delivered.
        filled.ranges.rollingSpeed = {87, 140, 105};
        filled.ranges.slowSpeed = {87, 140, 105};
        filled.ranges.downLimit = {64, 64767, UnsetPosition};
        filled.ranges.intermediatePositions = 16;
        filled.ranges.dctLocks = 1;
        filled.ranges.appModes = {KVRMotor::CURTAIN};
        filled.missingCommands = {
            KVR::SET_MOTOR_TILTING_SPEED,
            KVR::GET_MOTOR_TILTING_SPEED,
        };
        return filled;
    }();
    return sheet;
}

MarloStub::MarloStub(unsigned int addr, VOXBus *bus, QObject *parent)
    : ProductStub(dataSheet(), addr, bus, parent)
{
}

bool MarloStub::isSpeedAllowed(unsigned char speed)
{
    return std::find(AllowedSpeeds.begin(), AllowedSpeeds.end(), speed) != AllowedSpeeds.end();
}

// These refusals come before limits and locks are looked at.
bool MarloStub::answerOwn(const VOXMessage &request, VOXReply *answer)
{
    static constexpr Table handlers({
        on<KVR::CTRL_MOVE, &MarloStub::handleMove>,
        on<KVR::CTRL_MOVEOF, &MarloStub::handleMoveOf>,
        on<KVR::SET_MOTOR_LIMITS, &MarloStub::handleLimits, NotMoving>,
        on<KVR::SET_MOTOR_ROLLING_SPEED, &MarloStub::handleRollingSpeed>,
    });
    return handlers.answer(*this, request, answer);
}

VOXReply MarloStub::handleMove(const VOXMessage &request, quint8 function, quint8 duration)
{
    // A duration of 0 is not the longest one here. The base handler, unlike its dispatch, shows a lock in the
    // status.
    Q_UNUSED(function)
    return duration < MinDuration ? nack(request, KVR::NACK_BADMSG) : ctrlMoveReply(request);
}

VOXReply MarloStub::handleMoveOf(const VOXMessage &request, quint8 function, quint16 value)
{
    const bool isJog = function >= KVRMotor::MOVEOF_PULSES_DOWN && function <= KVRMotor::MOVEOF_TIME_UP;
    return isJog && value < MinJog ? nack(request, KVR::NACK_BADMSG) : ctrlMoveOfReply(request);
}

VOXReply MarloStub::handleLimits(const VOXMessage &request, quint8 function)
{
    const bool isShift = function == KVRMotor::LIMIT_SHIFT_DOWN || function == KVRMotor::LIMIT_SHIFT_UP;
    return isShift ? nack(request, KVR::NACK_FEATURE_NOT_SUPPORTED) : setMotorLimitsReply(request);
}

VOXReply MarloStub::handleRollingSpeed(const VOXMessage &request, quint8 speed)
{
    return setRollingSpeeds(speed, speed, speed) ? acknowledgement(request) : nack(request, KVR::NACK_BADMSG);
}

bool MarloStub::hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const
{
    return up == down && up == slow && isSpeedAllowed(up);
}
