#ifndef VOX_MESSAGES_KVRTABLE_P_H
#define VOX_MESSAGES_KVRTABLE_P_H

#include <vox/messages/kvr.h>
#include <vox/messages/voxcmdtable_p.h>

/// The descriptors of the KVR set: length of the frame, addressing, reply.
namespace VOXCmdTable {

// The ids do not follow a scheme everywhere, nor are they in order. Each row holds as it stands.
template <>
inline constexpr Row rowsOf<KVR::Cmd>[] = {
    {KVR::GET_NODE_ADDR, 11, Shared, KVR::POST_NODE_ADDR},
    {KVR::GET_GROUP_ADDR, 12, Node, KVR::POST_GROUP_ADDR},
    {KVR::GET_NODE_LABEL, 11, All, KVR::POST_NODE_LABEL},
    {KVR::GET_NETWORK_CONFIG, 11, All, KVR::POST_NETWORK_CONFIG},
    {KVR::GET_NODE_SERIAL_NUMBER, 11, All, KVR::POST_NODE_SERIAL_NUMBER},
    {KVR::GET_NETWORK_ERROR_STAT, 11, All, KVR::POST_NETWORK_ERROR_STAT},
    {KVR::GET_NETWORK_STAT, 11, Node, KVR::POST_NETWORK_STAT},
    {KVR::SET_NODE_DISCOVERY, 12, Node, None},
    {KVR::SET_GROUP_ADDR, 15, All, None},
    {KVR::SET_NODE_LABEL, 27, All, None},
    {KVR::SET_NETWORK_CONFIG, 18, All, None},
    {KVR::SET_NETWORK_STAT, 13, All, None},
    {KVR::POST_NODE_ADDR, 11, Node, None},
    {KVR::POST_GROUP_ADDR, 15, Node, None},
    {KVR::POST_NODE_LABEL, 27, All, None},
    {KVR::POST_NETWORK_STAT, 28, Node, None},
    {KVR::POST_NETWORK_CONFIG, 17, All, None},
    {KVR::POST_NODE_SERIAL_NUMBER, 23, All, None},
    {KVR::POST_NETWORK_ERROR_STAT, 29, All, None},
    {KVR::NACK, 12, Node, None},
    {KVR::GET_NODE_STACK_VERSION, 11, All, KVR::POST_NODE_STACK_VERSION},
    {KVR::POST_NODE_STACK_VERSION, 17, All, None},
    {KVR::GET_NODE_APP_VERSION, 11, All, KVR::POST_NODE_APP_VERSION},
    {KVR::POST_NODE_APP_VERSION, 17, All, None},
    {KVR::SEND_DATA_TEST1, 11, All, KVR::POST_DATA_TEST1},
    {KVR::POST_DATA_TEST1, 11, All, None},
    {KVR::SEND_DATA_TEST2, 21, Node, KVR::POST_DATA_TEST2},
    {KVR::POST_DATA_TEST2, 21, Node, None},
    {KVR::SEND_DATA_TEST3, 31, Node, KVR::POST_DATA_TEST3},
    {KVR::POST_DATA_TEST3, 31, Node, None},
    {KVR::ACK, 11, All, None},
};

// The frames of the two tilt setters have no room for a payload, and those of some POST rows have less than
// their reply needs.
template <>
inline constexpr Row rowsOf<KVR::MotorCmd>[] = {
    {KVR::CTRL_MOVE, 14, All, None},
    {KVR::CTRL_STOP, 12, All, None},
    {KVR::CTRL_MOVETO, 15, All, None},
    {KVR::CTRL_MOVEOF, 15, All, None},
    {KVR::CTRL_WINK, 11, All, None},
    {KVR::CTRL_NETWORK_LOCK, 15, All, None},
    {KVR::GET_MOTOR_POSITION, 11, Node, KVR::POST_MOTOR_POSITION},
    {KVR::POST_MOTOR_POSITION, 16, Node, None},
    {KVR::GET_MOTOR_STATUS, 11, Node, KVR::POST_MOTOR_STATUS},
    {KVR::POST_MOTOR_STATUS, 15, Node, None},
    {KVR::SET_APP_MODE, 12, All, None},
    {KVR::SET_MOTOR_LIMITS, 15, All, None},
    {KVR::SET_MOTOR_DIRECTION, 12, All, None},
    {KVR::SET_MOTOR_ROLLING_SPEED, 14, All, None},
    {KVR::SET_MOTOR_TILTING_SPEED, 11, All, None},
    {KVR::SET_MOTOR_IP, 15, All, None},
    {KVR::SET_NETWORK_LOCK, 13, All, None},
    {KVR::SET_DCT_LOCK, 14, All, None},
    {KVR::SET_TILT_LIMITS, 11, All, None},
    {KVR::SET_MOTOR_SOFT_START_STOP, 14, All, None},
    {KVR::SET_TORQUE_LIMITATION, 13, All, None},
    {KVR::SET_FACTORY_DEFAULT, 12, All, None},
    {KVR::GET_APP_MODE, 11, Node, KVR::POST_APP_MODE},
    {KVR::GET_MOTOR_LIMITS, 11, Node, KVR::POST_MOTOR_LIMITS},
    {KVR::GET_MOTOR_DIRECTION, 11, Node, KVR::POST_MOTOR_DIRECTION},
    {KVR::GET_MOTOR_ROLLING_SPEED, 11, Node, KVR::POST_MOTOR_ROLLING_SPEED},
    {KVR::GET_MOTOR_TILTING_SPEED, 11, Node, KVR::POST_MOTOR_TILTING_SPEED},
    {KVR::GET_MOTOR_IP, 12, Node, KVR::POST_MOTOR_IP},
    {KVR::GET_NETWORK_LOCK, 11, Node, KVR::POST_NETWORK_LOCK},
    {KVR::GET_DCT_LOCK, 12, Node, KVR::POST_DCT_LOCK},
    {KVR::GET_TILT_LIMITS, 11, Node, KVR::POST_TILT_LIMITS},
    {KVR::GET_MOTOR_SOFT_START_STOP, 11, All, KVR::POST_MOTOR_SOFT_START_STOP},
    {KVR::GET_TORQUE_LIMITATION, 11, All, KVR::POST_TORQUE_LIMITATION},
    {KVR::GET_FACTORY_DEFAULT, 12, All, KVR::POST_FACTORY_DEFAULT},
    {KVR::POST_APP_MODE, 12, All, None},
    {KVR::POST_MOTOR_LIMITS, 15, Node, None},
    {KVR::POST_MOTOR_DIRECTION, 12, Node, None},
    {KVR::POST_MOTOR_ROLLING_SPEED, 14, Node, None},
    {KVR::POST_MOTOR_TILTING_SPEED, 11, Node, None},
    {KVR::POST_MOTOR_IP, 12, Node, None},
    {KVR::POST_NETWORK_LOCK, 16, Node, None},
    {KVR::POST_DCT_LOCK, 16, Node, None},
    {KVR::POST_TILT_LIMITS, 11, Node, None},
    {KVR::POST_MOTOR_SOFT_START_STOP, 15, Node, None},
    {KVR::POST_TORQUE_LIMITATION, 15, Node, None},
    {KVR::POST_FACTORY_DEFAULT, 12, Node, None},
};

template <>
inline constexpr Row rowsOf<KVR::DiagCmd>[] = {
    {KVR::DIAG_GET_TOTAL_MOVE_COUNT, 11, All, KVR::DIAG_POST_TOTAL_MOVE_COUNT},
    {KVR::DIAG_GET_TOTAL_REV_COUNT, 11, All, KVR::DIAG_POST_TOTAL_REV_COUNT},
    {KVR::DIAG_GET_THERMAL_COUNT, 11, All, KVR::DIAG_POST_THERMAL_COUNT},
    {KVR::DIAG_GET_OBSTACLE_COUNT, 11, All, KVR::DIAG_POST_OBSTACLE_COUNT},
    {KVR::DIAG_GET_POWER_COUNT, 11, All, KVR::DIAG_POST_POWER_COUNT},
    {KVR::DIAG_GET_RESET_COUNT, 11, All, KVR::DIAG_POST_RESET_COUNT},
    {KVR::DIAG_GET_ENCODER_ERRORS, 11, All, KVR::DIAG_POST_ENCODER_ERRORS},
    {KVR::DIAG_POST_TOTAL_MOVE_COUNT, 15, All, None},
    {KVR::DIAG_POST_TOTAL_REV_COUNT, 15, All, None},
    {KVR::DIAG_POST_THERMAL_COUNT, 15, All, None},
    {KVR::DIAG_POST_OBSTACLE_COUNT, 15, All, None},
    {KVR::DIAG_POST_POWER_COUNT, 13, All, None},
    {KVR::DIAG_POST_RESET_COUNT, 13, All, None},
    {KVR::DIAG_POST_ENCODER_ERRORS, 13, All, None},
};

}

#endif
