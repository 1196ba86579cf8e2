#include "crowd.h"

#include <QTimerEvent>

namespace {
constexpr int IntervalMs = 20;
constexpr unsigned short DownLimit = 12000;
constexpr unsigned int TimeScale = 50;
constexpr unsigned int Elsewhere = 0x010000;
}

Crowd::Crowd(const Lines &lines, quint32 seed)
    : m_lines(lines)
    , m_random(seed)
    , m_nodes(LineCount * NodesPerLine)
{
    renew();
}

void Crowd::start()
{
    m_timer.start(IntervalMs, this);
}

void Crowd::renew()
{
    m_timer.stop();
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        m_nodes[i].reset();
        putBack(i);
    }
}

void Crowd::putBack(std::size_t index)
{
    std::unique_ptr<TB60LVStub> &node = m_nodes[index];
    const unsigned int addr = home(static_cast<unsigned int>(index % NodesPerLine));
    if (!node) {
        node = std::make_unique<TB60LVStub>(addr, lineOf(index));
        node->setLimits(0, DownLimit);
        node->setTimeScale(TimeScale);
    }
    node->setAddr(addr);
    node->setGroupAddr(0, Group);
    if (!node->bus())
        node->attach(lineOf(index));
}

void Crowd::disturb(std::size_t index)
{
    std::unique_ptr<TB60LVStub> &node = m_nodes[index];
    switch (m_random() % 5) {
    case 0:
        node.reset();
        break;
    case 1:
        node->detach();
        break;
    case 2:
        node->setGroupAddr(0, m_random() % 2 == 0 ? 0 : Group);
        break;
    default:
        node->setAddr(node->addr() + Elsewhere);
        break;
    }
}

void Crowd::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    putBack(m_disturbed);
    m_disturbed = m_random() % m_nodes.size();
    disturb(m_disturbed);
}
