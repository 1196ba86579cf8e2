#ifndef VOX_MESSAGES_KVRSCHEMA_P_H
#define VOX_MESSAGES_KVRSCHEMA_P_H

#include <vox/messages/kvranswer.h>
#include <vox/messages/kvrtable_p.h>
#include <vox/messages/voxschema_p.h>

/// The data of each command of the KVR set, field by field in the order of the bytes. A field of a reply also
/// names its member of the KVRAnswer. Tools show fields by these names.
namespace VOXSchema {

using Answer = KVRAnswer;
using Motor = KVRMotor;

// Every node

VOX_LAYOUT(KVR::GET_NODE_ADDR) = nothing;
VOX_LAYOUT(KVR::POST_NODE_ADDR) = nothing;

VOX_LAYOUT(KVR::GET_GROUP_ADDR) = fields(field<quint8>("index"));
VOX_LAYOUT(KVR::SET_GROUP_ADDR) = fields(field<quint8>("index"), address("group"));
VOX_LAYOUT(KVR::POST_GROUP_ADDR) = fields(field<&Answer::GroupAddr::index>("index"),
                                          address<&Answer::GroupAddr::group>("group"));

VOX_LAYOUT(KVR::GET_NODE_LABEL) = nothing;
VOX_LAYOUT(KVR::SET_NODE_LABEL) = fields(text("label", KVR::LabelLength));
VOX_LAYOUT(KVR::POST_NODE_LABEL) = fields(text<&Answer::NodeLabel::label>("label", KVR::LabelLength));

// These are numbers and no enumerations, because 255 leaves a setting as it is.
VOX_LAYOUT(KVR::SET_NETWORK_CONFIG) = fields(field<quint8>("bcastMode"), field<quint8>("maxRand"),
                                             field<quint8>("supervision"),
                                             field<quint16>("supervisionPeriod"), field<quint8>("deafMode"),
                                             field<quint8>("upload"));
VOX_LAYOUT(KVR::GET_NETWORK_CONFIG) = nothing;
VOX_LAYOUT(KVR::POST_NETWORK_CONFIG) = fields(
    field<&Answer::NetworkConfig::bcastMode>("bcastMode"), field<&Answer::NetworkConfig::maxRand>("maxRand"),
    field<&Answer::NetworkConfig::supervision>("supervision"),
    field<&Answer::NetworkConfig::supervisionPeriod>("supervisionPeriod"),
    field<&Answer::NetworkConfig::deafMode>("deafMode"));

VOX_LAYOUT(KVR::GET_NODE_SERIAL_NUMBER) = nothing;
VOX_LAYOUT(KVR::POST_NODE_SERIAL_NUMBER) = fields(text<&Answer::NodeSerialNumber::serial>("serial",
                                                                                          KVR::SerialLength));

VOX_LAYOUT(KVR::GET_NETWORK_ERROR_STAT) = nothing;
VOX_LAYOUT(KVR::POST_NETWORK_ERROR_STAT) =
    fields(field<&Answer::NetworkErrorStat::txFailures>("txFailures"),
           field<&Answer::NetworkErrorStat::collisions>("collisions"),
           field<&Answer::NetworkErrorStat::rxDataError>("rxDataError"),
           field<&Answer::NetworkErrorStat::unknownMessage>("unknownMessage"),
           field<&Answer::NetworkErrorStat::msgLengthError>("msgLengthError"),
           field<&Answer::NetworkErrorStat::rxFifoFull>("rxFifoFull"),
           field<&Answer::NetworkErrorStat::txFifoFull>("txFifoFull"),
           field<&Answer::NetworkErrorStat::crcError>("crcError"),
           field<&Answer::NetworkErrorStat::bundleSizeError>("bundleSizeError"));

VOX_LAYOUT(KVR::GET_NETWORK_STAT) = nothing;
VOX_LAYOUT(KVR::SET_NETWORK_STAT) = fields(field<quint8>("mode"), field<quint8>("retryCount"));
// The last three bytes of the frame belong to no field.
VOX_LAYOUT(KVR::POST_NETWORK_STAT) =
    fields(field<&Answer::NetworkStat::maxRetryCount>("maxRetryCount"),
           field<&Answer::NetworkStat::frameSent>("frameSent"),
           field<&Answer::NetworkStat::frameSeen>("frameSeen"),
           field<&Answer::NetworkStat::frameReceived>("frameReceived"),
           field<&Answer::NetworkStat::busyCount>("busyCount"),
           field<&Answer::NetworkStat::maxSlot>("maxSlot"),
           field<&Answer::NetworkStat::supervisionFailure>("supervisionFailure"))
        .sentAs(28);

VOX_LAYOUT(KVR::SET_NODE_DISCOVERY) = fields(field<bool>("silent"));

VOX_LAYOUT(KVR::GET_NODE_STACK_VERSION) = nothing;
VOX_LAYOUT(KVR::POST_NODE_STACK_VERSION) = fields(field<&Answer::NodeStackVersion::reference>("reference"),
                                                  letter<&Answer::NodeStackVersion::letter>("letter"),
                                                  field<&Answer::NodeStackVersion::number>("number"),
                                                  field<&Answer::NodeStackVersion::profile>("profile"));
VOX_LAYOUT(KVR::GET_NODE_APP_VERSION) = nothing;
VOX_LAYOUT(KVR::POST_NODE_APP_VERSION) = layout<KVR::POST_NODE_STACK_VERSION>;

VOX_LAYOUT(KVR::SEND_DATA_TEST1) = nothing;
VOX_LAYOUT(KVR::POST_DATA_TEST1) = nothing;
VOX_LAYOUT(KVR::SEND_DATA_TEST2) = fields(bytes("data", 10));
VOX_LAYOUT(KVR::POST_DATA_TEST2) = fields(bytes<&Answer::DataTest2::data>("data", 10));
VOX_LAYOUT(KVR::SEND_DATA_TEST3) = fields(bytes("data", 20));
VOX_LAYOUT(KVR::POST_DATA_TEST3) = fields(bytes<&Answer::DataTest3::data>("data", 20));

VOX_LAYOUT(KVR::ACK) = nothing;
VOX_LAYOUT(KVR::NACK) = fields(field<KVR::NackStatus>("status"));

// Motors

VOX_LAYOUT(KVR::CTRL_MOVE) = fields(field<Motor::MoveFunction>("dir"), field<quint8>("duration", "x 10 ms"),
                                    field<Motor::SpeedType>("speed"));
VOX_LAYOUT(KVR::CTRL_STOP) = fields(field<quint8>("tilt"));
VOX_LAYOUT(KVR::CTRL_MOVETO) = fields(field<Motor::MoveToFunction>("fun"), field<quint16>("position"),
                                      field<quint8>("tilt"));
VOX_LAYOUT(KVR::CTRL_MOVEOF) = fields(field<Motor::MoveOfFunction>("fun"), field<quint16>("value"),
                                      field<quint8>("tilt"));
VOX_LAYOUT(KVR::CTRL_WINK) = nothing;
VOX_LAYOUT(KVR::CTRL_NETWORK_LOCK) = fields(field<Motor::NetworkLockFunction>("fun"), field<quint16>("value"),
                                            field<quint8>("priority"));

VOX_LAYOUT(KVR::GET_MOTOR_POSITION) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_POSITION) = fields(field<&Answer::MotorPosition::position>("position", "pulses"),
                                              field<&Answer::MotorPosition::percent>("percent", "%"),
                                              field<&Answer::MotorPosition::tilt>("tilt"),
                                              field<&Answer::MotorPosition::ip>("ip"));

