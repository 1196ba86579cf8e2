#include "network/motionbook_p.h"

#include "messages/kvrnack.h"
#include "network/motorwatch_p.h"
#include "network/networkcore_p.h"
#include "network/refusal_p.h"

#include <utility>

namespace {
/// A motor that seems to rest where it should not is read once more: a late answer may be from before.
constexpr int RestsUntilSure = 2;

bool isGroup(VOX::Addr addr)
{
    return addr != 0 && addr <= VOX::AddrMask && addr != (VOX::HostAddr & VOX::AddrMask);
}

QString where(const NodeState &motor)
{
    return motor.motor.percent ? QStringLiteral("at %1 %").arg(*motor.motor.percent)
                               : QStringLiteral("somewhere");
}
}

VOXMotion *MotionBook::makeMotion(VOXNetworkMotor *motor)
{
    return new VOXMotion(motor, &m_core.network());
}

VOXMotion *MotionBook::start(NodeState &motor, const Move &move)
{
    VOXMotion *const motion = makeMotion(static_cast<VOXNetworkMotor *>(motor.node));
    const QString problem = move.problemFor(motor);
    if (!problem.isEmpty()) {
        m_core.noteRefusal(motor, problem);
        finish(motion, VOXMotion::Invalid, problem);
    } else if (!m_core.isSending()) {
        finish(motion, VOXMotion::Invalid, NetworkCore::notSendingText());
    } else if (m_core.line() == VOXNetwork::Closed) {
        finish(motion, VOXMotion::NoAnswer, m_core.lineProblem());
    } else {
        MotionRecord &record = enter(motor, move);
        record.motion = motion;
        send(motor, record, VOXScheduler::User);
    }
    return motion;
}

VOXMotion *MotionBook::startGroup(VOX::Addr group, const QVector<NodeState *> &members, const Move &move)
{
    VOXMotion *const motion = makeMotion(nullptr);
    const QString problem = !m_core.isSending() ? NetworkCore::notSendingText()
        : !isGroup(group) ? QStringLiteral("No group has the address %1.").arg(VOX::toString(group))
                          : move.problem();
    if (!problem.isEmpty()) {
        finish(motion, VOXMotion::Invalid, problem);
        return motion;
    }
    if (m_core.line() == VOXNetwork::Closed) {
        finish(motion, VOXMotion::NoAnswer, m_core.lineProblem());
        return motion;
    }
    const BusPendingCall call = move.sendToGroup(group, m_core.lane(VOXScheduler::User));
    if (members.isEmpty()) {
        finish(motion, VOXMotion::NoAnswer,
               QStringLiteral("Sent; but no member of the group is known, so nobody was asked what it did."));
        return motion;
    }
    const auto shared = std::make_shared<GroupMotion>();
    shared->motion = motion;
    shared->members = shared->running = shared->undecided = static_cast<int>(members.size());
    const quint64 firstId = m_lastId + 1;
    QVector<VOX::Addr> addrs;
    for (NodeState *const motor : members) {
        MotionRecord &record = enter(*motor, move);
        record.group = shared;
        addrs += motor->addr;
        // It hears neither groups nor broadcasts.
        if (motor->isLegacy)
            send(*motor, record, VOXScheduler::User);
    }
    call.onFinished(&m_core, [this, addrs, firstId] { handleGroupSent(addrs, firstId); });
    return motion;
}

/// Enters a command that @p motor is about to get, in place of an older one.
MotionRecord &MotionBook::enter(NodeState &motor, const Move &move)
{
    const bool isStop = move.kind == Move::Stop;
    end(motor, motor.stop, VOXMotion::Replaced,
        QStringLiteral("A newer command for %1 has taken the place of this stop.").arg(motor.name()));
    // A stop ends the move before it when it has shown its effect.
    if (!isStop)
        end(motor, motor.move, VOXMotion::Replaced,
            QStringLiteral("A newer command for %1 has taken the place of this one.").arg(motor.name()));
    Record &place = isStop ? motor.stop : motor.move;
    place = std::make_unique<MotionRecord>();
    place->id = ++m_lastId;
    place->move = move;
    place->target = move.target(motor);
    m_core.noteMotion(motor);
    return *place;
}

void MotionBook::send(NodeState &motor, MotionRecord &record, VOXScheduler::Lane lane)
{
    record.phase = MotionRecord::Sent;
    const BusPendingCall call = record.move.send(motor, m_core.lane(lane));
    const VOX::Addr addr = motor.addr;
    const quint64 id = record.id;
    call.onFinished(&m_core, [this, addr, id](const BusPendingCall &ended) { handleSent(addr, id, ended); });
}

