#include "vox/bridge/linecommands.h"

#include "messages/kvr.h"
#include "network/voxnetwork.h"
#include "proxies/kvrbcastproxy.h"
#include "proxies/kvrmotorproxy.h"
#include "transport/voxbus.h"
#include "vox/bridge/groupreader.h"
#include "vox/bridge/manyresult.h"
#include "vox/bridge/publisher.h"

#include <QJsonDocument>
#include <QTimer>

#include <algorithm>

namespace {
constexpr int Whole = 100;
constexpr int StopAgainMs = 30;
/// A motor runs by then.
constexpr int StartMs = 300;

/// What takes the line's way: where 0 is up.
struct LineMove
{
    enum Kind { Up, Down, To, Intermediate };

    LineMove(const CoverCommand &command, bool isInverted)
    {
        if (command.kind == CoverCommand::Intermediate) {
            kind = Intermediate;
            value = command.value;
            return;
        }
        const int open = command.kind == CoverCommand::Open ? Whole
            : command.kind == CoverCommand::Close           ? 0
                                                            : command.value;
        value = isInverted ? open : Whole - open;
        // The limits are reached exactly by a command of their own only.
        kind = value == 0 ? Up : value == Whole ? Down : To;
    }

    Kind kind = To;
    int value = 0;
};

QString timeoutWord()
{
    return QStringLiteral("timeout");
}

QString textOf(const MqttMessage &message)
{
    return QStringLiteral("%1 %2").arg(QString::fromUtf8(message.topic), QString::fromUtf8(message.payload));
}

/// The word for a command that has ended without having been accepted.
QString reasonOf(const VOXMotion &motion, const VOXNetwork &network)
{
    switch (motion.end()) {
    case VOXMotion::Replaced:
        return CommandBox::superseded();
    case VOXMotion::NoAnswer:
        return network.line() == VOXNetwork::Closed ? QStringLiteral("line is closed") : timeoutWord();
    default:
        break;
    }
    const QString status = KVR::toString(static_cast<KVR::NackStatus>(motion.refusal()));
    return motion.refusal() >= 0 && !status.isEmpty() ? status : motion.sentence();
}
}

LineCommands::LineCommands(const SiteConfig &site, const LineConfig &line, const LineTopics &topics,
                           VOXNetwork &network, const GroupReader &groups, Publisher &publisher)
    : m_site(site)
    , m_line(line)
    , m_topics(topics)
    , m_network(network)
    , m_groups(groups)
    , m_publisher(publisher)
    , m_box([this](const CoverOrder &order) { take(order); },
            [this](const CoverOrder &order, const QString &reason) { drop(order, reason); })
{
}

QString LineCommands::problemOf(const BridgeTarget &target) const
{
    if (target.kind == BridgeTarget::Group && m_line.groups.count(target.addr) == 0)
        return QStringLiteral("no such group");
    const bool isNode = target.kind == BridgeTarget::Node;
    const bool isServed = m_line.isScan || m_line.nodes.count(target.addr) > 0;
    if (isNode && (!isServed || !m_network.motor(target.addr)))
        return QStringLiteral("no such motor");
    return {};
}

void LineCommands::handle(const LineTopics::Request &request, const MqttMessage &message)
{
    CoverOrder order;
    order.clock.start();
    order.target = request.target;
    order.resultTopic = m_topics.of(request.target, "result");
    QString problem;
    const bool isRead = request.inbound == LineTopics::PositionSet
        ? CoverCommand::readPosition(message.payload, &order.command, &problem)
        : CoverCommand::read(message.payload, &order.command, &problem);
    if (isRead)
        problem = problemOf(request.target);
    if (problem.isEmpty()) {
        Q_EMIT noticed(BridgeLog::Debug, textOf(message));
        m_box.put(order);
        return;
    }
    answer(order, problem);
    Q_EMIT noticed(BridgeLog::Warning,
                   QStringLiteral("%1 is not obeyed: %2").arg(QString::fromUtf8(message.topic), problem));
}

void LineCommands::forget(unsigned int addr)
{
    const BridgeTarget node{BridgeTarget::Node, addr};
    m_box.clear(node);
    m_box.overtake({addr}, node);
}

