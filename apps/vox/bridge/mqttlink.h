#ifndef MQTTLINK_H
#define MQTTLINK_H

#include "vox/bridge/brokerurl.h"
#include "vox/bridge/mqttmessage.h"

#include <QObject>

#include <memory>

/// A connection to an MQTT broker, which is made again whenever it is lost.
///
/// The library libmosquitto does the protocol; it is driven by the event loop, without a thread. Nothing here
/// waits, except for a name that has to be looked up for TLS. A build without the library has only
/// isAvailable().
class MqttLink : public QObject, public MessageSink
{
    Q_OBJECT

public:
    struct Options
    {
        BrokerUrl url;
        QByteArray password;
        QByteArray clientId;
        ///@{
        /// Names of files for TLS; the system's certificates without them.
        QString ca;
        QString cert;
        QString key;
        ///@}
        /// 5 or 3. A broker that knows no 5 is served with 3.
        int version = 5;
        /// What the broker says when this ends without a word. No topic, no will.
        MqttMessage will;
    };
    enum Retained { WithRetained, WithoutRetained };

    /// How long a broker that is to be thought gone says nothing.
    static constexpr int KeepAliveSeconds = 15;
    /// How long a broker of version 5 waits with the will.
    static constexpr int WillDelaySeconds = 5;

    /// Whether this build has the library.
    static bool isAvailable();

    explicit MqttLink(const Options &options, QObject *parent = nullptr);
    /// Without a DISCONNECT, so the broker says the will.
    ~MqttLink() override;

    /// Connects as soon as possible, and for ever again.
    void start();
    /// Says DISCONNECT, and stays away.
    void stop();

    bool isConnected() const;
    bool isReady() const override { return isConnected(); }
    bool wantsWrite() const override;
    bool send(const MqttMessage &message) override;
    /// Messages of QoS 1 that the broker has not acknowledged.
    int unacknowledged() const;

    void subscribe(const QByteArray &filter, Retained retained);
    void unsubscribe(const QByteArray &filter);

Q_SIGNALS:
    /// The broker has accepted the connection. @p version is 5 or 3.
    void connected(int version);
    /// The connection has ended, or could not be made; the next try is in @p retryMs.
    void lost(const QString &reason, int retryMs);
    /// A slot must not destroy the link.
    void received(const MqttMessage &message);
    void denied(const QByteArray &filter);
    void acknowledged();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

#endif
