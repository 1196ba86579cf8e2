#include "devices/qm75stub.h"

const ProductStub::DataSheet &QM75Stub::dataSheet()
{
    static const DataSheet sheet = {
        VOX::NODETYPE_QM75,
        128, // pulses per revolution
        {
            {40, 40, 40}, // rolling speeds: least, most, as delivered
            {40, 40, 40}, // slow speed
            {32, 64767, UnsetPosition}, // down limit
            16, // intermediate positions
            0, // locks of local inputs
            {KVRMotor::ROLLER}, // app modes
        },
        {
            KVR::CTRL_NETWORK_LOCK,
            KVR::SET_MOTOR_ROLLING_SPEED,
            KVR::SET_MOTOR_TILTING_SPEED,
            KVR::SET_DCT_LOCK,
            KVR::SET_TILT_LIMITS,
            KVR::GET_MOTOR_ROLLING_SPEED,
            KVR::GET_MOTOR_TILTING_SPEED,
            KVR::GET_DCT_LOCK,
            KVR::GET_TILT_LIMITS,
            KVR::DIAG_GET_TOTAL_REV_COUNT,
            KVR::DIAG_GET_THERMAL_COUNT,
        },
    };
    return sheet;
}

QM75Stub::QM75Stub(unsigned int addr, VOXBus *bus, QObject *parent)
    : ProductStub(dataSheet(), addr, bus, parent)
{
}
