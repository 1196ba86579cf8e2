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
    d->prepare();
}

BusPendingCallData *BusMessage::createPendingCall(Bus *bus) const
{
    QSharedDataPointer<BusMessageData> sent(d);
    if (!isPrepared())
        sent->prepare();
    return sent.constData()->createPendingCall(sent, bus);
}
