#include "network/discovery_p.h"

#include "framework/busobject.h"
#include "messages/hrmv2answer.h"
#include "messages/voxcommandtrait.h"
#include "network/networkcore_p.h"

#include <algorithm>
#include <utility>

namespace {
constexpr VOX::Addr MaxRange = 65536;
/// How long an address that was heard, and did not answer, is left alone, and how many of them are kept.
constexpr qint64 StrangerMs = 60000;
constexpr int MaxStrangers = 64;

VOXCall questionFor(VOX::Addr addr, bool isOlder)
{
    // Nodes of both generations answer, or refuse, the first one.
    return VOXCall(isOlder ? HRMv2::findCmd(HRMv2::GET_MOTOR_SETTINGS) : KVR::findCmd(KVR::GET_NODE_LABEL),
                   VOX::HostAddr, addr, 0);
}
}

void Discovery::start()
{
    if (m_isRunning)
        return;
    m_found = 0;
    if (!m_core.isSending()) {
        m_core.announceDiscovered(0);
        return;
    }
    m_isRunning = true;
    m_isDamaged = false;
    m_rounds = DiscoveryRounds();
    sendRound();
}

void Discovery::sendRound()
{
    m_foundInRound = 0;
    BusObject(m_core.lane(VOXScheduler::Configure), nullptr)
        .call(DiscoveryRounds::question())
        .onFinished(&m_core, [this](const BusPendingCall &ended) { handleRound(ended); });
}

void Discovery::handleRound(const BusPendingCall &call)
{
    if (!m_isRunning)
        return;
    m_rounds.handleRound(m_foundInRound);
    if (!call.isError() && !m_rounds.isOver()) {
        sendRound();
        return;
    }
    endRounds();
}

void Discovery::endRounds()
{
    if (!std::exchange(m_isRunning, false))
        return;
    if (m_isDamaged)
        m_core.notice(
            QStringLiteral("Answers to the search came damaged, as they do when many nodes answer at "
                           "once. Some may not have been found: search their range of addresses."));
    m_core.announceDiscovered(m_found);
}

QString Discovery::startRange(VOX::Addr first, VOX::Addr last)
{
    endRange();
    const bool isRange = first <= last && last <= VOX::AddrMask && last - first < MaxRange;
    if (!isRange || !m_core.isSending()) {
        m_core.announceDiscovered(0);
        return isRange ? NetworkCore::notSendingText()
                       : QStringLiteral("%1 to %2 is no range of addresses: at most %3, the first one first")
                             .arg(VOX::toString(first), VOX::toString(last))
                             .arg(MaxRange);
    }
    m_range = Range{first, last};
    m_foundInRange = 0;
    m_core.wakePolls();
    return {};
}

void Discovery::endRange()
{
    if (m_range)
        m_core.announceDiscovered(m_foundInRange);
    m_range.reset();
}

void Discovery::abort()
{
    m_asked = 0;
    m_strangers.clear();
    m_askedMs.clear();
    endRounds();
    endRange();
}

void Discovery::handleStranger(const VOXMessage &frame)
{
    const VOX::Addr addr = frame.srcAddr(false);
    const bool isForHost = frame.destAddr(false) == (VOX::HostAddr & VOX::AddrMask);
    if (!isForHost || addr == m_asked || !VOX::nodeAddrProblem(addr).isEmpty())
        return;
    const bool isReply = VOXCommandTrait::of(frame).kind == VOXCommandTrait::Other;
    const bool hasAnswered =
        m_isRunning ? frame.cmd() == KVR::POST_NODE_ADDR : !m_core.isSending() && isReply;
    if (hasAnswered)
        addNode(frame.srcAddr(true), false);
    else if (m_core.isSending())
        check(addr);
}

void Discovery::check(VOX::Addr addr)
{
    const qint64 now = m_core.nowMs();
    const auto asked = m_askedMs.constFind(addr);
    if (asked != m_askedMs.cend() && now - *asked < StrangerMs)
        return;
    if (m_askedMs.size() >= MaxStrangers)
        m_askedMs.clear();
    m_askedMs.insert(addr, now);
    if (m_strangers.size() < MaxStrangers)
        m_strangers.push_back(addr);
    m_core.wakePolls();
}

std::optional<VOXCall> Discovery::nextQuestion()
{
    if (m_asked != 0 && !m_isOlderNext)
        return std::nullopt;
    if (m_asked == 0)
        m_asked = takeAddress();
    if (m_asked == 0)
        return std::nullopt;
    const bool isOlder = std::exchange(m_isOlderNext, false);
    m_isAskedOlder = isOlder;
    return questionFor(m_asked, isOlder);
}

VOX::Addr Discovery::takeAddress()
{
    if (!m_strangers.empty()) {
        const VOX::Addr addr = m_strangers.front();
        m_strangers.pop_front();
        return addr;
    }
    while (m_range && m_range->next <= m_range->last) {
        const VOX::Addr addr = m_range->next++;
        if (VOX::nodeAddrProblem(addr).isEmpty() && !m_core.find(addr))
            return addr;
    }
    endRange();
    return 0;
}

void Discovery::handleAnswered(VOX::Addr addr, const VOXMessage &reply)
{
    if (addr != m_asked)
        return;
    const bool isNewer = !m_isAskedOlder && reply.cmd() == KVR::POST_NODE_LABEL;
    if (!isNewer && !m_isAskedOlder) {
        m_isOlderNext = true;
        return;
    }
    m_asked = 0;
    addNode(reply.srcAddr(true), HRMv2Answer::from<HRMv2Answer::MotorSettings>(reply).has_value());
    // What it has told is not asked again.
    if (NodeState *const node = m_core.find(addr))
        m_core.takeAnswer(*node, reply);
}

void Discovery::handleUnanswered(VOX::Addr addr)
{
    if (addr != m_asked)
        return;
    m_asked = 0;
    // It has refused the other question, so it is there.
    if (m_isAskedOlder)
        addNode(addr, false);
}

void Discovery::addNode(VOX::Addr addr, bool isLegacy)
{
    if (!m_core.takeFound(addr, isLegacy))
        return;
    ++m_found;
    ++m_foundInRound;
    ++m_foundInRange;
}
