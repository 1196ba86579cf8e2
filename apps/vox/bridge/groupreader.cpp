#include "vox/bridge/groupreader.h"

#include "messages/kvranswer.h"
#include "network/voxnetwork.h"
#include "proxies/kvrstdproxy.h"
#include "transport/voxbus.h"

#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr int AskMs = 1000;
constexpr int Slots = 16;
}

GroupReader::GroupReader(const LineConfig &line, VOXNetwork &network)
    : m_line(line)
    , m_network(network)
{
    for (const auto &[addr, group] : line.groups) {
        if (group.hasMembers)
            network.setGroup(addr, group.members);
        else
            m_found.insert(addr, {});
    }
    if (!m_found.isEmpty())
        m_timer.start(AskMs, this);
}

QVector<VOXNetworkMotor *> GroupReader::members(unsigned int group) const
{
    return m_network.groupMembers(group);
}

bool GroupReader::isExact(unsigned int group) const
{
    const auto found = m_line.groups.find(group);
    if (found == m_line.groups.end())
        return false;
    if (found->second.hasMembers)
        return true;
    const auto &motors = m_network.groupMembers(VOXNetwork::Everyone);
    return std::all_of(motors.cbegin(), motors.cend(), [this](const VOXNetworkMotor *motor) {
        return motor->isLegacy() || m_readings.value(motor->address()).isDone;
    });
}

bool GroupReader::isWanted(unsigned int addr) const
{
    return m_line.isScan || m_line.nodes.count(addr) > 0;
}

void GroupReader::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId())
        return;
    const auto &motors = m_network.groupMembers(VOXNetwork::Everyone);
    for (const VOXNetworkMotor *const motor : motors) {
        const bool isReadable = !motor->isLegacy() && motor->presence() == VOXNetworkNode::Up;
        if (isReadable && !m_readings[motor->address()].isDone) {
            ask(motor->address());
            return;
        }
    }
}

void GroupReader::ask(unsigned int addr)
{
    const int slot = m_readings[addr].nextSlot;
    KVRStdProxy proxy(addr, m_network.scheduler().lane(VOXScheduler::Poll));
    proxy.getGroupAddr(static_cast<quint8>(slot))
        .onFinished(this, [this, addr, slot](const BusPendingCall &ended) {
            if (ended.isError())
                return;
            Reading &reading = m_readings[addr];
            const auto answer = KVRAnswer::from<KVRAnswer::GroupAddr>(VOXMessage(ended.reply()));
            if (answer && answer->group != 0)
                take(addr, answer->group);
            reading.nextSlot = slot + 1;
            // A slot that it does not have is refused.
            reading.isDone = !answer || reading.nextSlot >= Slots;
        });
}

void GroupReader::take(unsigned int addr, unsigned int group)
{
    const auto found = m_found.find(group);
    if (found == m_found.end() || found->contains(addr))
        return;
    found->insert(addr);
    QVector<VOX::Addr> members;
    for (const unsigned int each : qAsConst(*found)) {
        if (isWanted(each))
            members += each;
    }
    m_network.setGroup(group, members);
}
