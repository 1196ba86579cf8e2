#include "simulation/voxfaultbus_p.h"

#include "framework/simplebusdispatcher.h"

#include <QTimer>

namespace {
constexpr unsigned int BroadcastAddr = 0xffffff;
constexpr int MaxRequests = 65536;

/// Bytes that go on the line as they are, when it is their turn.
class LineBytes : public BusMessageData
{
public:
    LineBytes(VOXFaultBus &speaker, const QByteArray &line)
        : m_speaker(&speaker)
    {
        bytes() = line;
    }

    BusMessageData *clone() const override { return new LineBytes(*this); }
    int writeTo(Bus &bus) const override
    {
        const int result = static_cast<VOXBus &>(bus).writeLine(bytes());
        if (m_speaker && result >= 0)
            Q_EMIT m_speaker->said(bytes());
        return result;
    }

private:
    QPointer<VOXFaultBus> m_speaker;
};

class LineMessage : public BusMessage
{
public:
    LineMessage(VOXFaultBus &speaker, const QByteArray &line)
        : BusMessage(*new LineBytes(speaker, line))
    {
    }
};
}

VOXFaultBus::VOXFaultBus(VOXBus &line, VOXFaultRules &rules)
    : VOXBus(*new SimpleBusDispatcher(*this, nullptr), nullptr)
    , m_line(&line)
    , m_rules(rules)
{
    dispatcher().setParent(this);
    dispatcher().init();
    connect(&line.dispatcher(), &BusDispatcher::unhandled, this, &VOXFaultBus::handleRequest);
}

VOXFaultBus::~VOXFaultBus()
{
    shutDown();
}

void VOXFaultBus::setPace(const LinePace &pace)
{
    m_time.reset(pace.bitsPerSecond > 0 ? new SharedLine(pace, m_rules.seed()) : nullptr);
    if (!m_time)
        return;
    connect(m_time.get(), &SharedLine::requestPassed, this, &VOXFaultBus::bringToNodes);
    connect(m_time.get(), &SharedLine::bytesPassed, this, &VOXFaultBus::writeOut);
}

void VOXFaultBus::handleRequest(const BusMessage &request)
{
    if (m_time)
        m_time->addRequest(request);
    else
        bringToNodes(request);
}

void VOXFaultBus::bringToNodes(const BusMessage &request)
{
    // The command is only kept to tell which one an answer is for: a frame for a group counts as one for all
    // nodes.
    const VOXMessage frame(request);
    if (frame.addrType() != VOX::P2P || m_requests.size() > MaxRequests)
        m_requests.clear();
    m_requests.insert(frame.addrType() == VOX::P2P ? frame.destAddr(false) : BroadcastAddr, frame.cmd());
    dispatcher().dispatch(request.data());
}

int VOXFaultBus::write(const QByteArray &frame)
{
    const VOXMessage answer{BusMessage(frame)};
    const VOX::Addr node = answer.srcAddr(false);
    const FaultyAnswer faulty =
        m_rules.applyTo(answer, m_requests.value(node, m_requests.value(BroadcastAddr)));
    const qint64 turn = m_time ? m_time->drawTurn() : 0;
    const auto send = [this, node, faulty, turn] {
        for (int copy = 0; copy < faulty.copies; ++copy)
            say(node, faulty.bytes, turn);
    };
    // Later than it would have come.
    if (faulty.delayMs > 0)
        QTimer::singleShot(faulty.delayMs + (m_line ? m_line->dispatcher().lineFreeIn() : 0),
                           Qt::PreciseTimer, this, send);
    else
        send();
    return 0;
}

void VOXFaultBus::say(VOX::Addr node, const QByteArray &bytes, qint64 turn)
{
    if (m_time)
        m_time->addAnswer(node, bytes, turn);
    else if (m_line)
        m_line->dispatcher().reply(LineMessage(*this, bytes));
}

void VOXFaultBus::sayUnasked(VOX::Addr node, const QByteArray &bytes)
{
    if (m_time) {
        m_time->addUnasked(node, bytes);
        return;
    }
    const auto *queue = m_line ? qobject_cast<SimpleBusDispatcher *>(&m_line->dispatcher()) : nullptr;
    if (queue && queue->waitingReplies() == 0)
        say(node, bytes, 0);
}

void VOXFaultBus::writeOut(const QByteArray &bytes)
{
    if (!m_line)
        return;
    const QPointer<VOXFaultBus> self(this);
    const int result = m_line->writeLine(bytes);
    // On a line in memory, whoever hears it may destroy the simulation.
    if (self && result >= 0)
        Q_EMIT said(bytes);
}
