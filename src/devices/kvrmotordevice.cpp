#include "devices/kvrmotordevice.h"

#include "messages/kvrack.h"
#include "messages/kvrnack.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr unsigned char FirstMotorCommand = 1;
constexpr unsigned char LastMotorCommand = 182;
constexpr unsigned int Percent = 100;
constexpr unsigned short BaseMinDownLimit = 1;
constexpr unsigned short BaseMaxDownLimit = 65534;
}

struct KVRMotorDevice::Handler
{
    int cmd;
    VOXReply (KVRMotorDevice::*reply)(const VOXMessage &request);
};

const KVRMotorDevice::Handler *KVRMotorDevice::findHandler(unsigned char cmd)
{
    static const Handler handlers[] = {
        {KVR::CTRL_MOVE, &KVRMotorDevice::ctrlMoveUnlessLocked},
        {KVR::CTRL_STOP, &KVRMotorDevice::ctrlStopReply},
        {KVR::CTRL_MOVETO, &KVRMotorDevice::ctrlMoveToReply},
        {KVR::CTRL_MOVEOF, &KVRMotorDevice::ctrlMoveOfReply},
        {KVR::CTRL_WINK, &KVRMotorDevice::ctrlWinkReply},
        {KVR::CTRL_NETWORK_LOCK, &KVRMotorDevice::ctrlNetworkLockReply},
        {KVR::GET_MOTOR_POSITION, &KVRMotorDevice::getMotorPositionReply},
        {KVR::GET_MOTOR_STATUS, &KVRMotorDevice::getMotorStatusReply},
        {KVR::SET_APP_MODE, &KVRMotorDevice::setAppModeReply},
        {KVR::SET_MOTOR_LIMITS, &KVRMotorDevice::setMotorLimitsReply},
        {KVR::SET_MOTOR_DIRECTION, &KVRMotorDevice::setMotorDirectionReply},
        {KVR::SET_MOTOR_ROLLING_SPEED, &KVRMotorDevice::setMotorRollingSpeedReply},
        {KVR::SET_MOTOR_TILTING_SPEED, &KVRMotorDevice::tiltReply},
        {KVR::SET_MOTOR_IP, &KVRMotorDevice::setMotorIPReply},
        {KVR::SET_NETWORK_LOCK, &KVRMotorDevice::setNetworkLockReply},
        {KVR::SET_DCT_LOCK, &KVRMotorDevice::setDCTLockReply},
        {KVR::SET_TILT_LIMITS, &KVRMotorDevice::tiltReply},
        {KVR::SET_FACTORY_DEFAULT, &KVRMotorDevice::setFactoryDefaultReply},
        {KVR::GET_APP_MODE, &KVRMotorDevice::getAppModeReply},
        {KVR::GET_MOTOR_LIMITS, &KVRMotorDevice::getMotorLimitsReply},
        {KVR::GET_MOTOR_DIRECTION, &KVRMotorDevice::getMotorDirectionReply},
        {KVR::GET_MOTOR_ROLLING_SPEED, &KVRMotorDevice::getMotorRollingSpeedReply},
        {KVR::GET_MOTOR_TILTING_SPEED, &KVRMotorDevice::tiltReply},
        {KVR::GET_MOTOR_IP, &KVRMotorDevice::getMotorIPReply},
        {KVR::GET_NETWORK_LOCK, &KVRMotorDevice::getNetworkLockReply},
        {KVR::GET_DCT_LOCK, &KVRMotorDevice::getDCTLockReply},
        {KVR::GET_TILT_LIMITS, &KVRMotorDevice::tiltReply},
        {KVR::GET_FACTORY_DEFAULT, &KVRMotorDevice::getFactoryDefaultReply},
        {KVR::DIAG_GET_TOTAL_MOVE_COUNT, &KVRMotorDevice::diagReply},
        {KVR::DIAG_GET_TOTAL_REV_COUNT, &KVRMotorDevice::diagReply},
        {KVR::DIAG_GET_THERMAL_COUNT, &KVRMotorDevice::diagReply},
        {KVR::DIAG_GET_OBSTACLE_COUNT, &KVRMotorDevice::diagReply},
        {KVR::DIAG_GET_POWER_COUNT, &KVRMotorDevice::diagReply},
        {KVR::DIAG_GET_RESET_COUNT, &KVRMotorDevice::diagReply},
        {KVR::DIAG_GET_ENCODER_ERRORS, &KVRMotorDevice::diagReply},
    };
    const auto *const found = std::find_if(std::begin(handlers), std::end(handlers),
                                           [cmd](const Handler &h) { return h.cmd == cmd; });
    return found == std::end(handlers) ? nullptr : found;
}

KVRMotorDevice::KVRMotorDevice(unsigned int addr, VOXBus *bus, QObject *parent)
    : KVRDevice(addr, bus, parent)
    , m_downLimit(BaseMinDownLimit, BaseMaxDownLimit, UnsetPosition)
    , m_upLimit(0, 0, UnsetPosition)
{
    // A child, so that its timer follows the motor to another thread.
    m_position.setParent(this);
    connect(&m_position, &EmulatedPosition::positionReached, this, &KVRMotorDevice::motorPositionReached);
}

KVRMotorDevice::~KVRMotorDevice() = default;

void KVRMotorDevice::setRanges(const Ranges &ranges)
{
    m_upSpeed = ranges.rollingSpeed;
    m_downSpeed = ranges.rollingSpeed;
    m_slowSpeed = ranges.slowSpeed;
    m_downLimit = ranges.downLimit;
    m_intermediatePositions.fill(UnsetPosition, ranges.intermediatePositions);
    m_dctLocks.resize(ranges.dctLocks);
    m_appModes = ranges.appModes;
    m_appMode = defaultAppMode();
}

