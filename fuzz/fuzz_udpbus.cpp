// A bus over UDP that hears several senders, each of which sends its bytes in datagrams of any size; with
// frames among them, pauses, the echo of what it sends itself, and all that can be done to a bus meanwhile.

#include "framework/busdispatcher.h"
#include "support/fuzzing.h"
#include "transport/voxudpbus.h"

#include <QQueue>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace {
constexpr unsigned short BusPort = 4800;
constexpr int MaxSenders = 10;
constexpr qint64 LongEnoughMs = 3600000;

struct Datagram
{
    int sender;
    QByteArray bytes;
};
QQueue<Datagram> pending;
QByteArrayList sent;

sockaddr_in addressOf(int sender)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(BusPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + static_cast<unsigned int>(sender));
    return address;
}

QHostAddress hostAddressOf(int sender)
{
    const sockaddr_in address = addressOf(sender);
    return QHostAddress(reinterpret_cast<const sockaddr *>(&address));
}

ssize_t nothing()
{
    errno = EAGAIN;
    return -1;
}
}

// The system's sockets, for this program and its libraries: a network in memory.
extern "C" {
Q_DECL_EXPORT int bind(int, const sockaddr *, socklen_t) noexcept
{
    return 0;
}

// Only ever used to look whether there is something.
Q_DECL_EXPORT ssize_t recv(int, void *, std::size_t, int)
{
    return pending.isEmpty() ? nothing() : pending.head().bytes.size();
}

Q_DECL_EXPORT ssize_t recvmsg(int, msghdr *message, int)
{
    if (pending.isEmpty())
        return nothing();
    const Datagram datagram = pending.dequeue();
    const sockaddr_in address = addressOf(datagram.sender);
    std::memcpy(message->msg_name, &address, sizeof address);
    message->msg_namelen = sizeof address;
    message->msg_controllen = 0;
    std::memcpy(message->msg_iov->iov_base, datagram.bytes.constData(),
                static_cast<std::size_t>(datagram.bytes.size()));
    return datagram.bytes.size();
}

Q_DECL_EXPORT ssize_t sendmsg(int, const msghdr *message, int)
{
    sent.append(QByteArray(static_cast<const char *>(message->msg_iov->iov_base),
                           static_cast<int>(message->msg_iov->iov_len)));
    return sent.constLast().size();
}
}

namespace {
void deliver()
{
    int before = 0;
    do {
        before = pending.size();
        VOXVirtualTime::announceInput();
    } while (pending.size() < before);
    pending.clear();
}

/// Everything but listening. True if it may cost frames.
bool useBus(VOXUdpBus &bus, int how)
{
    switch (how % 8) {
    case 0:
        bus.close();
        break;
    case 1:
        bus.open();
        break;
    case 2:
        bus.setDest(hostAddressOf(how / 8), BusPort);
        break;
    case 3:
        bus.setDest(QHostAddress::Broadcast, BusPort);
        break;
    case 4:
        bus.processData(QString());
        break;
    default:
        bus.write(QByteArray(10 + how / 8, static_cast<char>(how)));
        break;
    }
    return how % 8 < 4;
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    QByteArrayList taken;
    QMap<int, QByteArray> fed;
    bool isLossy = false;
    {
        VOXUdpBus bus(QHostAddress::Broadcast, BusPort);
        expect(bus.isOpen());
        QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &bus,
                         [&](const BusMessage &message) { taken.append(message.data()); });
        const auto send = [&](int sender, const QByteArray &bytes) {
            fed[sender] += bytes;
            pending.enqueue({sender, bytes});
        };
        while (!input.atEnd()) {
            enum Step { Bytes, Frames, Pause, Use };
            const unsigned char step = input.byte();
            const int argument = step & 0x3f;
            const int sender = argument & 0xf;
            switch (step >> 6) {
            case Bytes:
                send(sender, input.bytes(input.byte()));
                break;
            case Frames: {
                const QByteArray frame = turned(input.frame().data());
                const int cut = input.byte();
                send(sender, frame.left(cut));
                send(sender, frame.mid(cut));
                break;
            }
            case Pause:
                isLossy = true;
                VOXVirtualTime::advance(argument * 8);
                break;
            case Use:
                isLossy = useBus(bus, argument) || isLossy;
                if (!sent.isEmpty() && bus.destAddress() == QHostAddress::Broadcast)
                    pending.enqueue({0, sent.takeLast()});
                break;
            }
            // Several may wait at once.
            if ((argument & 0x10) == 0)
                deliver();
        }
        deliver();
        VOXVirtualTime::advance(LongEnoughMs);
    }
    sent.clear();
    pending.clear();

    QByteArrayList there;
    for (const QByteArray &line : qAsConst(fed))
        there += framesIn(line);
    std::sort(there.begin(), there.end());
    std::sort(taken.begin(), taken.end());
    // What a forgotten sender has begun is lost, too.
    expect(isLossy || fed.size() > MaxSenders || taken == there);
    return 0;
}
