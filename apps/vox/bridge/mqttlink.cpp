#include "vox/bridge/mqttlink.h"

#include "vox/bridge/mqttproperties.h"
#include "vox/bridge/mqttsetup.h"
#include "vox/bridge/mqttsocket.h"

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QHostInfo>
#include <QRandomGenerator>
#include <QSet>
#include <QTimer>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <utility>

namespace {
constexpr int MiscMs = 1000;
/// For the CONNACK.
constexpr int AnswerMs = 10000;
/// The broker says something at least this often: the library pings it each 15 s at the latest.
constexpr int SilenceMs = 22000;
constexpr int FirstRetryMs = 1000;
constexpr int LastRetryMs = 30000;
constexpr int RetrySpreadPercent = 20;
/// A connection that has lasted so long was a good one.
constexpr int GoodMs = 60000;
constexpr int FirstFailureCode = 0x80;

/// A sentence of the library inside one of ours.
QString phrase(QString text)
{
    if (text.startsWith(QLatin1String("Error: ")))
        text = text.section(QLatin1Char(' '), 1);
    // "OpenSSL Error[0]: error:0A000086:SSL routines::certificate verify failed"
    if (text.startsWith(QLatin1String("OpenSSL")))
        text = text.section(QLatin1Char(':'), -1);
    while (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text.trimmed();
}

QString reasonOf(int result)
{
    // So a broker that is gone looks through TLS.
    if (result == MOSQ_ERR_ERRNO && errno == EPROTO)
        result = MOSQ_ERR_CONN_LOST;
    return result == MOSQ_ERR_ERRNO ? qt_error_string(errno)
                                    : phrase(QString::fromUtf8(mosquitto_strerror(result)));
}
}

class MqttLink::Private : public QObject
{
public:
    Private(MqttLink &owner, Options wanted);
    ~Private() override;

    void start();
    void stop();
    void leave();
    void lookUp();
    bool isConnected() const { return m_isConnected && m_reason.isEmpty(); }
    bool wantsWrite() const { return m_client && mosquitto_want_write(m_client); }
    bool send(const MqttMessage &message);
    void subscribe(const QByteArray &filter, Retained retained);
    void unsubscribe(const QByteArray &filter);
    int unacknowledged() const { return m_unacknowledged.size(); }

private:
    static Private &of(void *object) { return *static_cast<Private *>(object); }
    static void onLog(mosquitto *, void *object, int level, const char *text);
    static void onConnect(mosquitto *, void *object, int code, int, const mosquitto_property *);
    static void onDisconnect(mosquitto *, void *object, int code, const mosquitto_property *);
    static void onMessage(mosquitto *, void *object, const mosquitto_message *message,
                          const mosquitto_property *properties);
    static void onPublish(mosquitto *, void *object, int id, int, const mosquitto_property *);
    static void onSubscribe(mosquitto *, void *object, int id, int count, const int *codes,
                            const mosquitto_property *);

    void connectTo(const QString &address);
    int open(const QByteArray &address);
    void check(int result);
    QString textOf(int result) const;
    void updateWriting();
    void lose(const QString &reason);
    void handleLoss();
    void end();
    void handleMisc();

    MqttLink &q;
    const Options m_options;
    int m_version;
    mosquitto *m_client = nullptr;
    bool m_isConnected = false;
    bool m_isStopped = false;
    /// Why the connection is to end; empty while it is not.
    QString m_reason;
    /// The last error that the library has told of, which says more than its results.
    QString m_problem;
    std::unique_ptr<MqttSocket> m_socket;
    QTimer m_misc;
    QTimer m_retry;
    int m_retryMs = FirstRetryMs;
    int m_lookUp = -1;
    QElapsedTimer m_since;
    QHash<int, QByteArray> m_subscriptions;
    QSet<int> m_unacknowledged;
};

MqttLink::Private::Private(MqttLink &owner, Options wanted)
    : q(owner)
    , m_options(std::move(wanted))
    , m_version(m_options.version)
{
    mosquitto_lib_init();
    m_misc.setInterval(MiscMs);
    connect(&m_misc, &QTimer::timeout, this, &Private::handleMisc);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &Private::lookUp);
}

MqttLink::Private::~Private()
{
    if (m_lookUp >= 0)
        QHostInfo::abortHostLookup(m_lookUp);
    end();
    mosquitto_lib_cleanup();
}

void MqttLink::Private::start()
{
    if (!m_client && m_lookUp < 0)
        m_retry.start(0);
}

void MqttLink::Private::stop()
{
    m_isStopped = true;
    m_retry.stop();
    const bool isReading = m_socket && m_socket->isReading();
    if (m_socket)
        m_socket->silence();
    // The library cannot write from inside its own call.
    if (isReading)
        QMetaObject::invokeMethod(this, &Private::leave, Qt::QueuedConnection);
    else
        leave();
}

void MqttLink::Private::leave()
{
    if (!isConnected())
        return;
    mosquitto_disconnect(m_client);
    // What does not fit into the socket now is lost: nothing here waits.
    if (mosquitto_want_write(m_client))
        mosquitto_loop_write(m_client, 1);
    m_isConnected = false;
    m_misc.stop();
}

