#ifndef FOLLOW_H
#define FOLLOW_H

#include "messages/kvrmotor.h"
#include "vox/signalwatcher.h"

class KVRMotorProxy;

/// Follows a motor until it rests; a signal, or output that cannot be written any more, stops the motor
/// first. Made before the motor is sent anywhere, so that none of them comes too early.
class MotorFollower
{
public:
    explicit MotorFollower(bool isJson);

    /// Shows where the motor is: a bar on a terminal, else a line or a JSON object a reading. The exit code:
    /// 0 only if it rests where it was sent by these arguments of ctrlMoveTo().
    int follow(KVRMotorProxy &proxy, KVRMotor::MoveToFunction function, quint16 position);

private:
    void pause();
    int stop(KVRMotorProxy &proxy) const;

    SignalWatcher m_signalWatcher;
    bool m_isInterrupted = false;
    bool m_isJson;
};

#endif