VOX_LAYOUT(KVR::GET_MOTOR_STATUS) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_STATUS) = fields(field<&Answer::MotorStatus::state>("state"),
                                            field<&Answer::MotorStatus::direction>("direction"),
                                            field<&Answer::MotorStatus::source>("source"),
                                            field<&Answer::MotorStatus::cause>("cause"));

VOX_LAYOUT(KVR::SET_APP_MODE) = fields(field<Motor::AppMode>("mode"));
VOX_LAYOUT(KVR::GET_APP_MODE) = nothing;
VOX_LAYOUT(KVR::POST_APP_MODE) = fields(field<&Answer::AppMode::mode>("mode"));

VOX_LAYOUT(KVR::SET_MOTOR_LIMITS) = fields(field<Motor::LimitFunction>("fun"), field<Motor::Limit>("lim"),
                                           field<quint16>("value", "pulses"));
VOX_LAYOUT(KVR::GET_MOTOR_LIMITS) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_LIMITS) = fields(field<&Answer::MotorLimits::upLimit>("upLimit", "pulses"),
                                            field<&Answer::MotorLimits::downLimit>("downLimit", "pulses"));

VOX_LAYOUT(KVR::SET_MOTOR_DIRECTION) = fields(field<Motor::TurnDirection>("dir"));
VOX_LAYOUT(KVR::GET_MOTOR_DIRECTION) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_DIRECTION) = fields(field<&Answer::MotorDirection::direction>("dir"));

