#ifndef VOX_MESSAGES_HRMV2TABLE_P_H
#define VOX_MESSAGES_HRMV2TABLE_P_H

#include <vox/messages/hrmv2.h>
#include <vox/messages/voxcmdtable_p.h>

/// The descriptors of the older set.
namespace VOXCmdTable {

template <>
inline constexpr Row rowsOf<HRMv2::Cmd>[] = {
    {HRMv2::GET_MOTOR_ADDR, 11, Everyone, HRMv2::POST_MOTOR_ADDR},
    {HRMv2::GET_GROUP_ADDR, 12, Node, HRMv2::POST_GROUP_ADDR},
    {HRMv2::GET_MOTOR_SETTINGS, 11, Node, HRMv2::POST_MOTOR_SETTINGS},
    {HRMv2::GET_MOTOR_IP, 12, Node, HRMv2::POST_MOTOR_IP},
    {HRMv2::GET_MOTOR_POSITION, 11, Node, HRMv2::POST_MOTOR_POSITION},
    {HRMv2::GET_MOTOR_LABEL, 11, Node, HRMv2::POST_MOTOR_LABEL},
    {HRMv2::GET_MOTOR_INFO, 11, Node, HRMv2::POST_MOTOR_INFO},
    {HRMv2::GET_DIAG, 11, Node, HRMv2::POST_DIAG},
    {HRMv2::GET_MOTOR_STATUS, 11, Node, HRMv2::POST_MOTOR_STATUS},
    {HRMv2::GET_IR_CONFIG, 11, Node, HRMv2::POST_IR_CONFIG},
    {HRMv2::GET_MOTOR_CONFIG, 11, Node, HRMv2::POST_MOTOR_CONFIG},
    {HRMv2::GET_LOCK_STATUS, 11, Node, HRMv2::POST_LOCK_STATUS},
    {HRMv2::GET_NODE_SW_VERSION, 11, All, HRMv2::POST_NODE_SW_VERSION},
    {HRMv2::POST_MOTOR_ADDR, 11, Node, None},
    {HRMv2::POST_GROUP_ADDR, 15, Node, None},
    {HRMv2::POST_MOTOR_SETTINGS, 14, Node, None},
    {HRMv2::POST_MOTOR_IP, 14, Node, None},
    {HRMv2::POST_MOTOR_POSITION, 14, Node, None},
    {HRMv2::POST_MOTOR_LABEL, 43, Node, None},
    {HRMv2::POST_MOTOR_INFO, 21, Node, None},
    {HRMv2::POST_DIAG, 14, Node, None},
    {HRMv2::POST_MOTOR_STATUS, 13, Node, None},
    {HRMv2::POST_IR_CONFIG, 12, Node, None},
    {HRMv2::POST_MOTOR_CONFIG, 14, Node, None},
    {HRMv2::POST_LOCK_STATUS, 12, Node, None},
    {HRMv2::NACK, 12, All, None},
    {HRMv2::ACK, 11, All, None},
    {HRMv2::POST_NODE_SW_VERSION, 16, All, None},
    {HRMv2::SET_GROUP_ADDR, 15, Node, None},
    {HRMv2::SET_MOTOR_SETTINGS, 16, NodeGroup, None},
    {HRMv2::SET_IP, 14, NodeGroup, None},
    {HRMv2::SET_MOTOR_POSITION, 14, NodeGroup, None},
    {HRMv2::SET_MOTOR_LABEL, 43, NodeGroup, None},
    {HRMv2::SET_MOTOR_INFO, 19, Everyone, None},
    {HRMv2::SET_IR_CONFIG, 12, NodeGroup, None},
    {HRMv2::SET_MOTOR_CONFIG, 14, NodeGroup, None},
    {HRMv2::SET_LOCK_STATUS, 14, NodeGroup, None},
    {HRMv2::SET_MOTOR_LIMITS, 14, NodeGroup, None},
};

/// Commands that motors of the older generation read in another form than motors of the current one do.
enum OlderForm : int { OLDER_SET_IP = HRMv2::SET_IP };

template <>
inline constexpr Row rowsOf<OlderForm>[] = {
    {OLDER_SET_IP, 15, NodeGroup, None},
};

}

#endif
