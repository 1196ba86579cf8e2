#include "vox/line/linestatistics.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "transport/voxbus.h"

#include <algorithm>

namespace {
constexpr double NsPerSecond = 1e9;
constexpr qint64 BitsPerByte = 11;
/// Adapters hand over what has come in this time at once.
constexpr qint64 BurstNs = 16000000;
/// Nodes answer a request to all within this time.
constexpr qint64 SharedNs = 500000000;
/// What comes after such a pause is not the same disturbance any more.
constexpr qint64 PauseNs = 100000000;

/// The command that answers @p request, beside ACK and NACK; 0 if only these do.
int answerTo(const VOXMessage &request)
{
    const VOXCmdInfo info = KVR::findCmd(request.cmd());
    return info.isValid() ? info.reply() : HRMv2::findCmd(request.cmd()).reply();
}

bool expectsAnswer(const VOXMessage &request)
{
    return request.isAck() || answerTo(request) != 0;
}
}

void LineStatistics::setPortErrors(const std::optional<PortErrors> &errors)
{
    m_isPort = true;
    m_portErrors = errors;
}

/// The time that @p bytes take on the line.
qint64 LineStatistics::lineNs(qint64 bytes) const
{
    return bytes * BitsPerByte * static_cast<qint64>(NsPerSecond) / m_rate;
}

void LineStatistics::setViewOf(const std::vector<LineItem> &items)
{
    // An adapter hands over several frames at once now and then, but not often.
    constexpr std::size_t Often = 4;
    std::size_t tooSoon = 0;
    for (std::size_t i = 1; i < items.size(); ++i)
        tooSoon += items[i].timeNs - items[i - 1].timeNs < lineNs(items[i].bytes.size()) / 2 ? 1U : 0U;
    m_view = tooSoon * Often > items.size() ? Network : Line;
}

LineNotes LineStatistics::setTime(qint64 timeNs)
{
    LineNotes notes;
    if (!m_isLive)
        m_firstNs = timeNs;
    m_isLive = true;
    m_lastNs = std::max(m_lastNs, timeNs);
    expire(timeNs, &notes);
    return notes;
}

LineNotes LineStatistics::close()
{
    LineNotes notes;
    for (auto node = m_nodes.begin(); node != m_nodes.end(); ++node)
        settle(node.key(), node->open.close(m_lastNs), &notes);
    return notes;
}

LineNotes LineStatistics::add(const LineItem &item)
{
    LineNotes notes;
    // A capture also includes the time that the first record took on the line.
    if (m_totals.bytes == 0 && !m_isLive)
        m_firstNs = item.timeNs - lineNs(item.bytes.size());
    m_lastNs = std::max(m_lastNs, item.timeNs);
    m_totals.bytes += item.bytes.size();
    m_totals.frames += item.isFrame() ? 1 : 0;
    expire(item.timeNs, &notes);
    if (item.isTaken())
        addFrame(item, &notes);
    else
        addDamage(item, &notes);
    return notes;
}

void LineStatistics::addDamage(const LineItem &item, LineNotes *notes)
{
    m_rests.addDamage(item, lineNs(1));
    if (item.verdict == LineItem::Garbage)
        m_totals.garbageBytes += static_cast<int>(item.bytes.size());
    const bool isNew = m_damagedNs < 0 || item.timeNs - m_damagedNs > PauseNs;
    if (item.verdict == LineItem::Break) {
        m_totals.longestBreak = std::max(m_totals.longestBreak, static_cast<int>(item.bytes.size()));
        m_totals.breaks += isNew || !m_isLow ? 1 : 0;
    }
    m_isLow = item.verdict == LineItem::Break;
    if (item.isFrame()) {
        ++m_totals.failed;
        // Only nodes that are known count, because any address may stand in noise.
        const auto known = m_nodes.find(item.frame.srcAddr(false));
        if (known != m_nodes.end())
            ++known->failed;
    }
    const bool areManyAsked = m_shared.count != 0 && item.timeNs - m_shared.lastNs < SharedNs;
    m_totals.damages += isNew && !areManyAsked ? 1 : 0;
    m_damagedNs = item.timeNs;
    if (!m_asked.isOpen || item.timeNs - m_asked.request.timeNs > OpenRequests::TimeoutNs)
        return;
    m_asked.isOpen = false;
    NodeStatistics &asked = node(m_asked.node);
    ++asked.damaged;
    asked.spoilt += m_asked.isSound ? 1 : 0;
    asked.open.spoil();
    notes->push_back({LineNote::Damaged, m_asked.node, m_asked.request});
}

