#include "vox/line/commandfields.h"

#include "messages/kvr.h"
#include "messages/kvrmotor.h"
#include "messages/voxmessage.h"
#include "proxies/kvrstdproxy.h"

#include <QHash>
#include <QMetaEnum>

// clazy:excludeall=non-pod-global-static (tables of the program, made once)
namespace {
using Fields = QVector<CommandField>;

constexpr CommandField number(const char *name, int width, const char *unit = "")
{
    return {name, CommandField::Number, width, unit};
}

/// A number whose bytes are all ff if there is none.
constexpr CommandField numberOrNone(const char *name, int width, const char *unit = "")
{
    constexpr int BitsPerByte = 8;
    return {name, CommandField::Number, width, unit, "", (1 << BitsPerByte * width) - 1};
}

constexpr CommandField choice(const char *name, const char *enumeration)
{
    return {name, CommandField::Number, 1, "", enumeration};
}

constexpr CommandField flag(const char *name)
{
    return {name, CommandField::Flag, 1};
}

constexpr CommandField address(const char *name)
{
    return {name, CommandField::Address, 3};
}

const Fields version = {
    number("reference", 3), {"letter", CommandField::Letter, 1}, number("number", 1), number("profile", 1)};
const Fields label = {{"label", CommandField::Text, 16}};
const Fields group = {number("index", 1), address("group")};
const Fields test2 = {{"data", CommandField::Bytes, 10}};
const Fields test3 = {{"data", CommandField::Bytes, 20}};
const Fields lockState = {flag("locked"), address("source"), number("priority", 1)};
const Fields rollingSpeed = {number("up", 1, "rpm"), number("down", 1, "rpm"), number("slow", 1, "rpm")};
// The frames of the tilt setters have no room for what would be in them.
const Fields nothing = {};

/// What a request or a reply holds, in the order of its bytes.
const QHash<int, Fields> &table()
{
    static const QHash<int, Fields> fields = {
        {KVR::GET_NODE_ADDR, nothing},
        {KVR::POST_NODE_ADDR, nothing},
        {KVR::GET_GROUP_ADDR, {number("index", 1)}},
        {KVR::POST_GROUP_ADDR, group},
        {KVR::SET_GROUP_ADDR, group},
        {KVR::GET_NODE_LABEL, nothing},
        {KVR::POST_NODE_LABEL, label},
        {KVR::SET_NODE_LABEL, label},
        {KVR::GET_NETWORK_CONFIG, nothing},
        {KVR::POST_NETWORK_CONFIG,
         {choice("bcastMode", "BcastMode"), number("maxRand", 1), flag("supervision"),
          number("supervisionPeriod", 2), flag("deafMode")}},
        {KVR::SET_NETWORK_CONFIG,
         {number("bcastMode", 1), number("maxRand", 1), number("supervision", 1),
          number("supervisionPeriod", 2), number("deafMode", 1), number("upload", 1)}},
        {KVR::GET_NODE_SERIAL_NUMBER, nothing},
        {KVR::POST_NODE_SERIAL_NUMBER, {{"serial", CommandField::Text, 12}}},
        {KVR::GET_NETWORK_ERROR_STAT, nothing},
        {KVR::POST_NETWORK_ERROR_STAT,
         {number("txFailures", 2), number("collisions", 2), number("rxDataError", 2),
          number("unknownMessage", 2), number("msgLengthError", 2), number("rxFifoFull", 2),
          number("txFifoFull", 2), number("crcError", 2), number("bundleSizeError", 2)}},
        {KVR::GET_NETWORK_STAT, nothing},
        {KVR::POST_NETWORK_STAT,
         {number("maxRetryCount", 1), number("frameSent", 3), number("frameSeen", 3),
          number("frameReceived", 3), number("busyCount", 2), number("maxSlot", 1),
          number("supervisionFailure", 1)}},
        {KVR::SET_NETWORK_STAT, {number("mode", 1), number("retryCount", 1)}},
        {KVR::SET_NODE_DISCOVERY, {flag("silent")}},
        {KVR::GET_NODE_STACK_VERSION, nothing},
        {KVR::POST_NODE_STACK_VERSION, version},
        {KVR::GET_NODE_APP_VERSION, nothing},
        {KVR::POST_NODE_APP_VERSION, version},
        {KVR::SEND_DATA_TEST1, nothing},
        {KVR::POST_DATA_TEST1, nothing},
        {KVR::SEND_DATA_TEST2, test2},
        {KVR::POST_DATA_TEST2, test2},
        {KVR::SEND_DATA_TEST3, test3},
        {KVR::POST_DATA_TEST3, test3},
        {KVR::ACK, nothing},
        {KVR::NACK, {choice("status", "NackStatus")}},

        {KVR::CTRL_MOVE,
         {choice("dir", "MoveFunction"), number("duration", 1, "x 10 ms"), choice("speed", "SpeedType")}},
        {KVR::CTRL_STOP, {number("tilt", 1)}},
        {KVR::CTRL_MOVETO, {choice("fun", "MoveToFunction"), number("position", 2), number("tilt", 1)}},
        {KVR::CTRL_MOVEOF, {choice("fun", "MoveOfFunction"), number("value", 2), number("tilt", 1)}},
        {KVR::CTRL_WINK, nothing},
        {KVR::CTRL_NETWORK_LOCK,
         {choice("fun", "NetworkLockFunction"), number("value", 2), number("priority", 1)}},
        {KVR::GET_MOTOR_POSITION, nothing},
        {KVR::POST_MOTOR_POSITION,
         {numberOrNone("position", 2, "pulses"), numberOrNone("percent", 1, "%"), numberOrNone("tilt", 1),
          numberOrNone("ip", 1)}},
        {KVR::GET_MOTOR_STATUS, nothing},
        {KVR::POST_MOTOR_STATUS,
         {choice("state", "State"), choice("direction", "Direction"), choice("source", "Source"),
          choice("cause", "Cause")}},
        {KVR::SET_APP_MODE, {choice("mode", "AppMode")}},
        {KVR::GET_APP_MODE, nothing},
        {KVR::POST_APP_MODE, {choice("mode", "AppMode")}},
        {KVR::SET_MOTOR_LIMITS,
         {choice("fun", "LimitFunction"), choice("lim", "Limit"), number("value", 2, "pulses")}},
        {KVR::GET_MOTOR_LIMITS, nothing},
        {KVR::POST_MOTOR_LIMITS,
         {numberOrNone("upLimit", 2, "pulses"), numberOrNone("downLimit", 2, "pulses")}},
        {KVR::SET_MOTOR_DIRECTION, {choice("dir", "TurnDirection")}},
        {KVR::GET_MOTOR_DIRECTION, nothing},
        {KVR::POST_MOTOR_DIRECTION, {choice("dir", "TurnDirection")}},
        {KVR::SET_MOTOR_ROLLING_SPEED, rollingSpeed},
        {KVR::GET_MOTOR_ROLLING_SPEED, nothing},
        {KVR::POST_MOTOR_ROLLING_SPEED, rollingSpeed},
        {KVR::SET_MOTOR_TILTING_SPEED, nothing},
        {KVR::GET_MOTOR_TILTING_SPEED, nothing},
        {KVR::POST_MOTOR_TILTING_SPEED, {number("speed", 1)}},
        {KVR::SET_MOTOR_IP, {choice("fun", "IPFunction"), number("index", 1), number("value", 2)}},
        {KVR::GET_MOTOR_IP, {number("index", 1)}},
        {KVR::POST_MOTOR_IP,
         {number("index", 1), numberOrNone("position", 2, "pulses"), numberOrNone("percent", 1, "%")}},
        {KVR::SET_NETWORK_LOCK, {flag("locked"), number("priority", 1)}},
        {KVR::GET_NETWORK_LOCK, nothing},
        {KVR::POST_NETWORK_LOCK, lockState},
        {KVR::SET_DCT_LOCK, {flag("locked"), number("index", 1), number("priority", 1)}},
        {KVR::GET_DCT_LOCK, {number("index", 1)}},
        {KVR::POST_DCT_LOCK, lockState},
        {KVR::SET_TILT_LIMITS, nothing},
        {KVR::GET_TILT_LIMITS, nothing},
        {KVR::POST_TILT_LIMITS, {number("minTilt", 2), number("maxTilt", 2), number("defaultTilt", 2)}},
        {KVR::SET_MOTOR_SOFT_START_STOP,
         {choice("fun", "SoftStartStopFunction"), choice("ramp", "SoftStartStopRamps"), number("value", 1)}},
        {KVR::GET_MOTOR_SOFT_START_STOP, nothing},
        {KVR::POST_MOTOR_SOFT_START_STOP,
         {flag("start"), number("startValue", 1), flag("stop"), number("stopValue", 1)}},
        {KVR::SET_TORQUE_LIMITATION, {choice("fun", "TorqueFunction"), number("value", 1)}},
        {KVR::GET_TORQUE_LIMITATION, nothing},
        {KVR::POST_TORQUE_LIMITATION, {number("status", 1), number("level", 1)}},
        {KVR::SET_FACTORY_DEFAULT, {choice("fun", "FactoryDefFunction")}},
        {KVR::GET_FACTORY_DEFAULT, {choice("fun", "FactoryDefFunction")}},
        {KVR::POST_FACTORY_DEFAULT, {choice("fun", "FactoryDefFunction"), flag("status")}},

        {KVR::DIAG_GET_TOTAL_MOVE_COUNT, nothing},
        {KVR::DIAG_POST_TOTAL_MOVE_COUNT, {number("totalMoveCount", 3)}},
        {KVR::DIAG_GET_TOTAL_REV_COUNT, nothing},
        {KVR::DIAG_POST_TOTAL_REV_COUNT, {number("totalRevCount", 3)}},
        {KVR::DIAG_GET_THERMAL_COUNT, nothing},
        {KVR::DIAG_POST_THERMAL_COUNT, {number("thermalCount", 2), number("postThermalMove", 2)}},
        {KVR::DIAG_GET_OBSTACLE_COUNT, nothing},
        {KVR::DIAG_POST_OBSTACLE_COUNT, {number("obstacleCount", 2), number("postObstacleMove", 2)}},
        {KVR::DIAG_GET_POWER_COUNT, nothing},
        {KVR::DIAG_POST_POWER_COUNT, {number("powerCount", 2)}},
        {KVR::DIAG_GET_RESET_COUNT, nothing},
        {KVR::DIAG_POST_RESET_COUNT, {number("resetCount", 2)}},
        {KVR::DIAG_GET_ENCODER_ERRORS, nothing},
        {KVR::DIAG_POST_ENCODER_ERRORS, {number("encoderErrCount", 2)}},
    };
    return fields;
}

int littleEndian(const QByteArray &bytes)
{
    int value = 0;
    for (int i = bytes.size() - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(i));
    return value;
}

QJsonValue decode(const CommandField &field, const QByteArray &bytes)
{
    const int value =
        field.kind == CommandField::Bytes || field.kind == CommandField::Text ? 0 : littleEndian(bytes);
    switch (field.kind) {
    case CommandField::Flag:
        return value != 0;
    case CommandField::Address:
        return VOX::toString(value);
    case CommandField::Text:
        return QString::fromLatin1(bytes.constData(),
                                   static_cast<int>(qstrnlen(bytes.constData(), uint(bytes.size()))));
    case CommandField::Letter:
        return value == 0 ? QString() : QString(QLatin1Char(static_cast<char>(value)));
    case CommandField::Bytes:
        return QString::fromLatin1(bytes.toHex(' ').toUpper());
    case CommandField::Number:
        break;
    }
    // Unknown values of an enumeration stay numbers.
    const QString key = enumerationKey(field, value);
    return key.isEmpty() ? QJsonValue(value) : QJsonValue(key);
}
}

