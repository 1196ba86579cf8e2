#ifndef VOX_MESSAGES_HRMV2SCHEMA_P_H
#define VOX_MESSAGES_HRMV2SCHEMA_P_H

#include <vox/messages/hrmv2table_p.h>
#include <vox/messages/voxschema_p.h>

/// What the data of the older set's commands holds, as far as it is known. SET_IP is as motors of the current
/// set understand it.
namespace VOXSchema {

VOX_LAYOUT(HRMv2::GET_MOTOR_SETTINGS) = nothing;
VOX_LAYOUT(HRMv2::POST_MOTOR_SETTINGS) = fields(field<bool>("reversed"),
                                                field<quint16>("downLimit", "pulses"));

VOX_LAYOUT(HRMv2::GET_MOTOR_IP) = fields(field<quint8>("index"));
VOX_LAYOUT(HRMv2::SET_IP) = fields(field<quint8>("index"), field<quint16>("position", "pulses"));
VOX_LAYOUT(HRMv2::POST_MOTOR_IP) = fields(field<quint8>("index"), field<quint16>("position", "pulses"));

VOX_LAYOUT(HRMv2::SET_MOTOR_POSITION) = fields(field<quint8>("fun"), field<quint16>("value"));

VOX_LAYOUT(HRMv2::GET_LOCK_STATUS) = nothing;
VOX_LAYOUT(HRMv2::SET_LOCK_STATUS) = fields(field<quint8>("fun"), field<quint8>("index"),
                                            field<quint8>("priority"));
VOX_LAYOUT(HRMv2::POST_LOCK_STATUS) = fields(field<quint8>("status"));

// The meaning of the bytes of these three is not known.
VOX_LAYOUT(HRMv2::POST_MOTOR_POSITION) = fields(bytes("data", 3));
VOX_LAYOUT(HRMv2::POST_MOTOR_INFO) = fields(bytes("data", 10));
VOX_LAYOUT(HRMv2::POST_MOTOR_STATUS) = fields(bytes("data", 2));

}

#endif
