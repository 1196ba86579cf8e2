#ifndef KEEPER_H
#define KEEPER_H

#include <KVRAnswer>
#include <KVRMotorProxy>
#include <QTimer>
#include <VOXBus>

/// The program that is tested: keeps a shade down. It asks every second where the shade is, and gives an
/// alarm when nothing has answered three times.
class Keeper : public QObject
{
public:
    Keeper(unsigned int addr, VOXBus *bus)
        : m_motor(addr, bus)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { ask(); });
        m_timer.start(1000);
    }

    bool hasAlarm() const { return m_silences >= 3; }

private:
    void ask()
    {
        m_motor.getMotorPosition().onFinished(this, [this](const BusPendingCall &call) {
            m_silences = call.isError() ? m_silences + 1 : 0;
            const auto position = KVRAnswer::from<KVRAnswer::MotorPosition>(call.reply());
            if (position && position->percent < 100)
                m_motor.ctrlMoveTo(KVRMotor::MOVETO_DOWN_LIMIT, 0);
        });
    }

    KVRMotorProxy m_motor;
    QTimer m_timer;
    int m_silences = 0;
};

#endif
