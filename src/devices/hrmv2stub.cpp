#include "devices/hrmv2stub.h"

#include "devices/voxanswer_p.h"
#include "messages/hrmv2.h"
#include "messages/kvrack.h"
#include "messages/kvrnack.h"

#include <QTimerEvent>

#include <utility>

using namespace VOXAnswer;

namespace {
constexpr int SlotCount = 16;
constexpr int ReplyDelayMs = 50;
constexpr unsigned short NoPosition = 0xffff;
constexpr unsigned char NoIndex = 255;
/// Less than the command's whole frame, as it is in the motor.
constexpr int MinLockStatusLength = 12;
}

HRMv2Stub::HRMv2Stub(unsigned int addr, VOXBus *bus, QObject *parent)
    : KVRDevice(addr, bus, parent)
    , m_intermediatePositions(SlotCount, 0)
{
    setGroupCount(SlotCount);
}

void HRMv2Stub::setStubOptions(StubOptions options)
{
    if (options == m_options)
        return;
    m_options = options;
    Q_EMIT stubOptionsChanged(options);
}

int HRMv2Stub::replyDelay(const VOXMessage &request) const
{
    return request.isValid() ? ReplyDelayMs : 0;
}

unsigned short HRMv2Stub::motorIP(unsigned char index) const
{
    return m_intermediatePositions.value(index - 1, NoPosition);
}

bool HRMv2Stub::setMotorIP(unsigned char index, unsigned short position)
{
    if (index == 0 || index > m_intermediatePositions.size())
        return false;
    m_intermediatePositions[index - 1] = position;
    return true;
}

unsigned char HRMv2Stub::findMotorIP(unsigned short position) const
{
    Q_UNUSED(position)
    return NoIndex;
}

void HRMv2Stub::dispatch(const VOXMessage &msg)
{
    if (!msg.isValid())
        return;
    const int delay = m_options.testFlag(DELAY_REPLY) ? replyDelay(msg) : 0;
    if (m_replyTimer.isActive()) {
        if (msg.isAck())
            reply(KVRNack(*this, msg, KVR::NACK_BUSY));
    } else if (msg.cmd() == HRMv2::GET_GROUP_ADDR || msg.cmd() == HRMv2::SET_GROUP_ADDR) {
        send(standardAnswer(msg), delay);
    } else {
        const VOXReply answer = answerTo(msg);
        if (isWanted(msg, answer))
            send(answer, delay);
    }
}

void HRMv2Stub::send(const VOXMessage &answer, int delay)
{
    if (!answer.isValid())
        return;
    if (delay == 0) {
        reply(answer);
    } else {
        m_pendingReply = answer;
        m_replyTimer.start(delay, Qt::PreciseTimer, this);
    }
}

void HRMv2Stub::forgetReply()
{
    m_replyTimer.stop();
    m_pendingReply = VOXMessage();
}

void HRMv2Stub::detach()
{
    forgetReply();
    KVRDevice::detach();
}

void HRMv2Stub::setAddr(unsigned int addr)
{
    if (addr != this->addr(true))
        forgetReply();
    KVRDevice::setAddr(addr);
}

void HRMv2Stub::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_replyTimer.timerId()) {
        // Past the standard device's own timers, on purpose. NOLINTNEXTLINE(bugprone-parent-virtual-call)
        QObject::timerEvent(event);
        return;
    }
    m_replyTimer.stop();
    reply(std::exchange(m_pendingReply, VOXMessage()));
}

VOXReply HRMv2Stub::answerTo(const VOXMessage &request)
{
    const auto byte = [](int value) { return static_cast<unsigned char>(value); };
    const auto data = [&](HRMv2::Cmd cmd, auto... fields) {
        return filled(VOXReply(*this, request, HRMv2::findCmd(cmd)), fields...);
    };
    switch (request.cmd()) {
    case HRMv2::GET_MOTOR_SETTINGS:
        return data(HRMv2::POST_MOTOR_SETTINGS, m_direction != 0, m_downLimit);
    case HRMv2::GET_MOTOR_IP:
        return getMotorIPReply(request);
    case HRMv2::GET_MOTOR_POSITION:
        return data(HRMv2::POST_MOTOR_POSITION);
    case HRMv2::GET_MOTOR_INFO:
        return data(HRMv2::POST_MOTOR_INFO, static_cast<unsigned short>(13), byte(0), byte(2), byte(12),
                    byte(5), byte(6), byte(32), byte(0), byte(0));
    case HRMv2::GET_MOTOR_STATUS:
        return data(HRMv2::POST_MOTOR_STATUS);
    case HRMv2::GET_LOCK_STATUS:
        return data(HRMv2::POST_LOCK_STATUS, m_lockStatus);
    case HRMv2::SET_IP:
        return setIPReply(request);
    case HRMv2::SET_LOCK_STATUS:
        if (request.len() < MinLockStatusLength)
            return KVRNack(*this, request, KVR::NACK_MSGSIZE);
        read(request, m_lockStatus);
        return KVRAck(*this, request);
    default:
        return KVRNack(*this, request, KVR::NACK_BADMSG);
    }
}

VOXReply HRMv2Stub::getMotorIPReply(const VOXMessage &request) const
{
    if (request.len() < HRMv2::findCmd(HRMv2::GET_MOTOR_IP).size())
        return KVRNack(*this, request, KVR::NACK_MSGSIZE);
    unsigned char index = 0;
    read(request, index);
    if (index == 0 || index > motorIPCount())
        return KVRNack(*this, request, KVR::NACK_BADMSG);
    return filled(VOXReply(*this, request, HRMv2::findCmd(HRMv2::POST_MOTOR_IP)), index, motorIP(index));
}

VOXReply HRMv2Stub::setIPReply(const VOXMessage &request)
{
    if (request.len() < HRMv2::findCmd(HRMv2::SET_IP).size())
        return KVRNack(*this, request, KVR::NACK_MSGSIZE);
    unsigned char skipped = 0;
    unsigned char index = 0;
    unsigned short position = 0;
    // The shortest frame has no room for the position, which is then 0.
    read(request, skipped, index, position);
    return setMotorIP(index, position) ? VOXReply(KVRAck(*this, request))
                                       : VOXReply(KVRNack(*this, request, KVR::NACK_RNG));
}
