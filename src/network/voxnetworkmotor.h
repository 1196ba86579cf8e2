#ifndef VOX_NETWORK_VOXNETWORKMOTOR_H
#define VOX_NETWORK_VOXNETWORKMOTOR_H

#include <vox/messages/kvrmotor.h>
#include <vox/network/voxmotion.h>
#include <vox/network/voxnetworknode.h>

#include <QVariant>

#include <optional>

/// A motor of a VOXNetwork: where it is, and what it is told.
///
/// Positions are percent of the way from the up limit (0) to the down limit (100), or pulses. An unknown
/// value is empty; as a property it is undefined. A command with an argument that cannot be is not sent. A
/// newer move, or a stop, takes the place of a move that runs.
/// @ingroup network
class VOX_NETWORK_EXPORT VOXNetworkMotor : public VOXNetworkNode
{
    Q_OBJECT
    Q_PROPERTY(QVariant percent READ percentValue NOTIFY changed)
    Q_PROPERTY(QVariant estimatedPercent READ estimatedPercentValue NOTIFY changed)
    Q_PROPERTY(QVariant targetPercent READ targetPercentValue NOTIFY changed)
    Q_PROPERTY(QVariant pulses READ pulsesValue NOTIFY changed)
    Q_PROPERTY(QVariant tilt READ tiltValue NOTIFY changed)
    Q_PROPERTY(QVariant intermediate READ intermediateValue NOTIFY changed)
    Q_PROPERTY(QVariant state READ stateValue NOTIFY changed)
    Q_PROPERTY(QVariant direction READ directionValue NOTIFY changed)
    Q_PROPERTY(bool moving READ isMoving NOTIFY changed)
    Q_PROPERTY(QVariant locked READ lockedValue NOTIFY changed)
    Q_PROPERTY(QVariant upLimit READ upLimitValue NOTIFY changed)
    Q_PROPERTY(QVariant downLimit READ downLimitValue NOTIFY changed)
    Q_PROPERTY(bool legacy READ isLegacy CONSTANT)

public:
    /// Revolutions per minute.
    struct Speeds
    {
        ///@{
        /// For the way up, the way down, and near the ends.
        int up = 0;
        int down = 0;
        int slow = 0;
        ///@}
    };
    /// How many intermediate positions are asked for at most.
    static constexpr int MaxIntermediates = 16;
    ///@{
    /// The bounds of a jog, in pulses.
    static constexpr int MinJog = 10;
    static constexpr int MaxJog = 1000;
    ///@}

    /// Whether nodes of this type are motors. Those of an unknown type are taken for motors.
    static bool isMotorType(VOX::NodeType type);

    ///@{
    /// As read last.
    std::optional<int> percent() const;
    /// Milliseconds since the motor was last heard to tell where it is; -1 for never.
    qint64 positionAgeMs() const;
    std::optional<int> pulses() const;
    std::optional<int> tilt() const;
    /// The intermediate position, from 1, at which the motor is.
    std::optional<int> intermediate() const;
    std::optional<KVRMotor::State> motorState() const;
    std::optional<KVRMotor::Status> status() const;
    /// Of the present move, or of the last one.
    std::optional<KVRMotor::Direction> direction() const;
    std::optional<bool> isLocked() const;
    ///@{
    /// In pulses; empty also if the limit is not set.
    std::optional<int> upLimit() const;
    std::optional<int> downLimit() const;
    ///@}
    /// Revolutions per minute.
    std::optional<Speeds> speeds() const;
    /// What the motor moves.
    std::optional<KVRMotor::AppMode> appMode() const;
    /// Intermediate position @p index, from 1, in percent; empty if it is not set, too.
    std::optional<int> intermediatePercent(int index) const;
    ///@}
    /// Where the present move ends, as far as this host knows.
    std::optional<int> targetPercent() const;
    /// Where the motor may be now: its last reading, and the way it has made since at the speed that was
    /// seen. The reading itself while the speed is not known, and at rest.
    std::optional<int> estimatedPercent() const;
    /// Whether its last status says so. A wink is no move.
    bool isMoving() const;
    /// Whether it has told where it is, even if that was only that it does not know: its limits are not set.
    bool hasToldPosition() const;

    ///@{
    /// Sends the command. Never null; see VOXMotion for what becomes of it. What cannot be ends with Invalid.
    Q_INVOKABLE VOXMotion *moveTo(int percent);
    Q_INVOKABLE VOXMotion *moveUp();
    Q_INVOKABLE VOXMotion *moveDown();
    /// @p index counts from 1, for motors of both generations.
    Q_INVOKABLE VOXMotion *moveToIntermediate(int index);
    /// Up or down by 10 to 1000 pulses. Motors of the older generation cannot.
    Q_INVOKABLE VOXMotion *jog(KVRMotor::Direction direction, int pulses);
    Q_INVOKABLE VOXMotion *stop();
    ///@}

    ///@{
    /// Sends a command whose end the call tells. What cannot be is not sent: the call has ended with
    /// Canceled, and lastRefusal() says why. After a setting was acknowledged, the motor is asked for it.
    Q_INVOKABLE BusPendingCall wink();
    /// Locks the motor where it is, with a priority of 0 to 255.
    Q_INVOKABLE BusPendingCall lock(int priority = 0);
    Q_INVOKABLE BusPendingCall unlock(int priority = 0);
    /// @p pulses is for LIMIT_PULSES, 0 to 65534, and the two shifts, 10 to 1000.
    Q_INVOKABLE BusPendingCall setLimit(KVRMotor::Limit limit, KVRMotor::LimitFunction function,
                                        int pulses = 0);
    /// Revolutions per minute, 1 to 255.
    Q_INVOKABLE BusPendingCall setSpeeds(int up, int down, int slow);
    /// Sets intermediate position @p index, from 1, at @p percent, or where the motor is.
    Q_INVOKABLE BusPendingCall setIntermediate(int index, int percent);
    Q_INVOKABLE BusPendingCall setIntermediateHere(int index);
    Q_INVOKABLE BusPendingCall clearIntermediate(int index);
    ///@}

private:
    friend class NetworkCore;

    using VOXNetworkNode::VOXNetworkNode;

    QVariant percentValue() const;
    QVariant estimatedPercentValue() const;
    QVariant targetPercentValue() const;
    QVariant pulsesValue() const;
    QVariant tiltValue() const;
    QVariant intermediateValue() const;
    QVariant stateValue() const;
    QVariant directionValue() const;
    QVariant lockedValue() const;
    QVariant upLimitValue() const;
    QVariant downLimitValue() const;
    VOXMotion *move(int kind, int value = 0);
    BusPendingCall setIntermediate(KVRMotor::IPFunction function, int index, int value);
};

#endif
