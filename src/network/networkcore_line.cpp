#include "network/networkcore_p.h"

#include "framework/busdispatcher.h"
#include "messages/kvr.h"
#include "messages/voxcommandtrait.h"
#include "network/motorwatch_p.h"
#include "network/nodereading_p.h"
#include "network/refusal_p.h"

#include <QSerialPort>
#include <QTimerEvent>

#include <limits>
#include <utility>

namespace {
constexpr int ReopenMs = 2000;

/// A port that has gone by itself forgets its text when it is closed, but not its error.
QString reasonForClosed(const VOXBus &bus)
{
    const auto *const port = qobject_cast<const QSerialPort *>(bus.device());
    const QSerialPort::SerialPortError error = port ? port->error() : QSerialPort::NoError;
    if (error == QSerialPort::ResourceError || error == QSerialPort::ReadError)
        return QStringLiteral("%1 has gone, as when its adapter is pulled out").arg(port->portName());
    return bus.errorString();
}

bool isMoveOrStop(const VOXCommandTrait &trait)
{
    return trait.isMotion() || trait.kind == VOXCommandTrait::Stop;
}
}

// The line

void NetworkCore::listenTo(VOXBus *bus)
{
    if (!bus)
        return;
    connect(&bus->dispatcher(), &BusDispatcher::heard, this, &NetworkCore::handleHeard);
    connect(&bus->dispatcher(), &BusDispatcher::written, this, &NetworkCore::handleWritten);
    connect(bus, &VOXBus::checkFailed, this, [this] { m_discovery.handleDamaged(); });
    connect(bus, &VOXBus::openChanged, this, &NetworkCore::checkLine);
    connect(bus, &QObject::destroyed, this, &NetworkCore::checkLine);
    // A port that goes away does not tell by openChanged().
    if (const QIODevice *const device = bus->device()) {
        connect(device, &QIODevice::aboutToClose, this, &NetworkCore::checkLine, Qt::QueuedConnection);
        connect(device, &QObject::destroyed, this, &NetworkCore::checkLine, Qt::QueuedConnection);
    }
}

void NetworkCore::checkLine()
{
    const bool isOpen = m_bus && m_bus->isOpen() && m_scheduler.isActive();
    if (isOpen || !m_ownBus)
        m_timer.stop();
    else if (!m_timer.isActive())
        m_timer.start(ReopenMs, this);
    if (m_line.setOpen(isOpen))
        handleLineChange();
}

void NetworkCore::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    // It may be gone, and still seem open.
    if (m_ownBus && !m_ownBus->isOpen())
        m_ownBus->open();
    checkLine();
}

QString NetworkCore::lineProblem() const
{
    if (line() == VOXNetwork::Open)
        return {};
    if (line() == VOXNetwork::Silent)
        return QStringLiteral("No node answers. Check the power of the nodes, the cable, and the adapter.");
    if (m_bus && !m_scheduler.isActive())
        return QStringLiteral("Another network has this bus. Use that one, or close it first.");
    const QString reason = m_bus ? reasonForClosed(*m_bus) : QStringLiteral("it is not there");
    const QString problem = reason.isEmpty() ? QStringLiteral("The bus is not open.")
                                             : QStringLiteral("The bus is not open: %1.").arg(reason);
    return m_ownBus ? problem + QStringLiteral(" It is opened again every 2 s.") : problem;
}

void NetworkCore::handleLineChange()
{
    const VOXNetwork::Line line = m_line.line();
    m_news.add([this, line] { Q_EMIT m_network.lineChanged(line); });
    m_lastProbed = 0;
    if (line == VOXNetwork::Open) {
        m_listener.reset();
        for (const auto &entry : m_nodes) {
            entry.second->isRecalled = true;
            m_urgent.add(*entry.second, QuestionSet(Questions::heartbeat(*entry.second)) | Questions::Values);
            m_patient.add(*entry.second, {});
        }
        feedReadBack();
        m_againMs = std::numeric_limits<qint64>::max();
        wakePolls();
    } else if (line == VOXNetwork::Closed) {
        m_discovery.abort();
        const QString problem = lineProblem();
        for (const auto &entry : m_nodes)
            m_motions.handleSilence(*entry.second, problem);
    } else {
        // Not from inside the end of a call.
        QMetaObject::invokeMethod(this, &NetworkCore::handleSilent, Qt::QueuedConnection);
    }
}

/// What can wait would wait for nothing.
void NetworkCore::handleSilent()
{
    if (line() != VOXNetwork::Silent)
        return;
    for (const VOXScheduler::Lane each :
         {VOXScheduler::Configure, VOXScheduler::Automatic, VOXScheduler::Poll})
        lane(each)->dispatcher().endAll(BusPendingCall::NotOpen);
    m_scheduler.wakePolls();
}