void MqttLink::Private::lookUp()
{
    // The certificate is compared with the name.
    if (m_options.url.isTls || !QHostAddress(m_options.url.host).isNull()) {
        connectTo(m_options.url.host);
        return;
    }
    m_lookUp = QHostInfo::lookupHost(m_options.url.host, this, [this](const QHostInfo &found) {
        m_lookUp = -1;
        if (m_isStopped)
            return;
        if (found.addresses().isEmpty())
            lose(QStringLiteral("%1: %2").arg(m_options.url.host, found.errorString()));
        else
            connectTo(found.addresses().constFirst().toString());
    });
}

void MqttLink::Private::connectTo(const QString &address)
{
    m_since.start();
    m_problem.clear();
    m_client = mosquitto_new(m_options.clientId.constData(), true, this);
    const int result = m_client ? open(address.toUtf8()) : MOSQ_ERR_NOMEM;
    if (result != MOSQ_ERR_SUCCESS) {
        lose(textOf(result));
    } else if (mosquitto_socket(m_client) < 0) {
        lose(QStringLiteral("there is no connection"));
    } else {
        m_socket =
            std::make_unique<MqttSocket>(m_client, m_options.url.isTls, [this](int each) { check(each); });
        m_misc.start();
    }
}

int MqttLink::Private::open(const QByteArray &address)
{
    mosquitto_log_callback_set(m_client, onLog);
    mosquitto_connect_v5_callback_set(m_client, onConnect);
    mosquitto_disconnect_v5_callback_set(m_client, onDisconnect);
    mosquitto_message_v5_callback_set(m_client, onMessage);
    mosquitto_publish_v5_callback_set(m_client, onPublish);
    mosquitto_subscribe_v5_callback_set(m_client, onSubscribe);
    const int result = MqttSetup::apply(m_client, m_options, m_version);
    return result == MOSQ_ERR_SUCCESS ? MqttSetup::connect(m_client, m_options, m_version, address) : result;
}

void MqttLink::Private::handleMisc()
{
    check(mosquitto_loop_misc(m_client));
    if (!m_isConnected && m_since.elapsed() >= AnswerMs)
        lose(QStringLiteral("it does not answer"));
    else if (m_isConnected && m_socket->silentForMs() >= SilenceMs)
        lose(QStringLiteral("it says nothing any more"));
    updateWriting();
}

void MqttLink::Private::check(int result)
{
    if (result != MOSQ_ERR_SUCCESS && result != MOSQ_ERR_CONN_PENDING)
        lose(textOf(result));
}

/// The library tells of a certificate that somebody does not accept in the words for any lost connection.
QString MqttLink::Private::textOf(int result) const
{
    const bool isTlsGreeting = m_options.url.isTls && !m_isConnected;
    if (isTlsGreeting && result == MOSQ_ERR_TLS)
        return QStringLiteral("TLS fails; is its certificate signed by what --ca names%1?")
            .arg(m_options.cert.isEmpty() ? QString() : QStringLiteral(", and does --key belong to --cert"));
    if (isTlsGreeting && (result == MOSQ_ERR_CONN_LOST || result == MOSQ_ERR_PROTOCOL))
        return m_options.cert.isEmpty()
            ? QStringLiteral("it ends the connection; does it want a certificate, by --cert and --key?")
            : QStringLiteral("it ends the connection; does it accept the certificate of --cert?");
    return reasonOf(result);
}

void MqttLink::Private::updateWriting()
{
    if (m_socket)
        m_socket->updateWriting();
}

/// May be called from inside the library, which then still uses the client.
void MqttLink::Private::lose(const QString &reason)
{
    if (!m_reason.isEmpty() || m_isStopped)
        return;
    m_reason = reason;
    if (m_socket)
        m_socket->silence();
    QMetaObject::invokeMethod(this, &Private::handleLoss, Qt::QueuedConnection);
}

void MqttLink::Private::handleLoss()
{
    if (std::exchange(m_isConnected, false) && m_since.hasExpired(GoodMs))
        m_retryMs = FirstRetryMs;
    end();
    const int spread = QRandomGenerator::global()->bounded(-RetrySpreadPercent, RetrySpreadPercent + 1);
    const int waitMs = m_retryMs + m_retryMs / 100 * spread;
    m_retryMs = std::min(2 * m_retryMs, LastRetryMs);
    m_retry.start(waitMs);
    QString reason = std::exchange(m_reason, QString());
    if (!m_problem.isEmpty() && m_problem != reason)
        reason += QStringLiteral(" (%1)").arg(m_problem);
    Q_EMIT q.lost(reason, waitMs);
}

void MqttLink::Private::end()
{
    m_misc.stop();
    m_socket.reset();
    m_subscriptions.clear();
    m_unacknowledged.clear();
    mosquitto_destroy(std::exchange(m_client, nullptr));
}

