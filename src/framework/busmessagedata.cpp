#include "framework/busmessagedata.h"

#include "framework/bus.h"
#include "framework/buspendingcalldata.h"

namespace {
constexpr unsigned int DefaultBusFreeDelay = 5;
}

BusMessageData::BusMessageData(unsigned int control)
{
    Q_UNUSED(control)
}

BusMessageData::BusMessageData(const BusMessageData &other)
    : QSharedData(other)
    , m_bytes(other.m_bytes)
{
}

BusMessageData::~BusMessageData() = default;

bool BusMessageData::isReply(const BusMessage &message) const
{
    Q_UNUSED(message)
    return false;
}

bool BusMessageData::hasReply() const
{
    return false;
}

unsigned int BusMessageData::busFreeDelay() const
{
    return DefaultBusFreeDelay;
}

unsigned int BusMessageData::timeout() const
{
    return 0;
}

BusMessageData *BusMessageData::clone() const
{
    return new BusMessageData(*this);
}

void BusMessageData::prepare()
{
    setPrepared(true);
}

BusPendingCallData *BusMessageData::createPendingCall(const QSharedDataPointer<BusMessageData> &message,
                                                      Bus *bus) const
{
    return new BusPendingCallData(message, bus);
}

int BusMessageData::writeTo(Bus &bus) const
{
    return bus.write(m_bytes);
}

template <>
BusMessageData *QSharedDataPointer<BusMessageData>::clone()
{
    return d->clone();
}
