#include "vox/bridge/linebridge.h"

#include "framework/busdispatcher.h"
#include "network/voxnetwork.h"
#include "transport/voxbus.h"
#include "vox/bridge/publisher.h"
#include "vox/warnings.h"

#include <QJsonDocument>
#include <QTimerEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
constexpr int TickMs = 250;
/// Of one node, while it only moves on.
constexpr qint64 SayMs = 500;
constexpr qint64 StatsMs = 60000;
constexpr qint64 HealthMs = 300000;
constexpr int MsPerSecond = 1000;

enum Place { AvailabilityPlace, AttributesPlace, PositionPlace, StatePlace, HealthPlace };

QByteArray textOf(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray word(bool isOnline)
{
    return isOnline ? "online" : "offline";
}
}

LineBridge::LineBridge(const SiteConfig &site, int number, Publisher &publisher)
    : m_site(site)
    , m_line(site.lines.at(number))
    , m_lineOrder((number + 1) * Publisher::UnitSize)
    , m_order((number + 1) * LineOrders)
    , m_publisher(publisher)
    , m_topics(site.prefix, m_line.name)
    , m_documents(site.discoveryPrefix, m_line.name, m_topics,
                  {QStringLiteral("%1/bridge/%2/availability").arg(site.prefix, site.name),
                   QString::fromUtf8(m_topics.line("availability"))},
                  site.lines.size() == 1)
{
    m_clock.start();
}

LineBridge::~LineBridge()
{
    // They send by the network.
    m_commands.reset();
    m_calls.reset();
    m_groups.reset();
}

void LineBridge::start()
{
    m_network = std::make_unique<VOXNetwork>(m_line.bus);
    m_groups = std::make_unique<GroupReader>(m_line, *m_network);
    connect(m_groups.get(), &GroupReader::changed, this, [this] { m_areGroupsNews = true; });
    m_commands = std::make_unique<LineCommands>(m_site, m_line, m_topics, *m_network, *m_groups, m_publisher);
    connect(m_commands.get(), &LineCommands::noticed, this, &LineBridge::noticed);
    if (!m_site.rpc.isEmpty()) {
        m_calls = std::make_unique<RemoteCalls>(m_site.rpc, *m_network);
        connect(m_calls.get(), &RemoteCalls::commanded, m_commands.get(), &LineCommands::forget);
        connect(m_calls.get(), &RemoteCalls::configured, m_groups.get(), &GroupReader::readAgain);
        connect(m_calls.get(), &RemoteCalls::answered, this, &LineBridge::answerCall);
    }
    VOXScheduler::Limits limits = m_network->scheduler().limits();
    limits.maxLoadPercent = m_line.maxLoadPercent;
    limits.pollPeriodMs = m_line.plan.positionMs;
    m_network->scheduler().setLimits(limits);
    m_network->setPlan(m_line.plan);
    const BusDispatcher &dispatcher = m_network->scheduler().bus()->dispatcher();
    connect(&dispatcher, &BusDispatcher::heard, this, [this] { ++m_frames; });
    connect(&dispatcher, &BusDispatcher::written, this, [this] { ++m_frames; });
    connect(m_network.get(), &VOXNetwork::nodeAdded, this, &LineBridge::handleNode);
    connect(m_network.get(), &VOXNetwork::nodeChanged, this, &LineBridge::handleNode);
    connect(m_network.get(), &VOXNetwork::lineChanged, this, &LineBridge::handleLine);
    connect(m_network.get(), &VOXNetwork::discovered, this, [this] {
        m_isScanning = false;
        checkScan();
    });
    connect(m_network.get(), &VOXNetwork::noticed, this, [this](const QString &sentence) {
        Q_EMIT noticed(BridgeLog::Warning, QStringLiteral("line %1: %2").arg(m_line.name, sentence));
    });
    for (const auto &[addr, node] : m_line.nodes) {
        const VOX::NodeType type = node.isLegacy ? VOX::NODETYPE_HRMv2 : VOX::NODETYPE_ANY;
        m_network->add(VOX::makeAddr(type, static_cast<int>(addr)));
    }
    m_publisher.set(m_lineOrder + AttributesPlace, m_topics.line("bridge"), m_site.name.toUtf8(), 1);
    sayLineDocuments();
    handleLine();
    m_timer.start(TickMs, this);
}