void LineCommands::drop(const CoverOrder &order, const QString &reason)
{
    const bool isStep = reason == CommandBox::superseded();
    Q_EMIT noticed(isStep ? BridgeLog::Debug : BridgeLog::Info,
                   QStringLiteral("%1 is not obeyed: %2")
                       .arg(QString::fromUtf8(m_topics.of(order.target, "set")), reason));
    // Nobody wants to hear this of each step of a slider.
    if (!order.command.id.isEmpty())
        answer(order, reason);
}

void LineCommands::take(const CoverOrder &order)
{
    if (order.target.kind != BridgeTarget::Node) {
        takeMany(order);
    } else if (VOXNetworkMotor *const motor = m_network.motor(order.target.addr)) {
        takeSingle(order, *motor);
    } else {
        answer(order, QStringLiteral("no such motor"));
    }
}

VOXMotion *LineCommands::send(const CoverCommand &command, VOXNetworkMotor &motor) const
{
    if (command.kind == CoverCommand::Stop)
        return motor.stop();
    const LineMove move(command, m_line.node(motor.address()).isInverted);
    switch (move.kind) {
    case LineMove::Up:
        return motor.moveUp();
    case LineMove::Down:
        return motor.moveDown();
    case LineMove::Intermediate:
        return motor.moveToIntermediate(move.value);
    default:
        return motor.moveTo(move.value);
    }
}

void LineCommands::takeSingle(const CoverOrder &order, VOXNetworkMotor &motor)
{
    if (order.command.kind != CoverCommand::Wink) {
        m_box.overtake({motor.address()}, order.target);
        follow(order, send(order.command, motor));
        return;
    }
    const BusPendingCall wink = motor.wink();
    // What the motor cannot do is not sent.
    if (wink.error() == BusPendingCall::Canceled) {
        answer(order, motor.lastRefusal());
        return;
    }
    wink.onFinished(this, [this, order](const BusPendingCall &ended) {
        const BusMessage &reply = ended.reply();
        const bool isTimeout = ended.error() == BusPendingCall::Timeout;
        answer(order,
               isTimeout                ? timeoutWord()
                   : ended.isError()    ? ended.errorString()
                   : KVR::isNack(reply) ? KVR::toString(KVR::getNackReply(reply))
                                        : QString());
    });
}

void LineCommands::follow(const CoverOrder &order, VOXMotion *motion)
{
    connect(motion, &VOXMotion::accepted, this, [this, order] {
        answer(order, QString());
        QTimer::singleShot(StartMs, this, [this, addr = order.target.addr] { lookAt(addr); });
    });
    connect(motion, &VOXMotion::finished, this, [this, order](const VOXMotion *ended) {
        if (ended->isAccepted())
            return;
        const bool isQuiet = ended->end() == VOXMotion::Replaced && order.command.id.isEmpty();
        if (!isQuiet)
            answer(order, reasonOf(*ended, m_network));
    });
}

/// Who watches wants to see that the motor moves, not only that it has moved: the plan asks later.
void LineCommands::lookAt(unsigned int addr) const
{
    const VOXNetworkMotor *const motor = m_network.motor(addr);
    if (motor && !motor->isLegacy() && !motor->isMoving())
        KVRMotorProxy(addr, m_network.scheduler().lane(VOXScheduler::ReadBack)).getMotorStatus();
}

QVector<VOXNetworkMotor *> LineCommands::members(const BridgeTarget &target) const
{
    QVector<VOXNetworkMotor *> motors;
    if (target.kind == BridgeTarget::Group)
        return m_groups.members(target.addr);
    const QVector<VOXNetworkMotor *> all = m_network.groupMembers(VOXNetwork::Everyone);
    for (VOXNetworkMotor *const motor : all) {
        if (m_line.isScan || m_line.nodes.count(motor->address()) > 0)
            motors += motor;
    }
    return motors;
}

/// Whether one frame reaches those that are meant, and nobody else, and means the same for each.
bool LineCommands::isOneFrame(const BridgeTarget &target, const QVector<VOXNetworkMotor *> &motors) const
{
    const bool isMixed = std::any_of(motors.cbegin(), motors.cend(), [&](const VOXNetworkMotor *motor) {
        return m_line.node(motor->address()).isInverted
            != m_line.node(motors.constFirst()->address()).isInverted;
    });
    const bool isExact = target.kind == BridgeTarget::Group ? m_groups.isExact(target.addr) : m_line.isScan;
    return !motors.isEmpty() && isExact && !isMixed;
}