bool MqttLink::Private::send(const MqttMessage &message)
{
    if (!isConnected())
        return false;
    MqttProperties properties;
    if (!message.correlation.isEmpty() && m_version == 5)
        properties.add(MQTT_PROP_CORRELATION_DATA, message.correlation);
    int id = 0;
    const int result =
        mosquitto_publish_v5(m_client, &id, message.topic.constData(), message.payload.size(),
                             message.payload.constData(), message.qos, message.isRetained, properties.list());
    if (result == MOSQ_ERR_SUCCESS && message.qos > 0)
        m_unacknowledged += id;
    if (result == MOSQ_ERR_NO_CONN || result == MOSQ_ERR_CONN_LOST)
        check(result);
    updateWriting();
    return result == MOSQ_ERR_SUCCESS;
}

void MqttLink::Private::subscribe(const QByteArray &filter, Retained retained)
{
    if (!isConnected())
        return;
    const int options = m_version == 5 && retained == WithoutRetained ? MQTT_SUB_OPT_SEND_RETAIN_NEVER : 0;
    int id = 0;
    if (mosquitto_subscribe_v5(m_client, &id, filter.constData(), 1, options, nullptr) == MOSQ_ERR_SUCCESS)
        m_subscriptions.insert(id, filter);
    updateWriting();
}

void MqttLink::Private::unsubscribe(const QByteArray &filter)
{
    if (!isConnected())
        return;
    mosquitto_unsubscribe(m_client, nullptr, filter.constData());
    updateWriting();
}

void MqttLink::Private::onLog(mosquitto *, void *object, int level, const char *text)
{
    if (level == MOSQ_LOG_ERR)
        of(object).m_problem = phrase(QString::fromUtf8(text));
}

void MqttLink::Private::onConnect(mosquitto *, void *object, int code, int, const mosquitto_property *)
{
    Private &link = of(object);
    if (code == MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION || (code == 1 && link.m_version == 5)) {
        link.m_version = 3;
        link.lose(QStringLiteral("it does not know MQTT 5; MQTT 3.1.1 is used from now on"));
        return;
    }
    if (code != 0) {
        const char *const text =
            link.m_version == 5 ? mosquitto_reason_string(code) : mosquitto_connack_string(code);
        link.lose(QStringLiteral("it refuses: %1").arg(QString::fromUtf8(text)));
        return;
    }
    link.m_isConnected = true;
    link.m_since.start();
    QMetaObject::invokeMethod(
        &link,
        [&link] {
            if (link.isConnected())
                Q_EMIT link.q.connected(link.m_version);
        },
        Qt::QueuedConnection);
}

void MqttLink::Private::onDisconnect(mosquitto *, void *object, int code, const mosquitto_property *)
{
    Private &link = of(object);
    link.lose(code >= FirstFailureCode ? QString::fromUtf8(mosquitto_reason_string(code))
                                       : link.textOf(code == 0 ? MOSQ_ERR_CONN_LOST : code));
}

void MqttLink::Private::onMessage(mosquitto *, void *object, const mosquitto_message *message,
                                  const mosquitto_property *properties)
{
    Private &link = of(object);
    MqttMessage taken;
    taken.topic = QByteArray(message->topic);
    taken.payload = QByteArray(static_cast<const char *>(message->payload), message->payloadlen);
    taken.qos = message->qos;
    taken.isRetained = message->retain;
    if (properties) {
        taken.responseTopic = MqttProperties::textIn(properties, MQTT_PROP_RESPONSE_TOPIC);
        taken.correlation = MqttProperties::bytesIn(properties, MQTT_PROP_CORRELATION_DATA);
    }
    Q_EMIT link.q.received(taken);
}

void MqttLink::Private::onPublish(mosquitto *, void *object, int id, int, const mosquitto_property *)
{
    Private &link = of(object);
    // For QoS 0 this tells only that the message is written.
    if (!link.m_unacknowledged.remove(id))
        return;
    Q_EMIT link.q.acknowledged();
}

void MqttLink::Private::onSubscribe(mosquitto *, void *object, int id, int count, const int *codes,
                                    const mosquitto_property *)
{
    Private &link = of(object);
    const QByteArray filter = link.m_subscriptions.take(id);
    if (count > 0 && codes[0] >= FirstFailureCode)
        Q_EMIT link.q.denied(filter);
}

bool MqttLink::isAvailable()
{
    return true;
}

MqttLink::MqttLink(const Options &options, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(*this, options))
{
}

MqttLink::~MqttLink() = default;

void MqttLink::start()
{
    d->start();
}

void MqttLink::stop()
{
    d->stop();
}

bool MqttLink::isConnected() const
{
    return d->isConnected();
}

bool MqttLink::wantsWrite() const
{
    return d->wantsWrite();
}

bool MqttLink::send(const MqttMessage &message)
{
    return d->send(message);
}

int MqttLink::unacknowledged() const
{
    return d->unacknowledged();
}

void MqttLink::subscribe(const QByteArray &filter, Retained retained)
{
    d->subscribe(filter, retained);
}

void MqttLink::unsubscribe(const QByteArray &filter)
{
    d->unsubscribe(filter);
}
