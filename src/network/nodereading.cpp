#include "network/nodereading_p.h"

#include "messages/hrmv2answer.h"
#include "network/nodestate_p.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace {
using Answer = KVRAnswer;
using Older = HRMv2Answer;
constexpr double WholeWay = 100;

template <typename Value, typename Other>
bool keep(Value &kept, const Other &value)
{
    const Value converted(value);
    if (kept == converted)
        return false;
    kept = converted;
    return true;
}

bool operator==(const VOXNetworkMotor::Speeds &a, const VOXNetworkMotor::Speeds &b)
{
    return std::tie(a.up, a.down, a.slow) == std::tie(b.up, b.down, b.slow);
}

bool keepVersion(std::optional<Answer::Version> &kept, const Answer::Version &version)
{
    const auto fields = [](const Answer::Version &each) {
        return std::tie(each.reference, each.letter, each.number, each.profile);
    };
    if (kept && fields(*kept) == fields(version))
        return false;
    kept = version;
    return true;
}

bool keepIntermediate(MotorState &motor, int index, std::optional<int> percent)
{
    if (index < 1 || index > VOXNetworkMotor::MaxIntermediates)
        return false;
    if (motor.intermediates.size() < index)
        motor.intermediates.resize(index);
    return keep(motor.intermediates[index - 1], percent);
}

bool take(NodeState &node, const Answer::MotorStatus &answer)
{
    return keep(node.motor.status, KVRMotor::Status(answer));
}

bool take(NodeState &node, const Answer::MotorPosition &answer)
{
    MotorState &motor = node.motor;
    bool isChange = keep(motor.percent, answer.percent);
    isChange |= keep(motor.pulses, answer.position);
    isChange |= keep(motor.tilt, answer.tilt);
    isChange |= keep(motor.intermediate, answer.ip);
    return isChange;
}

bool take(NodeState &node, const Answer::NodeLabel &answer)
{
    return keep(node.label, QString::fromLatin1(answer.label));
}

bool take(NodeState &node, const Answer::NodeSerialNumber &answer)
{
    return keep(node.serialNumber, QString::fromLatin1(answer.serial));
}

bool take(NodeState &node, const Answer::NodeAppVersion &answer)
{
    return keepVersion(node.appVersion, answer);
}

bool take(NodeState &node, const Answer::NodeStackVersion &answer)
{
    return keepVersion(node.stackVersion, answer);
}

bool take(NodeState &node, const Answer::MotorLimits &answer)
{
    const bool isChange = keep(node.motor.upLimit, answer.upLimit);
    return keep(node.motor.downLimit, answer.downLimit) || isChange;
}

bool take(NodeState &node, const Answer::NetworkLock &answer)
{
    return keep(node.motor.isLocked, answer.locked);
}

bool take(NodeState &node, const Answer::MotorRollingSpeed &answer)
{
    const VOXNetworkMotor::Speeds speeds{answer.up, answer.down, answer.slow};
    if (node.motor.speeds && *node.motor.speeds == speeds)
        return false;
    node.motor.speeds = speeds;
    return true;
}

bool take(NodeState &node, const Answer::AppMode &answer)
{
    return keep(node.motor.appMode, answer.mode);
}

bool take(NodeState &node, const Answer::MotorIP &answer)
{
    return keepIntermediate(node.motor, answer.index, answer.percent);
}

bool take(NodeState &node, const Older::MotorSettings &answer)
{
    const bool isChange = keep(node.motor.downLimit, answer.downLimit);
    return keep(node.motor.upLimit, answer.downLimit ? std::optional<int>(0) : std::nullopt) || isChange;
}

bool take(NodeState &node, const Older::LockStatus &answer)
{
    return keep(node.motor.isLocked, answer.status != 0);
}

bool take(NodeState &node, const Older::MotorIP &answer)
{
    std::optional<int> percent;
    if (answer.position && node.motor.downLimit.value_or(0) > 0)
        percent = qRound(*answer.position * WholeWay / *node.motor.downLimit);
    return keepIntermediate(node.motor, answer.index + 1, percent);
}

struct Row
{
    int post;
    Question question;
    /// Empty if the frame is not what its command says.
    std::optional<bool> (*take)(NodeState &, const VOXMessage &);
};

template <typename Set, typename Value>
std::optional<bool> takeAs(NodeState &node, const VOXMessage &frame)
{
    const auto answer = Set::template from<Value>(frame);
    return answer ? std::optional<bool>(take(node, *answer)) : std::nullopt;
}

template <typename Set, typename Value>
constexpr Row rowOf(Question question)
{
    return {static_cast<int>(Value::Command), question, &takeAs<Set, Value>};
}

constexpr Row motorRows[] = {
    rowOf<Answer, Answer::MotorPosition>(Question::Position),
    rowOf<Answer, Answer::MotorStatus>(Question::Status),
    rowOf<Answer, Answer::MotorLimits>(Question::Limits),
    rowOf<Answer, Answer::NetworkLock>(Question::Lock),
    rowOf<Answer, Answer::MotorRollingSpeed>(Question::Speeds),
    rowOf<Answer, Answer::AppMode>(Question::AppMode),
    rowOf<Answer, Answer::MotorIP>(Question::Intermediate),
};
constexpr Row nodeRows[] = {
    rowOf<Answer, Answer::NodeLabel>(Question::Label),
    rowOf<Answer, Answer::NodeSerialNumber>(Question::Serial),
    rowOf<Answer, Answer::NodeAppVersion>(Question::AppVersion),
    rowOf<Answer, Answer::NodeStackVersion>(Question::StackVersion),
};
constexpr Row legacyRows[] = {
    rowOf<Older, Older::MotorSettings>(Question::Limits),
    rowOf<Older, Older::LockStatus>(Question::Lock),
    rowOf<Older, Older::MotorIP>(Question::Intermediate),
};

template <typename Rows>
std::optional<NodeReading> takeBy(const Rows &rows, NodeState &node, const VOXMessage &frame)
{
    for (const Row &row : rows) {
        if (row.post != frame.cmd())
            continue;
        const std::optional<bool> isChange = row.take(node, frame);
        return NodeReading{row.question, isChange.value_or(false), !isChange};
    }
    return std::nullopt;
}
}

std::optional<NodeReading> takeReading(NodeState &node, const VOXMessage &frame)
{
    if (node.isLegacy)
        return takeBy(legacyRows, node, frame);
    if (node.isMotor) {
        if (const auto reading = takeBy(motorRows, node, frame))
            return reading;
    }
    return takeBy(nodeRows, node, frame);
}

std::optional<double> MotorState::exactPercent() const
{
    if (percent && pulses && downLimit.value_or(0) > 0)
        return *pulses * WholeWay / *downLimit;
    return percent ? std::optional<double>(*percent) : std::nullopt;
}

QString NodeState::name() const
{
    const QString address = VOX::toString(addr);
    return label.isEmpty() ? address : QStringLiteral("%1 (%2)").arg(address, label);
}