MotionBook::Record *MotionBook::recordOf(NodeState &motor, quint64 id)
{
    for (Record *const record : {&motor.move, &motor.stop}) {
        if (*record && (*record)->id == id)
            return record;
    }
    return nullptr;
}

void MotionBook::handleSent(VOX::Addr addr, quint64 id, const BusPendingCall &call)
{
    NodeState *const motor = m_core.find(addr);
    Record *const record = motor ? recordOf(*motor, id) : nullptr;
    if (!record)
        return;
    if (call.error() == BusPendingCall::Superseded) {
        end(*motor, *record, VOXMotion::Replaced, call.errorString());
    } else if (call.isError()) {
        end(*motor, *record, VOXMotion::NoAnswer,
            call.error() == BusPendingCall::Timeout
                ? QStringLiteral(
                      "%1 has not answered. Whether it has heard the command, its position will tell.")
                      .arg(motor->name())
                : call.errorString());
    } else if (KVR::isNack(call.reply())) {
        handleRefused(*motor, *record, call.reply());
    } else if (motor->isLegacy) {
        accept(**record);
        end(*motor, *record, VOXMotion::Accepted,
            QStringLiteral("%1 has taken the command. It is of the older generation, and does not tell more.")
                .arg(motor->name()));
    } else {
        accept(**record);
        if ((*record)->move.kind == Move::Stop)
            m_core.readSoon(*motor, Question::Status);
    }
}

void MotionBook::handleRefused(NodeState &motor, Record &record, const BusMessage &reply)
{
    const int status = KVR::getNackReply(reply);
    end(motor, record, status == KVR::NACK_NODE_IS_LOCKED ? VOXMotion::Locked : VOXMotion::Refused,
        QStringLiteral("%1 refuses: %2.").arg(motor.name(), refusalText(status)));
}

/// The frame for a group is out: what its members made of it has to be read.
void MotionBook::handleGroupSent(const QVector<VOX::Addr> &members, quint64 firstId)
{
    quint64 id = firstId;
    for (const VOX::Addr addr : members) {
        NodeState *const motor = m_core.find(addr);
        Record *const record = motor ? recordOf(*motor, id) : nullptr;
        ++id;
        if (!record || motor->isLegacy)
            continue;
        (*record)->phase = MotionRecord::SentToGroup;
        m_core.readSoon(*motor, (*record)->move.kind == Move::Stop ? Question::Status : Questions::Values);
    }
}

void MotionBook::handleStatus(NodeState &motor)
{
    const bool isRunning = motor.motor.isRunning();
    if (motor.stop)
        handleStopStatus(motor);
    if (!motor.move || motor.move->phase == MotionRecord::Sent)
        return;
    MotionRecord &record = *motor.move;
    record.isAtRest = !isRunning;
    if (!isRunning)
        return;
    record.hasRun = true;
    record.rests = 0;
    if (record.phase == MotionRecord::SentToGroup)
        accept(record);
}

void MotionBook::handleStopStatus(NodeState &motor)
{
    MotionRecord &record = *motor.stop;
    if (record.phase == MotionRecord::Sent)
        return;
    if (!motor.motor.isRunning()) {
        const QString sentence = QStringLiteral("%1 is at rest.").arg(motor.name());
        if (motor.move)
            end(motor, motor.move, VOXMotion::Stopped, QStringLiteral("%1 was stopped.").arg(motor.name()));
        accept(record);
        end(motor, motor.stop, VOXMotion::Arrived, sentence);
    } else if (record.stopsLeft-- > 0) {
        send(motor, record, VOXScheduler::Stop);
    } else {
        end(motor, motor.stop, VOXMotion::Refused,
            QStringLiteral("%1 still moves though it was stopped. Switch it off on site if it has to stand.")
                .arg(motor.name()));
    }
}

void MotionBook::handlePosition(NodeState &motor)
{
    if (!motor.move || !motor.move->isAtRest)
        return;
    MotionRecord &record = *motor.move;
    record.isAtRest = false;
    const bool isThere =
        MotorWatch::isAtTarget(motor) && motor.motor.status->state != KVRMotor::STATE_BLOCKED;
    const bool isDone = isThere
        || (!record.target && record.hasRun && motor.motor.status->source == KVRMotor::SOURCE_INTERNAL
            && motor.motor.status->state == KVRMotor::STATE_STOPPED);
    if (isDone) {
        accept(record);
        end(motor, motor.move, VOXMotion::Arrived,
            QStringLiteral("%1 is %2.").arg(motor.name(), record.move.text()));
    } else if (record.phase == MotionRecord::SentToGroup) {
        tellSingly(motor, record);
    } else if (++record.rests < RestsUntilSure) {
        m_core.readAgain(motor);
    } else {
        conclude(motor);
    }
}

