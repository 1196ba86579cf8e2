#ifndef VOX_MESSAGES_HRMV2SCHEMA_P_H
#define VOX_MESSAGES_HRMV2SCHEMA_P_H

#include <vox/messages/hrmv2answer.h>
#include <vox/messages/hrmv2table_p.h>
#include <vox/messages/voxschema_p.h>

/// What the data of the older set's commands holds, as far as it is known. A field of a reply also names its
/// member of the HRMv2Answer.
namespace VOXSchema {

using OlderAnswer = HRMv2Answer;

VOX_LAYOUT(HRMv2::GET_GROUP_ADDR) = fields(field<quint8>("index"));
VOX_LAYOUT(HRMv2::SET_GROUP_ADDR) = fields(field<quint8>("index"), address("group"));
VOX_LAYOUT(HRMv2::POST_GROUP_ADDR) = fields(field<&OlderAnswer::GroupAddr::index>("index"),
                                            address<&OlderAnswer::GroupAddr::group>("group"));

VOX_LAYOUT(HRMv2::GET_MOTOR_SETTINGS) = nothing;
VOX_LAYOUT(HRMv2::POST_MOTOR_SETTINGS) = fields(field<&OlderAnswer::MotorSettings::isReversed>("reversed"),
                                                field<&OlderAnswer::MotorSettings::downLimit>("downLimit",
                                                                                              "pulses"));

VOX_LAYOUT(HRMv2::GET_MOTOR_IP) = fields(field<quint8>("index"));
VOX_LAYOUT(HRMv2::SET_IP) = fields(field<quint8>("index"), field<quint16>("position", "pulses"));
VOX_LAYOUT(HRMv2::POST_MOTOR_IP) = fields(field<&OlderAnswer::MotorIP::index>("index"),
                                          field<&OlderAnswer::MotorIP::position>("position", "pulses"));
// The older generation skips the first byte. In the command's own frame it finds no position, and takes 0.
VOX_LAYOUT(VOXCmdTable::OLDER_SET_IP) = fields(field<quint8>("skipped"), field<quint8>("index"),
                                               field<quint16>("position", "pulses"));

VOX_LAYOUT(HRMv2::SET_MOTOR_POSITION) = fields(field<HRMv2::PositionFunction>("fun"),
                                               field<quint16>("value"));

VOX_LAYOUT(HRMv2::GET_LOCK_STATUS) = nothing;
VOX_LAYOUT(HRMv2::SET_LOCK_STATUS) = fields(field<HRMv2::LockFunction>("fun"), field<quint8>("index"),
                                            field<quint8>("priority"));
VOX_LAYOUT(HRMv2::POST_LOCK_STATUS) = fields(field<&OlderAnswer::LockStatus::status>("status"));

VOX_LAYOUT(HRMv2::ACK) = nothing;
VOX_LAYOUT(HRMv2::NACK) = fields(field<KVR::NackStatus>("status"));

// The meaning of the bytes of these answers is not known.
VOX_LAYOUT(HRMv2::GET_MOTOR_POSITION) = nothing;
VOX_LAYOUT(HRMv2::POST_MOTOR_POSITION) = fields(bytes<&OlderAnswer::MotorPosition::data>("data", 3));
VOX_LAYOUT(HRMv2::GET_MOTOR_INFO) = nothing;
VOX_LAYOUT(HRMv2::POST_MOTOR_INFO) = fields(bytes<&OlderAnswer::MotorInfo::data>("data", 10));
VOX_LAYOUT(HRMv2::GET_MOTOR_STATUS) = nothing;
VOX_LAYOUT(HRMv2::POST_MOTOR_STATUS) = fields(bytes<&OlderAnswer::MotorStatus::data>("data", 2));
VOX_LAYOUT(HRMv2::GET_DIAG) = nothing;
VOX_LAYOUT(HRMv2::POST_DIAG) = fields(bytes<&OlderAnswer::Diag::data>("data", 3));
VOX_LAYOUT(HRMv2::GET_IR_CONFIG) = nothing;
VOX_LAYOUT(HRMv2::POST_IR_CONFIG) = fields(bytes<&OlderAnswer::IRConfig::data>("data", 1));
VOX_LAYOUT(HRMv2::GET_MOTOR_CONFIG) = nothing;
VOX_LAYOUT(HRMv2::POST_MOTOR_CONFIG) = fields(bytes<&OlderAnswer::MotorConfig::data>("data", 3));
VOX_LAYOUT(HRMv2::GET_NODE_SW_VERSION) = nothing;
VOX_LAYOUT(HRMv2::POST_NODE_SW_VERSION) = fields(bytes<&OlderAnswer::NodeSWVersion::data>("data", 5));

}

#endif
