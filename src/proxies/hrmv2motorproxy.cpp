#include "proxies/hrmv2motorproxy.h"

#include "messages/hrmv2schema_p.h"
#include "proxies/voxrequest_p.h"

using namespace VOXRequest;

HRMv2MotorProxy::HRMv2MotorProxy(unsigned int addr, Bus *bus, QObject *parent)
    : VOXNode(addr, bus, parent)
{
}

BusPendingCall HRMv2MotorProxy::setMotorPosition(HRMv2::PositionFunction fun, quint16 value)
{
    return request<HRMv2::SET_MOTOR_POSITION>(*this, Acknowledged, fun, value);
}

BusPendingCall HRMv2MotorProxy::setLockStatus(HRMv2::LockFunction fun, quint8 index, quint8 priority)
{
    return request<HRMv2::SET_LOCK_STATUS>(*this, Acknowledged, fun, index, priority);
}

BusPendingCall HRMv2MotorProxy::setIP(quint8 index, quint16 position)
{
    return request<HRMv2::SET_IP>(*this, Acknowledged, index, position);
}

BusPendingCall HRMv2MotorProxy::setOlderIP(quint8 index, quint16 position)
{
    return request<VOXCmdTable::OLDER_SET_IP>(*this, Acknowledged, quint8(0), index, position);
}

BusPendingCall HRMv2MotorProxy::setGroupAddr(quint8 idx, VOX::Addr addr)
{
    return request<HRMv2::SET_GROUP_ADDR>(*this, Acknowledged, idx, addr);
}

BusPendingCall HRMv2MotorProxy::getGroupAddr(quint8 idx)
{
    return request<HRMv2::GET_GROUP_ADDR>(*this, AsDescribed, idx);
}

BusPendingCall HRMv2MotorProxy::getMotorSettings()
{
    return request<HRMv2::GET_MOTOR_SETTINGS>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getMotorIP(quint8 index)
{
    return request<HRMv2::GET_MOTOR_IP>(*this, AsDescribed, index);
}

BusPendingCall HRMv2MotorProxy::getLockStatus()
{
    return request<HRMv2::GET_LOCK_STATUS>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getMotorPosition()
{
    return request<HRMv2::GET_MOTOR_POSITION>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getMotorStatus()
{
    return request<HRMv2::GET_MOTOR_STATUS>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getMotorInfo()
{
    return request<HRMv2::GET_MOTOR_INFO>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getDiag()
{
    return request<HRMv2::GET_DIAG>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getIRConfig()
{
    return request<HRMv2::GET_IR_CONFIG>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getMotorConfig()
{
    return request<HRMv2::GET_MOTOR_CONFIG>(*this, AsDescribed);
}

BusPendingCall HRMv2MotorProxy::getNodeSWVersion()
{
    return request<HRMv2::GET_NODE_SW_VERSION>(*this, AsDescribed);
}