QString enumerationKey(const CommandField &field, int value)
{
    if (qstrcmp(field.enumeration, "NackStatus") == 0) {
        const QString name = KVR::toString(static_cast<KVR::NackStatus>(value));
        // Without a key it is the number.
        return name.at(0).isLetter() ? name : QString();
    }
    for (const QMetaObject *meta : {&KVRMotor::staticMetaObject, &KVRStdProxy::staticMetaObject}) {
        const int index = meta->indexOfEnumerator(field.enumeration);
        if (index >= 0)
            return QString::fromLatin1(meta->enumerator(index).valueToKey(value));
    }
    return QString();
}

QString FieldValue::toString() const
{
    if (isNone())
        return QStringLiteral("none");
    const QString text = printable(value.toVariant().toString());
    return *field.unit == '\0' ? text : text + QLatin1Char(' ') + QLatin1String(field.unit);
}

QString printable(const QString &text)
{
    QString shown = text;
    for (QChar &character : shown) {
        if (!character.isPrint())
            character = QLatin1Char('?');
    }
    return shown;
}

bool hasCommandFields(unsigned char cmd)
{
    return table().contains(cmd);
}

QVector<CommandField> commandFields(unsigned char cmd)
{
    return table().value(cmd);
}

QVector<FieldValue> decodeFields(const VOXMessage &frame)
{
    QVector<FieldValue> values;
    const int end = frame.data().size() - VOXMessage::CheckLength;
    int offset = VOXMessage::HeaderLength;
    const Fields fields = commandFields(frame.cmd());
    for (const CommandField &field : fields) {
        if (offset + field.width > end)
            break;
        values.append({field, decode(field, frame.data().mid(offset, field.width))});
        offset += field.width;
    }
    return values;
}

QJsonObject fieldsOf(const VOXMessage &frame)
{
    QJsonObject fields;
    const auto values = decodeFields(frame);
    for (const FieldValue &field : values)
        fields.insert(QLatin1String(field.field.name), field.toJson());
    return fields;
}
