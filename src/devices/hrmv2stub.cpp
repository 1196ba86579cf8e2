#include "devices/hrmv2stub.h"

#include "devices/voxanswer_p.h"
#include "messages/hrmv2schema_p.h"
#include "messages/kvrack.h"

#include <QTimerEvent>

#include <utility>

using namespace VOXAnswer;

namespace {
constexpr int SlotCount = 16;
constexpr int ReplyDelayMs = 50;
constexpr unsigned short NoPosition = 0xffff;
constexpr unsigned char NoIndex = 255;
/// This is less than the command's whole frame, as in the real motor.
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
            reply(nack(msg, KVR::NACK_BUSY));
    } else {
        send(answerTo(msg), delay);
    }
}

VOXMessage HRMv2Stub::answerTo(const VOXMessage &request)
{
    if (request.cmd() == HRMv2::GET_GROUP_ADDR || request.cmd() == HRMv2::SET_GROUP_ADDR)
        return isDeafTo(request) ? VOXMessage() : standardAnswer(request);
    const Handler handler = findHandler(request.cmd());
    return wanted(request, handler ? handler(*this, request) : nack(request, KVR::NACK_BADMSG));
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
        // This leaves out the standard device's own timers, on purpose.
        // NOLINTNEXTLINE(bugprone-parent-virtual-call)
        QObject::timerEvent(event);
        return;
    }
    m_replyTimer.stop();
    reply(std::exchange(m_pendingReply, VOXMessage()));
}

HRMv2Stub::Handler HRMv2Stub::findHandler(unsigned char cmd)
{
    using S = HRMv2Stub;
    static constexpr Table handlers({
        on<HRMv2::GET_MOTOR_SETTINGS, &S::motorSettingsReply, AnyLength>,
        on<HRMv2::GET_MOTOR_IP, &S::motorIPReply>,
        on<HRMv2::GET_MOTOR_POSITION, &S::zeroReply<HRMv2::POST_MOTOR_POSITION>, AnyLength>,
        on<HRMv2::GET_MOTOR_INFO, &S::motorInfoReply, AnyLength>,
        on<HRMv2::GET_MOTOR_STATUS, &S::zeroReply<HRMv2::POST_MOTOR_STATUS>, AnyLength>,
        on<HRMv2::GET_LOCK_STATUS, &S::lockStatusReply, AnyLength>,
        on<HRMv2::SET_IP, &S::handleMotorIP>,
        on<HRMv2::SET_LOCK_STATUS, &S::handleLockStatus, AnyLength>,
    });
    return handlers.find(cmd);
}

VOXReply HRMv2Stub::motorSettingsReply(const VOXMessage &request) const
{
    return answer<HRMv2::POST_MOTOR_SETTINGS>(*this, request, m_direction != 0, m_downLimit);
}

VOXReply HRMv2Stub::motorIPReply(const VOXMessage &request, quint8 index) const
{
    if (index == 0 || index > motorIPCount())
        return nack(request, KVR::NACK_BADMSG);
    return answer<HRMv2::POST_MOTOR_IP>(*this, request, index, motorIP(index));
}

template <auto Post>
VOXReply HRMv2Stub::zeroReply(const VOXMessage &request) const
{
    return answer<Post>(*this, request, QByteArray());
}

VOXReply HRMv2Stub::motorInfoReply(const VOXMessage &request) const
{
    return answer<HRMv2::POST_MOTOR_INFO>(*this, request, QByteArray("\x0d\0\0\x02\x0c\x05\x06\x20", 8));
}

VOXReply HRMv2Stub::lockStatusReply(const VOXMessage &request) const
{
    return answer<HRMv2::POST_LOCK_STATUS>(*this, request, m_lockStatus);
}

VOXReply HRMv2Stub::handleMotorIP(const VOXMessage &request)
{
    quint8 index = 0;
    quint16 position = 0;
    VOXSchema::take<VOXCmdTable::OLDER_SET_IP>(request, nullptr, index, position);
    return setMotorIP(index, position) ? VOXReply(KVRAck(*this, request)) : nack(request, KVR::NACK_RNG);
}

VOXReply HRMv2Stub::handleLockStatus(const VOXMessage &request)
{
    if (request.len() < MinLockStatusLength)
        return nack(request, KVR::NACK_MSGSIZE);
    VOXSchema::take<HRMv2::SET_LOCK_STATUS>(request, m_lockStatus, nullptr, nullptr);
    return KVRAck(*this, request);
}
