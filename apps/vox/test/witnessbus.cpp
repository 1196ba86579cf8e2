#include "vox/test/witnessbus.h"

#include "framework/simplebusdispatcher.h"
#include "vox/line/linetap.h"

WitnessBus::WitnessBus(VOXBus &line)
    : VOXBus(*new SimpleBusDispatcher(*this, nullptr), nullptr)
    , m_line(line)
{
    dispatcher().setParent(this);
    dispatcher().init();
    connect(&line.dispatcher(), &BusDispatcher::unhandled, this, &WitnessBus::handleFrame);
    start();
}

WitnessBus::~WitnessBus()
{
    shutDown();
}

void WitnessBus::handleFrame(const BusMessage &frame)
{
    note(inverted(frame.data()));
    if (!m_isCut)
        dispatcher().dispatch(frame.data());
}

int WitnessBus::write(const QByteArray &frame)
{
    if (m_isCut)
        return 0;
    note(inverted(frame));
    m_line.dispatcher().reply(BusMessage(frame));
    return 0;
}

int WitnessBus::writeLine(const QByteArray &bytes)
{
    if (m_isCut)
        return 0;
    note(bytes);
    return m_line.writeLine(bytes);
}

void WitnessBus::note(const QByteArray &bytes)
{
    m_seen.push_back({nowMs(), LineItem::of(bytes, LineTap::nowNs())});
    if (m_seen.size() > MostKept) {
        m_seen.pop_front();
        ++m_forgotten;
    }
}
