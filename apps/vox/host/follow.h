#ifndef FOLLOW_H
#define FOLLOW_H

class KVRMotorProxy;

/// Shows where a motor is until it rests: a bar on a terminal, else a line or a JSON object a reading. SIGINT
/// stops the motor first. The exit code: 0 if it has arrived by itself.
int followUntilRest(KVRMotorProxy &proxy, bool isJson);

#endif