/// The motor neither moves nor stands right: the group's frame has not reached it.
void MotionBook::tellSingly(NodeState &motor, MotionRecord &record)
{
    send(motor, record, VOXScheduler::ReadBack);
}

/// The motor has come to rest elsewhere.
void MotionBook::conclude(NodeState &motor)
{
    const KVRMotor::Status &status = *motor.motor.status;
    const QString name = motor.name();
    if (status.state == KVRMotor::STATE_BLOCKED) {
        end(motor, motor.move, VOXMotion::Blocked,
            QStringLiteral("%1 is blocked %2. Clear its way, and move it again.").arg(name, where(motor)));
    } else if (status.state == KVRMotor::STATE_LOCKED) {
        end(motor, motor.move, VOXMotion::Locked,
            QStringLiteral("%1 is locked %2. Unlock it, and move it again.").arg(name, where(motor)));
    } else if (!motor.move->target && status.source == KVRMotor::SOURCE_INTERNAL) {
        end(motor, motor.move, VOXMotion::Arrived,
            QStringLiteral("%1 is %2.").arg(name, motor.move->move.text()));
    } else {
        end(motor, motor.move, VOXMotion::Stopped,
            QStringLiteral("%1 has come to rest %2.").arg(name, where(motor)));
    }
}

void MotionBook::handleForeignMove(NodeState &motor)
{
    const QString sentence = QStringLiteral("Another host has moved %1.").arg(motor.name());
    end(motor, motor.move, VOXMotion::Replaced, sentence);
    end(motor, motor.stop, VOXMotion::Replaced, sentence);
}

void MotionBook::handleSilence(NodeState &motor, const QString &reason)
{
    end(motor, motor.move, VOXMotion::NoAnswer, reason);
    end(motor, motor.stop, VOXMotion::NoAnswer, reason);
}

void MotionBook::accept(MotionRecord &record)
{
    if (std::exchange(record.phase, MotionRecord::Accepted) == MotionRecord::Accepted)
        return;
    if (record.group) {
        ++record.group->accepted;
        decideGroup(*record.group);
    } else {
        announceAccepted(record.motion);
    }
}

void MotionBook::announceAccepted(VOXMotion *motion)
{
    motion->m_isAccepted = true;
    m_core.news().add([alive = QPointer<VOXMotion>(motion)] {
        if (alive)
            Q_EMIT alive->accepted();
    });
}

/// One more member has accepted the command, or has ended without.
void MotionBook::decideGroup(GroupMotion &group)
{
    if (--group.undecided == 0 && group.accepted > 0)
        announceAccepted(group.motion);
}

void MotionBook::end(NodeState &motor, Record &record, VOXMotion::End how, const QString &sentence)
{
    if (!record)
        return;
    const Record ended = std::move(record);
    m_core.noteMotion(motor);
    if (!ended->group) {
        finish(ended->motion, how, sentence);
        return;
    }
    GroupMotion &group = *ended->group;
    if (ended->phase != MotionRecord::Accepted)
        decideGroup(group);
    if (how == VOXMotion::Arrived || how == VOXMotion::Accepted) {
        ++group.arrived;
    } else {
        if (group.end == VOXMotion::Arrived)
            group.end = how;
        group.problems += sentence;
    }
    if (--group.running == 0)
        endGroup(group);
}

void MotionBook::endGroup(GroupMotion &group)
{
    constexpr int MaxProblems = 3;
    QString sentence = QStringLiteral("%1 of %2 motors have done it.").arg(group.arrived).arg(group.members);
    const int count = static_cast<int>(group.problems.size());
    for (int i = 0; i < qMin(count, MaxProblems); ++i)
        sentence += QLatin1Char(' ') + group.problems.at(i);
    if (count > MaxProblems)
        sentence += QStringLiteral(" And %1 more.").arg(count - MaxProblems);
    finish(group.motion, group.end, sentence);
}

void MotionBook::finish(VOXMotion *motion, VOXMotion::End how, const QString &sentence)
{
    motion->m_end = how;
    motion->m_sentence = sentence;
    m_core.news().add([alive = QPointer<VOXMotion>(motion)] {
        if (alive)
            Q_EMIT alive->finished(alive);
        if (alive)
            alive->deleteLater();
    });
}
