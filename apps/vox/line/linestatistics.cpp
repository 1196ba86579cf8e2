#include "vox/line/linestatistics.h"

#include "messages/kvr.h"
#include "transport/voxbus.h"
#include "vox/console.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {
constexpr double NsPerMs = 1e6;
constexpr double NsPerSecond = 1e9;
constexpr double BitsPerByte = 11;
/// The time for which a host waits for an answer by default.
constexpr qint64 TimeoutNs = 200000000;
constexpr qint64 EchoNs = 100000000;
/// After this time an answer does not come any more.
constexpr qint64 LostNs = 2000000000;
constexpr int MaxNodes = 65536;
constexpr int ManyBytes = 100;
constexpr int ManyUnanswered = 3;
constexpr double Median = 0.5;
constexpr double P99 = 0.99;

bool expectsAnswer(const VOXMessage &request)
{
    return request.isAck() || KVR::findCmd(request.cmd()).reply() != 0;
}

bool isAnswer(int cmd, int answerCmd)
{
    return cmd == answerCmd || cmd == KVR::ACK || cmd == KVR::NACK;
}
}

int LineStatistics::Node::lateAnswers() const
{
    return static_cast<int>(
        std::count_if(answerNs.begin(), answerNs.end(), [](qint64 time) { return time > TimeoutNs; }));
}

int LineStatistics::Node::lostRequests(qint64 nowNs) const
{
    return unanswered
        + static_cast<int>(std::count_if(open.begin(), open.end(), [nowNs](const Request &request) {
               return nowNs - request.timeNs > TimeoutNs;
           }));
}

double LineStatistics::Node::answerMs(double share) const
{
    if (answerNs.empty())
        return 0;
    std::vector<qint64> sorted = answerNs;
    std::sort(sorted.begin(), sorted.end());
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size())));
    return static_cast<double>(sorted[std::max<std::size_t>(rank, 1) - 1]) / NsPerMs;
}

void LineStatistics::setTime(qint64 timeNs)
{
    if (!m_isLive)
        m_firstNs = timeNs;
    m_isLive = true;
    m_lastNs = std::max(m_lastNs, timeNs);
}

void LineStatistics::setPortErrors(const std::optional<PortErrors> &errors)
{
    m_isPort = true;
    m_portErrors = errors;
}

void LineStatistics::add(const LineItem &item)
{
    // A capture also includes the time that the first record took on the line.
    if (m_bytes == 0 && !m_isLive)
        m_firstNs = item.timeNs - static_cast<qint64>(item.bytes.size() * BitsPerByte / m_rate * NsPerSecond);
    m_lastNs = std::max(m_lastNs, item.timeNs);
    m_bytes += item.bytes.size();
    if (item.verdict == LineItem::Garbage)
        m_garbageBytes += item.bytes.size();
    else
        addFrame(item);
}

void LineStatistics::addFrame(const LineItem &item)
{
    ++m_frames;
    const QString source = VOX::toString(item.frame.srcAddr(false));
    const bool isRequest = item.frame.srcAddr(false) == VOXBus::addr();
    if (!item.isTaken()) {
        ++m_failed;
        // Only nodes that are known count, because any address may stand in noise.
        const auto known = m_nodes.find(source);
        if (!isRequest && known != m_nodes.end())
            ++known->failed;
        return;
    }
    const bool isRepeated = item.bytes == m_lastBytes && item.timeNs - m_lastBytesNs < EchoNs;
    m_lastBytes = item.bytes;
    m_lastBytesNs = item.timeNs;
    if (isRequest && isRepeated)
        ++m_echoes;
    else if (isRequest)
        addRequest(item);
    else if (item.frame.destAddr(false) == VOXBus::addr())
        addAnswer(item);
}

void LineStatistics::addRequest(const LineItem &item)
{
    if (item.frame.addrType() != VOX::P2P)
        addSharedRequest(item);
    if (item.frame.addrType() != VOX::P2P || !expectsAnswer(item.frame) || m_nodes.size() >= MaxNodes)
        return;
    Node &node = m_nodes[VOX::toString(item.frame.destAddr(false))];
    const auto isLost = [&](const Request &request) { return item.timeNs - request.timeNs > LostNs; };
    const auto lost = std::remove_if(node.open.begin(), node.open.end(), isLost);
    node.unanswered += static_cast<int>(node.open.end() - lost);
    node.open.erase(lost, node.open.end());
    node.open.push_back({item.timeNs, KVR::findCmd(item.frame.cmd()).reply()});
}

