#include "simulation/nodesetting_p.h"

#include "devices/hrmv2stub.h"
#include "devices/tb60lvstub.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {
constexpr int MaxByte = 0xff;
constexpr int MaxWord = 0xffff;
constexpr int MaxTotal = 0xffffff;
constexpr unsigned short Unset = KVRMotorDevice::UnsetPosition;

unsigned char byteAt(const VOXJsonPlace &place)
{
    return static_cast<unsigned char>(place.number(0, MaxByte));
}

/// JSON's null stands for an unset position.
unsigned short positionAt(const VOXJsonPlace &place)
{
    return place.isNull() ? Unset : static_cast<unsigned short>(place.number(0, Unset - 1));
}

QJsonValue jsonOf(unsigned short position)
{
    return position == Unset ? QJsonValue(QJsonValue::Null) : QJsonValue(position);
}

template <typename Enum>
QJsonValue keyOf(Enum value)
{
    return QString::fromLatin1(QMetaEnum::fromType<Enum>().valueToKey(value));
}

void readDirection(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    motor.setMotorDirection(place.key<KVRMotor::TurnDirection>());
    // The change of the direction has mirrored the position.
    motor.restAt(0);
}

QJsonValue directionOf(KVRMotorDevice &motor)
{
    return keyOf(motor.motorDirection());
}

void readAppMode(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    if (motor.setAppMode(place.key<KVRMotor::AppMode>()))
        return;
    QStringList modes;
    for (const KVRMotor::AppMode mode : motor.appModes())
        modes += keyOf(mode).toString();
    place.fail(modes.isEmpty()
                   ? QStringLiteral("this model has no app modes")
                   : QStringLiteral("this model has %1 only").arg(modes.join(QStringLiteral(", "))));
}

QJsonValue appModeOf(KVRMotorDevice &motor)
{
    return motor.appModes().isEmpty() ? QJsonValue(QJsonValue::Undefined) : keyOf(motor.appMode());
}

const QString UpKey = QStringLiteral("up");
const QString DownKey = QStringLiteral("down");
const QString SlowKey = QStringLiteral("slow");

unsigned short upLimitAt(const VOXJsonPlace &place)
{
    if (place.number(0, MaxWord) != 0)
        place.fail(QStringLiteral("is to be 0, or null for none"));
    return 0;
}

void readLimits(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    place.isObjectOf({UpKey, DownKey});
    unsigned short up = motor.upLimit();
    unsigned short down = motor.downLimit();
    if (place[UpKey].isPresent())
        up = place[UpKey].isNull() ? Unset : upLimitAt(place[UpKey]);
    if (place[DownKey].isPresent())
        down = place[DownKey].isNull()
            ? Unset
            : static_cast<unsigned short>(place[DownKey].number(motor.minDownLimit(), motor.maxDownLimit()));
    motor.setLimits(up, down);
}

QJsonValue limitsOf(KVRMotorDevice &motor)
{
    return QJsonObject{{UpKey, jsonOf(motor.upLimit())}, {DownKey, jsonOf(motor.downLimit())}};
}

void readSpeeds(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    place.isObjectOf({UpKey, DownKey, SlowKey});
    const auto speed = [&](const QString &key, unsigned char present) {
        return place[key].isPresent() ? byteAt(place[key]) : present;
    };
    if (!motor.setRollingSpeeds(speed(UpKey, motor.upSpeed()), speed(DownKey, motor.downSpeed()),
                                speed(SlowKey, motor.slowSpeed())))
        place.fail(QStringLiteral("this model does not run at these speeds"));
}

QJsonValue speedsOf(KVRMotorDevice &motor)
{
    return QJsonObject{{UpKey, motor.upSpeed()}, {DownKey, motor.downSpeed()}, {SlowKey, motor.slowSpeed()}};
}

void readPosition(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    motor.restAt(static_cast<unsigned short>(place.number(0, MaxWord)));
}

QJsonValue positionOf(KVRMotorDevice &motor)
{
    return motor.positionPulses();
}

