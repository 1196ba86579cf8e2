#ifndef VOX_DEVICES_KVRMOTORDEVICE_H
#define VOX_DEVICES_KVRMOTORDEVICE_H

#include <vox/devices/configvalues.h>
#include <vox/devices/emulatedposition.h>
#include <vox/devices/kvrdevice.h>
#include <vox/devices/lock.h>
#include <vox/devices/motordiagnostic.h>
#include <vox/messages/kvrmotor.h>

#include <QVector>

#include <functional>

namespace VOXAnswer {
struct Checked;
}

/// An emulated motor: moves over time between its end limits, and answers as a real drive does.
///
/// Positions are pulses of the encoder, 0 at the up limit, and more is down; speeds are revolutions per
/// minute. Refuses and acknowledges motor commands only if asked to; data replies are always sent. KVRDevice
/// handles all other commands, and refuses without being asked, too. Abstract: a product adds its resolution,
/// and how it looks up intermediate positions. A query of the position may find that a move has ended, and
/// then emits statusChanged().
///
/// The handlers, whose names end in Reply, do what their request asks for and return the answer, ACK, NACK or
/// data; dispatch() sends it by the rule above. A request shorter than its command's frame is refused with
/// NACK_MSGSIZE, except by the handlers that never refuse. Used on the thread that it lives on.
/// @ingroup devices
class VOX_EXPORT KVRMotorDevice : public KVRDevice
{
    Q_OBJECT

public:
    /// A limit or an intermediate position that is not set.
    static constexpr unsigned short UnsetPosition = 0xffff;
    /// No percentage, index or tilt angle.
    static constexpr unsigned char None = 255;

    /// At rest at pulse 0, without limits, intermediate positions or locks, and with 10 for each speed. A bus
    /// that is null leaves it unattached.
    KVRMotorDevice(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);
    ~KVRMotorDevice() override;

    /// Encoder pulses of one turn of the motor.
    virtual unsigned short pulsesPerRound() const = 0;
    /// The index, from 1, of the intermediate position at @p position; 255 if there is none.
    virtual unsigned char findMotorIP(unsigned short position) const = 0;

    /// The status last reported by statusChanged(). This query does not find that a move has ended.
    const KVRMotor::Status &status() const { return m_status; }
    /// Percent of the way down; 255 without limits. Beyond the down limit the value is that of toPct().
    unsigned char position();
    /// The pulse that the shaft has reached by now.
    unsigned short positionPulses() { return m_position.currentPosition(); }
    /// Puts the shaft elsewhere. From there it drives to the target of its last move, even if that has ended.
    void setPositionPulses(unsigned short position) { m_position.setCurrentPosition(position); }
    /// Puts the shaft at @p position, where it stays. A move that this ends is reported as an arrival.
    void restAt(unsigned short position);
    /// Somebody turns the local switch at @p input, from 1: the motor runs to the limit in @p direction, or
    /// stops if that is none. The status names the motor itself as the source. False, with nothing done, if
    /// that input is locked, or if there are no limits to run to.
    bool turnSwitch(int input, KVRMotor::Direction direction);
    ///@{
    /// The tilt angle; at first 0. 255 stands for an unknown one, and is all that is told while moving and by
    /// a roller, which keep the angle. Setting it moves nothing.
    unsigned char angle();
    void setAngle(unsigned char angle);
    ///@}
    ///@{
    /// Where the present move began, and where it ends; both are the position itself at rest.
    unsigned short startPos() const { return m_position.startPos(); }
    unsigned short targetPos() const { return m_position.targetPos(); }
    ///@}
    ///@{
    /// These look at the shaft alone: false within the first pulse of a move, and while winking. Up and down
    /// are also false at pulse 0.
    bool isMoving() { return m_position.isMoving(); }
    bool isMovingUp() { return m_position.isMovingUp(); }
    bool isMovingDown() { return m_position.isMovingDown(); }
    ///@}

