#include "vox/bridge/mqttlink.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QHostAddress>
#include <QHostInfo>
#include <QRandomGenerator>
#include <QSet>
#include <QSocketNotifier>
#include <QTimer>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <sys/ioctl.h>

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
/// Packets that are read before others have their turn.
constexpr int MaxReads = 64;
/// TLS may hold packets that the socket does not tell of.
constexpr int TlsReads = 8;
constexpr int FirstFailureCode = 0x80;

/// A list of properties that is freed with this.
struct Properties
{
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&list); }
    Q_DISABLE_COPY_MOVE(Properties)

    mosquitto_property *list = nullptr;
};

QByteArray topicIn(const mosquitto_property *properties)
{
    char *text = nullptr;
    if (!mosquitto_property_read_string(properties, MQTT_PROP_RESPONSE_TOPIC, &text, false))
        return {};
    QByteArray topic(text);
    std::free(text);
    return topic;
}

QByteArray correlationIn(const mosquitto_property *properties)
{
    void *data = nullptr;
    uint16_t size = 0;
    if (!mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size, false))
        return {};
    QByteArray bytes(static_cast<const char *>(data), size);
    std::free(data);
    return bytes;
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
    static void onConnect(mosquitto *, void *object, int code, int, const mosquitto_property *);
    static void onDisconnect(mosquitto *, void *object, int code, const mosquitto_property *);
    static void onMessage(mosquitto *, void *object, const mosquitto_message *message,
                          const mosquitto_property *properties);
    static void onPublish(mosquitto *, void *object, int id, int, const mosquitto_property *);
    static void onSubscribe(mosquitto *, void *object, int id, int count, const int *codes,
                            const mosquitto_property *);

    void connectTo(const QString &address);
    int open(const QByteArray &address);
    int setUp();
    int setTls();
    void watch();
    void handleReadable();
    void handleWritable();
    void check(int result);
    QString textOf(int result) const;
    void updateWriting();
    void lose(const QString &reason);
    void silence();
    void end();
    void handleMisc();

    MqttLink &q;
    const Options m_options;
    int m_version;
    mosquitto *m_client = nullptr;
    bool m_isConnected = false;
    bool m_isStopped = false;
    bool m_isReading = false;
    /// Why the connection is to end; empty while it is not.
    QString m_reason;
    std::unique_ptr<QSocketNotifier> m_reading;
    std::unique_ptr<QSocketNotifier> m_writing;
    QTimer m_misc;
    QTimer m_retry;
    int m_retryMs = FirstRetryMs;
    int m_lookUp = -1;
    QElapsedTimer m_since;
    QElapsedTimer m_heard;
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
    // The library cannot write from inside its own call.
    if (m_isReading)
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
    silence();
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
    m_heard.start();
    m_client = mosquitto_new(m_options.clientId.constData(), true, this);
    const int result = m_client ? open(address.toUtf8()) : MOSQ_ERR_NOMEM;
    if (result != MOSQ_ERR_SUCCESS) {
        lose(textOf(result));
        return;
    }
    watch();
    m_misc.start();
}

int MqttLink::Private::setUp()
{
    mosquitto_int_option(m_client, MOSQ_OPT_PROTOCOL_VERSION,
                         m_version == 5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
    mosquitto_int_option(m_client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_v5_callback_set(m_client, onConnect);
    mosquitto_disconnect_v5_callback_set(m_client, onDisconnect);
    mosquitto_message_v5_callback_set(m_client, onMessage);
    mosquitto_publish_v5_callback_set(m_client, onPublish);
    mosquitto_subscribe_v5_callback_set(m_client, onSubscribe);
    if (!m_options.url.user.isEmpty() || !m_options.password.isEmpty()) {
        const QByteArray user = m_options.url.user.toUtf8();
        mosquitto_username_pw_set(m_client, user.isEmpty() ? nullptr : user.constData(),
                                  m_options.password.isEmpty() ? nullptr : m_options.password.constData());
    }
    const MqttMessage &will = m_options.will;
    if (will.topic.isEmpty())
        return MOSQ_ERR_SUCCESS;
    Properties delay;
    if (m_version == 5)
        mosquitto_property_add_int32(&delay.list, MQTT_PROP_WILL_DELAY_INTERVAL, WillDelaySeconds);
    const int result = mosquitto_will_set_v5(m_client, will.topic.constData(), will.payload.size(),
                                             will.payload.constData(), will.qos, will.isRetained, delay.list);
    // It belongs to the client now.
    if (result == MOSQ_ERR_SUCCESS)
        delay.list = nullptr;
    return result;
}

int MqttLink::Private::setTls()
{
    if (!m_options.url.isTls)
        return MOSQ_ERR_SUCCESS;
    const QByteArray ca = QFile::encodeName(m_options.ca);
    const QByteArray cert = QFile::encodeName(m_options.cert);
    const QByteArray key = QFile::encodeName(m_options.key);
    const char *const folder = ca.isEmpty() ? "/etc/ssl/certs" : nullptr;
    const auto orNull = [](const QByteArray &text) { return text.isEmpty() ? nullptr : text.constData(); };
    return mosquitto_tls_set(m_client, orNull(ca), folder, orNull(cert), orNull(key), nullptr);
}

int MqttLink::Private::open(const QByteArray &address)
{
    int result = setUp();
    if (result == MOSQ_ERR_SUCCESS)
        result = setTls();
    if (result != MOSQ_ERR_SUCCESS)
        return result;
    if (m_version == 5) {
        // A session that ends with the connection would end the will's delay, too. The function that does not
        // wait takes no properties; this one keeps them, and then refuses the port.
        Properties session;
        mosquitto_property_add_int32(&session.list, MQTT_PROP_SESSION_EXPIRY_INTERVAL, 2 * WillDelaySeconds);
        mosquitto_connect_bind_v5(m_client, address.constData(), -1, KeepAliveSeconds, nullptr, session.list);
    }
    return mosquitto_connect_async(m_client, address.constData(), m_options.url.port, KeepAliveSeconds);
}

void MqttLink::Private::watch()
{
    const int socket = mosquitto_socket(m_client);
    if (socket < 0) {
        lose(QStringLiteral("there is no connection"));
        return;
    }
    m_reading = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Read);
    m_writing = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Write);
    connect(m_reading.get(), &QSocketNotifier::activated, this, &Private::handleReadable);
    connect(m_writing.get(), &QSocketNotifier::activated, this, &Private::handleWritable);
}

