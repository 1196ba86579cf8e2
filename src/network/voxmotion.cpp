#include "network/voxmotion.h"

#include "network/voxnetworkmotor.h"

VOXMotion::VOXMotion(VOXNetworkMotor *motor, QObject *parent)
    : QObject(parent)
    , m_motor(motor)
{
}

VOXMotion::~VOXMotion() = default;

VOXNetworkMotor *VOXMotion::motor() const
{
    return m_motor;
}
