#ifndef KVRMOTORDEVICE_H
#define KVRMOTORDEVICE_H

#include "devices/configvalues.h"
#include "devices/emulatedposition.h"
#include "devices/kvrdevice.h"
#include "devices/lock.h"
#include "devices/motordiagnostic.h"
#include "messages/kvrmotor.h"

#include <QVector>

#include <functional>

/// An emulated motor: moves over time between its end limits, and answers as a real drive does.
///
/// Refuses and acknowledges only if asked to; data replies are always sent. Abstract: a product adds its
/// resolution and how it looks up intermediate positions. Queries of the position may find that a move has
/// ended, and then emit statusChanged(). Whoever wants to destroy the motor in a slot of that uses
/// deleteLater().
class VOX_EXPORT KVRMotorDevice : public KVRDevice
{
    Q_OBJECT

public:
    /// A limit or an intermediate position that is not set.
    static constexpr unsigned short UnsetPosition = 0xffff;
    /// No percentage, index or tilt angle.
    static constexpr unsigned char None = 255;

    KVRMotorDevice(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);
    ~KVRMotorDevice() override;

    /// Encoder pulses of one turn of the motor.
    virtual unsigned short pulsesPerRound() const = 0;
    /// The index, from 1, of the intermediate position at @p position; 255 if there is none.
    virtual unsigned char findMotorIP(unsigned short position) const = 0;

    const KVRMotor::Status &status() const { return m_status; }
    /// Percent of the way down; 255 without limits.
    unsigned char position() { return toPct(positionPulses()); }
    unsigned short positionPulses() { return m_position.currentPosition(); }
    /// Puts the shaft elsewhere; after a move it then drives on toward the old target.
    void setPositionPulses(unsigned short position) { m_position.setCurrentPosition(position); }
    /// Puts the shaft at @p position, where it stays; a move that this ends ends as if it had arrived.
    void restAt(unsigned short position);
    /// The tilt angle; 255 while moving, and for a roller.
    unsigned char angle();
    unsigned short startPos() const { return m_position.startPos(); }
    unsigned short targetPos() const { return m_position.targetPos(); }
    bool isMoving() { return m_position.isMoving(); }
    bool isMovingUp() { return m_position.isMovingUp(); }
    bool isMovingDown() { return m_position.isMovingDown(); }

    /// Whether both limits are set.
    bool isLimit() const { return isUpLimit() && isDownLimit(); }
    bool isUpLimit() const { return !m_upLimit.isDefault(); }
    bool isDownLimit() const { return !m_downLimit.isDefault(); }
    unsigned short upLimit() const { return m_upLimit.value(); }
    unsigned short downLimit() const { return m_downLimit.value(); }
    unsigned short minDownLimit() const { return m_downLimit.minimum(); }
    unsigned short maxDownLimit() const { return m_downLimit.maximum(); }
    /// UnsetPosition unsets a limit. False, with nothing changed, if @p up is not 0 or @p down not in its
    /// range.
    bool setLimits(unsigned short up, unsigned short down);
    /// Rounded to the nearest percent; 255 without limits.
    unsigned char toPct(unsigned short pulses) const;
    /// Rounded down; 65535 without limits.
    unsigned short toPulses(unsigned char percent) const;

    /// Revolutions per minute.
    unsigned char upSpeed() const { return m_upSpeed.value(); }
    unsigned char downSpeed() const { return m_downSpeed.value(); }
    unsigned char slowSpeed() const { return m_slowSpeed.value(); }
    /// False, with nothing changed, if the product does not run at all of them.
    bool setRollingSpeeds(unsigned char up, unsigned char down, unsigned char slow);
    KVRMotor::TurnDirection motorDirection() const { return m_turnDirection; }
    /// Stops whatever moves, as an arrival. A change of the direction mirrors the position about the down
    /// limit; a value that is none changes nothing.
    void setMotorDirection(KVRMotor::TurnDirection direction);
    KVRMotor::AppMode appMode() const { return m_appMode; }
    /// The modes that the product can be set to, the default first; none, and it is a roller for good.
    const QVector<KVRMotor::AppMode> &appModes() const { return m_appModes; }
    /// False, with nothing changed, if it is none of them.
    bool setAppMode(KVRMotor::AppMode mode);

    /// Intermediate positions count from 1; unset and unknown ones are 65535.
    unsigned short motorIP(unsigned char index) const;
    /// False if there is no such slot.
    bool setMotorIP(unsigned char index, unsigned short position);
    int motorIPCount() const { return m_intermediatePositions.size(); }
    /// The index of the nearest one that is set strictly beyond @p position in that direction; 255 if there
    /// is none.
    unsigned char findNextMotorIP(unsigned short position, KVRMotor::Direction direction) const;

    const Lock &networkLock() const { return m_networkLock; }
    /// A motor at rest shows it in its status.
    void setNetworkLock(const Lock &lock);
    int motorDCTCount() const { return m_dctLocks.size(); }
    /// The locks of local inputs count from 1; an open one if there is no such lock.
    Lock dctLock(int index) const { return m_dctLocks.value(index - 1); }
    /// False if there is no such lock.
    bool setDCTLock(int index, const Lock &lock);
    /// Opens all locks. Their sources and priorities stay, and later requests still meet them.
    void resetLocks();
    /// Whether no lock is set.
    bool isDefaultLocks() const;
    const MotorDiagnostic &getMotorDiagnostic() const { return m_diagnostic; }
    /// Keeps the stored one if it is equal.
    void setMotorDiagnostic(const MotorDiagnostic &diagnostic);