void NetworkCore::notice(const QString &sentence)
{
    if (!sentence.isEmpty())
        m_news.add([this, sentence] { Q_EMIT m_network.noticed(sentence); });
}

// What is heard

void NetworkCore::handleWritten(const QByteArray &frame)
{
    m_listener.handleWritten(frame, nowMs());
    if (VOXMessage::addrType(frame) != VOX::P2P)
        handleCommand(VOXMessage(BusMessage(frame)), false);
}

void NetworkCore::handleHeard(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (!frame.isValid())
        return;
    QString noticed;
    const LineListener::Kind kind = m_listener.examine(frame, nowMs(), m_isSending, &noticed);
    notice(noticed);
    if (kind == LineListener::OfUs)
        return;
    // A node may give commands, too.
    if (frame.destAddr(false) != (VOX::HostAddr & VOX::AddrMask))
        handleCommand(frame, true);
    if (kind == LineListener::OfHost)
        return;
    if (NodeState *const node = find(frame.srcAddr(false)))
        handleFrameOf(*node, frame);
    else
        m_discovery.handleStranger(frame);
}

/// A command for nodes, of another host or, to a group, of this one: what they make of it is read.
void NetworkCore::handleCommand(const VOXMessage &frame, bool isForeign)
{
    const VOXCommandTrait trait = VOXCommandTrait::of(frame);
    if (!isMoveOrStop(trait) && trait.kind != VOXCommandTrait::Setting)
        return;
    QVector<NodeState *> nodes;
    if (frame.addrType() != VOX::P2P)
        nodes = members(frame.addrType() == VOX::BCAST ? VOXNetwork::Everyone : frame.srcAddr(false));
    else if (NodeState *const node = find(frame.destAddr(false)))
        nodes = {node};
    for (NodeState *const node : qAsConst(nodes)) {
        if (trait.kind == VOXCommandTrait::Setting) {
            m_patient.add(*node, Questions::changedBy(*node, frame.cmd()));
            continue;
        }
        if (isForeign && trait.isMotion() && trait.kind != VOXCommandTrait::Wink)
            m_motions.handleForeignMove(*node);
        if (!node->move && !node->stop)
            m_planner.noteCommand(*node, nowMs());
        m_planner.update(*node);
    }
    wakePolls();
}

void NetworkCore::handleFrameOf(NodeState &node, const VOXMessage &frame)
{
    const QString doubled = LineListener::compare(node, frame);
    if (!doubled.isEmpty() && !std::exchange(node.isDouble, true))
        notice(doubled);
    if (!checkType(node, frame))
        return;
    node.heardMs = nowMs();
    if (m_line.handleHeard(node.addr))
        handleLineChange();
    node.isRecalled = false;
    const bool wasDown = node.presence.isDown();
    if (wasDown)
        m_scheduler.setRepeating(node.addr, true);
    const std::optional<double> percentBefore = node.motor.exactPercent();
    const std::optional<NodeReading> reading = takeReading(node, frame);
    if (reading && reading->isNonsense) {
        handleNonsense(node, reading->question);
        return;
    }
    if (node.presence.handleHeard())
        becomeUp(node, wasDown);
    m_planner.noteFrame(node, node.heardMs);
    if (reading) {
        if (reading->isChange)
            noteChange(node);
        if (reading->question != Question::Intermediate)
            node.patient.questions.setFlag(reading->question, false);
        handleReading(node, reading->question, percentBefore);
    }
    m_planner.update(node);
    wakePolls();
}

void NetworkCore::takeAnswer(NodeState &node, const VOXMessage &frame)
{
    const std::optional<NodeReading> reading = takeReading(node, frame);
    if (!reading || reading->isNonsense)
        return;
    node.urgent.questions.setFlag(reading->question, false);
    node.patient.questions.setFlag(reading->question, false);
    noteChange(node);
}

void NetworkCore::handleReading(NodeState &node, Question question, std::optional<double> percentBefore)
{
    if (question == Question::Status) {
        m_planner.noteStatus(node, node.heardMs);
        m_motions.handleStatus(node);
    } else if (question == Question::Position) {
        const bool hasMoved = MotorWatch::handlePosition(node, percentBefore, node.heardMs);
        m_planner.notePosition(node, hasMoved, node.heardMs);
        m_motions.handlePosition(node);
        // Somebody on site has moved it, or has set its limits: neither is told on the line.
        if (hasMoved && percentBefore && !node.motor.isRunning())
            readSoon(node, Question::Status);
        if (!percentBefore && node.motor.percent && !node.motor.downLimit)
            m_patient.add(node, Question::Limits);
    }
}

