// In place of mqttlink.cpp in programs without libmosquitto.
#include "vox/bridge/mqttlink.h"

class MqttLink::Private
{
};

bool MqttLink::isAvailable()
{
    return false;
}

MqttLink::MqttLink(const Options &options, QObject *parent)
    : QObject(parent)
{
    Q_UNUSED(options)
}

MqttLink::~MqttLink() = default;

void MqttLink::start()
{
}

void MqttLink::stop()
{
}

bool MqttLink::isConnected() const
{
    return false;
}

bool MqttLink::wantsWrite() const
{
    return false;
}

bool MqttLink::send(const MqttMessage &message)
{
    Q_UNUSED(message)
    return false;
}

int MqttLink::unacknowledged() const
{
    return 0;
}

void MqttLink::subscribe(const QByteArray &filter, Retained retained)
{
    Q_UNUSED(filter)
    Q_UNUSED(retained)
}

void MqttLink::unsubscribe(const QByteArray &filter)
{
    Q_UNUSED(filter)
}
