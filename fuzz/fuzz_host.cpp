// A host's network, and nodes that say whatever they like: frames of any bytes from nodes of all kinds, at
// any time, while the host gives commands. What the host is told makes sense, and all that it asked for ends.

#include "messages/kvr.h"
#include "network/voxnetwork.h"
#include "network/voxnetworkmodel.h"
#include "simulation/voxline.h"
#include "support/fuzzing.h"
#include "transport/voxbus.h"

#include <QJsonObject>
#include <QLoggingCategory>

namespace {
constexpr VOX::Addr First = 0x000101;
constexpr int NodeCount = 4;
/// Of the older generation.
constexpr VOX::Addr Older = First + 3;
/// What moves may take until it is known that they do not end.
constexpr qint64 LongEnoughMs = 300000;

class Host
{
public:
    Host()
    {
        QObject::connect(&network, &VOXNetwork::nodeChanged, &line,
                         [](VOXNetworkNode *node) { look(*node); });
        network.setGroup(First + 0x1000, {First, First + 1, Older});
        for (VOX::Addr addr = First; addr < Older; ++addr)
            network.add(addr);
        expect(network.setKnownNodes({QJsonObject{{QStringLiteral("address"), VOX::toString(Older)},
                                                  {QStringLiteral("legacy"), true}}}));
        model.setNetwork(&network);
    }

    void act(unsigned char number)
    {
        VOXNetworkMotor *const motor = network.motor(First + number % NodeCount);
        const int value = number / NodeCount;
        switch (motor ? value % 12 : 11) {
        case 0:
            return follow(motor->moveTo(value));
        case 1:
            return follow(motor->moveDown());
        case 2:
            return follow(motor->moveToIntermediate(value));
        case 3:
            return follow(motor->jog(KVRMotor::DIRECTION_UP, value * NodeCount));
        case 4:
            return follow(motor->stop());
        case 5:
            return follow(network.moveGroupUp(First + 0x1000));
        case 6:
            return follow(network.stopAll());
        case 7:
            return follow(motor->lock(value));
        case 8:
            return follow(motor->setIntermediate(value, value));
        case 9:
            return motor->refresh();
        case 10:
            return void(network.discoverRange(First, First + NodeCount));
        default:
            network.discover();
        }
    }

    void expectAllEnded() const { expect(ended == begun); }

    VOXLine line{0};
    VOXBus *nodes = line.addBus(&line);
    VOXNetwork network{line.addBus(&line)};
    VOXNetworkModel model;

private:
    void follow(const BusPendingCall &call)
    {
        ++begun;
        call.onFinished(&line, [this] { ++ended; });
    }
    void follow(VOXMotion *motion)
    {
        ++begun;
        QObject::connect(motion, &VOXMotion::finished, &line, [this](VOXMotion *one) {
            ++ended;
            expect(one->end() != VOXMotion::Running && !one->sentence().isEmpty());
        });
    }

    static void look(const VOXNetworkNode &node)
    {
        expect(VOX::nodeAddrProblem(node.address()).isEmpty());
        expect(node.label().size() <= KVR::LabelLength);
        const auto *const motor = qobject_cast<const VOXNetworkMotor *>(&node);
        if (!motor)
            return;
        expect(motor->percent().value_or(0) < 0xff && motor->pulses().value_or(0) < 0xffff);
        // Between two readings nothing is made up.
        expect(motor->estimatedPercent().has_value() == motor->percent().has_value());
    }

    int begun = 0;
    int ended = 0;
};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QLoggingCategory::setFilterRules(QStringLiteral("vox.*=false"));
    Input input(data, size);
    Host host;
    while (!input.atEnd()) {
        enum Step { Answer, Unasked, Pause, Act };
        const unsigned char step = input.byte();
        const int argument = step & 0x3f;
        switch (step >> 6) {
        case Answer:
        case Unasked: {
            VOXMessage frame = input.frame();
            frame.setSrcAddr(VOX::makeAddr(static_cast<VOX::NodeType>(argument >> 2),
                                           static_cast<int>(First) + argument % NodeCount));
            frame.setDestAddr(VOX::HostAddr);
            frame.prepare();
            // With the next question, or at once.
            const qint64 sent = host.line.byteCount();
            if (step >> 6 == Answer)
                VOXVirtualTime::runUntil([&] { return host.line.byteCount() > sent; }, 1000);
            host.nodes->write(frame.data());
            VOXVirtualTime::settle();
            break;
        }
        case Pause:
            VOXVirtualTime::advance(argument * argument);
            break;
        case Act:
            host.act(input.byte());
            break;
        }
    }
    // Nobody answers any more.
    VOXVirtualTime::advance(LongEnoughMs);
    host.expectAllEnded();
    return 0;
}