VOX_LAYOUT(KVR::SET_MOTOR_ROLLING_SPEED) = fields(field<quint8>("up", "rpm"), field<quint8>("down", "rpm"),
                                                  field<quint8>("slow", "rpm"));
VOX_LAYOUT(KVR::GET_MOTOR_ROLLING_SPEED) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_ROLLING_SPEED) = fields(field<&Answer::MotorRollingSpeed::up>("up", "rpm"),
                                                   field<&Answer::MotorRollingSpeed::down>("down", "rpm"),
                                                   field<&Answer::MotorRollingSpeed::slow>("slow", "rpm"));

// The request's frame has no room for the speed.
VOX_LAYOUT(KVR::SET_MOTOR_TILTING_SPEED) = fields(field<quint8>("speed")).sentAs(11);
VOX_LAYOUT(KVR::GET_MOTOR_TILTING_SPEED) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_TILTING_SPEED) =
    fields(field<&Answer::MotorTiltingSpeed::speed>("speed")).sentAs(12);

VOX_LAYOUT(KVR::SET_MOTOR_IP) = fields(field<Motor::IPFunction>("fun"), field<quint8>("index"),
                                       field<quint16>("value"));
VOX_LAYOUT(KVR::GET_MOTOR_IP) = fields(field<quint8>("index"));
VOX_LAYOUT(KVR::POST_MOTOR_IP) = fields(field<&Answer::MotorIP::index>("index"),
                                        field<&Answer::MotorIP::position>("position", "pulses"),
                                        field<&Answer::MotorIP::percent>("percent", "%"))
                                     .sentAs(15);

VOX_LAYOUT(KVR::SET_NETWORK_LOCK) = fields(field<bool>("locked"), field<quint8>("priority"));
VOX_LAYOUT(KVR::GET_NETWORK_LOCK) = nothing;
VOX_LAYOUT(KVR::POST_NETWORK_LOCK) = fields(field<&Answer::NetworkLock::locked>("locked"),
                                            address<&Answer::NetworkLock::source>("source"),
                                            field<&Answer::NetworkLock::priority>("priority"));

VOX_LAYOUT(KVR::SET_DCT_LOCK) = fields(field<bool>("locked"), field<quint8>("index"),
                                       field<quint8>("priority"));
VOX_LAYOUT(KVR::GET_DCT_LOCK) = fields(field<quint8>("index"));
VOX_LAYOUT(KVR::POST_DCT_LOCK) = layout<KVR::POST_NETWORK_LOCK>;

// The request's frame has no room for the limits, which are wider in the reply.
VOX_LAYOUT(KVR::SET_TILT_LIMITS) =
    fields(field<quint8>("minTilt"), field<quint8>("maxTilt"), field<quint8>("defaultTilt")).sentAs(11);
VOX_LAYOUT(KVR::GET_TILT_LIMITS) = nothing;
VOX_LAYOUT(KVR::POST_TILT_LIMITS) = fields(field<&Answer::TiltLimits::minTilt>("minTilt"),
                                           field<&Answer::TiltLimits::maxTilt>("maxTilt"),
                                           field<&Answer::TiltLimits::defaultTilt>("defaultTilt"))
                                        .sentAs(17);