void LineStatistics::addFrame(const LineItem &item, LineNotes *notes)
{
    m_damagedNs = -1;
    const unsigned int source = item.frame.srcAddr(false);
    // A frame to a group does not tell who has sent it.
    if (source != VOXBus::addr() && item.frame.addrType() != VOX::GROUP) {
        addFromNode(item, notes);
    } else if (isTwice(item)) {
        ++m_totals.echoes;
        notes->push_back({LineNote::Twice, item.frame.destAddr(false), item});
        // The third of three is not the second one's double.
        m_last = LineItem();
        return;
    } else {
        addRequest(item, notes);
    }
    m_last = item;
}

// The second one begins where the first one ends, but for the time that an adapter keeps bytes.
bool LineStatistics::isTwice(const LineItem &item) const
{
    return item.bytes == m_last.bytes && item.timeNs - m_last.timeNs <= lineNs(item.bytes.size()) + BurstNs;
}

void LineStatistics::addRequest(const LineItem &item, LineNotes *notes)
{
    ++m_totals.requests;
    if (item.frame.addrType() != VOX::P2P) {
        addSharedRequest(item);
        m_asked.isOpen = false;
        return;
    }
    const unsigned int addr = item.frame.destAddr(false);
    const qint64 beganNs = item.timeNs - lineNs(item.bytes.size());
    if (m_view == Line && m_asked.isOpen && m_asked.node != addr
        && beganNs - m_asked.request.timeNs < OpenRequests::TimeoutNs) {
        ++m_totals.clashes;
        notes->push_back({LineNote::Clash, m_asked.node, m_asked.request});
    }
    const bool isSound = m_asked.isAnswered && m_damagedNs < 0;
    m_asked = {addr, item, expectsAnswer(item.frame), isSound, !expectsAnswer(item.frame)};
    if (!m_asked.isOpen)
        return;
    NodeStatistics &asked = node(addr);
    ++asked.requests;
    asked.sound += isSound ? 1 : 0;
    asked.askedNs = item.timeNs;
    settle(addr, asked.open.add(item, answerTo(item.frame)), notes);
    m_due.push_back({item.timeNs + OpenRequests::LostNs, addr});
}

void LineStatistics::addSharedRequest(const LineItem &item)
{
    const int answerCmd = answerTo(item.frame);
    if (m_shared.count == 0 || answerCmd != m_shared.answerCmd
        || item.timeNs - m_shared.lastNs > OpenRequests::LostNs)
        m_shared = {item.timeNs, item.timeNs, answerCmd, 0};
    m_shared.lastNs = item.timeNs;
    ++m_shared.count;
}

void LineStatistics::addFromNode(const LineItem &item, LineNotes *notes)
{
    const unsigned int addr = item.frame.srcAddr(false);
    NodeStatistics &source = node(addr);
    ++source.frames;
    source.bytes += item.bytes.size();
    source.heardNs = item.timeNs;
    const bool isAnswer = item.frame.addrType() == VOX::P2P && item.frame.destAddr(false) == VOXBus::addr();
    if (isAnswer && item.isNack()) {
        source.lastNack = KVR::toString(KVR::getNackReply(item.frame));
        ++source.nacks[source.lastNack];
    }
    OpenRequests::Outcome outcome;
    if (const LineItem *request = isAnswer ? source.open.answer(item, &outcome) : nullptr) {
        if (m_asked.node == addr) {
            m_asked.isAnswered =
                m_asked.isOpen && item.timeNs - m_asked.request.timeNs <= OpenRequests::TimeoutNs;
            m_asked.isOpen = false;
        }
        source.answeredNs = item.timeNs;
        source.answerCmd = answerTo(request->frame);
        notes->push_back({LineNote::Answered, addr, *request, item.timeNs - request->timeNs});
        settle(addr, outcome, notes);
        return;
    }
    if (isAnswer && isOfShared(item) && !isSurplus(source))
        return;
    if (isAnswer && (isOfShared(item) || isSecond(source, item))) {
        ++source.surplus;
        notes->push_back({LineNote::Surplus, addr, {}});
        return;
    }
    ++source.unasked;
    source.unaskedBytes += item.bytes.size();
    notes->push_back({LineNote::Unasked, addr, {}});
}

