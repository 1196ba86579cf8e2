#include "network/pollplanner_p.h"

#include "network/motorwatch_p.h"
#include "network/nodestate_p.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {
constexpr qint64 Never = std::numeric_limits<qint64>::max();
constexpr double Percent = 100;
constexpr int MsPerSecond = 1000;
constexpr int BitsPerByte = 11;
constexpr double Spread = 0.05;
/// The part of the period after which a value is read for the second time at the earliest: until then a line
/// of average length has read all values of all nodes once.
constexpr double MinPart = 0.5;
constexpr int AfterCommandMs = 300;
/// The pauses after request and answer, and the time that a node takes to answer.
constexpr int TurnMs = 33;
constexpr int QuestionBytes = 11;
constexpr int PositionBytes = 16;
constexpr int StatusBytes = 15;
constexpr int LabelBytes = 27;
/// However full the line is, this share of it remains for motors that move.
constexpr double MinMovingShare = 0.1;

bool tellsPosition(const NodeState &node)
{
    return node.isMotor && !node.isLegacy;
}
}

void PollPlanner::setLine(int bitsPerSecond, int maxLoadPercent)
{
    m_bitsPerSecond = bitsPerSecond;
    m_maxShare = std::max(1, maxLoadPercent) / Percent;
}

double PollPlanner::costMs(int answerBytes) const
{
    if (m_bitsPerSecond <= 0)
        return 0;
    const double bits = (QuestionBytes + answerBytes) * BitsPerByte;
    return bits * MsPerSecond / m_bitsPerSecond + TurnMs;
}

/// The part of the line that the plan takes.
double PollPlanner::share() const
{
    const auto part = [](double costMs, int periodMs) { return periodMs > 0 ? costMs / periodMs : 0; };
    return m_motors
        * (part(costMs(PositionBytes), m_plan.positionMs) + part(costMs(StatusBytes), m_plan.statusMs))
        + m_others * part(costMs(LabelBytes), m_plan.statusMs);
}

double PollPlanner::stretch() const
{
    return std::max(1.0, share() / m_maxShare);
}

QString PollPlanner::stretchText() const
{
    const bool hasPositions = m_plan.positionMs > 0 && m_motors > 0;
    const int periodMs = hasPositions ? m_plan.positionMs : m_plan.statusMs;
    const double factor = stretch();
    const auto seconds = [=](double times) { return qRound(periodMs * times / MsPerSecond); };
    if (factor <= 1 || seconds(factor) == seconds(1))
        return {};
    return QStringLiteral("%1 are read each %2 s instead of %3 s, because the line carries no more.")
        .arg(hasPositions ? QStringLiteral("Positions") : QStringLiteral("Nodes"))
        .arg(seconds(factor))
        .arg(seconds(1));
}

qint64 PollPlanner::movingMs() const
{
    const double freeShare = std::max(MinMovingShare, m_maxShare - share() / stretch());
    return std::max<qint64>(m_plan.movingMs, qRound64(m_moving * costMs(PositionBytes) / freeShare));
}

double PollPlanner::spread()
{
    return std::uniform_real_distribution<double>(-1, 1)(m_random);
}

qint64 PollPlanner::after(qint64 nowMs, int periodMs)
{
    if (periodMs == 0)
        return Never;
    return nowMs + qRound64(periodMs * stretch() * (1 + Spread * spread()));
}

/// The same for a value that was just read. What was read together for the first time comes back spread over
/// the period, and stays so.
qint64 PollPlanner::afterReading(qint64 nowMs, int periodMs, bool *isSpread)
{
    if (periodMs == 0 || std::exchange(*isSpread, true))
        return after(nowMs, periodMs);
    const double part = MinPart + (1 - MinPart) * (1 + spread()) / 2;
    return nowMs + qRound64(periodMs * stretch() * part);
}

void PollPlanner::add(NodeState &node, qint64 nowMs)
{
    node.statusDueMs = after(nowMs, m_plan.statusMs);
    node.positionDueMs = tellsPosition(node) ? after(nowMs, m_plan.positionMs) : Never;
    node.settingsDueMs = after(nowMs, m_plan.settingsMs);
    update(node);
}