    /// Whether both limits are set.
    bool isLimit() const { return isUpLimit() && isDownLimit(); }
    ///@{
    /// Whether this limit is set.
    bool isUpLimit() const { return !m_upLimit.isDefault(); }
    bool isDownLimit() const { return !m_downLimit.isDefault(); }
    ///@}
    ///@{
    /// UnsetPosition if it is not set. An up limit that is set is 0.
    unsigned short upLimit() const { return m_upLimit.value(); }
    unsigned short downLimit() const { return m_downLimit.value(); }
    ///@}
    ///@{
    /// The range in which the product takes a down limit, bounds included.
    unsigned short minDownLimit() const { return m_downLimit.minimum(); }
    unsigned short maxDownLimit() const { return m_downLimit.maximum(); }
    ///@}
    /// UnsetPosition unsets a limit. False, with nothing changed, if @p up is neither that nor 0, or @p down
    /// is neither that nor in its range.
    bool setLimits(unsigned short up, unsigned short down);
    /// Rounded to the nearest percent; 255 without limits. Beyond the down limit the percentage is above 100,
    /// and only its low byte is given.
    unsigned char toPct(unsigned short pulses) const;
    /// Rounded down; 65535 without limits.
    unsigned short toPulses(unsigned char percent) const;

    ///@{
    /// Revolutions per minute.
    unsigned char upSpeed() const { return m_upSpeed.value(); }
    unsigned char downSpeed() const { return m_downSpeed.value(); }
    unsigned char slowSpeed() const { return m_slowSpeed.value(); }
    ///@}
    /// False, with nothing changed, if the product does not run at one of them.
    bool setRollingSpeeds(unsigned char up, unsigned char down, unsigned char slow);
    /// The direction is only reported: moves go the same way.
    KVRMotor::TurnDirection motorDirection() const { return m_turnDirection; }
    /// Stops a move, which is reported as an arrival. A change of the direction mirrors the position about
    /// the down limit; a value that is no direction changes nothing.
    void setMotorDirection(KVRMotor::TurnDirection direction);
    /// A roller, and no other, reports no tilt angle and refuses tilt steps.
    KVRMotor::AppMode appMode() const { return m_appMode; }
    /// The modes that the product can be set to, the default first. A product without any is a roller for
    /// good.
    const QVector<KVRMotor::AppMode> &appModes() const { return m_appModes; }
    /// False, with nothing changed, if @p mode is none of appModes().
    bool setAppMode(KVRMotor::AppMode mode);

    /// Intermediate positions count from 1; unset and unknown ones are 65535.
    unsigned short motorIP(unsigned char index) const;
    /// False if there is no such slot.
    bool setMotorIP(unsigned char index, unsigned short position);
    /// How many slots the product has, set or not.
    int motorIPCount() const { return m_intermediatePositions.size(); }
    /// The index of the nearest one that is set strictly beyond @p position in that direction; 255 if there
    /// is none.
    unsigned char findNextMotorIP(unsigned short position, KVRMotor::Direction direction) const;

    /// The lock against movement commands; CTRL_STOP passes.
    const Lock &networkLock() const { return m_networkLock; }
    /// A motor at rest shows the lock in its status.
    void setNetworkLock(const Lock &lock);
    /// How many locks of local inputs the product has. They are kept and reported, and hold nothing
    /// but turnSwitch().
    int motorDCTCount() const { return m_dctLocks.size(); }
    /// The locks of local inputs count from 1; an open one if there is no such lock.
    Lock dctLock(int index) const { return m_dctLocks.value(index - 1); }
    /// False if there is no such lock.
    bool setDCTLock(int index, const Lock &lock);
    /// Opens all locks. Their sources and priorities stay, and later requests need the priority.
    void resetLocks();
    /// Whether no lock is set.
    bool isDefaultLocks() const;
    ///@{
    /// The counters that DIAG requests read. Setting equal ones keeps what is stored.
    const MotorDiagnostic &getMotorDiagnostic() const { return m_diagnostic; }
    void setMotorDiagnostic(const MotorDiagnostic &diagnostic);
    ///@}

