#ifndef MQTTMESSAGE_H
#define MQTTMESSAGE_H

#include <QByteArray>

/// A message of a broker, or for one.
struct MqttMessage
{
    QByteArray topic;
    QByteArray payload;
    /// 0 or 1.
    int qos = 0;
    /// Of a message that came: it is not new, the broker has kept it.
    bool isRetained = false;
    ///@{
    /// Where the sender wants the answer, and by what it knows it again; of MQTT 5 only.
    QByteArray responseTopic;
    QByteArray correlation;
    ///@}
};

/// Takes messages for a broker.
class MessageSink
{
public:
    virtual ~MessageSink() = default;

    /// Whether there is somebody to take a message.
    virtual bool isReady() const = 0;
    /// Whether bytes of earlier messages still wait for the network.
    virtual bool wantsWrite() const = 0;
    /// False if it was not taken.
    virtual bool send(const MqttMessage &message) = 0;

protected:
    MessageSink() = default;
    Q_DISABLE_COPY_MOVE(MessageSink)
};

#endif
