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
        source = sender();
        // It may be the end of this station.
        if (const std::function<void()> reaction = react)
            reaction();
    }

    QList<VOXMessage> heard;
    /// What has brought the last one.
    QPointer<QObject> source;
    std::function<void()> react;
};

/// A bus that keeps what nodes answer.
struct CatchingBus : VOXUdpBus
{
    CatchingBus()
        : VOXUdpBus(QHostAddress::LocalHost, 0)
    {
    }
    int write(const QByteArray &frame) override
    {
        frames.append(frame);
        return 0;
    }
    QByteArrayList frames;
};

/// A network over UDP, a host that speaks in raw frames, and a neighbour of the nodes under test. The
/// neighbour answers what is sent after each request, so silence is known without waiting for it.
struct Wire : UdpPair
{
    Station console{HostAddr, &host};
    KVRDevice neighbour{0xabcdef, &network};

    /// Sends @p request and gives all that comes back, as text.
    QByteArray ask(const VOXMessage &request)
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
        QTimer::singleShot(10000, &loop, [&] { loop.exit(1); });
        console.reply(request);
        console.reply(frame("79" + number, neighbour.addr()));
        if (loop.exec() != 0)
            answers.append("lost");
        console.react = nullptr;
        return answers.join('|');
    }

    /// Holds a conversation "request > reply, request > reply, ..." with @p dest. Empty if that is what was
    /// said, else where it went wrong. Replies that begin with one of @p silenced are expected to stay away.
    /// A request after a minus asks for no acknowledgement.
    QByteArray mismatch(const QByteArray &conversation, unsigned int dest, unsigned char flags,
                        const QByteArrayList &silenced)
    {
        for (const QByteArray &exchange : conversation.split(',')) {
            const QByteArray request = exchange.left(exchange.indexOf('>'));
            const QByteArray wanted = hex(exchange.mid(request.size()));
            const bool isAsking = !request.contains('-');
            const QByteArray actual = ask(frame(request, dest, isAsking ? flags : 0));
            const QString name = VOX::toString(frame(request, dest).cmd());
            if (actual != (silenced.contains(wanted.left(2)) ? QByteArray() : wanted))
                return name.toLatin1() + ": " + exchange + ", but there came: " + actual;
        }
        return QByteArray();
    }

private:
    int m_count = 0;
};

#endif
