#include "framework/busmessage.h"

#include "framework/buspendingcalldata.h"

namespace {
const QSharedDataPointer<BusMessageData> &emptyData()
{
    // Never destroyed: messages may outlive every static object.
    static const auto *empty = new QSharedDataPointer<BusMessageData>(new BusMessageData);
    return *empty;
}
}

BusMessage::BusMessage()
    : d(emptyData())
{
}

BusMessage::BusMessage(const QByteArray &bytes)
    : d(new BusMessageData)
{
    d->bytes() = bytes;
}

BusMessage::BusMessage(BusMessageData &data)
    : d(&data)
{
}

BusMessage::BusMessage(const BusMessage &other) = default;
BusMessage &BusMessage::operator=(const BusMessage &other) = default;
BusMessage::~BusMessage() = default;

QByteArray &BusMessage::data()
{
    BusMessageData *own = d.data();
    own->setPrepared(false);
    return own->bytes();
}

void BusMessage::prepare()
{
    d->setPrepared(true);
}

void BusMessage::ensurePrepared() const
{
    if (!isPrepared())
        const_cast<BusMessage *>(this)->prepare();
}

BusPendingCallData *BusMessage::createPendingCall(Bus *bus) const
{
    ensurePrepared();
    return new BusPendingCallData(d, bus);
}