bool LineBridge::isOnline() const
{
    return m_network && m_network->line() == VOXNetwork::Open && answering() > 0;
}

bool LineBridge::isHere(const VOXNetworkNode &node)
{
    return node.presence() == VOXNetworkNode::Up || node.presence() == VOXNetworkNode::Shaky;
}

QString LineBridge::problem() const
{
    const QString problem = m_network ? m_network->lineProblem() : QString();
    return problem.isEmpty() ? QStringLiteral("No node answers.") : problem;
}

int LineBridge::answering() const
{
    if (!m_network)
        return 0;
    const auto &nodes = m_network->nodes();
    return static_cast<int>(std::count_if(nodes.cbegin(), nodes.cend(), [this](const VOXNetworkNode *node) {
        return isServed(node->address()) && isHere(*node);
    }));
}

QVector<unsigned int> LineBridge::silent() const
{
    QVector<unsigned int> addrs;
    if (!m_network)
        return addrs;
    const auto &nodes = m_network->nodes();
    for (const VOXNetworkNode *const node : nodes) {
        if (isServed(node->address()) && !isHere(*node))
            addrs += node->address();
    }
    return addrs;
}

void LineBridge::handleLine()
{
    const bool isOpen = m_network->line() == VOXNetwork::Open;
    if (isOpen && m_line.isScan && !std::exchange(m_isScanning, true))
        m_network->discover();
    if (!isOpen) {
        m_isScanning = false;
        Q_EMIT noticed(BridgeLog::Error,
                       QStringLiteral("line %1: %2").arg(m_line.name, m_network->lineProblem()));
    }
    m_publisher.set(m_lineOrder, m_topics.line("availability"), word(isOnline()), 1);
    sayStats();
    checkScan();
}

void LineBridge::checkScan()
{
    if (m_isScanned)
        return;
    const auto &nodes = m_network->nodes();
    const bool isAsked = std::none_of(nodes.cbegin(), nodes.cend(), [](const VOXNetworkNode *node) {
        return node->presence() == VOXNetworkNode::Unknown;
    });
    if (m_network->line() == VOXNetwork::Open && (m_isScanning || !isAsked))
        return;
    m_isScanned = true;
    sayStats();
    if (m_network->line() != VOXNetwork::Closed && m_line.isScan && answering() == 0)
        Q_EMIT noticed(
            BridgeLog::Warning,
            QStringLiteral("line %1: nobody has answered the scan; nodes that the site lists are asked "
                           "one by one")
                .arg(m_line.name));
    Q_EMIT scanned();
}

LineBridge::Pace &LineBridge::paceOf(unsigned int addr)
{
    const auto found = m_paces.find(addr);
    if (found != m_paces.end())
        return *found;
    Pace pace;
    pace.order = m_order + ++m_lastOrder * Publisher::UnitSize;
    pace.saidMs = -SayMs;
    return *m_paces.insert(addr, pace);
}

void LineBridge::handleNode(VOXNetworkNode *node)
{
    const unsigned int addr = node->address();
    if (!isServed(addr))
        return;
    Pace &pace = paceOf(addr);
    const BridgeTarget target{BridgeTarget::Node, addr};
    m_publisher.set(pace.order + AvailabilityPlace, m_topics.of(target, "availability"), word(isHere(*node)),
                    1);
    m_publisher.set(m_lineOrder, m_topics.line("availability"), word(isOnline()), 1);
    m_areGroupsNews = !m_line.groups.empty();
    checkScan();
    auto *const motor = qobject_cast<VOXNetworkMotor *>(node);
    if (!motor)
        return;
    checkDocument(*motor, pace);
    const CoverValues values = CoverValues::of(*motor, m_line.node(addr), m_site.endTolerance);
    // A new state is told at once, and steps of the same motion at times.
    if (values.stateText() != pace.state || m_clock.elapsed() - pace.saidMs >= SayMs)
        say(*motor, pace);
    else
        pace.isWaiting = true;
}