void KVRMotorDevice::restAt(unsigned short position)
{
    m_position.restAt(position);
    if (m_status.state == KVRMotor::STATE_RUNNING)
        motorPositionReached();
}

unsigned char KVRMotorDevice::position()
{
    const TellLater untilDone(*this);
    return toPct(positionPulses());
}

unsigned char KVRMotorDevice::angle()
{
    const TellLater untilDone(*this);
    return isMoving() || m_appMode == KVRMotor::ROLLER ? None : m_angle;
}

unsigned char KVRMotorDevice::toPct(unsigned short pulses) const
{
    const unsigned int travel = downLimit();
    if (!isLimit() || travel == 0)
        return None;
    return static_cast<unsigned char>((pulses * Percent + travel / 2) / travel);
}

unsigned short KVRMotorDevice::toPulses(unsigned char percent) const
{
    if (!isLimit())
        return UnsetPosition;
    return static_cast<unsigned short>(downLimit() * unsigned{percent} / Percent);
}

unsigned short KVRMotorDevice::motorIP(unsigned char index) const
{
    return m_intermediatePositions.value(index - 1, UnsetPosition);
}

bool KVRMotorDevice::setMotorIP(unsigned char index, unsigned short position)
{
    if (index == 0 || index > m_intermediatePositions.size())
        return false;
    m_intermediatePositions[index - 1] = position;
    return true;
}

unsigned char KVRMotorDevice::findNextMotorIP(unsigned short position, KVRMotor::Direction direction) const
{
    unsigned char next = None;
    int nearest = UnsetPosition + 1;
    for (int slot = 0; slot < m_intermediatePositions.size() && slot < None - 1; ++slot) {
        const int there = m_intermediatePositions.at(slot);
        const int distance = direction == KVRMotor::DIRECTION_DOWN ? there - position : position - there;
        if (there == UnsetPosition || direction == KVRMotor::DIRECTION_NONE || distance <= 0
            || distance >= nearest)
            continue;
        nearest = distance;
        next = static_cast<unsigned char>(slot + 1);
    }
    return next;
}

void KVRMotorDevice::setMotorDiagnostic(const MotorDiagnostic &diagnostic)
{
    if (m_diagnostic != diagnostic)
        m_diagnostic = diagnostic;
}

void KVRMotorDevice::dispatch(const VOXMessage &msg)
{
    if (!checkRequest(msg))
        return;
    const unsigned char cmd = msg.cmd();
    const bool isMotorCommand = cmd >= FirstMotorCommand && cmd <= LastMotorCommand;
    const Handler *handler = isMotorCommand ? findHandler(cmd) : nullptr;
    if (!handler) {
        KVRDevice::dispatch(msg);
        return;
    }
    const TellLater untilAnswered(*this);
    replyTo(msg, (this->*handler->reply)(msg));
}

void KVRMotorDevice::replyTo(const VOXMessage &request, const VOXReply &answer)
{
    if (isWanted(request, answer))
        reply(answer);
}

VOXReply KVRMotorDevice::nack(const VOXMessage &request, int status) const
{
    return KVRNack(*this, request, static_cast<KVR::NackStatus>(status));
}

KVR::NackStatus KVRMotorDevice::refusal(const VOXMessage &request, int checks)
{
    return refusal(request, KVR::findCmd(request.cmd()).size(), checks);
}

KVR::NackStatus KVRMotorDevice::refusal(const VOXMessage &request, int length, int checks)
{
    if (request.len() < length)
        return KVR::NACK_MSGSIZE;
    if ((checks & NotMoving) != 0 && isMoving())
        return static_cast<KVR::NackStatus>(KVR::NACK_IN_MOTION);
    if ((checks & LimitsSet) != 0 && !isLimit())
        return static_cast<KVR::NackStatus>(KVR::NACK_END_LIMITS_NOT_SET);
    if ((checks & NotLocked) != 0 && m_networkLock.isLocked()) {
        setStatus(KVRMotor::STATE_LOCKED, KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_NETWORK,
                  m_status.direction);
        return static_cast<KVR::NackStatus>(KVR::NACK_NODE_IS_LOCKED);
    }
    return KVR::NACK_ACK;
}

void KVRMotorDevice::setStatus(KVRMotor::State state, KVRMotor::Source source, KVRMotor::Cause cause,
                               KVRMotor::Direction direction)
{
    const KVRMotor::Status status{state, direction, source, cause};
    if (m_status == status)
        return;
    m_status = status;
    tell([this, status] { Q_EMIT statusChanged(status); });
}

KVRMotor::State KVRMotorDevice::restState() const
{
    return m_networkLock.isLocked() ? KVRMotor::STATE_LOCKED : KVRMotor::STATE_STOPPED;
}

void KVRMotorDevice::goToPosition(unsigned short target, KVRMotor::Source source, KVRMotor::Cause cause,
                                  unsigned char speed)
{
    // From where the present move began, not from where the shaft is.
    const KVRMotor::Direction direction = m_position.direction(target);
    if (speed == 0)
        speed = direction == KVRMotor::DIRECTION_UP ? upSpeed() : downSpeed();
    // The way so far was made at the old speed.
    m_position.stopMoving();
    const TellLater untilDone(*this);
    setStatus(KVRMotor::STATE_RUNNING, source, cause, direction);
    m_position.setSpeed(pulsesPerRound() * unsigned{speed} * m_timeScale);
    m_position.setTargetPosition(target);
}

void KVRMotorDevice::motorPositionReached()
{
    setStatus(restState(), KVRMotor::SOURCE_INTERNAL, KVRMotor::CAUSE_NONE, m_status.direction);
}

void KVRMotorDevice::stopMoving()
{
    m_position.stopMoving();
    setStatus(restState(), KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_NETWORK, m_status.direction);
}