void PollPlanner::remove(NodeState &node)
{
    count(node, false);
    m_moving -= node.isWatched ? 1 : 0;
    queueOf(node).remove(node);
}

DueQueue &PollPlanner::queueOf(const NodeState &node)
{
    return node.isWatched ? m_watched : m_queue;
}

NodeState *PollPlanner::first() const
{
    NodeState *const watched = m_watched.first();
    NodeState *const other = m_queue.first();
    return watched && (!other || watched->dueMs <= other->dueMs) ? watched : other;
}

NodeState *PollPlanner::due(qint64 nowMs) const
{
    for (NodeState *const node : {m_watched.first(), m_queue.first()}) {
        if (node && node->dueMs <= nowMs)
            return node;
    }
    return nullptr;
}

void PollPlanner::count(NodeState &node, bool isCounted)
{
    int &counter = tellsPosition(node) ? m_motors : m_others;
    counter += (isCounted ? 1 : 0) - (node.isCounted ? 1 : 0);
    node.isCounted = isCounted;
}

void PollPlanner::update(NodeState &node)
{
    count(node, !node.presence.isDown());
    const bool isWatched = node.motor.isRunning() || node.move || node.stop;
    m_moving += (isWatched ? 1 : 0) - (node.isWatched ? 1 : 0);
    if (isWatched != node.isWatched)
        queueOf(node).remove(node);
    node.isWatched = isWatched;
    node.dueMs = node.presence.isSteady()
        ? std::min({node.statusDueMs, node.positionDueMs, node.settingsDueMs})
        : node.presence.askAgainMs();
    queueOf(node).update(node);
}

void PollPlanner::noteStatus(NodeState &node, qint64 nowMs)
{
    node.statusDueMs = afterReading(nowMs, m_plan.statusMs, &node.isStatusSpread);
    if (node.motor.isRunning())
        node.positionDueMs = std::min(node.positionDueMs, nowMs + movingMs());
    else if (node.isWatched)
        node.positionDueMs = nowMs;
}

void PollPlanner::notePosition(NodeState &node, bool hasMoved, qint64 nowMs)
{
    if (!node.motor.isRunning()) {
        node.positionDueMs = afterReading(nowMs, m_plan.positionMs, &node.isPositionSpread);
        return;
    }
    // It may have arrived.
    if (!hasMoved || MotorWatch::isAtTarget(node))
        node.statusDueMs = nowMs;
    node.positionDueMs = nowMs + movingMs();
    const qint64 endMs = MotorWatch::predictedEndMs(node);
    if (endMs > nowMs)
        node.positionDueMs = std::min(node.positionDueMs, endMs);
}

void PollPlanner::noteFrame(NodeState &node, qint64 nowMs)
{
    if (!tellsPosition(node))
        node.statusDueMs = afterReading(nowMs, m_plan.statusMs, &node.isStatusSpread);
}

void PollPlanner::noteUnanswered(NodeState &node, Question question, qint64 nowMs)
{
    // Asked as soon as the node answers again.
    if (question == Question::Position)
        node.positionDueMs = nowMs;
    else if (question == Question::Status)
        node.statusDueMs = nowMs;
}

void PollPlanner::noteCommand(NodeState &node, qint64 nowMs)
{
    if (tellsPosition(node))
        node.statusDueMs = nowMs + AfterCommandMs;
}

void PollPlanner::putOff(NodeState &node, qint64 untilMs)
{
    node.dueMs = untilMs;
    queueOf(node).update(node);
}

bool PollPlanner::takeSettings(NodeState &node, qint64 nowMs)
{
    if (!node.presence.isSteady() || node.settingsDueMs > nowMs)
        return false;
    node.settingsDueMs = after(nowMs, m_plan.settingsMs);
    update(node);
    return true;
}

Question PollPlanner::takeQuestion(NodeState &node, qint64 nowMs)
{
    Question question = Questions::heartbeat(node);
    if (!node.presence.isSteady()) {
        node.presence.handleAsked(nowMs);
    } else if (node.positionDueMs < node.statusDueMs) {
        question = Question::Position;
        node.positionDueMs = node.isWatched ? nowMs + movingMs() : after(nowMs, m_plan.positionMs);
    } else {
        node.statusDueMs = after(nowMs, m_plan.statusMs);
    }
    update(node);
    return question;
}
