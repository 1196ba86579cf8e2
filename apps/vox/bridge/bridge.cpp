#include "vox/bridge/bridge.h"

#include "messages/vox.h"
#include "vox/bridge/linebridge.h"
#include "vox/console.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTimer>
#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace {
/// For what the broker has kept, and for another bridge of this name.
constexpr int ListenMs = 1000;
constexpr int DocumentsMs = 2000;
constexpr int InstanceMs = 10000;
constexpr int EchoMs = 5000;
constexpr int GoodbyeMs = 1000;
/// So that all bridges of a building do not speak at the same time.
constexpr int SpreadMs = 3000;
constexpr int StatusMs = 10000;
constexpr int MaxDocument = 65536;
constexpr int MaxToldTopics = 100;
constexpr int MaxBridges = 4096;

const QByteArray Online = QByteArrayLiteral("online");
const QByteArray Offline = QByteArrayLiteral("offline");
}

Bridge::Bridge(const SiteConfig &site, const QByteArray &password, BridgeLog::Level level)
    : m_site(site)
    , m_link(linkOptions(password))
    , m_publisher(m_link)
    , m_log(level)
{
    connect(&m_link, &MqttLink::connected, this, &Bridge::handleConnected);
    connect(&m_link, &MqttLink::lost, this, &Bridge::handleLost);
    connect(&m_link, &MqttLink::received, this, &Bridge::handleMessage);
    connect(&m_link, &MqttLink::denied, this, [this](const QByteArray &filter) {
        tell(BridgeLog::Error,
             QStringLiteral("the broker does not let this user read %1; its access list is to allow it")
                 .arg(QString::fromUtf8(filter)));
    });
    for (int i = 0; i < m_site.lines.size(); ++i) {
        m_lines.push_back(std::make_unique<LineBridge>(m_site, i, m_publisher));
        connect(m_lines.back().get(), &LineBridge::noticed, this, &Bridge::tell);
        connect(m_lines.back().get(), &LineBridge::scanned, this, &Bridge::checkReady);
    }
}

Bridge::~Bridge() = default;

MqttLink::Options Bridge::linkOptions(const QByteArray &password) const
{
    MqttLink::Options options;
    options.url = m_site.mqtt.url;
    options.password = password;
    options.clientId = "vox-" + m_site.name.toLatin1() + '-' + m_guard.id();
    options.ca = m_site.mqtt.ca;
    options.cert = m_site.mqtt.cert;
    options.key = m_site.mqtt.key;
    options.version = m_site.mqtt.version;
    options.will = {own("availability"), Offline, 1, true, {}, {}};
    return options;
}

QByteArray Bridge::own(const char *leaf) const
{
    return QStringLiteral("%1/bridge/%2/").arg(m_site.prefix, m_site.name).toUtf8() + leaf;
}

void Bridge::start()
{
    m_publisher.set(0, own("availability"), Online, 1);
    m_link.start();
    for (const auto &line : m_lines)
        line->start();
    sayStats();
}

// The broker

void Bridge::handleConnected(int version)
{
    const bool isFirst = !m_guard.isLive();
    m_lastProblem.clear();
    if (version != m_site.mqtt.version)
        tell(BridgeLog::Info,
             QStringLiteral("%1 does not know MQTT 5 and is served with 3.1.1").arg(m_site.mqtt.url.text()));
    else if (!isFirst)
        tell(BridgeLog::Info, QStringLiteral("%1 is back").arg(m_site.mqtt.url.text()));
    const QByteArray prefix = m_site.prefix.toUtf8();
    const QByteArray discovery = m_site.discoveryPrefix.toUtf8();
    m_link.subscribe(own("instance"), MqttLink::WithRetained);
    m_link.subscribe(own("forget"), MqttLink::WithoutRetained);
    m_link.subscribe(prefix + "/bridge/+/availability", MqttLink::WithRetained);
    m_link.subscribe(discovery + "/status", MqttLink::WithRetained);
    for (const auto &line : m_lines)
        m_link.subscribe(line->topics().line("bridge"), MqttLink::WithRetained);
    m_link.send({own("instance"), m_guard.payload(), 1, m_guard.isLive(), {}, {}});
    m_isListening = isFirst;
    if (!isFirst) {
        sayOnline();
        subscribeCommands();
        sayAllSoon();
        return;
    }
    m_link.subscribe(discovery + "/device/+/config", MqttLink::WithRetained);
    QTimer::singleShot(ListenMs, this, &Bridge::goLive);
    QTimer::singleShot(DocumentsMs, this, &Bridge::forgetOld);
}