/// The question is not asked again at once: the answer would be the same.
void NetworkCore::handleNonsense(NodeState &node, Question question)
{
    node.patient.questions.setFlag(question, false);
    if (node.presence.handleNonsense(node.heardMs))
        notePresence(node);
    if (Questions::Values.testFlag(question))
        m_motions.handleSilence(
            node,
            QStringLiteral(
                "%1 answers, but not so that it makes sense: where it is is not known. Its software "
                "may be newer than this one.")
                .arg(node.name()));
    m_planner.update(node);
    wakePolls();
}

void NetworkCore::becomeUp(NodeState &node, bool wasDown)
{
    notePresence(node);
    m_patient.add(node, {});
    readSoon(node, wasDown ? Questions::Values : QuestionSet());
}

bool NetworkCore::checkType(NodeState &node, const VOXMessage &frame)
{
    const VOX::NodeType type = frame.srcNodeType();
    if (node.type != VOX::NODETYPE_ANY || type == VOX::NODETYPE_ANY)
        return true;
    const VOX::Addr addr = frame.srcAddr(true);
    if (node.isMotor != VOXNetworkMotor::isMotorType(type)) {
        replace(node, addr, false);
        return false;
    }
    node.type = type;
    noteChange(node);
    return true;
}

// What has become of calls

void NetworkCore::handleAnswered(VOX::Addr addr, const BusMessage &request, const BusMessage &reply)
{
    const VOXMessage asked(request);
    const VOXMessage answer(reply);
    m_discovery.handleAnswered(addr, answer);
    NodeState *const node = find(addr);
    if (!node)
        return;
    const VOXCommandTrait trait = VOXCommandTrait::of(asked);
    if (KVR::isNack(answer)) {
        handleNack(*node, asked, KVR::getNackReply(answer));
    } else if (isMoveOrStop(trait)) {
        m_planner.noteCommand(*node, nowMs());
        m_planner.update(*node);
    } else if (trait.kind == VOXCommandTrait::Setting) {
        node->urgentIntermediate = Questions::indexOf(*node, asked);
        readSoon(*node, Questions::changedBy(*node, asked.cmd()));
    } else if (Questions::askedBy(*node, asked.cmd()) == Question::Intermediate) {
        // The next one, until the motor says that there are no more.
        const int index = Questions::indexOf(*node, asked);
        if (index == node->nextIntermediate - 1 && index < VOXNetworkMotor::MaxIntermediates)
            m_patient.add(*node, Question::Intermediate);
    }
    wakePolls();
}

void NetworkCore::handleNack(NodeState &node, const VOXMessage &request, int status)
{
    const std::optional<Question> question = Questions::askedBy(node, request.cmd());
    if (question) {
        if (status == KVR::NACK_BUSY)
            m_patient.add(node, *question);
        else if (*question == Question::Intermediate)
            node.nextIntermediate = 1;
        else if (*question == Question::Label || *question == Question::Status)
            m_discovery.check(node.addr);
        // What has no status is no motor of this generation. The discovery finds out whether it is an older
        // one.
        const bool isOther = *question == Question::Status && status == KVR::NACK_BADMSG && node.isMotor
            && !node.isLegacy && node.type == VOX::NODETYPE_ANY;
        if (isOther)
            replace(node, node.addr, false, true);
        return;
    }
    noteRefusal(node,
                QStringLiteral("%1 refuses %2: %3.")
                    .arg(node.name(), VOX::toString(request.cmd()), refusalText(status)));
    if (status == KVR::NACK_NODE_IS_LOCKED)
        readSoon(node, QuestionSet(Question::Lock) | Question::Status);
}

void NetworkCore::handleUnanswered(VOX::Addr addr, const BusMessage &request)
{
    m_discovery.handleUnanswered(addr);
    NodeState *const node = find(addr);
    if (!node)
        return;
    const VOXMessage asked(request);
    const std::optional<Question> question = Questions::askedBy(*node, asked.cmd());
    if (question == Question::Intermediate)
        node->nextIntermediate = Questions::indexOf(*node, asked);
    if (question && Questions::Values.testFlag(*question))
        m_planner.noteUnanswered(*node, *question, nowMs());
    else if (question)
        m_patient.add(*node, *question);
    node->isRecalled = false;
    if (node->presence.handleUnanswered(nowMs(), m_planner.spread()))
        notePresence(*node);
    if (node->presence.isDown()) {
        m_scheduler.setRepeating(addr, false);
        m_motions.handleSilence(
            *node,
            QStringLiteral("%1 does not answer any more. Check its power and its cable.").arg(node->name()));
    }
    if (m_line.handleUnanswered(addr, static_cast<int>(m_nodes.size())))
        handleLineChange();
    m_planner.update(*node);
    wakePolls();
}
