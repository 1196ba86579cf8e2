#include "devices/tb60lvstub.h"

const ProductStub::DataSheet &TB60LVStub::dataSheet()
{
    static const DataSheet sheet = {
        VOX::NODETYPE_TB60LV,
        1686,
        {
            {10, 25, 25},
            {10, 25, 15},
            {1686, 64767, UnsetPosition},
            16,
            1,
        },
        {
            KVR::SET_MOTOR_TILTING_SPEED,
            KVR::SET_TILT_LIMITS,
            KVR::GET_MOTOR_TILTING_SPEED,
            KVR::GET_TILT_LIMITS,
            KVR::DIAG_GET_ENCODER_ERRORS,
        },
    };
    return sheet;
}

TB60LVStub::TB60LVStub(unsigned int addr, VOXBus *bus, QObject *parent)
    : ProductStub(dataSheet(), addr, bus, parent)
{
}