    ///@{
    /// Lets the motor live @p factor times as fast, from the next move on. With 0 a move never ends. Speeds
    /// are reported as before; for simulators and tests.
    void setTimeScale(unsigned int factor) { m_timeScale = factor; }
    unsigned int timeScale() const { return m_timeScale; }
    ///@}

    /// Moves for a duration in units of 10 ms, 0 standing for 255. Not held at the limits, which need not be
    /// set: a way up past pulse 0 wraps to a high target, as it does in the drive. Refuses with
    /// NACK_NODE_IS_LOCKED, and unknown directions and speeds with NACK_BADMSG. If the motor is locked,
    /// dispatch() refuses without calling this, and the status does not show that refusal.
    VOXReply ctrlMoveReply(const VOXMessage &request);
    /// Stops a locked motor, too.
    VOXReply ctrlStopReply(const VOXMessage &request) { return handle(KVR::CTRL_STOP, request); }
    /// A pulse or a percentage is taken as it is, also beyond the down limit. The tilt is taken at once, and
    /// told once the motor rests, if the product tilts and is no roller; 255 keeps the present one. Refuses
    /// with NACK_END_LIMITS_NOT_SET, NACK_NODE_IS_LOCKED, NACK_IP_NOT_SET, and an unknown function with
    /// NACK_BADMSG.
    VOXReply ctrlMoveToReply(const VOXMessage &request) { return handle(KVR::CTRL_MOVETO, request); }
    /// Jogs by 10 to 1000 pulses, or by 10 to 1000 units of 10 ms that slowSpeed() turns into as many pulses,
    /// even though the jog runs at the default speed. That is meant. A jog that would pass a limit ends
    /// there, at the slow speed and from an internal source. Tilt steps are acknowledged and do nothing.
    /// Refuses with NACK_END_LIMITS_NOT_SET, NACK_NODE_IS_LOCKED, NACK_LAST_IP_REACHED, NACK_BADMSG, and a
    /// roller's tilt steps with NACK_FEATURE_NOT_SUPPORTED.
    VOXReply ctrlMoveOfReply(const VOXMessage &request) { return handle(KVR::CTRL_MOVEOF, request); }
    /// Shows a wink in the status and nowhere else, until a move, a stop or an arrival. Refuses with
    /// NACK_NODE_IS_LOCKED.
    VOXReply ctrlWinkReply(const VOXMessage &request) { return handle(KVR::CTRL_WINK, request); }
    /// Locks at once, and then moves to where the motor is to be locked. Refuses with
    /// NACK_END_LIMITS_NOT_SET, NACK_LOW_PRIORITY, NACK_IP_NOT_SET, and an unknown function with NACK_BADMSG.
    VOXReply ctrlNetworkLockReply(const VOXMessage &request)
    {
        return handle(KVR::CTRL_NETWORK_LOCK, request);
    }
    /// Without both limits, the position is 65535, and percentage and index are 255. Never refuses.
    VOXReply getMotorPositionReply(const VOXMessage &request);
    /// Reports status(). Never refuses.
    VOXReply getMotorStatusReply(const VOXMessage &request);
    /// The up limit is pulse 0 by definition. Setting it elsewhere, or shifting it, moves the origin there,
    /// and position, down limit and intermediate positions get new pulse counts; an intermediate position
    /// that leaves the scale is unset. Shifts by 10 to 1000 pulses. Refuses with NACK_IN_MOTION, a shift of
    /// an unset limit with NACK_END_LIMITS_NOT_SET, a limit outside its range with
    /// NACK_CURRENT_POSITION_OUT_OF_RANGE if it is the motor's position, else NACK_WRONG_POSITION, and all
    /// else with NACK_BADMSG.
    VOXReply setMotorLimitsReply(const VOXMessage &request) { return handle(KVR::SET_MOTOR_LIMITS, request); }
    /// In pulses, up and down; 65535 if unset. Never refuses.
    VOXReply getMotorLimitsReply(const VOXMessage &request);
    /// Unlike all others, this is neither done nor answered unless @p request asks for an acknowledgement.
    /// Refuses a mode that is none of appModes() with NACK_FEATURE_NOT_SUPPORTED.
    VOXReply setAppModeReply(const VOXMessage &request) { return handle(KVR::SET_APP_MODE, request); }
    /// Never refuses.
    VOXReply getAppModeReply(const VOXMessage &request);
    /// Does setMotorDirection(), also with a value that is no direction. Refuses with NACK_IN_MOTION.
    VOXReply setMotorDirectionReply(const VOXMessage &request)
    {
        return handle(KVR::SET_MOTOR_DIRECTION, request);
    }
    /// Never refuses.
    VOXReply getMotorDirectionReply(const VOXMessage &request);
    /// Does setRollingSpeeds(). Refuses with NACK_BADMSG.
    VOXReply setMotorRollingSpeedReply(const VOXMessage &request)
    {
        return handle(KVR::SET_MOTOR_ROLLING_SPEED, request);
    }
    /// Up, down and slow. Never refuses.
    VOXReply getMotorRollingSpeedReply(const VOXMessage &request);
    /// Refuses with NACK_END_LIMITS_NOT_SET, a place beyond the down limit with
    /// NACK_CURRENT_POSITION_OUT_OF_RANGE if it is the motor's position, else NACK_WRONG_POSITION, and an
    /// unknown function or slot with NACK_BADMSG.
    VOXReply setMotorIPReply(const VOXMessage &request) { return handle(KVR::SET_MOTOR_IP, request); }
    /// Gives 65535 pulses and 255 percent for a position that is not set. Refuses an unknown slot with
    /// NACK_BADMSG.
    VOXReply getMotorIPReply(const VOXMessage &request) { return handle(KVR::GET_MOTOR_IP, request); }
    /// Unlike CTRL_NETWORK_LOCK, needs no limits, moves nothing, and does not show in the status. Refuses
    /// with NACK_LOW_PRIORITY, and a value that is neither 0 nor 1 with NACK_BADMSG.
    VOXReply setNetworkLockReply(const VOXMessage &request) { return handle(KVR::SET_NETWORK_LOCK, request); }
    /// Tells whether the lock is set, its source and its priority. Never refuses.
    VOXReply getNetworkLockReply(const VOXMessage &request);
    /// Index 0 means all of them, or none if one does not admit the priority. Refuses with NACK_LOW_PRIORITY,
    /// and an unknown index or value with NACK_BADMSG.
    VOXReply setDCTLockReply(const VOXMessage &request) { return handle(KVR::SET_DCT_LOCK, request); }
    /// As getNetworkLockReply(), but refuses an unknown index, also 0, with NACK_BADMSG.
    VOXReply getDCTLockReply(const VOXMessage &request) { return handle(KVR::GET_DCT_LOCK, request); }
    ///@{
    /// Resets one of factorySettings() or all of them, or tells whether they are at their defaults. Refuses a
    /// setting that the product lacks with NACK_FEATURE_NOT_SUPPORTED, an unknown one with NACK_BADMSG, and a
    /// reset in motion with NACK_IN_MOTION.
    VOXReply setFactoryDefaultReply(const VOXMessage &request)
    {
        return handle(KVR::SET_FACTORY_DEFAULT, request);
    }
    VOXReply getFactoryDefaultReply(const VOXMessage &request)
    {
        return handle(KVR::GET_FACTORY_DEFAULT, request);
    }
    ///@}
    /// The motor has no tilting drive: refuses with NACK_FEATURE_NOT_SUPPORTED, whatever the length.
    VOXReply tiltReply(const VOXMessage &request);
    /// Answers all seven DIAG requests. For any other the reply is invalid, which is no answer. The two
    /// totals travel as three bytes and leave a fourth 0, as the format has it. Never refuses.
    VOXReply diagReply(const VOXMessage &request);

public Q_SLOTS:
    void dispatch(const VOXMessage &msg) override;
    /// Shows the end of a move in the status: locked or stopped, from an internal source and without a cause.
    /// Leaves the shaft as it is.
    void motorPositionReached();

Q_SIGNALS:
    /// Emitted once for each change, after all of it is stored. Signals for a request come before the answer.
    /// status() may be further on than @p status: a move to where the motor stands first reports that it
    /// runs.
    void statusChanged(const KVRMotor::Status &status);
    /// Emitted once for each change of the angle that is kept, before statusChanged() of the move that brings
    /// it. A move or an app mode that hides the angle, or shows it again, changes none.
    void angleChanged(unsigned char angle);

protected:
    /// The settings with which a product is made.
    struct Ranges
    {
        ///@{
        /// Revolutions per minute; the first is for up and down.
        ConfigValues<unsigned char> rollingSpeed;
        ConfigValues<unsigned char> slowSpeed;
        ///@}
        /// Pulses; UnsetPosition as the default.
        ConfigValues<unsigned short> downLimit;
        ///@{
        /// How many of them there are.
        int intermediatePositions = 0;
        int dctLocks = 0;
        ///@}
        /// The first is the default; a motor that supports none is a roller for good.
        QVector<KVRMotor::AppMode> appModes;
        /// Whether CTRL_MOVETO sets the tilt angle, except of a roller. If not, its tilt is ignored.
        bool tilts = false;
    };
    /// For the constructor of a product. Puts each setting to its default, without a signal.
    void setRanges(const Ranges &ranges);

