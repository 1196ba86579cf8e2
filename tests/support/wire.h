#ifndef WIRE_H
#define WIRE_H

#include "devices/kvrdevice.h"
#include "support/frames.h"
#include "support/udppair.h"

#include <QtTest>

/// A node that sends what it is told to, and keeps what it hears.
class Station : public VOXDevice
{
public:
    using VOXDevice::VOXDevice;
    void dispatch(const VOXMessage &msg) override { heard.append(msg); }

    QList<VOXMessage> heard;
};

/// A network over UDP, a host that speaks in raw frames, and a neighbour of the nodes under test. The neighbour
/// answers whatever is sent after a request, so silence is known without waiting for it.
struct Wire : UdpPair
{
    Station console{HostAddr, &host};
    KVRDevice neighbour{0xabcdef, &network};

    /// Sends @p request and gives all that comes back, as text.
    QByteArrayList ask(const VOXMessage &request)
    {
        console.heard.clear();
        console.reply(request);
        console.reply(frame("79", neighbour.addr()));
        QByteArrayList answers;
        const auto isOver = [&] { return !console.heard.isEmpty() && text(console.heard.constLast()) == "7A"; };
        if (!QTest::qWaitFor(isOver))
            answers.append("nothing, not even from the neighbour");
        for (const VOXMessage &message : qAsConst(console.heard)) {
            if (message.srcAddr(false) != neighbour.addr())
                answers.append(text(message));
        }
        return answers;
    }
};

#endif
