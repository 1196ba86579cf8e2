#ifndef RECEIVERS_H
#define RECEIVERS_H

#include "framework/busdispatcher.h"
#include "support/frames.h"
#include "support/pipedevice.h"
#include "support/udppair.h"

#include <functional>
#include <memory>

/// The frames that the tests of lines send.
inline const VOXMessage first = frame("02 FF", 0x123456);
inline const VOXMessage second = frame("03 00 3412 FF", 0x123456, VOXMessage::CrcFlag);

/// The frames that come from a bus and answer no call.
struct Heard : QByteArrayList
{
    explicit Heard(Bus &bus)
    {
        QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &bus,
                         [this](const BusMessage &message) { append(message.data()); });
    }
};

/// Lets who gets the first of @p frames wait in an event loop of its own for another, which @p feed brings.
inline void waitInsideADelivery(VOXBus &bus, const Heard &frames, const std::function<void()> &feed)
{
    QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &bus, [&bus, &frames, feed] {
        if (frames.size() != 1)
            return;
        QEventLoop loop;
        QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &loop, &QEventLoop::quit);
        QTimer::singleShot(4000, &loop, &QEventLoop::quit);
        feed();
        loop.exec();
        QCOMPARE(frames.size(), 2);
    });
}

/// A bus that takes bytes from the test, and the frames that it finds in them.
struct Receiver
{
    std::unique_ptr<VOXBus> bus;
    std::function<void(const QByteArray &)> feed;
    Heard frames{*bus};
};

/// On one end of a line in memory.
inline Receiver serialReceiver(PipeDevice *device = new PipeDevice)
{
    auto bus = std::make_unique<VOXBus>(device);
    bus->open();
    return {std::move(bus), [device](const QByteArray &bytes) { device->feed(bytes); }};
}

/// On a port whose peer is a plain socket, or everyone.
inline Receiver udpReceiver(const QHostAddress &peers = QHostAddress::LocalHost)
{
    const QHostAddress here(QHostAddress::LocalHost);
    const auto [from, to] = freeUdpPorts();
    const auto peer = std::make_shared<QUdpSocket>();
    peer->bind(here, from);
    return {std::make_unique<VOXUdpBus>(peers, from, here, to),
            [=, to = to](const QByteArray &bytes) { peer->writeDatagram(bytes, here, to); }};
}

inline unsigned short portOf(const VOXBus &bus)
{
    return static_cast<const QUdpSocket *>(bus.device())->localPort();
}

#endif
