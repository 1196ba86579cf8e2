#include "vox/bridge/mqttproperties.h"

#include <cstdlib>
#include <utility>

MqttProperties::~MqttProperties()
{
    mosquitto_property_free_all(&m_list);
}

void MqttProperties::add(mqtt5_property property, quint32 value)
{
    mosquitto_property_add_int32(&m_list, property, value);
}

void MqttProperties::add(mqtt5_property property, const QByteArray &bytes)
{
    mosquitto_property_add_binary(&m_list, property, bytes.constData(), static_cast<uint16_t>(bytes.size()));
}

mosquitto_property *MqttProperties::take()
{
    return std::exchange(m_list, nullptr);
}

QByteArray MqttProperties::textIn(const mosquitto_property *list, mqtt5_property property)
{
    char *text = nullptr;
    if (!mosquitto_property_read_string(list, property, &text, false))
        return {};
    QByteArray copy(text);
    std::free(text);
    return copy;
}

QByteArray MqttProperties::bytesIn(const mosquitto_property *list, mqtt5_property property)
{
    void *data = nullptr;
    uint16_t size = 0;
    if (!mosquitto_property_read_binary(list, property, &data, &size, false))
        return {};
    QByteArray copy(static_cast<const char *>(data), size);
    std::free(data);
    return copy;
}
