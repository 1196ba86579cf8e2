#ifndef FOLLOW_H
#define FOLLOW_H

#include "vox/signalwatcher.h"

class KVRMotorProxy;

/// Follows a motor until it rests; SIGINT stops the motor first. Made before the motor is sent anywhere, so
/// that no signal comes too early.
class MotorFollower
{
public:
    explicit MotorFollower(bool isJson);

    /// Shows where the motor is: a bar on a terminal, else a line or a JSON object a reading. The exit code:
    /// 0 if it has arrived by itself.
    int follow(KVRMotorProxy &proxy);

private:
    void pause();
    int stop(KVRMotorProxy &proxy) const;

    SignalWatcher m_signalWatcher;
    bool m_isInterrupted = false;
    bool m_isJson;
};

#endif
