#include "devices/emulatedposition.h"

#include <QPointer>
#include <QTimerEvent>

#include <algorithm>
#include <limits>

namespace {
constexpr unsigned int MsPerMinute = 60000;
constexpr qint64 TimeWithoutSpeedMs = 65535;
constexpr int MaxPosition = std::numeric_limits<unsigned short>::max();

unsigned short shifted(unsigned short position, int pulses)
{
    return static_cast<unsigned short>(std::clamp(position + pulses, 0, MaxPosition));
}
}

EmulatedPosition::EmulatedPosition(unsigned short speed, unsigned short position)
    : m_start(position)
    , m_target(position)
    , m_speed(speed)
{
}

unsigned int EmulatedPosition::distance() const
{
    return static_cast<unsigned int>(std::abs(m_target - m_start));
}

unsigned short EmulatedPosition::currentPosition()
{
    return _currentPosition(true);
}

unsigned short EmulatedPosition::_currentPosition(bool mayEmit)
{
    if (isAtRest())
        return m_target;
    const qint64 travelled = m_clock.elapsed() * m_speed / MsPerMinute;
    if (static_cast<quint32>(travelled) >= distance()) {
        m_timer.stop();
        // A slot may start the next move.
        const unsigned short reached = m_target;
        m_start = reached;
        if (mayEmit)
            Q_EMIT positionReached();
        return reached;
    }
    return static_cast<unsigned short>(m_target < m_start ? m_start - travelled : m_start + travelled);
}

void EmulatedPosition::startTimer()
{
    const qint64 delay = std::clamp<qint64>(remainingTime(), 1, std::numeric_limits<int>::max());
    m_timer.start(static_cast<int>(delay), Qt::PreciseTimer, this);
}

void EmulatedPosition::setTargetPosition(unsigned short target)
{
    m_start = _currentPosition(false);
    m_target = target;
    setOut();
}

void EmulatedPosition::setCurrentPosition(unsigned short position)
{
    m_start = position;
    setOut();
}

void EmulatedPosition::setOut()
{
    if (isAtRest()) {
        m_timer.stop();
        Q_EMIT positionReached();
        return;
    }
    m_clock.restart();
    startTimer();
}

void EmulatedPosition::stopMoving()
{
    restAt(_currentPosition(false));
}

void EmulatedPosition::restAt(unsigned short position)
{
    m_start = m_target = position;
    m_timer.stop();
}

void EmulatedPosition::shift(int pulses)
{
    m_start = shifted(m_start, pulses);
    m_target = shifted(m_target, pulses);
}

qint64 EmulatedPosition::remainingTime() const
{
    if (isAtRest())
        return 0;
    if (m_speed == 0)
        return TimeWithoutSpeedMs;
    // Computed in 32 bits, and rounded up to a whole millisecond.
    const quint32 total = (distance() * MsPerMinute - 1 + m_speed) / m_speed;
    return std::max<qint64>(total - m_clock.elapsed(), 0);
}

bool EmulatedPosition::event(QEvent *event)
{
    // A timer that moves to another thread would wait there for the whole of its time again.
    if (event->type() == QEvent::ThreadChange && m_timer.isActive()) {
        m_timer.stop();
        const auto goOn = [this] {
            if (!isAtRest() && !m_timer.isActive())
                startTimer();
        };
        QMetaObject::invokeMethod(this, goOn, Qt::QueuedConnection);
    }
    return QObject::event(event);
}

void EmulatedPosition::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    const QPointer<EmulatedPosition> self(this);
    _currentPosition(true);
    // The timer came early, or a slot has started the next move, which then has its timer already.
    if (self && !isAtRest() && !m_timer.isActive())
        startTimer();
}

KVRMotor::Direction EmulatedPosition::direction(unsigned short position) const
{
    if (m_start == position)
        return KVRMotor::DIRECTION_NONE;
    return m_start > position ? KVRMotor::DIRECTION_UP : KVRMotor::DIRECTION_DOWN;
}

// How far the move has come, down being positive; 0 if it has ended. A slot that hears of the end may destroy
// the shaft.
int EmulatedPosition::progress()
{
    const int start = m_start;
    const int target = m_target;
    const int position = currentPosition();
    return position == target ? 0 : position - start;
}

bool EmulatedPosition::isMoving()
{
    return progress() != 0;
}

bool EmulatedPosition::isMovingUp()
{
    return progress() < 0;
}

bool EmulatedPosition::isMovingDown()
{
    return progress() > 0;
}
