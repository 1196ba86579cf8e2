#include "devices/marlostub.h"

#include "devices/voxanswer_p.h"

#include <algorithm>
#include <array>
#include <tuple>

using namespace VOXAnswer;

namespace {
constexpr std::array<unsigned char, 4> AllowedSpeeds = {87, 105, 122, 140};
/// In units of 10 ms.
constexpr unsigned char MinDuration = 72;
/// Pulses or units of 10 ms.
constexpr unsigned short MinJog = 30;
}

const ProductStub::DataSheet &MarloStub::dataSheet()
{
    static const DataSheet sheet = {
        VOX::NODETYPE_MARLO,
        128, // pulses per revolution
        {
            {87, 140, 105}, // rolling speeds: least, most, as delivered
            {87, 140, 105}, // slow speed
            {64, 64767, UnsetPosition}, // down limit
            16, // intermediate positions
            1, // locks of local inputs
            {KVRMotor::CURTAIN}, // app modes
        },
        {
            KVR::SET_MOTOR_TILTING_SPEED,
            KVR::GET_MOTOR_TILTING_SPEED,
        },
    };
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

// What is refused here is refused before limits and locks are looked at.
bool MarloStub::answerOwn(const VOXMessage &request, VOXReply *reply)
{
    unsigned char function = 0;
    unsigned char duration = 0;
    unsigned short value = 0;
    switch (request.cmd()) {
    case KVR::CTRL_MOVE:
        // A duration of 0 is not a full one here; and the base handler, unlike its dispatch, shows a lock in
        // the status.
        *reply = isComplete(request) && (!read(request, function, duration) || duration < MinDuration)
            ? nack(request, KVR::NACK_BADMSG)
            : ctrlMoveReply(request);
        return true;
    case KVR::CTRL_MOVEOF: {
        const bool isRead = read(request, function, value);
        const bool isJog = function >= KVRMotor::MOVEOF_PULSES_DOWN && function <= KVRMotor::MOVEOF_TIME_UP;
        *reply = isComplete(request) && isRead && isJog && value < MinJog ? nack(request, KVR::NACK_BADMSG)
                                                                          : ctrlMoveOfReply(request);
        return true;
    }
    case KVR::SET_MOTOR_LIMITS: {
        read(request, function);
        const bool isShift = function == KVRMotor::LIMIT_SHIFT_DOWN || function == KVRMotor::LIMIT_SHIFT_UP;
        const KVR::NackStatus refused = refusal(request, NotMoving);
        *reply = refused == KVR::NACK_ACK && isShift ? nack(request, KVR::NACK_FEATURE_NOT_SUPPORTED)
                                                     : setMotorLimitsReply(request);
        return true;
    }
    case KVR::SET_MOTOR_ROLLING_SPEED:
        *reply = setRollingSpeedReply(request);
        return true;
    default:
        return false;
    }
}

VOXReply MarloStub::setRollingSpeedReply(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, AnyState))
        return nack(request, refused);
    unsigned char speed = 0;
    if (!read(request, speed) || !setRollingSpeeds(speed, speed, speed))
        return nack(request, KVR::NACK_BADMSG);
    return acknowledgement(request);
}

bool MarloStub::hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const
{
    return up == down && up == slow && isSpeedAllowed(up);
}
