#include "simulation/faultbus_p.h"

#include "framework/simplebusdispatcher.h"

#include <QTimer>

namespace {
constexpr unsigned int BroadcastAddr = 0xffffff;
constexpr int MaxRequests = 65536;

/// Bytes that go on the line as they are.
class LineBytes : public BusMessageData
{
public:
    explicit LineBytes(const QByteArray &line) { bytes() = line; }

    BusMessageData *clone() const override { return new LineBytes(*this); }
    int writeTo(Bus &bus) const override { return static_cast<VOXBus &>(bus).writeLine(bytes()); }
};

class LineMessage : public BusMessage
{
public:
    explicit LineMessage(const QByteArray &line)
        : BusMessage(*new LineBytes(line))
    {
    }
};
}

FaultBus::FaultBus(VOXBus &line, FaultRules &rules)
    : VOXBus(*new SimpleBusDispatcher(*this, nullptr), nullptr)
    , m_line(&line)
    , m_rules(rules)
{
    dispatcher().setParent(this);
    dispatcher().init();
    connect(&line.dispatcher(), &BusDispatcher::unhandled, this, &FaultBus::handleRequest);
}

FaultBus::~FaultBus()
{
    shutDown();
}

void FaultBus::handleRequest(const BusMessage &request)
{
    // The command is only kept to tell which one an answer is for: a frame for a group counts as one for all
    // nodes.
    const VOXMessage frame(request);
    if (frame.addrType() != VOX::P2P || m_requests.size() > MaxRequests)
        m_requests.clear();
    m_requests.insert(frame.addrType() == VOX::P2P ? frame.destAddr(false) : BroadcastAddr, frame.cmd());
    dispatcher().dispatch(request.data());
}

int FaultBus::write(const QByteArray &frame)
{
    if (!m_line)
        return -2;
    const VOXMessage answer{BusMessage(frame)};
    const FaultyAnswer faulty =
        m_rules.applyTo(answer, m_requests.value(answer.srcAddr(false), m_requests.value(BroadcastAddr)));
    if (!faulty.isTouched) {
        m_line->dispatcher().reply(answer);
        return 0;
    }
    const auto send = [this, faulty] {
        // In their turn: an answer with a fault waits for the line as the others do.
        for (int copy = 0; m_line && copy < faulty.copies; ++copy)
            m_line->dispatcher().reply(LineMessage(faulty.bytes));
    };
    if (faulty.delayMs > 0)
        QTimer::singleShot(faulty.delayMs, Qt::PreciseTimer, this, send);
    else
        send();
    return 0;
}