    /// The reasons for which all handlers refuse alike, checked in this order. A command that is too short is
    /// refused before.
    enum Check {
        AnyState = 0,
        NotMoving = 1,
        LimitsSet = 2,
        /// The status shows such a refusal.
        NotLocked = 4
    };
    ///@{
    /// The reason to refuse @p request; NACK_ACK if there is none. @p checks are Check flags, @p length is
    /// the least length of the frame in bytes; without it, what the command's descriptor says.
    KVR::NackStatus refusal(const VOXMessage &request, int checks);
    KVR::NackStatus refusal(const VOXMessage &request, int length, int checks);
    ///@}
    /// Sends @p answer to the sender of @p request, by the motor's rule.
    void replyTo(const VOXMessage &request, const VOXReply &answer);

    /// A setting that SET_FACTORY_DEFAULT knows, by the id that it has there.
    struct FactorySetting
    {
        /// A KVRMotor::FactoryDefFunction.
        int id;
        ///@{
        /// Called while a request is handled, on the motor's thread. A reset may emit signals.
        std::function<bool()> isDefault;
        std::function<void()> reset;
        ///@}
    };
    /// The settings in the order in which a reset of all goes through them.
    virtual QVector<FactorySetting> factorySettings();

    /// Starts a move from the position reached so far. @p speed is in revolutions per minute; 0 is the
    /// default for the direction.
    void goToPosition(unsigned short target, KVRMotor::Source source, KVRMotor::Cause cause,
                      unsigned char speed);
    /// Stays where the shaft is. The status then names the network as its source and cause, whatever the
    /// reason for the call.
    void stopMoving();
    /// Emits statusChanged() if anything differs.
    void setStatus(KVRMotor::State state, KVRMotor::Source source, KVRMotor::Cause cause,
                   KVRMotor::Direction direction);

