#include "vox/line/openrequests.h"

#include "messages/kvr.h"

#include <algorithm>
#include <iterator>

namespace {
/// A host sends a request, and repeats it, about so often.
constexpr int MaxRepeated = 4;
}

bool OpenRequests::isAnswer(int cmd, int answerCmd)
{
    return cmd == answerCmd || cmd == KVR::ACK || cmd == KVR::NACK;
}

OpenRequests::Outcome OpenRequests::add(const LineItem &request, int answerCmd)
{
    Outcome outcome = expire(request.timeNs);
    qint64 answeredNs = -1;
    int count = 0;
    for (const Request &open : m_open) {
        if (open.answerCmd != answerCmd)
            continue;
        answeredNs = std::max(answeredNs, open.answeredNs);
        ++count;
    }
    // The host has its answer, and has not repeated its request: this is another one.
    const bool isAnother = answeredNs >= 0 && request.timeNs - answeredNs > TimeoutNs;
    if (isAnother || count >= MaxRepeated)
        settleAll(answerCmd, &outcome);
    m_open.push_back({request, answerCmd});
    return outcome;
}

const LineItem *OpenRequests::answer(const LineItem &answer, Outcome *outcome)
{
    const int cmd = answer.frame.cmd();
    const auto asked = std::find_if(m_open.rbegin(), m_open.rend(), [cmd](const Request &request) {
        return request.answeredNs < 0 && isAnswer(cmd, request.answerCmd);
    });
    if (asked == m_open.rend())
        return nullptr;
    asked->answeredNs = answer.timeNs;
    m_answered = asked->item;
    settleAnswered(asked->answerCmd, outcome);
    return &m_answered;
}

void OpenRequests::spoil()
{
    if (!m_open.empty())
        m_open.back().isSpoilt = true;
}

OpenRequests::Outcome OpenRequests::expire(qint64 nowNs)
{
    Outcome outcome;
    while (!m_open.empty() && nowNs - m_open.front().item.timeNs > LostNs)
        settleFirst(&outcome);
    return outcome;
}

OpenRequests::Outcome OpenRequests::close(qint64 nowNs)
{
    Outcome outcome;
    while (!m_open.empty()
           && (m_open.front().answeredNs >= 0 || nowNs - m_open.front().item.timeNs > TimeoutNs))
        settleFirst(&outcome);
    return outcome;
}

bool OpenRequests::isOneAnswered(int answerCmd) const
{
    return std::any_of(m_open.begin(), m_open.end(), [answerCmd](const Request &request) {
        return request.answerCmd == answerCmd && request.answeredNs >= 0;
    });
}

OpenRequests::Settled OpenRequests::settled(const Request &request) const
{
    if (request.answeredNs >= 0)
        return {request.item, request.answeredNs - request.item.timeNs};
    return {request.item, -1, !request.isSpoilt && isOneAnswered(request.answerCmd)};
}

void OpenRequests::settleFirst(Outcome *outcome)
{
    const int answerCmd = m_open.front().answerCmd;
    outcome->push_back(settled(m_open.front()));
    m_open.erase(m_open.begin());
    settleAnswered(answerCmd, outcome);
}

// If all have their answers, the oldest answer is that of the oldest request.
void OpenRequests::settleAnswered(int answerCmd, Outcome *outcome)
{
    std::vector<qint64> times;
    for (const Request &request : m_open) {
        if (request.answerCmd != answerCmd)
            continue;
        if (request.answeredNs < 0)
            return;
        times.push_back(request.answeredNs);
    }
    std::sort(times.begin(), times.end());
    auto time = times.begin();
    for (Request &request : m_open) {
        if (request.answerCmd == answerCmd)
            request.answeredNs = *time++;
    }
    settleAll(answerCmd, outcome);
}

void OpenRequests::settleAll(int answerCmd, Outcome *outcome)
{
    const auto isOther = [answerCmd](const Request &request) { return request.answerCmd != answerCmd; };
    const auto others = std::stable_partition(m_open.begin(), m_open.end(), isOther);
    for (auto request = others; request != m_open.end(); ++request)
        outcome->push_back(settled(*request));
    m_open.erase(others, m_open.end());
}
