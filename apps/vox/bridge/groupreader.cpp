#include "vox/bridge/groupreader.h"

#include "messages/kvranswer.h"
#include "network/voxnetwork.h"
#include "proxies/kvrstdproxy.h"
#include "transport/voxbus.h"

#include <QTimerEvent>

#include <algorithm>
#include <utility>

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
    // Whoever has not told yet may be in it, and whoever is not to be moved may have been heard.
    const auto &motors = m_network.groupMembers(VOXNetwork::Everyone);
    return std::all_of(motors.cbegin(), motors.cend(), [&](const VOXNetworkMotor *motor) {
        const Reading reading = m_readings.value(motor->address());
        const bool isStranger = !isWanted(motor->address()) && reading.groups.contains(group);
        return motor->isLegacy() || (reading.isDone && !isStranger);
    });
}

void GroupReader::readAgain(unsigned int addr)
{
    const auto reading = m_readings.find(addr);
    if (reading == m_readings.end())
        return;
    reading->nextSlot = 0;
    reading->isDone = false;
    reading->seen.clear();
}

bool GroupReader::isWanted(unsigned int addr) const
{
    return m_line.isScan || m_line.nodes.count(addr) > 0;
}

void GroupReader::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId() || m_isAsking)
        return;
    const VOXNetworkMotor *next = nullptr;
    const auto &motors = m_network.groupMembers(VOXNetwork::Everyone);
    for (const VOXNetworkMotor *const motor : motors) {
        if (motor->isLegacy() || motor->presence() != VOXNetworkNode::Up)
            continue;
        const Reading &reading = m_readings[motor->address()];
        if (!reading.isDone && (!next || reading.nextSlot < m_readings[next->address()].nextSlot))
            next = motor;
    }
    if (next)
        ask(next->address());
}

void GroupReader::ask(unsigned int addr)
{
    const int slot = m_readings[addr].nextSlot;
    KVRStdProxy proxy(addr, m_network.scheduler().lane(VOXScheduler::Poll));
    m_isAsking = true;
    proxy.getGroupAddr(static_cast<quint8>(slot))
        .onFinished(this, [this, addr, slot](const BusPendingCall &ended) {
            m_isAsking = false;
            handleAnswer(addr, slot, ended);
        });
}

void GroupReader::handleAnswer(unsigned int addr, int slot, const BusPendingCall &ended)
{
    Reading &reading = m_readings[addr];
    // It is asked again. It may have begun anew meanwhile.
    if (ended.isError() || KVR::getNackReply(ended.reply()) == KVR::NACK_BUSY || reading.nextSlot != slot)
        return;
    const auto answer = KVRAnswer::from<KVRAnswer::GroupAddr>(VOXMessage(ended.reply()));
    if (answer && answer->group != 0) {
        reading.seen += answer->group;
        reading.groups += answer->group;
    }
    reading.nextSlot = slot + 1;
    // A slot that it does not have is refused.
    reading.isDone = !answer || reading.nextSlot >= Slots;
    if (reading.isDone)
        reading.groups = std::exchange(reading.seen, {});
    announce();
}

void GroupReader::announce()
{
    bool isChange = false;
    for (auto group = m_found.begin(); group != m_found.end(); ++group) {
        QVector<unsigned int> members;
        for (auto each = m_readings.cbegin(); each != m_readings.cend(); ++each) {
            if (each->groups.contains(group.key()) && isWanted(each.key()))
                members += each.key();
        }
        if (std::exchange(*group, members) == members)
            continue;
        m_network.setGroup(group.key(), members);
        isChange = true;
    }
    if (isChange)
        Q_EMIT changed();
}