    /// The intermediate positions by slot, from 0 on; UnsetPosition where there is none.
    const QVector<unsigned short> &intermediatePositions() const { return m_intermediatePositions; }
    /// Whether the product runs at these speeds, in revolutions per minute; the base has a range for each.
    virtual bool hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const;
    /// The answer that dispatch() sends for @p request, which has passed checkRequest(); invalid for none.
    VOXMessage answerTo(const VOXMessage &request) override;

private:
    // It answers hosts of the older command set from the same state.
    friend class HRMv2Compat;
    friend struct VOXAnswer::Checked;
    using Handler = VOXReply (*)(KVRMotorDevice &motor, const VOXMessage &request);
    static Handler findHandler(unsigned char cmd);
    VOXReply handle(int cmd, const VOXMessage &request);

    VOXReply ctrlMoveUnlessLocked(const VOXMessage &request);
    VOXReply handleMove(const VOXMessage &request, quint8 function, quint8 duration, quint8 selector);
    VOXReply handleStop(const VOXMessage &request);
    VOXReply handleMoveTo(const VOXMessage &request, quint8 function, quint16 value, quint8 tilt);
    VOXReply handleMoveOf(const VOXMessage &request, quint8 function, quint16 value);
    VOXReply handleWink(const VOXMessage &request);
    VOXReply handleAppMode(const VOXMessage &request, quint8 mode);
    VOXReply handleLimits(const VOXMessage &request, quint8 function, quint8 limit, quint16 value);
    VOXReply handleDirection(const VOXMessage &request, quint8 direction);
    VOXReply handleRollingSpeeds(const VOXMessage &request, quint8 up, quint8 down, quint8 slow);
    VOXReply handleMotorIP(const VOXMessage &request, quint8 function, quint8 index, quint16 value);
    VOXReply motorIPReply(const VOXMessage &request, quint8 index);
    VOXReply handleNetworkLock(const VOXMessage &request, quint8 lock, quint8 priority);
    VOXReply handleDCTLock(const VOXMessage &request, quint8 lock, quint8 index, quint8 priority);
    VOXReply dctLockReply(const VOXMessage &request, quint8 index);
    VOXReply handleFactoryDefault(const VOXMessage &request, quint8 function);
    VOXReply factoryDefaultReply(const VOXMessage &request, quint8 function);
    VOXReply changeNetworkLock(const VOXMessage &request, quint8 function, quint16 value, quint8 priority);

