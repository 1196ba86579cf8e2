#include "simulation/overheardline_p.h"

#include "messages/kvr.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
/// After this time an answer does not come any more.
constexpr double LostMs = 2000;
/// An equal request within this time is an echo.
constexpr double EchoMs = 100;
/// A simulation without faults is no faster.
constexpr int LeastDelayMs = 3;
/// So long emulated motors of the older generation take by themselves.
constexpr int OlderDelayMs = 50;
constexpr int MostDelayMs = 60000;
constexpr double LeastLoss = 0.01;

bool expectsAnswer(const VOXMessage &request)
{
    return request.isAck() || NodeQuery::of(request).reply() != 0;
}

bool isAnswer(const VOXMessage &answer, const VOXMessage &request)
{
    return NodeQuery::of(request).isAnswer(answer)
        || (answer.cmd() == KVR::ACK && !NodeQuery::isQuery(request.cmd()));
}

/// The query without data that only this answer fits; one of no command if there is none.
NodeQuery queryFor(const VOXMessage &answer, NodeQuery::Set set)
{
    const QVector<NodeQuery> queries = NodeQuery::all(set);
    for (const NodeQuery &query : queries) {
        if (query.data.isEmpty() && query.reply() == answer.cmd())
            return query;
    }
    return NodeQuery();
}
}

void OverheardLine::hear(const VOXMessage &frame, double timeMs, QMap<VOX::Addr, NodeRecord> *records)
{
    const VOX::Addr host = VOX::HostAddr & VOX::AddrMask;
    const VOX::Addr source = frame.srcAddr(false);
    if (source == host && frame.addrType() == VOX::P2P) {
        if (expectsAnswer(frame) && VOX::nodeAddrProblem(frame.destAddr(false)).isEmpty())
            addRequest(frame, timeMs, records);
    } else if (frame.destAddr(false) == host && VOX::nodeAddrProblem(source).isEmpty()) {
        if (!records->contains(source))
            records->insert(source, NodeRecord(frame.srcAddr(true)));
        addAnswer(frame, timeMs, &(*records)[source]);
    }
}

void OverheardLine::addRequest(const VOXMessage &frame, double timeMs, QMap<VOX::Addr, NodeRecord> *records)
{
    const VOX::Addr addr = frame.destAddr(false);
    const Request last = std::exchange(m_last, {frame, timeMs});
    if (last.frame.data() == frame.data() && timeMs - last.timeMs < EchoMs)
        return;
    if (!records->contains(addr))
        records->insert(addr, NodeRecord(addr));
    Node &node = m_nodes[addr];
    while (!node.open.empty() && timeMs - node.open.front().timeMs > LostMs) {
        node.lost.push_back(node.open.front().frame);
        node.open.erase(node.open.begin());
    }
    node.open.push_back({frame, timeMs});
    if (NodeQuery::isQuery(frame.cmd()))
        (*records)[addr].note(NodeQuery::of(frame), VOXMessage());
}

// Takes an answer as that of the newest request that it fits: hosts ask again when an answer is lost.
void OverheardLine::addAnswer(const VOXMessage &frame, double timeMs, NodeRecord *record)
{
    Node &node = m_nodes[frame.srcAddr(false)];
    const auto asked = std::find_if(node.open.rbegin(), node.open.rend(),
                                    [&](const Request &request) { return isAnswer(frame, request.frame); });
    NodeQuery query;
    if (asked != node.open.rend()) {
        if (NodeQuery::isQuery(asked->frame.cmd()))
            query = NodeQuery::of(asked->frame);
        node.answerTimes.push_back(timeMs - asked->timeMs);
        node.open.erase(std::next(asked).base());
    } else {
        // The request was to all, or came before the listening.
        query = queryFor(frame, record->set());
    }
    if (query.cmd != 0)
        record->note(query, frame);
}

QStringList OverheardLine::faults(const QMap<VOX::Addr, NodeRecord> &records) const
{
    QStringList words;
    for (auto node = m_nodes.begin(); node != m_nodes.end(); ++node) {
        const QString addr = VOX::toString(node.key());
        const NodeRecord &record = records[node.key()];
        std::vector<double> times = node->answerTimes;
        // A question that is never answered is none whose answers get lost.
        const auto lost = static_cast<double>(
            std::count_if(node->lost.begin(), node->lost.end(), [&](const VOXMessage &request) {
                return !record.isUnanswered(NodeQuery::of(request));
            }));
        const double loss = lost / (lost + static_cast<double>(times.size()));
        if (!record.hasAnswered())
            words += QStringLiteral("drop %1").arg(addr);
        if (times.empty())
            continue;
        if (loss >= LeastLoss)
            words += QStringLiteral("drop %1 probability %2").arg(addr).arg(loss, 0, 'g', 2);
        const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
        std::nth_element(times.begin(), middle, times.end());
        const int own = record.set() == NodeQuery::Older ? OlderDelayMs : 0;
        const int delay = std::min(static_cast<int>(std::lround(*middle)) - own, MostDelayMs);
        if (delay >= LeastDelayMs)
            words += QStringLiteral("delay %1 %2").arg(delay).arg(addr);
    }
    return words;
}