void LineStatistics::addSharedRequest(const LineItem &item)
{
    const int answerCmd = KVR::findCmd(item.frame.cmd()).reply();
    if (m_shared.count == 0 || answerCmd != m_shared.answerCmd || item.timeNs - m_shared.lastNs > LostNs)
        m_shared = {item.timeNs, item.timeNs, answerCmd, 0};
    m_shared.lastNs = item.timeNs;
    ++m_shared.count;
}

// Takes an answer as that of the newest request that it fits: hosts ask again when an answer is lost. If
// answers are only late, those of the older requests follow.
void LineStatistics::addAnswer(const LineItem &item)
{
    if (m_nodes.size() >= MaxNodes)
        return;
    Node &node = m_nodes[VOX::toString(item.frame.srcAddr(false))];
    if (item.isNack())
        ++node.nacks[KVR::toString(KVR::getNackReply(item.frame))];
    const int cmd = item.frame.cmd();
    const auto asked = std::find_if(node.open.rbegin(), node.open.rend(), [cmd](const Request &request) {
        return isAnswer(cmd, request.answerCmd);
    });
    if (asked != node.open.rend()) {
        node.answerNs.push_back(item.timeNs - asked->timeNs);
        node.lastAnswered = {item.timeNs, asked->answerCmd};
        node.open.erase(std::next(asked).base());
        return;
    }
    if (isSurplus(node, item))
        ++node.surplus;
}

bool LineStatistics::isSurplus(Node &node, const LineItem &item) const
{
    const int cmd = item.frame.cmd();
    const bool isShared = m_shared.count != 0 && item.timeNs - m_shared.lastNs < LostNs
        && (cmd == m_shared.answerCmd || cmd == KVR::NACK);
    if (!isShared)
        return item.timeNs - node.lastAnswered.timeNs < LostNs && isAnswer(cmd, node.lastAnswered.answerCmd);
    // Each node answers once every time that all are asked.
    node.sharedAnswers = node.sharedNs == m_shared.firstNs ? node.sharedAnswers + 1 : 1;
    node.sharedNs = m_shared.firstNs;
    return node.sharedAnswers > m_shared.count;
}

double LineStatistics::seconds() const
{
    return std::max(static_cast<double>(m_lastNs - m_firstNs) / NsPerSecond, 1e-3);
}

double LineStatistics::load() const
{
    constexpr double Percent = 100;
    return Percent * static_cast<double>(m_bytes) * BitsPerByte / m_rate / seconds();
}

QStringList LineStatistics::hints() const
{
    QStringList all;
    if (m_bytes == 0)
        all += QStringLiteral("nothing was heard");
    if (m_bytes >= ManyBytes && m_frames == m_failed)
        all += QStringLiteral("%1 bytes and no valid frame among them: parity or bit rate may be wrong")
                   .arg(m_bytes);
    else if (m_frames > m_failed && m_failed + m_garbageBytes > 0)
        all += QStringLiteral("%1 and %2 of garbage among valid frames: noise")
                   .arg(counted(m_failed, "failed check"), counted(m_garbageBytes, "byte"));
    const QString portHint = m_portErrors ? m_portErrors->hint(m_frames > m_failed) : QString();
    if (!portHint.isEmpty())
        all += portHint;
    if (m_echoes > 1)
        all += QStringLiteral("%1 came twice: an echo is on").arg(counted(m_echoes, "request"));
    for (auto node = m_nodes.begin(); node != m_nodes.end(); ++node) {
        if (node->surplus > 0)
            all += QStringLiteral("%1 gave %2 more than it was asked for: two nodes answer as one address")
                       .arg(node.key(), counted(node->surplus, "answer"));
        const int lost = node->lostRequests(m_lastNs);
        if (node->answerNs.empty() && lost >= ManyUnanswered)
            all += QStringLiteral("%1 never answers: %2 in vain").arg(node.key(), counted(lost, "request"));
        if (node->lateAnswers() > 0)
            all += QStringLiteral("%1 gave %2 later than after %3 ms, when hosts have given up")
                       .arg(node.key(), counted(node->lateAnswers(), "answer"))
                       .arg(TimeoutNs / NsPerMs);
    }
    return all;
}

