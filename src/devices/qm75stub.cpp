#include "devices/qm75stub.h"

const ProductStub::DataSheet &QM75Stub::dataSheet()
{
    static const DataSheet sheet = [] {
        DataSheet filled;
        filled.type = VOX::NODETYPE_QM75;
        filled.pulsesPerRound = 128;
        // The least, the most, and the value as delivered.
        filled.ranges.rollingSpeed = {40, 40, 40};
        filled.ranges.slowSpeed = {40, 40, 40};
        filled.ranges.downLimit = {32, 64767, UnsetPosition};
        filled.ranges.intermediatePositions = 16;
        filled.ranges.dctLocks = 0;
        filled.ranges.appModes = {KVRMotor::ROLLER};
        filled.missingCommands = {
            KVR::CTRL_NETWORK_LOCK,       KVR::SET_MOTOR_ROLLING_SPEED,
            KVR::SET_MOTOR_TILTING_SPEED, KVR::SET_DCT_LOCK,
            KVR::SET_TILT_LIMITS,         KVR::GET_MOTOR_ROLLING_SPEED,
            KVR::GET_MOTOR_TILTING_SPEED, KVR::GET_DCT_LOCK,
            KVR::GET_TILT_LIMITS,         KVR::DIAG_GET_TOTAL_REV_COUNT,
            KVR::DIAG_GET_THERMAL_COUNT,
        };
        return filled;
    }();
    return sheet;
}

QM75Stub::QM75Stub(unsigned int addr, VOXBus *bus, QObject *parent)
    : ProductStub(dataSheet(), addr, bus, parent)
{
}