VOX_LAYOUT(KVR::SET_MOTOR_SOFT_START_STOP) = fields(field<Motor::SoftStartStopFunction>("fun"),
                                                    field<Motor::SoftStartStopRamps>("ramp"),
                                                    field<quint8>("value"));
VOX_LAYOUT(KVR::GET_MOTOR_SOFT_START_STOP) = nothing;
VOX_LAYOUT(KVR::POST_MOTOR_SOFT_START_STOP) =
    fields(field<&Answer::MotorSoftStartStop::start>("start"),
           field<&Answer::MotorSoftStartStop::startValue>("startValue"),
           field<&Answer::MotorSoftStartStop::stop>("stop"),
           field<&Answer::MotorSoftStartStop::stopValue>("stopValue"));

VOX_LAYOUT(KVR::SET_TORQUE_LIMITATION) = fields(field<Motor::TorqueFunction>("fun"), field<quint8>("value"));
VOX_LAYOUT(KVR::GET_TORQUE_LIMITATION) = nothing;
VOX_LAYOUT(KVR::POST_TORQUE_LIMITATION) = fields(field<&Answer::TorqueLimitation::status>("status"),
                                                 field<&Answer::TorqueLimitation::level>("level"))
                                              .sentAs(13);

VOX_LAYOUT(KVR::SET_FACTORY_DEFAULT) = fields(field<Motor::FactoryDefFunction>("fun"));
VOX_LAYOUT(KVR::GET_FACTORY_DEFAULT) = fields(field<Motor::FactoryDefFunction>("fun"));
VOX_LAYOUT(KVR::POST_FACTORY_DEFAULT) = fields(field<&Answer::FactoryDefault::function>("fun"),
                                               field<&Answer::FactoryDefault::isDefault>("status"))
                                            .sentAs(13);

// Counters of motors

VOX_LAYOUT(KVR::DIAG_GET_TOTAL_MOVE_COUNT) = nothing;
// The last byte of both frames of totals belongs to no field.
VOX_LAYOUT(KVR::DIAG_POST_TOTAL_MOVE_COUNT) =
    fields(field<&Answer::TotalMoveCount::count>("totalMoveCount")).sentAs(15);
VOX_LAYOUT(KVR::DIAG_GET_TOTAL_REV_COUNT) = nothing;
VOX_LAYOUT(KVR::DIAG_POST_TOTAL_REV_COUNT) =
    fields(field<&Answer::TotalRevCount::count>("totalRevCount")).sentAs(15);
VOX_LAYOUT(KVR::DIAG_GET_THERMAL_COUNT) = nothing;
VOX_LAYOUT(KVR::DIAG_POST_THERMAL_COUNT) =
    fields(field<&Answer::ThermalCount::count>("thermalCount"),
           field<&Answer::ThermalCount::movesAfter>("postThermalMove"));
VOX_LAYOUT(KVR::DIAG_GET_OBSTACLE_COUNT) = nothing;
VOX_LAYOUT(KVR::DIAG_POST_OBSTACLE_COUNT) =
    fields(field<&Answer::ObstacleCount::count>("obstacleCount"),
           field<&Answer::ObstacleCount::movesAfter>("postObstacleMove"));
VOX_LAYOUT(KVR::DIAG_GET_POWER_COUNT) = nothing;
VOX_LAYOUT(KVR::DIAG_POST_POWER_COUNT) = fields(field<&Answer::PowerCount::count>("powerCount"));
VOX_LAYOUT(KVR::DIAG_GET_RESET_COUNT) = nothing;
VOX_LAYOUT(KVR::DIAG_POST_RESET_COUNT) = fields(field<&Answer::ResetCount::count>("resetCount"));
VOX_LAYOUT(KVR::DIAG_GET_ENCODER_ERRORS) = nothing;
VOX_LAYOUT(KVR::DIAG_POST_ENCODER_ERRORS) = fields(field<&Answer::EncoderErrors::count>("encoderErrCount"));

}

#endif
