#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

namespace {
constexpr unsigned int Percent = 100;
constexpr unsigned short BaseMinDownLimit = 1;
constexpr unsigned short BaseMaxDownLimit = 65534;
}

KVRMotorDevice::Handler KVRMotorDevice::findHandler(unsigned char cmd)
{
    using M = KVRMotorDevice;
    static constexpr Table handlers({
        on<KVR::CTRL_MOVE, &M::ctrlMoveUnlessLocked, AnyLength>,
        on<KVR::CTRL_STOP, &M::handleStop>,
        on<KVR::CTRL_MOVETO, &M::handleMoveTo, LimitsSet | NotLocked>,
        on<KVR::CTRL_MOVEOF, &M::handleMoveOf, LimitsSet | NotLocked>,
        on<KVR::CTRL_WINK, &M::handleWink, NotLocked>,
        on<KVR::CTRL_NETWORK_LOCK, &M::changeNetworkLock, LimitsSet>,
        on<KVR::GET_MOTOR_POSITION, &M::getMotorPositionReply, AnyLength>,
        on<KVR::GET_MOTOR_STATUS, &M::getMotorStatusReply, AnyLength>,
        on<KVR::SET_APP_MODE, &M::handleAppMode, OnlyIfAsked>,
        on<KVR::SET_MOTOR_LIMITS, &M::handleLimits, NotMoving>,
        on<KVR::SET_MOTOR_DIRECTION, &M::handleDirection, NotMoving>,
        on<KVR::SET_MOTOR_ROLLING_SPEED, &M::handleRollingSpeeds>,
        on<KVR::SET_MOTOR_TILTING_SPEED, &M::tiltReply, AnyLength>,
        on<KVR::SET_MOTOR_IP, &M::handleMotorIP, LimitsSet>,
        on<KVR::SET_NETWORK_LOCK, &M::handleNetworkLock>,
        on<KVR::SET_DCT_LOCK, &M::handleDCTLock>,
        on<KVR::SET_TILT_LIMITS, &M::tiltReply, AnyLength>,
        on<KVR::SET_FACTORY_DEFAULT, &M::handleFactoryDefault, NotMoving>,
        on<KVR::GET_APP_MODE, &M::getAppModeReply, AnyLength>,
        on<KVR::GET_MOTOR_LIMITS, &M::getMotorLimitsReply, AnyLength>,
        on<KVR::GET_MOTOR_DIRECTION, &M::getMotorDirectionReply, AnyLength>,
        on<KVR::GET_MOTOR_ROLLING_SPEED, &M::getMotorRollingSpeedReply, AnyLength>,
        on<KVR::GET_MOTOR_TILTING_SPEED, &M::tiltReply, AnyLength>,
        on<KVR::GET_MOTOR_IP, &M::motorIPReply>,
        on<KVR::GET_NETWORK_LOCK, &M::getNetworkLockReply, AnyLength>,
        on<KVR::GET_DCT_LOCK, &M::dctLockReply>,
        on<KVR::GET_TILT_LIMITS, &M::tiltReply, AnyLength>,
        on<KVR::GET_FACTORY_DEFAULT, &M::factoryDefaultReply>,
        on<KVR::DIAG_GET_TOTAL_MOVE_COUNT, &M::diagReply, AnyLength>,
        on<KVR::DIAG_GET_TOTAL_REV_COUNT, &M::diagReply, AnyLength>,
        on<KVR::DIAG_GET_THERMAL_COUNT, &M::diagReply, AnyLength>,
        on<KVR::DIAG_GET_OBSTACLE_COUNT, &M::diagReply, AnyLength>,
        on<KVR::DIAG_GET_POWER_COUNT, &M::diagReply, AnyLength>,
        on<KVR::DIAG_GET_RESET_COUNT, &M::diagReply, AnyLength>,
        on<KVR::DIAG_GET_ENCODER_ERRORS, &M::diagReply, AnyLength>,
    });
    return handlers.find(cmd);
}

VOXReply KVRMotorDevice::handle(int cmd, const VOXMessage &request)
{
    return findHandler(static_cast<unsigned char>(cmd))(*this, request);
}

VOXReply KVRMotorDevice::ctrlMoveReply(const VOXMessage &request)
{
    return on<KVR::CTRL_MOVE, &KVRMotorDevice::handleMove, NotLocked>.answer(*this, request);
}

VOXReply KVRMotorDevice::ctrlMoveUnlessLocked(const VOXMessage &request)
{
    // Unlike the other moves, this one is refused without a trace in the status.
    return m_networkLock.isLocked() ? nack(request, KVR::NACK_NODE_IS_LOCKED) : ctrlMoveReply(request);
}

KVRMotorDevice::KVRMotorDevice(unsigned int addr, VOXBus *bus, QObject *parent)
    : KVRDevice(addr, bus, parent)
    , m_downLimit(BaseMinDownLimit, BaseMaxDownLimit, UnsetPosition)
    , m_upLimit(0, 0, UnsetPosition)
{
    // The position is a child, so that its timer follows the motor to another thread.
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
    m_tilts = ranges.tilts;
}

void KVRMotorDevice::restAt(unsigned short position)
{
    m_position.restAt(position);
    if (m_status.state == KVRMotor::STATE_RUNNING)
        motorPositionReached();
}

bool KVRMotorDevice::turnSwitch(int input, KVRMotor::Direction direction)
{
    const bool isStop = direction == KVRMotor::DIRECTION_NONE;
    if (dctLock(input).isLocked() || !(isStop || isLimit()))
        return false;
    if (isStop) {
        m_position.stopMoving();
        motorPositionReached();
    } else {
        goToPosition(direction == KVRMotor::DIRECTION_UP ? 0 : downLimit(), KVRMotor::SOURCE_INTERNAL,
                     KVRMotor::CAUSE_NONE, 0);
    }
    return true;
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

void KVRMotorDevice::setAngle(unsigned char angle)
{
    if (m_angle == angle)
        return;
    m_angle = angle;
    tell([this, angle] { Q_EMIT angleChanged(angle); });
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
    serve([&] { return answerTo(msg); });
}

VOXMessage KVRMotorDevice::answerTo(const VOXMessage &request)
{
    const Handler handler = findHandler(request.cmd());
    return handler ? wanted(request, handler(*this, request)) : standardAnswer(request);
}

void KVRMotorDevice::replyTo(const VOXMessage &request, const VOXReply &answer)
{
    reply(wanted(request, answer));
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
    // The direction counts from where the present move began, not from where the shaft is.
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
