#include "vox/line/exchange.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "transport/voxbus.h"

#include <algorithm>

namespace {
/// After this time an answer does not come any more.
constexpr qint64 LostNs = 2000000000;

// Frames to a group do not say who sends them.
bool isRequest(const VOXMessage &frame)
{
    return frame.addrType() == VOX::GROUP || frame.srcAddr(false) == VOXBus::addr();
}

/// The newest exchange that @p item may belong to; null if there is none.
Exchange *findExchange(std::vector<Exchange> *exchanges, const LineItem &item)
{
    for (auto exchange = exchanges->rbegin(); exchange != exchanges->rend(); ++exchange) {
        if (item.timeNs - exchange->request.timeNs > LostNs)
            return nullptr;
        const auto isOfSameNode = [&](const LineItem &answer) {
            return answer.frame.srcAddr(false) == item.frame.srcAddr(false);
        };
        const std::vector<LineItem> &answers = exchange->answers;
        if (exchange->isAnswer(item.frame) && std::none_of(answers.begin(), answers.end(), isOfSameNode))
            return &*exchange;
    }
    return nullptr;
}
}

std::vector<Exchange> Exchange::of(const std::vector<LineItem> &items)
{
    std::vector<Exchange> exchanges;
    for (const LineItem &item : items) {
        if (!item.isTaken()) {
            if (!exchanges.empty())
                exchanges.back().isSpoilt = true;
        } else if (isRequest(item.frame)) {
            exchanges.push_back({item, {}});
        } else if (Exchange *exchange = findExchange(&exchanges, item)) {
            exchange->answers.push_back(item);
        }
    }
    return exchanges;
}

bool Exchange::isAnswer(const VOXMessage &frame) const
{
    const VOXMessage &asked = request.frame;
    // The answers to a request for a group go to that group's address.
    const bool isForGroup = asked.addrType() == VOX::GROUP;
    const unsigned int to = isForGroup ? asked.bcastAddr(false) : VOXBus::addr();
    if (isRequest(frame) || frame.destAddr(false) != to)
        return false;
    if (asked.addrType() == VOX::P2P && frame.srcAddr(false) != asked.destAddr(false))
        return false;
    const int cmd = frame.cmd();
    const int answer = KVR::findCmd(asked.cmd()).reply();
    const int olderAnswer = HRMv2::findCmd(asked.cmd()).reply();
    return cmd == KVR::ACK || cmd == KVR::NACK || cmd == answer || cmd == olderAnswer
        || nameOf(asked.cmd()).isEmpty();
}