VOXMotion *LineCommands::sendFrame(const CoverOrder &order, bool isInverted) const
{
    const VOX::Addr group =
        order.target.kind == BridgeTarget::Group ? order.target.addr : VOXNetwork::Everyone;
    if (order.command.kind == CoverCommand::Stop)
        return m_network.stopGroup(group);
    const LineMove move(order.command, isInverted);
    switch (move.kind) {
    case LineMove::Up:
        return m_network.moveGroupUp(group);
    case LineMove::Down:
        return m_network.moveGroupDown(group);
    case LineMove::Intermediate:
        return m_network.moveGroupToIntermediate(group, move.value);
    default:
        return m_network.moveGroupTo(group, move.value);
    }
}

void LineCommands::takeMany(const CoverOrder &order)
{
    if (order.command.kind == CoverCommand::Stop && order.target.kind == BridgeTarget::All) {
        stopAll(order);
        return;
    }
    QVector<VOXNetworkMotor *> motors = members(order.target);
    const auto isOvertaken = [&](const VOXNetworkMotor *motor) {
        return order.overtaken.contains(motor->address());
    };
    const auto end = std::remove_if(motors.begin(), motors.end(), isOvertaken);
    const bool isWhole = end == motors.end();
    motors.erase(end, motors.end());
    if (motors.isEmpty()) {
        answer(order, isWhole ? QStringLiteral("no member is known") : CommandBox::superseded());
        return;
    }
    auto *const result = new ManyResult(motors, order.command.kind, this);
    connect(result, &ManyResult::finished, this, [this, order](bool isGood, const QJsonObject &lists) {
        answer(order, isGood ? QString() : QStringLiteral("not all have done it"), lists);
    });
    if (order.command.kind == CoverCommand::Wink) {
        for (VOXNetworkMotor *const motor : qAsConst(motors))
            motor->wink();
        result->watch();
        return;
    }
    QSet<unsigned int> addrs;
    for (const VOXNetworkMotor *const motor : qAsConst(motors)) {
        m_box.clear({BridgeTarget::Node, motor->address()});
        addrs += motor->address();
    }
    m_box.overtake(addrs, order.target);
    if (isWhole && isOneFrame(order.target, motors)) {
        result->watch(sendFrame(order, m_line.node(motors.constFirst()->address()).isInverted));
    } else {
        for (VOXNetworkMotor *const motor : qAsConst(motors))
            result->add(send(order.command, *motor), motor->address());
    }
}

void LineCommands::stopAll()
{
    CoverOrder order;
    order.target.kind = BridgeTarget::All;
    order.resultTopic = m_topics.of(order.target, "result");
    order.clock.start();
    m_box.put(order);
}

/// A broadcast is never answered, so it goes twice, and then the network asks each motor.
void LineCommands::stopAll(const CoverOrder &order)
{
    m_box.clearAll();
    auto *const result =
        new ManyResult(m_network.groupMembers(VOXNetwork::Everyone), CoverCommand::Stop, this);
    connect(result, &ManyResult::finished, this, [this, order](bool isGood, const QJsonObject &lists) {
        answer(order, isGood ? QString() : QStringLiteral("not all have done it"), lists);
    });
    result->watch(m_network.stopAll());
    QTimer::singleShot(StopAgainMs, this, [this] {
        if (m_network.line() != VOXNetwork::Closed)
            KVRBCastProxy(m_network.scheduler().lane(VOXScheduler::User)).ctrlStop();
    });
}

void LineCommands::answer(const CoverOrder &order, const QString &reason, const QJsonObject &more)
{
    const bool isGood = reason.isEmpty();
    if (isGood && order.command.id.isEmpty())
        return;
    QJsonObject object = more;
    if (!order.command.id.isEmpty())
        object.insert(QStringLiteral("id"), QString::fromUtf8(order.command.id));
    object.insert(QStringLiteral("ok"), isGood);
    if (!isGood)
        object.insert(QStringLiteral("reason"), reason);
    object.insert(QStringLiteral("ms"), order.clock.elapsed());
    m_publisher.answer(
        {order.resultTopic, QJsonDocument(object).toJson(QJsonDocument::Compact), 1, false, {}, {}});
}