void Bridge::handleLost(const QString &reason, int retryMs)
{
    m_isListening = false;
    // While it is away the same is not told again and again.
    if (std::exchange(m_lastProblem, reason) != reason)
        tell(BridgeLog::Error,
             QStringLiteral("%1: %2; tried again, now in %3 s")
                 .arg(m_site.mqtt.url.text(), reason)
                 .arg((retryMs + 500) / 1000));
}

void Bridge::goLive()
{
    // The connection may have been lost meanwhile, and then all begins anew.
    if (!m_isListening || !m_link.isConnected() || m_isEnding)
        return;
    m_isListening = false;
    m_guard.setLive();
    claimLines();
    sayOnline();
    subscribeCommands();
    m_publisher.setLive(true);
    m_instanceTimer.start(InstanceMs, this);
    QTimer::singleShot(EchoMs, this, [this] {
        if (!m_isEchoed && m_link.isConnected())
            tell(BridgeLog::Error,
                 QStringLiteral("the broker does not pass on what is said on %1; its access list is to allow "
                                "this user to write and read there")
                     .arg(QString::fromUtf8(own("availability"))));
    });
    checkReady();
}

void Bridge::sayOnline()
{
    m_link.send({own("availability"), Online, 1, true, {}, {}});
    m_link.send({own("instance"), m_guard.payload(), 1, true, {}, {}});
}

void Bridge::subscribeCommands()
{
    for (const auto &line : m_lines) {
        const QByteArray base = line->topics().base();
        for (const char *const filter : {"+/set", "+/position/set", "group/+/set", "group/+/position/set"})
            m_link.subscribe(base + filter, MqttLink::WithoutRetained);
        if (!m_site.rpc.isEmpty())
            m_link.subscribe(base + "+/rpc", MqttLink::WithoutRetained);
    }
    m_link.subscribe(m_site.prefix.toUtf8() + "/all/set", MqttLink::WithoutRetained);
}

void Bridge::sayAllSoon()
{
    QTimer::singleShot(QRandomGenerator::global()->bounded(SpreadMs), this, [this] { m_publisher.sayAll(); });
}

/// A line that another bridge serves is left to it.
void Bridge::claimLines()
{
    for (const auto &line : m_lines) {
        const QByteArray owner = m_owners.value(line->topics().line("bridge"));
        if (!owner.isEmpty() && owner != m_site.name.toUtf8() && m_onlineBridges.contains(owner))
            leave(*line, owner);
    }
}

void Bridge::leave(LineBridge &line, const QByteArray &owner)
{
    m_problem = QStringLiteral("line %1 is not served: the bridge %2 serves a line of this name; call one of "
                               "them otherwise")
                    .arg(line.config().name, QString::fromUtf8(owner));
    tell(BridgeLog::Error, m_problem);
    line.leave();
    sayStats();
}

void Bridge::sayStats()
{
    const auto lines =
        std::count_if(m_lines.begin(), m_lines.end(), [](const auto &line) { return line->isOwn(); });
    const QJsonObject stats{
        {QStringLiteral("lines"), static_cast<qint64>(lines)},
        {QStringLiteral("problem"), m_problem.isEmpty() ? QJsonValue() : QJsonValue(m_problem)}};
    m_publisher.set(1, own("stats"), QJsonDocument(stats).toJson(QJsonDocument::Compact), 0);
}

