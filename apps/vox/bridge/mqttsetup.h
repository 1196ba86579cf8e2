#ifndef MQTTSETUP_H
#define MQTTSETUP_H

#include "vox/bridge/mqttlink.h"

struct mosquitto;

/// What a client of libmosquitto is told before it connects.
namespace MqttSetup {

/// Protocol, user, will and TLS. A result of the library.
int apply(mosquitto *client, const MqttLink::Options &options, int version);
/// Begins to connect, and does not wait. A result of the library.
int connect(mosquitto *client, const MqttLink::Options &options, int version, const QByteArray &address);

}

#endif
