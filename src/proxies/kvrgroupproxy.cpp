#include "proxies/kvrgroupproxy.h"

#include "proxies/voxrequest_p.h"

KVRGroupProxy::KVRGroupProxy(unsigned int addr, Bus *bus, QObject *parent)
    : KVRGroupProxy(addr, VOX::GROUP, bus, parent)
{
}

KVRGroupProxy::KVRGroupProxy(unsigned int addr, VOX::AddrType addrType, Bus *bus, QObject *parent)
    : KVRMotorProxy(addr, bus, parent)
    , m_addrType(addrType)
{
}

void KVRGroupProxy::setDestNodeType(VOX::NodeType nodeType)
{
    m_destNodeType = nodeType;
}

template <auto Command, typename... Values>
BusPendingCall KVRGroupProxy::send(const Values &...values)
{
    static const VOXCmdInfo info = KVR::findCmd(static_cast<unsigned char>(Command));
    VOXCall message(info, addr(true), m_addrType, VOXCall::DefaultSharedTimeout);
    message.setAck(false);
    if (m_destNodeType != VOX::NODETYPE_ANY)
        message.setDestNodeType(m_destNodeType);
    return VOXRequest::send<Command>(*this, message, values...);
}

BusPendingCall KVRGroupProxy::ctrlMove(KVRMotor::MoveFunction dir, quint8 duration, KVRMotor::SpeedType speed)
{
    return send<KVR::CTRL_MOVE>(dir, duration, speed);
}

BusPendingCall KVRGroupProxy::ctrlStop(quint8 tilt)
{
    return send<KVR::CTRL_STOP>(tilt);
}

BusPendingCall KVRGroupProxy::ctrlMoveTo(KVRMotor::MoveToFunction fun, quint16 position, quint8 tilt)
{
    return send<KVR::CTRL_MOVETO>(fun, position, tilt);
}

BusPendingCall KVRGroupProxy::ctrlMoveOf(KVRMotor::MoveOfFunction fun, quint16 value, quint8 tilt)
{
    return send<KVR::CTRL_MOVEOF>(fun, value, tilt);
}

BusPendingCall KVRGroupProxy::ctrlWink()
{
    return send<KVR::CTRL_WINK>();
}
