#include "vox/bridge/manyresult.h"

#include "network/voxnetworkmotor.h"

#include <QJsonArray>
#include <QTimerEvent>

namespace {
constexpr int LimitMs = 10000;
}

ManyResult::ManyResult(const QVector<VOXNetworkMotor *> &motors, CoverCommand::Kind kind, QObject *parent)
    : QObject(parent)
    , m_kind(kind)
{
    for (VOXNetworkMotor *const motor : motors)
        m_motors.insert(motor->address(), motor);
    m_timer.start(LimitMs, this);
}

void ManyResult::add(VOXMotion *motion, unsigned int addr)
{
    connect(motion, &VOXMotion::accepted, this, [this, addr] { note(addr, Done); });
    connect(motion, &VOXMotion::finished, this, [this, addr](const VOXMotion *ended) {
        if (!ended->isAccepted())
            note(addr, ended->end() == VOXMotion::NoAnswer ? Silent : Refused);
    });
}

void ManyResult::watch(VOXMotion *motion)
{
    if (!motion)
        return;
    const auto decide = [this] {
        m_isDecided = true;
        finish();
    };
    connect(motion, &VOXMotion::accepted, this, decide);
    connect(motion, &VOXMotion::finished, this, decide);
}

void ManyResult::note(unsigned int addr, Outcome outcome)
{
    m_outcomes.insert(addr, outcome);
    if (m_outcomes.size() == m_motors.size())
        finish();
}

/// Of a command that has gone to all at once, what they do tells.
ManyResult::Outcome ManyResult::outcomeOf(const VOXNetworkMotor *motor) const
{
    if (!motor || motor->presence() != VOXNetworkNode::Up)
        return Silent;
    // Also one that is locked stands still.
    if (m_kind == CoverCommand::Stop)
        return motor->isMoving() ? Refused : Done;
    // It neither goes there nor is there: nobody knows whether it has heard the command.
    const auto target = motor->targetPercent();
    if (!m_isDecided && target && !motor->isMoving() && motor->percent() != target)
        return Silent;
    const auto state = motor->motorState();
    return state == KVRMotor::STATE_LOCKED || state == KVRMotor::STATE_BLOCKED ? Refused : Done;
}

void ManyResult::finish()
{
    if (!m_timer.isActive())
        return;
    m_timer.stop();
    QJsonArray refused;
    QJsonArray silent;
    int done = 0;
    for (auto each = m_motors.cbegin(); each != m_motors.cend(); ++each) {
        const auto known = m_outcomes.constFind(each.key());
        const Outcome outcome = known != m_outcomes.cend() ? *known : outcomeOf(*each);
        done += outcome == Done ? 1 : 0;
        if (outcome == Refused)
            refused += VOX::toString(each.key());
        else if (outcome == Silent)
            silent += VOX::toString(each.key());
    }
    deleteLater();
    Q_EMIT finished(done == m_motors.size(),
                    {{QStringLiteral("asked"), int(m_motors.size())},
                     {QStringLiteral("done"), done},
                     {QStringLiteral("refused"), refused},
                     {QStringLiteral("silent"), silent}});
}

void ManyResult::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_timer.timerId())
        finish();
}
