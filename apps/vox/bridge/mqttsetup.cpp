#include "vox/bridge/mqttsetup.h"

#include "vox/bridge/mqttproperties.h"

#include <QFile>

namespace {
constexpr char SystemCertificates[] = "/etc/ssl/certs";

const char *orNull(const QByteArray &text)
{
    return text.isEmpty() ? nullptr : text.constData();
}

void setUser(mosquitto *client, const MqttLink::Options &options)
{
    const QByteArray user = options.url.user.toUtf8();
    if (!user.isEmpty() || !options.password.isEmpty())
        mosquitto_username_pw_set(client, orNull(user), orNull(options.password));
}

int setWill(mosquitto *client, const MqttMessage &will, int version)
{
    if (will.topic.isEmpty())
        return MOSQ_ERR_SUCCESS;
    MqttProperties delay;
    if (version == 5)
        delay.add(MQTT_PROP_WILL_DELAY_INTERVAL, quint32{MqttLink::WillDelaySeconds});
    mosquitto_property *const list = delay.take();
    const int result = mosquitto_will_set_v5(client, will.topic.constData(), will.payload.size(),
                                             will.payload.constData(), will.qos, will.isRetained, list);
    // Else it belongs to the client now.
    if (result != MOSQ_ERR_SUCCESS) {
        mosquitto_property *refused = list;
        mosquitto_property_free_all(&refused);
    }
    return result;
}

int setTls(mosquitto *client, const MqttLink::Options &options)
{
    if (!options.url.isTls)
        return MOSQ_ERR_SUCCESS;
    const QByteArray ca = QFile::encodeName(options.ca);
    const QByteArray cert = QFile::encodeName(options.cert);
    const QByteArray key = QFile::encodeName(options.key);
    return mosquitto_tls_set(client, orNull(ca), ca.isEmpty() ? SystemCertificates : nullptr, orNull(cert),
                             orNull(key), nullptr);
}
}

int MqttSetup::apply(mosquitto *client, const MqttLink::Options &options, int version)
{
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION,
                         version == 5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    setUser(client, options);
    const int result = setWill(client, options.will, version);
    return result == MOSQ_ERR_SUCCESS ? setTls(client, options) : result;
}

int MqttSetup::connect(mosquitto *client, const MqttLink::Options &options, int version,
                       const QByteArray &address)
{
    if (version == 5) {
        // A session that ends with the connection would end the will's delay, too. The function that does not
        // wait takes no properties; this one keeps them, and then refuses the port.
        MqttProperties session;
        session.add(MQTT_PROP_SESSION_EXPIRY_INTERVAL, quint32{2 * MqttLink::WillDelaySeconds});
        mosquitto_connect_bind_v5(client, address.constData(), -1, MqttLink::KeepAliveSeconds, nullptr,
                                  session.list());
    }
    return mosquitto_connect_async(client, address.constData(), options.url.port, MqttLink::KeepAliveSeconds);
}
