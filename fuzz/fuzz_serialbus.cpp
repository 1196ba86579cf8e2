// A bus on a byte stream, as a host with calls or as a network with a motor on it: bytes that come in reads
// of any size, with frames among them, and pauses.

#include "devices/tb20stub.h"
#include "framework/busdispatcher.h"
#include "proxies/kvrgroupproxy.h"
#include "support/fuzzing.h"
#include "support/pipedevice.h"
#include "transport/voxbus.h"

namespace {
constexpr unsigned int MotorAddr = 0x000101;
constexpr unsigned int GroupAddr = 0x00a001;
constexpr qint64 LongEnoughMs = 3600000;

struct Line
{
    PipeDevice *device = new PipeDevice;
    VOXBus bus{device};
    QByteArray fed;
    QByteArrayList taken;

    Line()
    {
        bus.open();
        QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &bus,
                         [this](const BusMessage &message) { taken.append(message.data()); });
    }

    void feed(const QByteArray &bytes)
    {
        fed += bytes;
        device->feed(bytes);
        VOXVirtualTime::settle();
    }
};

/// What a host has asked, and how often it was told of the end.
struct Host
{
    explicit Host(Line &line)
        : line(line)
    {
    }

    void call(int number)
    {
        const BusPendingCall call = start(number);
        calls.append(call);
        call.onFinished(&line.bus, [this](const BusPendingCall &ended) {
            ++endings;
            expect(ended.isFinished());
            for (const BusMessage &reply : ended.replies())
                line.taken.append(reply.data());
        });
    }

    BusPendingCall start(int number)
    {
        switch (number % 8) {
        case 0:
            return motor.getMotorPosition();
        case 1:
            return motor.ctrlStop();
        case 2:
            return motor.getNodeLabel();
        case 3:
            return motor.sendDataTest3("twenty bytes of text");
        case 4:
            return motor.setNetworkConfig(255, 0, 255, 0, 255, 1);
        case 5:
            return group.ctrlStop();
        case 6:
            return group.getNodeAddr();
        default:
            if (!calls.isEmpty())
                calls[number % calls.size()].cancel();
            return BusPendingCall();
        }
    }

    Line &line;
    KVRMotorProxy motor{MotorAddr, &line.bus};
    KVRGroupProxy group{GroupAddr, &line.bus};
    QVector<BusPendingCall> calls;
    int endings = 0;
};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    Line line;
    Host host(line);
    TB20Stub motor(MotorAddr, nullptr);
    const bool isHost = (input.byte() & 1) != 0;
    if (!isHost)
        motor.attach(&line.bus);
    motor.setGroupAddr(0, GroupAddr);

    bool hasPaused = false;
    while (!input.atEnd()) {
        enum Step { Read, Frame, Pause, Call };
        const unsigned char step = input.byte();
        const int argument = step & 0x3f;
        switch (step >> 6) {
        case Read:
            line.feed(input.bytes(argument));
            break;
        case Frame: {
            VOXMessage frame = input.frame();
            frame.setSrcAddr(isHost ? motor.addr(true) : VOXBus::addr());
            frame.setDestAddr(isHost ? VOXBus::addr() : motor.addr(true));
            frame.prepare();
            const QByteArray bytes = turned(frame.data());
            line.feed(bytes.left(argument));
            line.feed(bytes.mid(argument));
            break;
        }
        case Pause:
            hasPaused = true;
            VOXVirtualTime::advance(argument * 8);
            break;
        case Call:
            if (isHost)
                host.call(argument);
            break;
        }
    }
    VOXVirtualTime::advance(LongEnoughMs);

    expect(host.endings == host.calls.size());
    constexpr int RestThatWaits = 2;
    expect(line.device->bytesAvailable() <= RestThatWaits);
    QByteArrayList there = framesIn(line.fed);
    std::sort(there.begin(), there.end());
    std::sort(line.taken.begin(), line.taken.end());
    // After a pause less may be found: the beginning of a frame may have been given up.
    expect(hasPaused || line.taken == there);
    int written = 0;
    for (const QByteArray &frame : framesIn(line.device->written))
        written += frame.size();
    expect(written == line.device->written.size());
    return 0;
}
