#ifndef FOLLOW_H
#define FOLLOW_H

#include "framework/buspendingcall.h"
#include "messages/kvrmotor.h"
#include "vox/signalwatcher.h"

#include <optional>

class KVRMotorProxy;

/// Follows a motor until it rests. A signal, or output that cannot be written any more, stops the motor
/// first. Make it before the motor is sent anywhere, so that no signal comes too early.
class MotorFollower
{
public:
    explicit MotorFollower(bool isJson);

    /// Shows where the motor is: a bar on a terminal, else a line or a JSON object for each reading. Gives
    /// the exit code, which is 0 only if the motor rests where these arguments of ctrlMoveTo() have sent it.
    /// The proxy is on a lane of a scheduler, so that a stop does not wait for what is asked.
    int follow(KVRMotorProxy &proxy, KVRMotor::MoveToFunction function, quint16 position);

private:
    void pause();
    int stop(KVRMotorProxy &proxy) const;

    SignalWatcher m_signalWatcher;
    /// Sent at a signal.
    std::optional<BusPendingCall> m_stop;
    bool m_isInterrupted = false;
    bool m_isJson;
};

#endif
