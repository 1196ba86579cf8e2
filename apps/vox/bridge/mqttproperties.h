#ifndef MQTTPROPERTIES_H
#define MQTTPROPERTIES_H

#include <QByteArray>

#include <mosquitto.h>
#include <mqtt_protocol.h>

/// What MQTT 5 says beside a message, in the form of libmosquitto.
class MqttProperties
{
public:
    MqttProperties() = default;
    ~MqttProperties();
    Q_DISABLE_COPY_MOVE(MqttProperties)

    void add(mqtt5_property property, quint32 value);
    /// At most 65535 bytes.
    void add(mqtt5_property property, const QByteArray &bytes);
    const mosquitto_property *list() const { return m_list; }
    /// Somebody else is to free it.
    mosquitto_property *take();

    ///@{
    /// What stands in @p list; empty if it is not there.
    static QByteArray textIn(const mosquitto_property *list, mqtt5_property property);
    static QByteArray bytesIn(const mosquitto_property *list, mqtt5_property property);
    ///@}

private:
    mosquitto_property *m_list = nullptr;
};

#endif