/// What the configuration names no more is taken away, so that it does not stay in Home Assistant for ever.
void Bridge::forgetOld()
{
    if (!m_guard.isLive())
        return;
    m_link.unsubscribe(m_site.discoveryPrefix.toUtf8() + "/device/+/config");
    constexpr int Last = 1 << 30;
    const QVector<QByteArray> old = std::exchange(m_old, {});
    for (const QByteArray &topic : old) {
        m_publisher.set(Last, topic, QByteArrayLiteral("-"), 1);
        m_publisher.remove(topic);
    }
}

void Bridge::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_instanceTimer.timerId())
        m_link.send({own("instance"), m_guard.payload(), 1, true, {}, {}});
}

// Messages

void Bridge::handleMessage(const MqttMessage &message)
{
    // Commands come in floods, so they are looked at first.
    if (message.topic.endsWith("/set") || message.topic.endsWith("/rpc"))
        handleCommand(message);
    else if (!handleOwn(message))
        handleDocument(message);
}

void Bridge::handleCommand(const MqttMessage &message)
{
    if (message.isRetained) {
        if (m_toldRetained.size() < MaxToldTopics && !m_toldRetained.contains(message.topic)) {
            m_toldRetained += message.topic;
            tell(BridgeLog::Warning,
                 QStringLiteral("%1 holds a retained command, which is not obeyed; whoever has sent it can "
                                "clear it by an empty retained message")
                     .arg(QString::fromUtf8(message.topic)));
        }
        return;
    }
    if (message.topic == m_site.prefix.toUtf8() + "/all/set") {
        if (message.payload.trimmed() != "STOP") {
            tell(BridgeLog::Warning,
                 QStringLiteral("%1 takes STOP only").arg(QString::fromUtf8(message.topic)));
            return;
        }
        for (const auto &line : m_lines)
            line->stopAll();
        return;
    }
    for (const auto &line : m_lines) {
        if (!message.topic.startsWith(line->topics().base()))
            continue;
        if (const auto request = line->topics().read(message.topic))
            line->handle(*request, message);
        else
            tell(BridgeLog::Warning,
                 QStringLiteral("%1 is no topic of a motor").arg(QString::fromUtf8(message.topic.left(128))));
        return;
    }
}

bool Bridge::handleOwn(const MqttMessage &message)
{
    if (message.topic == own("instance")) {
        handleInstance(message);
    } else if (message.topic == m_site.discoveryPrefix.toUtf8() + "/status") {
        handleHomeAssistant(message);
    } else if (message.topic == own("availability")) {
        m_isEchoed |= m_guard.isLive() && message.payload == Online;
        // The will of an earlier connection, which has come late.
        if (message.payload == Offline && !message.isRetained && m_guard.isLive() && !m_isEnding)
            sayOnline();
    } else if (message.topic.endsWith("/availability")) {
        const QByteArray name = message.topic.split('/').value(message.topic.count('/') - 1);
        if (message.payload != Online)
            m_onlineBridges.remove(name);
        else if (m_onlineBridges.size() < MaxBridges)
            m_onlineBridges.insert(name);
    } else if (message.topic.endsWith("/bridge")) {
        handleOwner(message);
    } else if (message.topic == own("forget")) {
        handleForget(message);
    } else {
        return false;
    }
    return true;
}

void Bridge::handleInstance(const MqttMessage &message)
{
    // What a killed bridge has left does not count; a living one answers.
    if (message.isRetained)
        return;
    const NameGuard::Verdict verdict = m_guard.judge(message.payload);
    if (verdict == NameGuard::Answer) {
        m_link.send({own("instance"), m_guard.payload(), 1, m_guard.isLive(), {}, {}});
    } else if (verdict == NameGuard::Yield) {
        tell(BridgeLog::Error,
             QStringLiteral("another bridge is called %1; give this one another name by --name, or in its "
                            "configuration")
                 .arg(m_site.name));
        m_isEnding = true;
        m_link.stop();
        finish(WrongUse);
    }
}