    /// Lets the motor live so many times as fast. Speeds are reported as before; for simulators and tests.
    void setTimeScale(unsigned int factor) { m_timeScale = factor; }
    unsigned int timeScale() const { return m_timeScale; }

    VOXReply ctrlMoveReply(const VOXMessage &request);
    VOXReply ctrlStopReply(const VOXMessage &request);
    VOXReply ctrlMoveToReply(const VOXMessage &request);
    VOXReply ctrlMoveOfReply(const VOXMessage &request);
    VOXReply ctrlWinkReply(const VOXMessage &request);
    VOXReply ctrlNetworkLockReply(const VOXMessage &request);
    VOXReply getMotorPositionReply(const VOXMessage &request);
    VOXReply getMotorStatusReply(const VOXMessage &request);
    VOXReply setMotorLimitsReply(const VOXMessage &request);
    VOXReply getMotorLimitsReply(const VOXMessage &request);
    VOXReply setAppModeReply(const VOXMessage &request);
    VOXReply getAppModeReply(const VOXMessage &request);
    VOXReply setMotorDirectionReply(const VOXMessage &request);
    VOXReply getMotorDirectionReply(const VOXMessage &request);
    VOXReply setMotorRollingSpeedReply(const VOXMessage &request);
    VOXReply getMotorRollingSpeedReply(const VOXMessage &request);
    VOXReply setMotorIPReply(const VOXMessage &request);
    VOXReply getMotorIPReply(const VOXMessage &request);
    VOXReply setNetworkLockReply(const VOXMessage &request);
    VOXReply getNetworkLockReply(const VOXMessage &request);
    VOXReply setDCTLockReply(const VOXMessage &request);
    VOXReply getDCTLockReply(const VOXMessage &request);
    VOXReply setFactoryDefaultReply(const VOXMessage &request);
    VOXReply getFactoryDefaultReply(const VOXMessage &request);
    /// The motor has no tilting drive: refuses.
    VOXReply tiltReply(const VOXMessage &request);
    VOXReply diagReply(const VOXMessage &request);

public Q_SLOTS:
    void dispatch(const VOXMessage &msg) override;
    void motorPositionReached();

Q_SIGNALS:
    /// Once a change, after all of it is stored.
    void statusChanged(const KVRMotor::Status &status);

protected:
    /// What a product is made with.
    struct Ranges
    {
        ConfigValues<unsigned char> rollingSpeed;
        ConfigValues<unsigned char> slowSpeed;
        ConfigValues<unsigned short> downLimit;
        int intermediatePositions = 0;
        int dctLocks = 0;
        /// The first is the default; a motor that supports none is a roller for good.
        QVector<KVRMotor::AppMode> appModes;
    };
    void setRanges(const Ranges &ranges);

    /// What all handlers refuse alike. A command that is too short is always refused.
    enum Check {
        AnyState = 0,
        NotMoving = 1,
        LimitsSet = 2,
        /// A refusal shows in the status.
        NotLocked = 4
    };
    /// NACK_ACK if nothing speaks against @p request.
    KVR::NackStatus refusal(const VOXMessage &request, int checks);
    KVR::NackStatus refusal(const VOXMessage &request, int length, int checks);
    VOXReply ack(const VOXMessage &request) const;
    VOXReply nack(const VOXMessage &request, int status) const;
    /// Sends @p answer to who sent @p request, under the motor's rule.
    void replyTo(const VOXMessage &request, const VOXReply &answer);

    /// A setting that SET_FACTORY_DEFAULT knows, by the id that it has there.
    struct FactorySetting
    {
        int id;
        std::function<bool()> isDefault;
        std::function<void()> reset;
    };
    /// In the order in which all of them go back.
    virtual QVector<FactorySetting> factorySettings();

    /// Starts a move. A @p speed of 0 is the default for its direction; revolutions per minute.
    void goToPosition(unsigned short target, KVRMotor::Source source, KVRMotor::Cause cause,
                      unsigned char speed);
    void stopMoving();
    void setStatus(KVRMotor::State state, KVRMotor::Source source, KVRMotor::Cause cause,
                   KVRMotor::Direction direction);

    const QVector<unsigned short> &intermediatePositions() const { return m_intermediatePositions; }
    /// Whether the product runs at these, revolutions per minute; the base has a range for each.
    virtual bool hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const;

private:
    // Answers from the same state, for hosts of the older command set.
    friend class HRMv2Compat;
    struct Handler;
    static const Handler *findHandler(unsigned char cmd);

    VOXReply ctrlMoveUnlessLocked(const VOXMessage &request);
    VOXReply go(const VOXMessage &request, unsigned short target, unsigned char speed = 0);
    VOXReply jog(const VOXMessage &request, KVRMotor::Direction direction, unsigned int pulses);
    unsigned int pulsesIn(unsigned int duration, unsigned char speed) const;
    unsigned short nearestLimit();
    KVRMotor::State restState() const;
    void lockNetwork(const VOXMessage &request, unsigned char priority);
    VOXReply changeNetworkLock(const VOXMessage &request, int function, unsigned short value,
                               unsigned char priority);
    VOXReply lockReply(const VOXMessage &request, int cmd, const Lock &lock) const;
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
};

#endif
