#ifndef FOLLOW_H
#define FOLLOW_H

#include "messages/kvrmotor.h"
#include "vox/signalwatcher.h"

class KVRMotorProxy;

/// Follows a motor until it rests. A signal, or output that cannot be written any more, stops the motor
/// first. Make it before the motor is sent anywhere, so that no signal comes too early.
class MotorFollower
{
public:
    explicit MotorFollower(bool isJson);

    /// Shows where the motor is: a bar on a terminal, else a line or a JSON object for each reading. Gives
    /// the exit code, which is 0 only if the motor rests where these arguments of ctrlMoveTo() have sent it.
    int follow(KVRMotorProxy &proxy, KVRMotor::MoveToFunction function, quint16 position);

private:
    void pause();
    int stop(KVRMotorProxy &proxy) const;

    SignalWatcher m_signalWatcher;
    bool m_isInterrupted = false;
    bool m_isJson;
};

#endif