void MqttLink::Private::handleReadable()
{
    const int socket = mosquitto_socket(m_client);
    // Also an answer to a ping, of which the library tells nothing.
    m_heard.start();
    for (int i = 0; i < MaxReads && m_reason.isEmpty() && !m_isStopped; ++i) {
        m_isReading = true;
        check(mosquitto_loop_read(m_client, 1));
        m_isReading = false;
        int pending = 0;
        const bool hasMore = m_reason.isEmpty() && ::ioctl(socket, FIONREAD, &pending) == 0 && pending > 0;
        if (!hasMore && (!m_options.url.isTls || i >= TlsReads))
            break;
    }
    updateWriting();
}

void MqttLink::Private::handleWritable()
{
    check(mosquitto_loop_write(m_client, 1));
    updateWriting();
}

void MqttLink::Private::handleMisc()
{
    check(mosquitto_loop_misc(m_client));
    if (!m_isConnected && m_since.elapsed() >= AnswerMs)
        lose(QStringLiteral("it does not answer"));
    else if (m_isConnected && m_heard.elapsed() >= SilenceMs)
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
    return result == MOSQ_ERR_ERRNO ? qt_error_string(errno) : QString::fromUtf8(mosquitto_strerror(result));
}

void MqttLink::Private::updateWriting()
{
    if (m_writing && m_reason.isEmpty() && !m_isStopped)
        m_writing->setEnabled(mosquitto_want_write(m_client));
}

/// May be called from inside the library, which then still uses the client.
void MqttLink::Private::lose(const QString &reason)
{
    if (!m_reason.isEmpty() || m_isStopped)
        return;
    m_reason = reason;
    silence();
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (std::exchange(m_isConnected, false) && m_since.hasExpired(GoodMs))
                m_retryMs = FirstRetryMs;
            end();
            const int spread =
                QRandomGenerator::global()->bounded(-RetrySpreadPercent, RetrySpreadPercent + 1);
            const int waitMs = m_retryMs + m_retryMs / 100 * spread;
            m_retryMs = std::min(2 * m_retryMs, LastRetryMs);
            m_retry.start(waitMs);
            Q_EMIT q.lost(std::exchange(m_reason, QString()), waitMs);
        },
        Qt::QueuedConnection);
}

/// A notifier of a socket that the library has closed would never rest, or serve the next file.
void MqttLink::Private::silence()
{
    for (QSocketNotifier *const notifier : {m_reading.get(), m_writing.get()}) {
        if (notifier)
            notifier->setEnabled(false);
    }
}

void MqttLink::Private::end()
{
    m_misc.stop();
    m_reading.reset();
    m_writing.reset();
    m_subscriptions.clear();
    m_unacknowledged.clear();
    mosquitto_destroy(std::exchange(m_client, nullptr));
}

bool MqttLink::Private::send(const MqttMessage &message)
{
    if (!isConnected())
        return false;
    Properties properties;
    if (!message.correlation.isEmpty() && m_version == 5)
        mosquitto_property_add_binary(&properties.list, MQTT_PROP_CORRELATION_DATA,
                                      message.correlation.constData(),
                                      static_cast<uint16_t>(message.correlation.size()));
    int id = 0;
    const int result =
        mosquitto_publish_v5(m_client, &id, message.topic.constData(), message.payload.size(),
                             message.payload.constData(), message.qos, message.isRetained, properties.list);
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
        taken.responseTopic = topicIn(properties);
        taken.correlation = correlationIn(properties);
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