template <typename Motor>
void readIntermediatePositions(Motor &motor, const VOXJsonPlace &place)
{
    const int count = place.size(motor.motorIPCount());
    for (int slot = 0; slot < motor.motorIPCount(); ++slot)
        motor.setMotorIP(static_cast<unsigned char>(slot + 1),
                         slot < count ? positionAt(place.at(slot)) : Unset);
}

template <typename Motor>
QJsonValue intermediatePositionsOf(Motor &motor)
{
    QJsonArray positions;
    for (int slot = 1; slot <= motor.motorIPCount(); ++slot)
        positions += jsonOf(motor.motorIP(static_cast<unsigned char>(slot)));
    while (!positions.isEmpty() && positions.last().isNull())
        positions.removeLast();
    return positions;
}

const QString LockedKey = QStringLiteral("locked");
const QString PriorityKey = QStringLiteral("priority");
const QString SourceKey = QStringLiteral("source");
const QString NetworkKey = QStringLiteral("network");
const QString DctKey = QStringLiteral("dct");

Lock lockAt(const VOXJsonPlace &place)
{
    place.isObjectOf({LockedKey, PriorityKey, SourceKey});
    Lock lock;
    lock.setLock(place[LockedKey].flag());
    if (place[PriorityKey].isPresent())
        lock.setCurrentPrio(byteAt(place[PriorityKey]));
    if (place[SourceKey].isPresent())
        lock.setSource(place[SourceKey].address());
    return lock;
}

QJsonValue jsonOf(const Lock &lock)
{
    return QJsonObject{{LockedKey, lock.isLocked()},
                       {PriorityKey, lock.getCurrentPrio()},
                       {SourceKey, VOX::toString(lock.getSource())}};
}

void readLocks(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    place.isObjectOf({NetworkKey, DctKey});
    if (place[NetworkKey].isPresent())
        motor.setNetworkLock(lockAt(place[NetworkKey]));
    const VOXJsonPlace dct = place[DctKey];
    for (int i = 0; dct.isPresent() && i < dct.size(motor.motorDCTCount()); ++i)
        motor.setDCTLock(i + 1, lockAt(dct.at(i)));
}

QJsonValue locksOf(KVRMotorDevice &motor)
{
    QJsonArray dct;
    for (int i = 1; i <= motor.motorDCTCount(); ++i)
        dct += jsonOf(motor.dctLock(i));
    return QJsonObject{{NetworkKey, jsonOf(motor.networkLock())}, {DctKey, dct}};
}

struct Counter
{
    QString key;
    int most;
    void (*set)(MotorDiagnostic &, unsigned int);
};

template <typename T, void (MotorDiagnostic::*Set)(T)>
void setCounter(MotorDiagnostic &counters, unsigned int value)
{
    (counters.*Set)(static_cast<T>(value));
}

const Counter counters[] = {
    {QStringLiteral("totalMoveCount"), MaxTotal, setCounter<unsigned, &MotorDiagnostic::setTotalMoveCount>},
    {QStringLiteral("totalRevCount"), MaxTotal, setCounter<unsigned, &MotorDiagnostic::setTotalRevCount>},
    {QStringLiteral("thermalCount"), MaxWord, setCounter<quint16, &MotorDiagnostic::setThermalCount>},
    {QStringLiteral("postThermalMove"), MaxWord, setCounter<quint16, &MotorDiagnostic::setPostThermalMove>},
    {QStringLiteral("obstacleCount"), MaxWord, setCounter<quint16, &MotorDiagnostic::setObstacleCount>},
    {QStringLiteral("postObstacleMove"), MaxWord, setCounter<quint16, &MotorDiagnostic::setPostObstacleMove>},
    {QStringLiteral("powerCount"), MaxWord, setCounter<quint16, &MotorDiagnostic::setPowerCount>},
    {QStringLiteral("resetCount"), MaxWord, setCounter<quint16, &MotorDiagnostic::setResetCount>},
    {QStringLiteral("encoderErrors"), MaxWord, setCounter<quint16, &MotorDiagnostic::setEncoderErrCount>},
};

