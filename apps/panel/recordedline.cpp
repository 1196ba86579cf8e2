#include "panel/recordedline.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxcommandtrait.h"

#include <algorithm>

namespace {
/// A host waits for no answer for longer.
constexpr qint64 LongestMs = 300;
constexpr VOX::Addr Host = VOX::HostAddr & VOX::AddrMask;

bool isPoll(const VOXMessage &request)
{
    const auto commands = {int{KVR::GET_MOTOR_POSITION}, int{KVR::GET_MOTOR_STATUS},
                           int{HRMv2::GET_MOTOR_POSITION}, int{HRMv2::GET_MOTOR_STATUS}};
    return std::find(commands.begin(), commands.end(), request.cmd()) != commands.end();
}

LineHistory::Kind kindOf(const VOXMessage &request)
{
    if (VOXCommandTrait::of(request).kind != VOXCommandTrait::Query)
        return LineHistory::User;
    return isPoll(request) ? LineHistory::Polls : LineHistory::ReadBack;
}
}

void RecordedLine::take(const LineItem &item, qint64 ms, LineHistory &history)
{
    const qint64 fromMs = ms - LineHistory::timeOf(static_cast<int>(item.bytes.size()), 0);
    if (!item.isTaken()) {
        history.noteFailed(ms);
        return;
    }
    history.noteFrame(ms);
    const VOXMessage &frame = item.frame;
    // In a frame to a group, the group stands where else the sender does.
    if (frame.addrType() != VOX::P2P || frame.srcAddr(false) == Host) {
        begin(frame, fromMs, ms, history);
    } else if (m_exchange && frame.destAddr(false) == Host && frame.srcAddr(false) == m_exchange->node) {
        m_exchange->isAwaited = false;
        end(ms, history);
    } else {
        history.take(frame.destAddr(false) == Host ? LineHistory::Polls : LineHistory::Others, fromMs, ms);
    }
}

void RecordedLine::begin(const VOXMessage &request, qint64 fromMs, qint64 ms, LineHistory &history)
{
    end(fromMs, history);
    const LineHistory::Kind kind = kindOf(request);
    if (request.addrType() != VOX::P2P) {
        history.take(kind, fromMs, ms);
        return;
    }
    const bool isAwaited = request.isAck() || VOXCommandTrait::of(request).kind == VOXCommandTrait::Query;
    m_exchange = {request.destAddr(false), kind, fromMs, isAwaited};
}

void RecordedLine::end(qint64 ms, LineHistory &history)
{
    if (!m_exchange)
        return;
    const qint64 end = std::min(ms, m_exchange->fromMs + LongestMs);
    history.take(m_exchange->kind, m_exchange->fromMs, end);
    if (m_exchange->isAwaited)
        history.noteUnanswered(end);
    m_exchange.reset();
}