/// Two bridges that have come at the same time have both seen nobody: the first by name keeps the line.
void Bridge::handleOwner(const MqttMessage &message)
{
    m_owners.insert(message.topic, message.payload);
    const QByteArray name = m_site.name.toUtf8();
    if (!m_guard.isLive() || message.payload == name || !m_onlineBridges.contains(message.payload))
        return;
    for (const auto &line : m_lines) {
        if (!line->isOwn() || line->topics().line("bridge") != message.topic)
            continue;
        if (name < message.payload)
            m_link.send({message.topic, name, 1, true, {}, {}});
        else
            leave(*line, message.payload);
    }
}

/// Somebody has taken a node from the broker for good, as in "north/000105".
void Bridge::handleForget(const MqttMessage &message)
{
    const QString words = QString::fromUtf8(message.payload.left(LineTopics::MaxTopic));
    unsigned int addr = 0;
    if (message.isRetained || !VOX::readAddr(words.section(QLatin1Char('/'), -1), &addr))
        return;
    for (const auto &line : m_lines) {
        if (line->config().name == words.section(QLatin1Char('/'), 0, -2))
            line->forget(addr);
    }
}

void Bridge::handleHomeAssistant(const MqttMessage &message)
{
    // The broker may have kept it, and says it after each subscription.
    if (message.payload != Online || (m_sinceStatus.isValid() && !m_sinceStatus.hasExpired(StatusMs)))
        return;
    m_sinceStatus.start();
    if (m_guard.isLive())
        sayAllSoon();
}

void Bridge::handleDocument(const MqttMessage &message)
{
    if (!message.isRetained || message.payload.isEmpty() || message.payload.size() > MaxDocument)
        return;
    for (const auto &line : m_lines) {
        const auto target = line->documents().targetOf(message.topic);
        if (!target || !DiscoveryDocument::isOurs(message.payload))
            continue;
        if (!line->isServed(*target))
            m_old += line->retainedTopics(*target);
        else if (target->kind == BridgeTarget::Node)
            line->remember(target->addr);
        return;
    }
}

// Start and end

void Bridge::checkReady()
{
    const bool isScanned =
        std::all_of(m_lines.begin(), m_lines.end(), [](const auto &line) { return line->isScanned(); });
    if (m_isReady || !isScanned || !m_guard.isLive())
        return;
    m_isReady = true;
    int nodes = 0;
    int offline = 0;
    for (const auto &line : m_lines) {
        nodes += line->answering();
        offline += line->isOnline() ? 0 : 1;
    }
    QString lines = counted(static_cast<qint64>(m_lines.size()), "line");
    if (offline > 0)
        lines += QStringLiteral(" (%1 offline)").arg(offline);
    Q_EMIT ready(QStringLiteral("%1, %2, %3, %4")
                     .arg(m_site.name, lines, counted(nodes, "node"), m_site.mqtt.url.text()));
}

void Bridge::end()
{
    if (std::exchange(m_isEnding, true))
        return;
    m_instanceTimer.stop();
    m_publisher.setLive(false);
    if (!m_link.isConnected() || !m_guard.isLive()) {
        m_link.stop();
        finish(Success);
        return;
    }
    // A DISCONNECT takes the will away, so this has to be out before.
    m_link.send({own("availability"), Offline, 1, true, {}, {}});
    const auto leave = [this] {
        m_link.stop();
        finish(Success);
    };
    connect(&m_link, &MqttLink::acknowledged, this, [this, leave] {
        if (m_link.unacknowledged() == 0)
            QMetaObject::invokeMethod(this, leave, Qt::QueuedConnection);
    });
    QTimer::singleShot(GoodbyeMs, this, leave);
}

void Bridge::finish(int exitCode)
{
    if (!std::exchange(m_isDone, true))
        Q_EMIT done(exitCode);
}