void readDiagnostics(KVRMotorDevice &motor, const VOXJsonPlace &place)
{
    QStringList keys;
    for (const Counter &counter : counters)
        keys += counter.key;
    place.isObjectOf(keys);
    MotorDiagnostic diagnostic;
    for (const Counter &counter : counters) {
        const VOXJsonPlace value = place[counter.key];
        if (value.isPresent())
            counter.set(diagnostic, static_cast<unsigned int>(value.number(0, counter.most)));
    }
    motor.setMotorDiagnostic(diagnostic);
}

const QString OnKey = QStringLiteral("on");
const QString ValueKey = QStringLiteral("value");
const QString LimitedKey = QStringLiteral("limited");
const QString LevelKey = QStringLiteral("level");
const QString ParameterKey = QStringLiteral("parameter");

template <void (TB60LVStub::*Set)(bool, unsigned char)>
void readRamp(TB60LVStub &motor, const VOXJsonPlace &place)
{
    place.isObjectOf({OnKey, ValueKey});
    (motor.*Set)(place[OnKey].flag(), byteAt(place[ValueKey]));
}

QJsonValue softStartOf(TB60LVStub &motor)
{
    return QJsonObject{{OnKey, motor.softStartStatus()}, {ValueKey, motor.softStartValue()}};
}

QJsonValue softStopOf(TB60LVStub &motor)
{
    return QJsonObject{{OnKey, motor.softStopStatus()}, {ValueKey, motor.softStopValue()}};
}

void readTorque(TB60LVStub &motor, const VOXJsonPlace &place)
{
    place.isObjectOf({LimitedKey, LevelKey, ParameterKey});
    motor.setTorque(place[LimitedKey].flag() ? 1 : 0,
                    static_cast<unsigned char>(place[LevelKey].number(0, 1)), byteAt(place[ParameterKey]));
}

QJsonValue torqueOf(TB60LVStub &motor)
{
    return QJsonObject{{LimitedKey, motor.torqueMode() == 1},
                       {LevelKey, motor.torqueValue()},
                       {ParameterKey, motor.torqueParameter()}};
}

void readLockStatus(HRMv2Stub &motor, const VOXJsonPlace &place)
{
    motor.setLockStatus(byteAt(place));
}

QJsonValue lockStatusOf(HRMv2Stub &motor)
{
    return motor.lockStatus();
}
}

// The settings are in the order in which they are applied: a direction mirrors the position, and a limit has
// to be set before the positions within it.
QVector<NodeSetting> motorSettings()
{
    return {
        setting<KVRMotorDevice, readDirection, directionOf>(QStringLiteral("direction")),
        setting<KVRMotorDevice, readAppMode, appModeOf>(QStringLiteral("appMode")),
        setting<KVRMotorDevice, readLimits, limitsOf>(QStringLiteral("limits")),
        setting<KVRMotorDevice, readSpeeds, speedsOf>(QStringLiteral("speeds")),
        setting<KVRMotorDevice, readPosition, positionOf>(QStringLiteral("position")),
        setting<KVRMotorDevice, readIntermediatePositions, intermediatePositionsOf>(
            QStringLiteral("intermediatePositions")),
        setting<HRMv2Stub, readIntermediatePositions, intermediatePositionsOf>(
            QStringLiteral("intermediatePositions")),
        setting<KVRMotorDevice, readLocks, locksOf>(QStringLiteral("locks")),
        constant<KVRMotorDevice, readDiagnostics>(QStringLiteral("diagnostics")),
        setting<TB60LVStub, readRamp<&TB60LVStub::setSoftStart>, softStartOf>(QStringLiteral("softStart")),
        setting<TB60LVStub, readRamp<&TB60LVStub::setSoftStop>, softStopOf>(QStringLiteral("softStop")),
        setting<TB60LVStub, readTorque, torqueOf>(QStringLiteral("torque")),
        setting<HRMv2Stub, readLockStatus, lockStatusOf>(QStringLiteral("lockStatus")),
    };
}
