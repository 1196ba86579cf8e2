#include "qml/qmlmotor_p.h"

#include <QTimerEvent>

namespace {
constexpr int EstimateMs = 100;
constexpr int MaxByte = 255;
constexpr int MaxPulses = 65534;

int indexOf(PageArguments &arguments, const QJSValue &index)
{
    return arguments.number("intermediate position", index, 1, VOXNetworkMotor::MaxIntermediates);
}
}

QmlMotor::QmlMotor(VOXNetworkMotor *motor, QObject *parent)
    : QmlNode(motor, parent)
{
    connect(this, &QmlNode::changed, this, &QmlMotor::handleChanged);
    handleChanged();
}

void QmlMotor::handleChanged()
{
    if (!isMoving())
        m_timer.stop();
    else if (!m_timer.isActive())
        m_timer.start(EstimateMs, this);
    Q_EMIT estimatedPercentChanged();
}

void QmlMotor::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QmlNode::timerEvent(event);
        return;
    }
    if (!isMoving())
        m_timer.stop();
    Q_EMIT estimatedPercentChanged();
}

QVariant QmlMotor::locked() const
{
    const std::optional<bool> isLocked = motor() ? motor()->isLocked() : std::nullopt;
    return isLocked ? QVariant(*isLocked) : QVariant();
}

QVariant QmlMotor::speeds() const
{
    const std::optional<VOXNetworkMotor::Speeds> speeds = motor() ? motor()->speeds() : std::nullopt;
    if (!speeds)
        return {};
    return QVariantMap{{QStringLiteral("up"), speeds->up},
                       {QStringLiteral("down"), speeds->down},
                       {QStringLiteral("slow"), speeds->slow}};
}

QVariant QmlMotor::intermediatePercent(const QJSValue &index) const
{
    PageArguments arguments(this, "intermediatePercent");
    const int number = indexOf(arguments, index);
    const std::optional<int> percent =
        isThere(arguments) ? motor()->intermediatePercent(number) : std::nullopt;
    return percent ? QVariant(*percent) : QVariant();
}

VOXMotion *QmlMotor::moveTo(const QJSValue &percent)
{
    PageArguments arguments(this, "moveTo");
    const int target = arguments.percent(percent);
    return isThere(arguments) ? motor()->moveTo(target) : nullptr;
}

VOXMotion *QmlMotor::moveUp()
{
    PageArguments arguments(this, "moveUp");
    return isThere(arguments) ? motor()->moveUp() : nullptr;
}

VOXMotion *QmlMotor::moveDown()
{
    PageArguments arguments(this, "moveDown");
    return isThere(arguments) ? motor()->moveDown() : nullptr;
}

VOXMotion *QmlMotor::moveToIntermediate(const QJSValue &index)
{
    PageArguments arguments(this, "moveToIntermediate");
    const int number = indexOf(arguments, index);
    return isThere(arguments) ? motor()->moveToIntermediate(number) : nullptr;
}

VOXMotion *QmlMotor::jog(const QJSValue &direction, const QJSValue &pulses)
{
    PageArguments arguments(this, "jog");
    const auto where = arguments.name<KVRMotor::Direction>(direction);
    const int way = arguments.number("jog", pulses, VOXNetworkMotor::MinJog, VOXNetworkMotor::MaxJog);
    if (where == KVRMotor::DIRECTION_NONE)
        arguments.check(QStringLiteral("a jog needs DIRECTION_UP or DIRECTION_DOWN"));
    return isThere(arguments) ? motor()->jog(where, way) : nullptr;
}

VOXMotion *QmlMotor::stop()
{
    PageArguments arguments(this, "stop");
    return isThere(arguments) ? motor()->stop() : nullptr;
}

QmlCall *QmlMotor::wink()
{
    PageArguments arguments(this, "wink");
    return isThere(arguments) ? follow(motor()->wink()) : nullptr;
}

QmlCall *QmlMotor::lock(const QJSValue &priority)
{
    PageArguments arguments(this, "lock");
    const int value = arguments.number("priority", priority, 0, MaxByte);
    return isThere(arguments) ? follow(motor()->lock(value)) : nullptr;
}

QmlCall *QmlMotor::unlock(const QJSValue &priority)
{
    PageArguments arguments(this, "unlock");
    const int value = arguments.number("priority", priority, 0, MaxByte);
    return isThere(arguments) ? follow(motor()->unlock(value)) : nullptr;
}

QmlCall *QmlMotor::setLimit(const QJSValue &limit, const QJSValue &function, const QJSValue &pulses)
{
    PageArguments arguments(this, "setLimit");
    const auto which = arguments.name<KVRMotor::Limit>(limit);
    const auto how = arguments.name<KVRMotor::LimitFunction>(function);
    const bool isShift = how == KVRMotor::LIMIT_SHIFT_DOWN || how == KVRMotor::LIMIT_SHIFT_UP;
    const int value = isShift
        ? arguments.number("shift", pulses, VOXNetworkMotor::MinJog, VOXNetworkMotor::MaxJog)
        : arguments.number("limit", pulses, 0, MaxPulses);
    return isThere(arguments) ? follow(motor()->setLimit(which, how, value)) : nullptr;
}

QmlCall *QmlMotor::setSpeeds(const QJSValue &up, const QJSValue &down, const QJSValue &slow)
{
    PageArguments arguments(this, "setSpeeds");
    const int upward = arguments.number("speed", up, 1, MaxByte);
    const int downward = arguments.number("speed", down, 1, MaxByte);
    const int slowly = arguments.number("speed", slow, 1, MaxByte);
    return isThere(arguments) ? follow(motor()->setSpeeds(upward, downward, slowly)) : nullptr;
}

QmlCall *QmlMotor::setIntermediate(const QJSValue &index, const QJSValue &percent)
{
    PageArguments arguments(this, "setIntermediate");
    const int number = indexOf(arguments, index);
    const int place = arguments.percent(percent);
    return isThere(arguments) ? follow(motor()->setIntermediate(number, place)) : nullptr;
}

QmlCall *QmlMotor::setIntermediateHere(const QJSValue &index)
{
    PageArguments arguments(this, "setIntermediateHere");
    const int number = indexOf(arguments, index);
    return isThere(arguments) ? follow(motor()->setIntermediateHere(number)) : nullptr;
}

QmlCall *QmlMotor::clearIntermediate(const QJSValue &index)
{
    PageArguments arguments(this, "clearIntermediate");
    const int number = indexOf(arguments, index);
    return isThere(arguments) ? follow(motor()->clearIntermediate(number)) : nullptr;
}