bool LineStatistics::isOfShared(const LineItem &answer) const
{
    return m_shared.count != 0 && answer.timeNs - m_shared.lastNs < OpenRequests::LostNs
        && (answer.frame.cmd() == m_shared.answerCmd || answer.isNack());
}

// Each node answers once every time that all are asked.
bool LineStatistics::isSurplus(NodeStatistics &node) const
{
    node.sharedAnswers = node.sharedNs == m_shared.firstNs ? node.sharedAnswers + 1 : 1;
    node.sharedNs = m_shared.firstNs;
    return node.sharedAnswers > m_shared.count;
}

bool LineStatistics::isSecond(const NodeStatistics &node, const LineItem &answer)
{
    return node.answeredNs != 0 && answer.timeNs - node.answeredNs < OpenRequests::TimeoutNs
        && OpenRequests::isAnswer(answer.frame.cmd(), node.answerCmd);
}

void LineStatistics::settle(unsigned int addr, const OpenRequests::Outcome &outcome, LineNotes *notes)
{
    node(addr).add(outcome);
    for (const OpenRequests::Settled &settled : outcome) {
        if (settled.answerNs < 0)
            notes->push_back(
                {settled.isAmbiguous ? LineNote::LateOrLost : LineNote::Unanswered, addr, settled.request});
        else if (settled.answerNs > OpenRequests::TimeoutNs)
            notes->push_back({LineNote::Late, addr, settled.request, settled.answerNs});
    }
}

void LineStatistics::expire(qint64 nowNs, LineNotes *notes)
{
    for (; !m_due.empty() && m_due.front().timeNs < nowNs; m_due.pop_front()) {
        const unsigned int addr = m_due.front().node;
        const auto asked = m_nodes.find(addr);
        if (asked != m_nodes.end())
            settle(addr, asked->open.expire(nowNs), notes);
    }
}

NodeStatistics &LineStatistics::node(unsigned int addr)
{
    if (m_nodes.size() >= MaxNodes && !m_nodes.contains(addr))
        forgetSome();
    return m_nodes[addr];
}

// Half of them at once: a line on which each frame has another source would else look at all for each.
void LineStatistics::forgetSome()
{
    std::vector<int> weights;
    for (const NodeStatistics &node : qAsConst(m_nodes))
        weights.push_back(node.weight());
    const auto median = weights.begin() + static_cast<std::ptrdiff_t>(weights.size() / 2);
    std::nth_element(weights.begin(), median, weights.end());
    for (auto node = m_nodes.begin(); node != m_nodes.end();) {
        if (node->weight() > *median) {
            ++node;
            continue;
        }
        node = m_nodes.erase(node);
        ++m_totals.forgotten;
    }
}

QMap<unsigned int, NodeStatistics> LineStatistics::nodes() const
{
    QMap<unsigned int, NodeStatistics> settled = m_nodes;
    for (NodeStatistics &node : settled)
        node.add(node.open.close(m_lastNs));
    return settled;
}

double LineStatistics::seconds() const
{
    return std::max(static_cast<double>(m_lastNs - m_firstNs) / NsPerSecond, 1e-3);
}

std::optional<double> LineStatistics::load() const
{
    constexpr double Percent = 100;
    const double load = Percent * static_cast<double>(lineNs(m_totals.bytes)) / NsPerSecond / seconds();
    // The times of a line that is full may be a little off.
    constexpr double MostPercent = 110;
    return view() == Line && load < MostPercent ? std::optional(std::min(load, Percent)) : std::nullopt;
}
