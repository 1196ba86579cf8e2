#ifndef VOX_QML_QMLMOTOR_P_H
#define VOX_QML_QMLMOTOR_P_H

#include <vox/qml/qmlnode_p.h>

#include <QBasicTimer>

/// A VOXNetworkMotor for pages. What is not known is undefined.
class QmlMotor : public QmlNode
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Motor)
    QML_UNCREATABLE("A Network makes its motors.")
    Q_PROPERTY(QVariant percent READ percent NOTIFY changed)
    Q_PROPERTY(QVariant estimatedPercent READ estimatedPercent NOTIFY estimatedPercentChanged)
    Q_PROPERTY(QVariant targetPercent READ targetPercent NOTIFY changed)
    Q_PROPERTY(QVariant pulses READ pulses NOTIFY changed)
    Q_PROPERTY(QVariant tilt READ tilt NOTIFY changed)
    Q_PROPERTY(QVariant intermediate READ intermediate NOTIFY changed)
    Q_PROPERTY(QVariant state READ state NOTIFY changed)
    Q_PROPERTY(QVariant direction READ direction NOTIFY changed)
    Q_PROPERTY(bool moving READ isMoving NOTIFY changed)
    Q_PROPERTY(QVariant locked READ locked NOTIFY changed)
    Q_PROPERTY(QVariant upLimit READ upLimit NOTIFY changed)
    Q_PROPERTY(QVariant downLimit READ downLimit NOTIFY changed)
    Q_PROPERTY(QVariant speeds READ speeds NOTIFY changed)

public:
    QmlMotor(VOXNetworkMotor *motor, QObject *parent);

    QVariant percent() const { return of(&VOXNetworkMotor::percent); }
    /// Told ten times a second while the motor moves.
    QVariant estimatedPercent() const { return of(&VOXNetworkMotor::estimatedPercent); }
    QVariant targetPercent() const { return of(&VOXNetworkMotor::targetPercent); }
    QVariant pulses() const { return of(&VOXNetworkMotor::pulses); }
    QVariant tilt() const { return of(&VOXNetworkMotor::tilt); }
    QVariant intermediate() const { return of(&VOXNetworkMotor::intermediate); }
    /// A KVRMotor::State.
    QVariant state() const { return of(&VOXNetworkMotor::motorState); }
    /// A KVRMotor::Direction.
    QVariant direction() const { return of(&VOXNetworkMotor::direction); }
    bool isMoving() const { return motor() && motor()->isMoving(); }
    QVariant locked() const;
    QVariant upLimit() const { return of(&VOXNetworkMotor::upLimit); }
    QVariant downLimit() const { return of(&VOXNetworkMotor::downLimit); }
    /// An object with up, down and slow, in revolutions per minute.
    QVariant speeds() const;
    Q_INVOKABLE QVariant intermediatePercent(const QJSValue &index) const;

    ///@{
    /// See VOXNetworkMotor. Throws what cannot be.
    Q_INVOKABLE VOXMotion *moveTo(const QJSValue &percent);
    Q_INVOKABLE VOXMotion *moveUp();
    Q_INVOKABLE VOXMotion *moveDown();
    Q_INVOKABLE VOXMotion *moveToIntermediate(const QJSValue &index);
    Q_INVOKABLE VOXMotion *jog(const QJSValue &direction, const QJSValue &pulses);
    Q_INVOKABLE VOXMotion *stop();
    Q_INVOKABLE QmlCall *wink();
    Q_INVOKABLE QmlCall *lock(const QJSValue &priority = 0);
    Q_INVOKABLE QmlCall *unlock(const QJSValue &priority = 0);
    Q_INVOKABLE QmlCall *setLimit(const QJSValue &limit, const QJSValue &function,
                                  const QJSValue &pulses = 0);
    Q_INVOKABLE QmlCall *setSpeeds(const QJSValue &up, const QJSValue &down, const QJSValue &slow);
    Q_INVOKABLE QmlCall *setIntermediate(const QJSValue &index, const QJSValue &percent);
    Q_INVOKABLE QmlCall *setIntermediateHere(const QJSValue &index);
    Q_INVOKABLE QmlCall *clearIntermediate(const QJSValue &index);
    ///@}

Q_SIGNALS:
    void estimatedPercentChanged();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    VOXNetworkMotor *motor() const { return static_cast<VOXNetworkMotor *>(node()); }
    template <typename Value>
    QVariant of(std::optional<Value> (VOXNetworkMotor::*get)() const) const
    {
        const std::optional<Value> value = motor() ? (motor()->*get)() : std::nullopt;
        return value ? QVariant(static_cast<int>(*value)) : QVariant();
    }
    void handleChanged();

    QBasicTimer m_timer;
};

#endif