QStringList LineStatistics::toText() const
{
    QStringList lines = {
        QStringLiteral("%1, %2 in %3 s: %4 frames/s, %5 bytes/s%6")
            .arg(counted(m_frames, "frame"), counted(m_bytes, "byte"))
            .arg(seconds(), 0, 'f', 1)
            .arg(m_frames / seconds(), 0, 'f', 1)
            .arg(static_cast<double>(m_bytes) / seconds(), 0, 'f', 0)
            .arg(m_hasLoad ? QStringLiteral(", load %1 %").arg(load(), 0, 'f', 0) : QString()),
        QStringLiteral("%1, %2 of garbage")
            .arg(counted(m_failed, "failed check"), counted(m_garbageBytes, "byte"))};
    if (m_isPort)
        lines += QStringLiteral("the port's driver: %1")
                     .arg(m_portErrors ? m_portErrors->toString()
                                       : QStringLiteral("framing and parity errors, breaks and overruns are "
                                                        "not counted"));
    for (auto node = m_nodes.begin(); node != m_nodes.end(); ++node) {
        QString line =
            QStringLiteral("%1: %2").arg(node.key(), counted(qint64(node->answerNs.size()), "answer"));
        if (!node->answerNs.empty())
            line += QStringLiteral(", median %1 ms, p99 %2 ms, worst %3 ms")
                        .arg(node->answerMs(Median), 0, 'f', 1)
                        .arg(node->answerMs(P99), 0, 'f', 1)
                        .arg(node->answerMs(1), 0, 'f', 1);
        line += QStringLiteral("; %1 unanswered, %2")
                    .arg(node->lostRequests(m_lastNs))
                    .arg(counted(node->failed, "failed check"));
        for (auto nack = node->nacks.begin(); nack != node->nacks.end(); ++nack)
            line += QStringLiteral("; NACK %1 %2").arg(nack.key()).arg(nack.value());
        lines += line;
    }
    const QStringList meanings = hints();
    for (const QString &hint : meanings)
        lines += QStringLiteral("hint: ") + hint;
    return lines;
}

QJsonObject LineStatistics::toJson() const
{
    QJsonArray nodes;
    for (auto node = m_nodes.begin(); node != m_nodes.end(); ++node) {
        QJsonObject nacks;
        for (auto nack = node->nacks.begin(); nack != node->nacks.end(); ++nack)
            nacks.insert(nack.key(), nack.value());
        nodes += QJsonObject{{QStringLiteral("address"), node.key()},
                             {QStringLiteral("answers"), static_cast<int>(node->answerNs.size())},
                             {QStringLiteral("medianMs"), node->answerMs(Median)},
                             {QStringLiteral("p99Ms"), node->answerMs(P99)},
                             {QStringLiteral("worstMs"), node->answerMs(1)},
                             {QStringLiteral("unanswered"), node->lostRequests(m_lastNs)},
                             {QStringLiteral("failedChecks"), node->failed},
                             {QStringLiteral("nacks"), nacks}};
    }
    QJsonObject all{{QStringLiteral("frames"), m_frames},
                    {QStringLiteral("byteCount"), m_bytes},
                    {QStringLiteral("seconds"), seconds()},
                    {QStringLiteral("framesPerSecond"), m_frames / seconds()},
                    {QStringLiteral("bytesPerSecond"), static_cast<double>(m_bytes) / seconds()},
                    {QStringLiteral("failedChecks"), m_failed},
                    {QStringLiteral("garbageBytes"), m_garbageBytes},
                    {QStringLiteral("nodes"), nodes},
                    {QStringLiteral("hints"), QJsonArray::fromStringList(hints())}};
    if (m_hasLoad)
        all.insert(QStringLiteral("loadPercent"), load());
    if (m_isPort)
        all.insert(QStringLiteral("port"), m_portErrors ? m_portErrors->toJson() : QJsonValue());
    return all;
}
