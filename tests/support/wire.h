#ifndef WIRE_H
#define WIRE_H

#include "devices/kvrdevice.h"
#include "support/frames.h"
#include "support/udppair.h"

#include <QtTest>

#include <functional>

/// A node that keeps what it hears, and does what it is told to.
class Station : public VOXDevice
{
public:
    using VOXDevice::VOXDevice;
    void dispatch(const VOXMessage &msg) override
    {
        heard.append(msg);
        // It may be the end of this station.
        if (const std::function<void()> reaction = react)
            reaction();
    }

    QList<VOXMessage> heard;
    std::function<void()> react;
};

/// A network over UDP, a host that speaks in raw frames, and a neighbour of the nodes under test. The
/// neighbour answers what is sent after each request, so silence is known without waiting for it.
struct Wire : UdpPair
{
    Station console{HostAddr, &host};
    KVRDevice neighbour{0xabcdef, &network};

    /// Sends @p request and gives all that comes back, as text.
    QByteArrayList ask(const VOXMessage &request)
    {
        const QByteArray number = QByteArray::number(0x100 + m_count++ % 0x100, 16).mid(1);
        QByteArrayList answers;
        QEventLoop loop;
        console.heard.clear();
        console.react = [&] {
            const VOXMessage message = console.heard.constLast();
            if (message.srcAddr(false) != neighbour.addr())
                answers.append(text(message));
            else if (text(message) == hex("7A" + number))
                loop.quit();
        };
        QTimer::singleShot(10000, &loop, [&] {
            answers.append("nothing, not even from the neighbour");
            loop.quit();
        });
        console.reply(request);
        console.reply(frame("79" + number, neighbour.addr()));
        loop.exec();
        console.react = nullptr;
        return answers;
    }

private:
    int m_count = 0;
};

#endif