/// Attributes, position and state, in this order: who acts on the state reads the position.
void LineBridge::say(VOXNetworkMotor &motor, Pace &pace)
{
    pace.isWaiting = false;
    // What the broker has from an earlier time stands until there is something new.
    if (!motor.status() && !(motor.isLegacy() && isHere(motor)))
        return;
    const BridgeTarget target{BridgeTarget::Node, motor.address()};
    const CoverValues values = CoverValues::of(motor, m_line.node(motor.address()), m_site.endTolerance);
    pace.saidMs = m_clock.elapsed();
    pace.state = values.stateText();
    m_publisher.set(pace.order + AttributesPlace, m_topics.of(target, "attributes"),
                    textOf(attributesOf(motor)), 0);
    const QByteArray topic = m_topics.of(target, "position");
    pace.isForgetting = !values.position && !m_publisher.payload(topic).isEmpty();
    if (values.position)
        m_publisher.set(pace.order + PositionPlace, topic, values.positionText(), 0);
    else if (pace.isForgetting)
        sayDocument(motor, pace);
    m_publisher.set(pace.order + StatePlace, m_topics.of(target, "state"), pace.state, 0);
}

/// Home Assistant keeps the position of a cover that has one, whatever comes; so first it has none.
void LineBridge::forgetPosition(unsigned int addr, Pace &pace)
{
    const BridgeTarget target{BridgeTarget::Node, addr};
    if (!pace.isForgetting || !m_publisher.isSaid(m_documents.topic(target)))
        return;
    pace.isForgetting = false;
    m_publisher.set(pace.order + PositionPlace, m_topics.of(target, "position"), QByteArray(), 0);
}

void LineBridge::sayWaiting(qint64 nowMs)
{
    for (auto each = m_paces.begin(); each != m_paces.end(); ++each) {
        VOXNetworkMotor *const motor = m_network->motor(each.key());
        if (!motor)
            continue;
        if (each->isWaiting && nowMs - each->saidMs >= SayMs)
            say(*motor, *each);
        if (each->documentDueMs > 0 && nowMs >= each->documentDueMs)
            sayDocument(*motor, *each);
        forgetPosition(each.key(), *each);
    }
}

void LineBridge::sayGroups()
{
    if (!std::exchange(m_areGroupsNews, false))
        return;
    int order = m_order + GroupOrders;
    for (const auto &each : m_line.groups) {
        const BridgeTarget target{BridgeTarget::Group, each.first};
        QVector<CoverValues> members;
        bool isAny = false;
        const auto &motors = m_groups->members(each.first);
        for (const VOXNetworkMotor *const motor : motors) {
            isAny |= isHere(*motor);
            members += CoverValues::of(*motor, m_line.node(motor->address()), m_site.endTolerance);
        }
        const CoverValues values = CoverValues::ofGroup(members);
        const QByteArray topic = m_topics.of(target, "position");
        m_publisher.set(order + AvailabilityPlace, m_topics.of(target, "availability"), word(isAny), 1);
        if (values.position || !m_publisher.payload(topic).isEmpty())
            m_publisher.set(order + PositionPlace, topic, values.positionText(), 0);
        m_publisher.set(order + StatePlace, m_topics.of(target, "state"), values.stateText(), 0);
        order += Publisher::UnitSize;
    }
}

void LineBridge::sayHealth(const VOXNetworkNode &node)
{
    const BridgeTarget target{BridgeTarget::Node, node.address()};
    const quint64 unanswered = m_network->scheduler().nodeFigures(node.address()).unanswered;
    m_publisher.set(paceOf(node.address()).order + HealthPlace, m_topics.of(target, "health"),
                    textOf(healthOf(node, unanswered)), 0);
}

/// One node at a time, so that each has its turn every five minutes.
void LineBridge::sayNextHealth()
{
    if (m_paces.isEmpty())
        return;
    auto next = m_paces.upperBound(m_lastHealth);
    if (next == m_paces.end())
        next = m_paces.begin();
    m_lastHealth = next.key();
    m_healthDueMs = m_clock.elapsed() + HealthMs / m_paces.size();
    const VOXNetworkNode *const node = m_network->node(m_lastHealth);
    if (node && node->presence() != VOXNetworkNode::Unknown)
        sayHealth(*node);
}

