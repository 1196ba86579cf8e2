#include "messages/voxcommandtrait.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/kvrmotor.h"
#include "messages/voxmessage.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr int AnyFunction = -1;

struct Row
{
    int cmd;
    /// The first byte of the data.
    int function;
    VOXCommandTrait trait;
};

constexpr VOXCommandTrait Stops{VOXCommandTrait::Stop, true};
constexpr VOXCommandTrait Goes{VOXCommandTrait::AbsoluteMove, true};
constexpr VOXCommandTrait Jogs{VOXCommandTrait::RelativeMove, false};
constexpr VOXCommandTrait Sets{VOXCommandTrait::Setting, true};
constexpr VOXCommandTrait Shifts{VOXCommandTrait::Setting, false};

// The first row that fits counts. Queries have no row: each command that has a reply is one. The ids that
// both sets have mean the same here.
constexpr Row rows[] = {
    {KVR::CTRL_STOP, AnyFunction, Stops},
    {KVR::CTRL_MOVE, AnyFunction, Jogs},
    {KVR::CTRL_MOVETO, AnyFunction, Goes},
    {KVR::CTRL_MOVEOF, AnyFunction, Jogs},
    {KVR::CTRL_WINK, AnyFunction, {VOXCommandTrait::Wink, false}},
    {KVR::CTRL_NETWORK_LOCK, AnyFunction, Sets},
    {KVR::SET_MOTOR_LIMITS, KVRMotor::LIMIT_SHIFT_DOWN, Shifts},
    {KVR::SET_MOTOR_LIMITS, KVRMotor::LIMIT_SHIFT_UP, Shifts},
    {KVR::SET_MOTOR_LIMITS, AnyFunction, Sets},
    {KVR::SET_APP_MODE, AnyFunction, Sets},
    {KVR::SET_MOTOR_DIRECTION, AnyFunction, Sets},
    {KVR::SET_MOTOR_ROLLING_SPEED, AnyFunction, Sets},
    {KVR::SET_MOTOR_TILTING_SPEED, AnyFunction, Sets},
    {KVR::SET_MOTOR_IP, AnyFunction, Sets},
    {KVR::SET_NETWORK_LOCK, AnyFunction, Sets},
    {KVR::SET_DCT_LOCK, AnyFunction, Sets},
    {KVR::SET_TILT_LIMITS, AnyFunction, Sets},
    {KVR::SET_MOTOR_SOFT_START_STOP, AnyFunction, Sets},
    {KVR::SET_TORQUE_LIMITATION, AnyFunction, Sets},
    {KVR::SET_FACTORY_DEFAULT, AnyFunction, Sets},
    {KVR::SET_NODE_DISCOVERY, AnyFunction, Sets},
    {KVR::SET_GROUP_ADDR, AnyFunction, Sets},
    {KVR::SET_NODE_LABEL, AnyFunction, Sets},
    {KVR::SET_NETWORK_CONFIG, AnyFunction, Sets},
    {KVR::SET_NETWORK_STAT, AnyFunction, Sets},
    {HRMv2::SET_MOTOR_POSITION, HRMv2::POSITION_STOP, Stops},
    {HRMv2::SET_MOTOR_POSITION, HRMv2::POSITION_UP_LIMIT, Goes},
    {HRMv2::SET_MOTOR_POSITION, HRMv2::POSITION_DOWN_LIMIT, Goes},
    {HRMv2::SET_MOTOR_POSITION, HRMv2::POSITION_IP, Goes},
    {HRMv2::SET_MOTOR_POSITION, HRMv2::POSITION_PULSES, Goes},
    {HRMv2::SET_MOTOR_POSITION, HRMv2::POSITION_FRACTION, Goes},
    {HRMv2::SET_MOTOR_POSITION, AnyFunction, Jogs},
    {HRMv2::SET_MOTOR_SETTINGS, AnyFunction, Sets},
    {HRMv2::SET_IP, AnyFunction, Sets},
    {HRMv2::SET_LOCK_STATUS, AnyFunction, Sets},
};

bool hasReply(unsigned char cmd)
{
    const VOXCmdInfo info = KVR::findCmd(cmd);
    return (info.isValid() ? info : HRMv2::findCmd(cmd)).reply() != 0;
}
}

VOXCommandTrait VOXCommandTrait::of(const VOXMessage &request)
{
    const QByteArray &bytes = request.data();
    if (bytes.size() < VOXMessage::MinLength)
        return {};
    const unsigned char cmd = request.cmd();
    const int function = bytes.size() > VOXMessage::MinLength
        ? static_cast<unsigned char>(bytes.at(VOXMessage::HeaderLength))
        : AnyFunction;
    const auto *const row = std::find_if(std::begin(rows), std::end(rows), [&](const Row &each) {
        return each.cmd == cmd && (each.function == AnyFunction || each.function == function);
    });
    if (row != std::end(rows))
        return row->trait;
    return hasReply(cmd) ? VOXCommandTrait{Query, true} : VOXCommandTrait{};
}
