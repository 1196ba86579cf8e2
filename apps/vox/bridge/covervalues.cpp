#include "vox/bridge/covervalues.h"

#include "network/voxnetworkmotor.h"
#include "vox/bridge/siteconfig.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>

namespace {
constexpr int Whole = 100;

template <typename Value>
QJsonValue orNull(const std::optional<Value> &value)
{
    return value ? QJsonValue(*value) : QJsonValue();
}

QJsonValue textOrNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

/// The key of an enumeration without its prefix, in lower case.
template <typename Enum>
QJsonValue wordOf(Enum value)
{
    const QString key = QString::fromLatin1(QMetaEnum::fromType<Enum>().valueToKey(static_cast<int>(value)));
    return textOrNull(key.section(QLatin1Char('_'), 1).toLower());
}

double percentOf(const VOXNetworkMotor &motor)
{
    const int down = motor.downLimit().value_or(0);
    return motor.pulses() && down > 0 ? double{Whole} * *motor.pulses() / down : *motor.percent();
}
}

CoverValues CoverValues::of(const VOXNetworkMotor &motor, const NodeConfig &node, int endTolerance)
{
    CoverValues values;
    if (motor.percent())
        values.position = positionOf(percentOf(motor), node.isInverted, endTolerance);
    const auto direction = motor.direction();
    if (motor.isMoving() && direction && *direction != KVRMotor::DIRECTION_NONE)
        values.motion = (*direction == KVRMotor::DIRECTION_UP) != node.isInverted ? Opening : Closing;
    return values;
}

CoverValues CoverValues::ofGroup(const QVector<CoverValues> &members)
{
    CoverValues group;
    int known = 0;
    int sum = 0;
    for (const CoverValues &member : members) {
        if (group.motion == AtRest)
            group.motion = member.motion;
        known += member.position ? 1 : 0;
        sum += member.position.value_or(0);
    }
    if (known == 0)
        return group;
    const int mean = qRound(static_cast<double>(sum) / known);
    // Closed only if all are closed, and likewise open.
    const bool isAtEnd = sum == 0 || sum == known * Whole;
    group.position = isAtEnd ? mean : std::clamp(mean, 1, Whole - 1);
    return group;
}

int CoverValues::positionOf(double percent, bool isInverted, int endTolerance)
{
    const double open = isInverted ? percent : Whole - percent;
    if (open <= endTolerance)
        return 0;
    if (open >= Whole - endTolerance)
        return Whole;
    return std::clamp(static_cast<int>(std::floor(open + 0.5)), 1, Whole - 1);
}

QByteArray CoverValues::positionText() const
{
    return position ? QByteArray::number(*position) : QByteArray();
}

QByteArray CoverValues::stateText() const
{
    if (motion != AtRest)
        return motion == Opening ? "opening" : "closing";
    if (!position)
        return "None";
    return *position == 0 ? "closed" : "open";
}

QJsonObject attributesOf(const VOXNetworkMotor &motor)
{
    const auto status = motor.status();
    const bool isBlocked = status && status->state == KVRMotor::STATE_BLOCKED;
    const bool isHeld = status && status->state == KVRMotor::STATE_LOCKED;
    return {{QStringLiteral("pulses"), orNull(motor.pulses())},
            {QStringLiteral("ip"), orNull(motor.intermediate())},
            {QStringLiteral("locked"), isHeld ? QJsonValue(true) : orNull(motor.isLocked())},
            {QStringLiteral("source"), status ? wordOf(status->source) : QJsonValue()},
            {QStringLiteral("cause"), status ? wordOf(status->cause) : QJsonValue()},
            {QStringLiteral("blocked"), status ? QJsonValue(isBlocked) : QJsonValue()},
            {QStringLiteral("last_refusal"), textOrNull(motor.lastRefusal())},
            {QStringLiteral("serial"), textOrNull(labelText(motor.serialNumber()))}};
}

QJsonObject healthOf(const VOXNetworkNode &node, quint64 unanswered)
{
    QJsonValue seen;
    if (node.silentForMs() >= 0)
        seen = QDateTime::currentDateTimeUtc().addMSecs(-node.silentForMs()).toString(Qt::ISODate);
    return {{QStringLiteral("last_seen"), seen},
            {QStringLiteral("answer_ms"), node.answerMs() < 0 ? QJsonValue() : QJsonValue(node.answerMs())},
            {QStringLiteral("unanswered"), static_cast<qint64>(unanswered)}};
}

QString labelText(const QString &latin1)
{
    QByteArray bytes = latin1.toLatin1();
    const int end = bytes.indexOf('\0');
    if (end >= 0)
        bytes.truncate(end);
    QString text = QString::fromUtf8(bytes);
    if (text.contains(QChar::ReplacementCharacter))
        text = QString::fromLatin1(bytes);
    for (QChar &each : text) {
        if (!each.isPrint() && !each.isSurrogate())
            each = QLatin1Char(' ');
    }
    return text.trimmed();
}
