// Emulated nodes, each product of them, in a conversation of well-formed frames: to the node, to its group or
// to all, with time passing in between.

#include "devices/hrmv2stub.h"
#include "devices/marlostub.h"
#include "devices/qm75stub.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "framework/serialdispatcher.h"
#include "support/fuzzing.h"
#include "transport/voxbus.h"

#include <QBuffer>

#include <memory>

namespace {
constexpr unsigned int NodeAddr = 0x000101;
constexpr unsigned int GroupAddr = 0x00a001;
constexpr int PauseMs = 200;

/// A bus that keeps what is written.
class Tap : public VOXBus
{
public:
    Tap()
        : VOXBus(new QBuffer)
    {
        open();
        static_cast<SerialDispatcher &>(dispatcher()).setBaudRate(0);
    }

    int write(const QByteArray &frame) override
    {
        expect(isWellFormed(frame));
        answers.append(VOXMessage(BusMessage(frame)));
        return 0;
    }

    QList<VOXMessage> answers;
};

template <typename Node>
KVRDevice *make(VOXBus &bus)
{
    return new Node(NodeAddr, &bus);
}

constexpr KVRDevice *(*products[])(VOXBus &) = {make<KVRDevice>, make<TB20Stub>,   make<QM75Stub>,
                                                make<MarloStub>, make<TB60LVStub>, make<HRMv2Stub>};

VOXMessage request(Input &input, const KVRDevice &node)
{
    enum Way { ToNode, ToGroup, ToAll, ToOthers };
    const Way way = static_cast<Way>(input.byte() % 4);
    VOXMessage frame = input.frame();
    frame.setSrcAddr(VOXBus::addr());
    switch (way) {
    case ToNode:
        frame.setDestAddr(node.addr(true));
        break;
    case ToGroup:
        frame.setGroupAddr(GroupAddr, VOX::NODETYPE_MASTER);
        break;
    case ToAll:
        frame.setBcastAddr(VOXBus::addr(), node.type());
        break;
    case ToOthers:
        frame.setDestAddr(VOX::makeAddr(static_cast<VOX::NodeType>(frame.len()), NodeAddr));
        break;
    }
    frame.prepare();
    return frame;
}

/// Where a motor is, and where it goes to; 0 for what is none.
struct Place
{
    explicit Place(KVRMotorDevice *motor)
        : position(motor ? motor->positionPulses() : 0)
        , target(motor ? motor->targetPos() : 0)
    {
    }
    bool operator==(const Place &other) const { return position == other.position && target == other.target; }

    unsigned short position;
    unsigned short target;
};

void check(KVRMotorDevice &motor)
{
    constexpr unsigned short Unset = KVRMotorDevice::UnsetPosition;
    expect(!motor.isUpLimit() || motor.upLimit() == 0);
    expect(motor.downLimit() == Unset
           || (motor.downLimit() >= motor.minDownLimit() && motor.downLimit() <= motor.maxDownLimit()));
    expect(motor.isLimit() || (motor.position() == KVRMotorDevice::None && motor.toPulses(50) == Unset));
    expect(motor.appModes().contains(motor.appMode()) || motor.appMode() == KVRMotor::ROLLER);
    expect(QMetaEnum::fromType<KVRMotor::TurnDirection>().valueToKey(motor.motorDirection()) != nullptr);
    const KVRMotor::Status &status = motor.status();
    expect(QMetaEnum::fromType<KVRMotor::State>().valueToKey(static_cast<int>(status.state)) != nullptr);
    expect(!(motor.isMovingUp() && motor.isMovingDown()));
    expect(motor.setRollingSpeeds(motor.upSpeed(), motor.downSpeed(), motor.slowSpeed()));
    const unsigned char next = motor.findNextMotorIP(motor.positionPulses(), KVRMotor::DIRECTION_DOWN);
    expect(next == KVRMotorDevice::None || motor.motorIP(next) > motor.positionPulses());
}

/// Every move ends, and then it shows; only a wink goes on.
void checkAtRest(KVRMotorDevice &motor)
{
    constexpr qint64 LongEnoughMs = 24 * 3600000;
    VOXVirtualTime::advance(LongEnoughMs);
    expect(!motor.isMoving() && motor.positionPulses() == motor.targetPos());
    expect(motor.status().state != KVRMotor::STATE_RUNNING || motor.status().cause == KVRMotor::CAUSE_WINK);
}

bool answers(const VOXMessage &answer, const VOXMessage &request, const KVRDevice &node)
{
    return answer.srcAddr(true) == node.addr(true)
        && (answer.addrType() != VOX::P2P || answer.destAddr(true) == request.srcAddr(true))
        && (answer.isCRC() == request.isCRC() || !node.inherits("KVRMotorDevice"))
        && (answer.cmd() != KVR::ACK || request.isAck());
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    Tap bus;
    const std::unique_ptr<KVRDevice> node(products[input.byte() % std::size(products)](bus));
    auto *motor = qobject_cast<KVRMotorDevice *>(node.get());
    node->setGroupAddr(0, GroupAddr);
    if (motor && (input.byte() & 1) != 0)
        motor->setLimits(0, input.word());
    // Those that have had no time to be answered.
    QList<VOXMessage> open;
    while (!input.atEnd()) {
        open.append(request(input, *node));
        const Place before(motor);
        bus.dispatcher().dispatch(open.constLast().data());
        const bool hasMoved = !(Place(motor) == before);
        const unsigned char pause = input.byte();
        if (pause == 0)
            continue;
        VOXVirtualTime::advance(pause * PauseMs);
        expect(bus.answers.size() <= open.size());
        for (const VOXMessage &answer : qAsConst(bus.answers)) {
            expect(std::any_of(open.cbegin(), open.cend(),
                               [&](const VOXMessage &one) { return answers(answer, one, *node); }));
            expect(!hasMoved || open.size() > 1 || answer.cmd() != KVR::NACK);
        }
        bus.answers.clear();
        open.clear();
        if (motor)
            check(*motor);
    }
    if (motor)
        checkAtRest(*motor);
    return 0;
}
