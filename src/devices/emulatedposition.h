#ifndef VOX_DEVICES_EMULATEDPOSITION_H
#define VOX_DEVICES_EMULATEDPOSITION_H

#include <vox/messages/kvrmotor.h>

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>

/// A motor shaft that moves at constant speed from one pulse position to another.
///
/// Nothing ticks: the position is computed from the time when it is asked for, and one timer is armed for the
/// arrival. Positions are pulse counts of 16 bits, and more is down. A query that finds that the shaft has
/// arrived emits positionReached(), once per move. Lives on its owner's thread.
/// @ingroup devices
class VOX_EXPORT EmulatedPosition : public QObject
{
    Q_OBJECT

public:
    /// Makes a shaft at rest. @p speed is in pulses per minute.
    explicit EmulatedPosition(unsigned short speed = 0, unsigned short position = 0);

    /// The pulse that has been reached by now.
    unsigned short currentPosition();
    ///@{
    /// Where the present move began, and where it ends; both are the position itself at rest.
    unsigned short startPos() const { return m_start; }
    unsigned short targetPos() const { return m_target; }
    ///@}

    ///@{
    /// Pulses per minute. A change neither freezes nor re-times a move in progress; stop it before if that is
    /// wanted.
    unsigned int speed() const { return m_speed; }
    void setSpeed(unsigned int speed) { m_speed = speed; }
    ///@}

    /// Starts toward @p target from the position reached so far; a move in progress ends without a signal. A
    /// target equal to that position is reached at once.
    void setTargetPosition(unsigned short target);
    /// Jumps to @p position and goes on toward the old target, which is reached at once if it is @p position.
    void setCurrentPosition(unsigned short position);
    /// Stays where it is, without a signal.
    void stopMoving();
    /// Jumps to @p position and stays there, without a signal.
    void restAt(unsigned short position);
    /// Moves the scale under the shaft by @p pulses; a move in progress goes on. Ends at 0 and 65535.
    void shift(int pulses);

    /// Milliseconds until the arrival: 0 at rest, 65535 when there is no speed.
    qint64 remainingTime() const;

    ///@{
    /// The direction from where the move began to its target, or to @p position; DIRECTION_NONE if that is
    /// the same place.
    KVRMotor::Direction direction() const { return direction(m_target); }
    KVRMotor::Direction direction(unsigned short position) const;
    ///@}

    /// Whether the shaft has left where the move began; false within the first pulse, which callers rely on.
    bool isMoving();
    ///@{
    /// As isMoving(), for moves in this direction; also false at pulse 0.
    bool isMovingUp();
    bool isMovingDown();
    ///@}

Q_SIGNALS:
    /// The shaft rests at the target. Comes from the timer, from a query, or from within setTargetPosition()
    /// or setCurrentPosition(). A slot may start the next move, or destroy the shaft.
    void positionReached();

protected:
    /// Keeps the time of the arrival when the shaft moves to another thread.
    bool event(QEvent *event) override;
    /// Finds the arrival, or waits on if it came early.
    void timerEvent(QTimerEvent *event) override;
    /// As currentPosition(), but without @p mayEmit it ends the move without a signal.
    unsigned short _currentPosition(bool mayEmit);

private:
    bool isAtRest() const { return m_start == m_target; }
    unsigned int distance() const;
    int progress();
    void setOut();
    void startTimer();

    QBasicTimer m_timer;
    QElapsedTimer m_clock;
    unsigned short m_start;
    unsigned short m_target;
    unsigned int m_speed;
};

#endif