    VOXReply go(const VOXMessage &request, unsigned short target, unsigned char speed = 0);
    VOXReply goAndTilt(const VOXMessage &request, unsigned short target, unsigned char tilt);
    VOXReply jog(const VOXMessage &request, KVRMotor::Direction direction, unsigned int pulses);
    unsigned int pulsesIn(unsigned int duration, unsigned char speed) const;
    unsigned short nearestLimit();
    KVRMotor::State restState() const;
    void lockNetwork(const VOXMessage &request, unsigned char priority);
    KVR::NackStatus findFactorySettings(int function, QVector<FactorySetting> *found);
    KVRMotor::AppMode defaultAppMode() const { return m_appModes.value(0, KVRMotor::ROLLER); }
    KVR::NackStatus changeDownLimit(int function, int value);
    KVR::NackStatus changeUpLimit(int function, int value);
    KVR::NackStatus storeDownLimit(int value, KVR::MotorNackStatus outside);
    KVR::NackStatus moveOrigin(int pulses, KVR::MotorNackStatus outside);

    EmulatedPosition m_position;
    ConfigValues<unsigned char> m_upSpeed;
    ConfigValues<unsigned char> m_downSpeed;
    ConfigValues<unsigned char> m_slowSpeed;
    ConfigValues<unsigned short> m_downLimit;
    ConfigValues<unsigned short> m_upLimit;
    QVector<unsigned short> m_intermediatePositions;
    QVector<Lock> m_dctLocks;
    Lock m_networkLock;
    MotorDiagnostic m_diagnostic;
    KVRMotor::Status m_status;
    KVRMotor::TurnDirection m_turnDirection = KVRMotor::TURN_NORMAL;
    QVector<KVRMotor::AppMode> m_appModes = {KVRMotor::ROLLER, KVRMotor::VENETIAN, KVRMotor::CURTAIN};
    KVRMotor::AppMode m_appMode = KVRMotor::ROLLER;
    unsigned int m_timeScale = 1;
    unsigned char m_angle = 0;
    bool m_tilts = false;
};

#endif