void LineBridge::sayStats()
{
    const qint64 now = m_clock.elapsed();
    const qint64 passedMs = StatsMs - std::max<qint64>(0, m_statsDueMs - now);
    const quint64 frames = m_frames - std::exchange(m_toldFrames, m_frames);
    m_statsDueMs = now + StatsMs;
    const double rate =
        passedMs > 0 ? static_cast<double>(frames * MsPerSecond) / static_cast<double>(passedMs) : 0;
    const QString problem = m_network->lineProblem();
    const bool hasRate = m_network->scheduler().lineRate() > 0;
    const QString stretch = m_network->planStretch();
    m_publisher.set(
        m_lineOrder + StatePlace, m_topics.line("stats"),
        textOf({{QStringLiteral("load"),
                 hasRate ? QJsonValue(m_network->scheduler().loadPercent()) : QJsonValue()},
                {QStringLiteral("frames_per_second"), std::round(rate * 10) / 10},
                {QStringLiteral("failed_checks"), allFailedChecks()},
                {QStringLiteral("nodes"), answering()},
                {QStringLiteral("dead"), int(silent().size())},
                {QStringLiteral("plan"), stretch.isEmpty() ? QJsonValue() : QJsonValue(stretch)},
                {QStringLiteral("problem"), problem.isEmpty() ? QJsonValue() : QJsonValue(problem)}}),
        0);
}

void LineBridge::settle()
{
    if (!m_network)
        return;
    for (auto each = m_paces.begin(); each != m_paces.end(); ++each) {
        if (VOXNetworkMotor *const motor = m_network->motor(each.key())) {
            say(*motor, *each);
            if (each->documentDueMs > 0)
                sayDocument(*motor, *each);
        }
    }
    sayGroups();
    sayStats();
}

void LineBridge::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId())
        return;
    const qint64 now = m_clock.elapsed();
    sayWaiting(now);
    sayGroups();
    if (now >= m_healthDueMs)
        sayNextHealth();
    if (now >= m_statsDueMs)
        sayStats();
}

void LineBridge::remember(unsigned int addr)
{
    if (!m_network || !isServed(addr))
        return;
    m_remembered += addr;
    m_network->add(addr);
}

bool LineBridge::isServed(const BridgeTarget &target) const
{
    return target.kind == BridgeTarget::Group ? m_line.groups.count(target.addr) > 0 : isServed(target.addr);
}

void LineBridge::forget(unsigned int addr)
{
    const QVector<QByteArray> topics = retainedTopics({BridgeTarget::Node, addr});
    for (const QByteArray &topic : topics)
        m_publisher.remove(topic);
    m_paces.remove(addr);
    m_remembered.remove(addr);
    if (m_network)
        m_network->remove(addr);
}

QVector<QByteArray> LineBridge::retainedTopics(const BridgeTarget &target) const
{
    QVector<QByteArray> topics{m_documents.topic(target)};
    for (const char *const leaf : {"availability", "attributes", "position", "state", "health"})
        topics += m_topics.of(target, leaf);
    return topics;
}

void LineBridge::handle(const LineTopics::Request &request, const MqttMessage &message)
{
    if (!m_commands)
        return;
    const unsigned int addr = request.target.addr;
    if (request.inbound != LineTopics::Rpc)
        m_commands->handle(request, message);
    else if (m_calls && !isServed(addr))
        answerCall(addr, message, textOf({{QStringLiteral("error"), QStringLiteral("no such node")}}));
    else if (m_calls)
        m_calls->handle(addr, message);
}

void LineBridge::answerCall(unsigned int addr, const MqttMessage &message, const QByteArray &payload)
{
    // Answers that wait are bounded, so what comes with them has to be, too.
    const bool isAway = !message.responseTopic.isEmpty()
        && message.responseTopic.size() <= LineTopics::MaxTopic
        && message.correlation.size() <= CoverCommand::MaxBytes;
    if (isAway)
        m_publisher.answer({message.responseTopic, payload, 1, false, {}, message.correlation});
    else
        m_publisher.answer(
            {m_topics.of({BridgeTarget::Node, addr}, "rpc/result"), payload, 1, false, {}, {}});
}

void LineBridge::stopAll()
{
    if (m_commands)
        m_commands->stopAll();
}

void LineBridge::leave()
{
    m_timer.stop();
    m_publisher.forget(m_lineOrder, m_lineOrder + Publisher::UnitSize);
    m_publisher.forget(m_order, m_order + LineOrders);
    m_publisher.forget(DocumentOrders + m_order, DocumentOrders + m_order + LineOrders);
    m_commands.reset();
    m_calls.reset();
    m_groups.reset();
    if (VOXNetwork *const network = m_network.release()) {
        network->disconnect(this);
        network->deleteLater();
    }
    if (!std::exchange(m_isScanned, true))
        Q_EMIT scanned();
}
