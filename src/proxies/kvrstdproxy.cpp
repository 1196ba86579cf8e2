#include "proxies/kvrstdproxy.h"

#include "proxies/voxrequest_p.h"

using namespace VOXRequest;

namespace {
bool isCommand(const VOXMessage &message, KVR::Cmd cmd)
{
    return message.isValid() && message.cmd() == cmd;
}

/// Whether @p message has the bytes of @p Command's layout, and no more.
template <auto Command>
bool hasLength(const BusMessage &message)
{
    return message.data().size() == VOXSchema::frameLength<Command>;
}

template <auto Command>
bool isWhole(const BusMessage &message)
{
    return isCommand(message, Command) && hasLength<Command>(message);
}

template <auto Command>
bool isEcho(const BusMessage &message, const QByteArray &data)
{
    QByteArray echo;
    return isWhole<Command>(message) && take<Command>(message, echo) && echo == data;
}

template <typename Value>
bool decode(const BusMessage &message, Value &value)
{
    VOXDataReader reader{VOXMessage(message)};
    reader >> value;
    return !reader.fail();
}
}

KVRStdProxy::KVRStdProxy(unsigned int addr, Bus *bus, QObject *parent)
    : VOXNode(addr, bus, parent)
{
}

bool KVRStdProxy::getGroupAddrReply(const BusMessage &msg, quint8 &idx, unsigned int &addr) const
{
    return take<KVR::POST_GROUP_ADDR>(msg, idx, addr);
}

bool KVRStdProxy::getNetworkStatReply(const BusMessage &msg, KVRStdProxy::NetworkStat &stat) const
{
    return decode(msg, stat);
}

bool KVRStdProxy::getNetworkErrorStatReply(const BusMessage &msg, KVRStdProxy::NetworkErrorStat &stat) const
{
    return decode(msg, stat);
}

bool KVRStdProxy::getNetworkConfigReply(const BusMessage &msg, KVRStdProxy::NetworkConfig &config) const
{
    return decode(msg, config);
}

bool KVRStdProxy::getNodeStackVersionReply(const BusMessage &msg, KVRStdProxy::AppVersion &version) const
{
    return decode(msg, version);
}

bool KVRStdProxy::getNodeAppVersionReply(const BusMessage &msg, KVRStdProxy::AppVersion &version) const
{
    return isWhole<KVR::POST_NODE_APP_VERSION>(msg) && decode(msg, version);
}

bool KVRStdProxy::getNodeLabelReply(const BusMessage &msg, QByteArray &label) const
{
    return isWhole<KVR::POST_NODE_LABEL>(msg) && take<KVR::POST_NODE_LABEL>(msg, label);
}

bool KVRStdProxy::getNodeSerialNumberReply(const BusMessage &msg, QByteArray &serial) const
{
    return hasLength<KVR::POST_NODE_SERIAL_NUMBER>(msg) && take<KVR::POST_NODE_SERIAL_NUMBER>(msg, serial);
}

bool KVRStdProxy::checkDataTest1Reply(const BusMessage &msg) const
{
    return isCommand(msg, KVR::POST_DATA_TEST1);
}

bool KVRStdProxy::checkDataTest2Reply(const BusMessage &msg, const QByteArray &data) const
{
    return isEcho<KVR::POST_DATA_TEST2>(msg, data);
}

bool KVRStdProxy::checkDataTest3Reply(const BusMessage &msg, const QByteArray &data) const
{
    return isEcho<KVR::POST_DATA_TEST3>(msg, data);
}

BusPendingCall KVRStdProxy::getNodeAddr()
{
    return request<KVR::GET_NODE_ADDR>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::getGroupAddr(quint8 idx)
{
    return request<KVR::GET_GROUP_ADDR>(*this, AsDescribed, idx);
}

BusPendingCall KVRStdProxy::setGroupAddr(quint8 idx, VOX::Addr addr)
{
    return request<KVR::SET_GROUP_ADDR>(*this, Acknowledged, idx, addr);
}

BusPendingCall KVRStdProxy::getNetworkStat()
{
    return request<KVR::GET_NETWORK_STAT>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::getNetworkErrorStat()
{
    return request<KVR::GET_NETWORK_ERROR_STAT>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::setNetworkStat(quint8 mode, quint8 retryCount)
{
    return request<KVR::SET_NETWORK_STAT>(*this, Acknowledged, mode, retryCount);
}

BusPendingCall KVRStdProxy::setNodeDiscovery(bool enable)
{
    // On the wire the flag is the other way round: 0 takes part.
    return request<KVR::SET_NODE_DISCOVERY>(*this, Acknowledged, !enable);
}

BusPendingCall KVRStdProxy::getNetworkConfig()
{
    return request<KVR::GET_NETWORK_CONFIG>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::setNetworkConfig(quint8 bcastMode, quint8 maxRand, quint8 supervision,
                                             quint16 supervisionPeriod, quint8 deafMode, quint8 upload)
{
    const bool uploads = upload != 0 && upload != 255;
    return request<KVR::SET_NETWORK_CONFIG>(*this, uploads ? AsDescribed : Acknowledged, bcastMode, maxRand,
                                            supervision, supervisionPeriod, deafMode, upload);
}

BusPendingCall KVRStdProxy::getNodeStackVersion()
{
    return request<KVR::GET_NODE_STACK_VERSION>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::getNodeSerialNumber()
{
    return request<KVR::GET_NODE_SERIAL_NUMBER>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::getNodeAppVersion()
{
    return request<KVR::GET_NODE_APP_VERSION>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::getNodeLabel()
{
    return request<KVR::GET_NODE_LABEL>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::setNodeLabel(const QByteArray &str)
{
    return request<KVR::SET_NODE_LABEL>(*this, Acknowledged, str);
}

BusPendingCall KVRStdProxy::sendDataTest1()
{
    return request<KVR::SEND_DATA_TEST1>(*this, AsDescribed);
}

BusPendingCall KVRStdProxy::sendDataTest2(const QByteArray &data)
{
    return request<KVR::SEND_DATA_TEST2>(*this, AsDescribed, data);
}

BusPendingCall KVRStdProxy::sendDataTest3(const QByteArray &data)
{
    return request<KVR::SEND_DATA_TEST3>(*this, AsDescribed, data);
}
