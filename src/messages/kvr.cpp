#include "messages/kvr.h"

#include "messages/voxcmdtable_p.h"
#include "messages/voxmessage.h"

#include <initializer_list>

using namespace VOXCmdTable;

namespace {
// Ids do not follow their scheme everywhere, nor stand in its order; each row counts as it stands.
const Row nodeRows[] = {
    {KVR::GET_NODE_ADDR, 11, Shared, KVR::POST_NODE_ADDR},
    {KVR::GET_GROUP_ADDR, 12, Node, KVR::POST_GROUP_ADDR},
    {KVR::GET_NODE_LABEL, 11, All, KVR::POST_NODE_LABEL},
    {KVR::GET_NETWORK_CONFIG, 11, All, KVR::POST_NETWORK_CONFIG},
    {KVR::GET_NODE_SERIAL_NUMBER, 11, All, KVR::POST_NODE_SERIAL_NUMBER},
    {KVR::GET_NETWORK_ERROR_STAT, 11, All, KVR::POST_NETWORK_ERROR_STAT},
    {KVR::GET_NETWORK_STAT, 11, Node, KVR::POST_NETWORK_STAT},
    {KVR::SET_NODE_DISCOVERY, 12, Node, None},
    {KVR::SET_GROUP_ADDR, 15, All, None},
    {KVR::SET_NODE_LABEL, 27, All, None},
    {KVR::SET_NETWORK_CONFIG, 18, All, None},
    {KVR::SET_NETWORK_STAT, 13, All, None},
    {KVR::POST_NODE_ADDR, 11, Node, None},
    {KVR::POST_GROUP_ADDR, 15, Node, None},
    {KVR::POST_NODE_LABEL, 27, All, None},
    {KVR::POST_NETWORK_STAT, 28, Node, None},
    {KVR::POST_NETWORK_CONFIG, 17, All, None},
    {KVR::POST_NODE_SERIAL_NUMBER, 23, All, None},
    {KVR::POST_NETWORK_ERROR_STAT, 29, All, None},
    {KVR::NACK, 12, Node, None},
    {KVR::GET_NODE_STACK_VERSION, 11, All, KVR::POST_NODE_STACK_VERSION},
    {KVR::POST_NODE_STACK_VERSION, 17, All, None},
    {KVR::GET_NODE_APP_VERSION, 11, All, KVR::POST_NODE_APP_VERSION},
    {KVR::POST_NODE_APP_VERSION, 17, All, None},
    {KVR::SEND_DATA_TEST1, 11, All, KVR::POST_DATA_TEST1},
    {KVR::POST_DATA_TEST1, 11, All, None},
    {KVR::SEND_DATA_TEST2, 21, Node, KVR::POST_DATA_TEST2},
    {KVR::POST_DATA_TEST2, 21, Node, None},
    {KVR::SEND_DATA_TEST3, 31, Node, KVR::POST_DATA_TEST3},
    {KVR::POST_DATA_TEST3, 31, Node, None},
    {KVR::ACK, 11, All, None},
};

// The two tilt setters have no room for a payload, and some POST rows less than their reply needs.
const Row motorRows[] = {
    {KVR::CTRL_MOVE, 14, All, None},
    {KVR::CTRL_STOP, 12, All, None},
    {KVR::CTRL_MOVETO, 15, All, None},
    {KVR::CTRL_MOVEOF, 15, All, None},
    {KVR::CTRL_WINK, 11, All, None},
    {KVR::CTRL_NETWORK_LOCK, 15, All, None},
    {KVR::GET_MOTOR_POSITION, 11, Node, KVR::POST_MOTOR_POSITION},
    {KVR::POST_MOTOR_POSITION, 16, Node, None},
    {KVR::GET_MOTOR_STATUS, 11, Node, KVR::POST_MOTOR_STATUS},
    {KVR::POST_MOTOR_STATUS, 15, Node, None},
    {KVR::SET_APP_MODE, 12, All, None},
    {KVR::SET_MOTOR_LIMITS, 15, All, None},
    {KVR::SET_MOTOR_DIRECTION, 12, All, None},
    {KVR::SET_MOTOR_ROLLING_SPEED, 14, All, None},
    {KVR::SET_MOTOR_TILTING_SPEED, 11, All, None},
    {KVR::SET_MOTOR_IP, 15, All, None},
    {KVR::SET_NETWORK_LOCK, 13, All, None},
    {KVR::SET_DCT_LOCK, 14, All, None},
    {KVR::SET_TILT_LIMITS, 11, All, None},
    {KVR::SET_MOTOR_SOFT_START_STOP, 14, All, None},
    {KVR::SET_TORQUE_LIMITATION, 13, All, None},
    {KVR::SET_FACTORY_DEFAULT, 12, All, None},
    {KVR::GET_APP_MODE, 11, Node, KVR::POST_APP_MODE},
    {KVR::GET_MOTOR_LIMITS, 11, Node, KVR::POST_MOTOR_LIMITS},
    {KVR::GET_MOTOR_DIRECTION, 11, Node, KVR::POST_MOTOR_DIRECTION},
    {KVR::GET_MOTOR_ROLLING_SPEED, 11, Node, KVR::POST_MOTOR_ROLLING_SPEED},
    {KVR::GET_MOTOR_TILTING_SPEED, 11, Node, KVR::POST_MOTOR_TILTING_SPEED},
    {KVR::GET_MOTOR_IP, 12, Node, KVR::POST_MOTOR_IP},
    {KVR::GET_NETWORK_LOCK, 11, Node, KVR::POST_NETWORK_LOCK},
    {KVR::GET_DCT_LOCK, 12, Node, KVR::POST_DCT_LOCK},
    {KVR::GET_TILT_LIMITS, 11, Node, KVR::POST_TILT_LIMITS},
    {KVR::GET_MOTOR_SOFT_START_STOP, 11, All, KVR::POST_MOTOR_SOFT_START_STOP},
    {KVR::GET_TORQUE_LIMITATION, 11, All, KVR::POST_TORQUE_LIMITATION},
    {KVR::GET_FACTORY_DEFAULT, 12, All, KVR::POST_FACTORY_DEFAULT},
    {KVR::POST_APP_MODE, 12, All, None},
    {KVR::POST_MOTOR_LIMITS, 15, Node, None},
    {KVR::POST_MOTOR_DIRECTION, 12, Node, None},
    {KVR::POST_MOTOR_ROLLING_SPEED, 14, Node, None},
    {KVR::POST_MOTOR_TILTING_SPEED, 11, Node, None},
    {KVR::POST_MOTOR_IP, 12, Node, None},
    {KVR::POST_NETWORK_LOCK, 16, Node, None},
    {KVR::POST_DCT_LOCK, 16, Node, None},
    {KVR::POST_TILT_LIMITS, 11, Node, None},
    {KVR::POST_MOTOR_SOFT_START_STOP, 15, Node, None},
    {KVR::POST_TORQUE_LIMITATION, 15, Node, None},
    {KVR::POST_FACTORY_DEFAULT, 12, Node, None},
};

const Row diagRows[] = {
    {KVR::DIAG_GET_TOTAL_MOVE_COUNT, 11, All, KVR::DIAG_POST_TOTAL_MOVE_COUNT},
    {KVR::DIAG_GET_TOTAL_REV_COUNT, 11, All, KVR::DIAG_POST_TOTAL_REV_COUNT},
    {KVR::DIAG_GET_THERMAL_COUNT, 11, All, KVR::DIAG_POST_THERMAL_COUNT},
    {KVR::DIAG_GET_OBSTACLE_COUNT, 11, All, KVR::DIAG_POST_OBSTACLE_COUNT},
    {KVR::DIAG_GET_POWER_COUNT, 11, All, KVR::DIAG_POST_POWER_COUNT},
    {KVR::DIAG_GET_RESET_COUNT, 11, All, KVR::DIAG_POST_RESET_COUNT},
    {KVR::DIAG_GET_ENCODER_ERRORS, 11, All, KVR::DIAG_POST_ENCODER_ERRORS},
    {KVR::DIAG_POST_TOTAL_MOVE_COUNT, 15, All, None},
    {KVR::DIAG_POST_TOTAL_REV_COUNT, 15, All, None},
    {KVR::DIAG_POST_THERMAL_COUNT, 15, All, None},
    {KVR::DIAG_POST_OBSTACLE_COUNT, 15, All, None},
    {KVR::DIAG_POST_POWER_COUNT, 13, All, None},
    {KVR::DIAG_POST_RESET_COUNT, 13, All, None},
    {KVR::DIAG_POST_ENCODER_ERRORS, 13, All, None},
};

constexpr int NackLength = 12;
constexpr int StatusOffset = VOXMessage::HeaderLength;
constexpr auto NotANack = static_cast<KVR::NackStatus>(-1);

QMetaEnum metaEnum(const char *name)
{
    const QMetaObject &meta = KVR::staticMetaObject;
    return meta.enumerator(meta.indexOfEnumerator(name));
}

QString firstName(std::initializer_list<QMetaEnum> enums, int value)
{
    for (const QMetaEnum &candidate : enums) {
        if (const char *key = candidate.valueToKey(value))
            return QString::fromLatin1(key);
    }
    return QString();
}
}

const QHash<unsigned char, VOXCmdInfo> &KVR::cmds()
{
    static const Table *table = build(nodeRows);
    return *table;
}

const QHash<unsigned char, VOXCmdInfo> &KVR::motorCmds()
{
    static const Table *table = build(motorRows);
    return *table;
}

const QHash<unsigned char, VOXCmdInfo> &KVR::diagCmds()
{
    static const Table *table = build(diagRows);
    return *table;
}

VOXCmdInfo KVR::findCmd(unsigned char cmd)
{
    for (const Table *table : {&cmds(), &motorCmds(), &diagCmds()}) {
        const auto found = table->constFind(cmd);
        if (found != table->constEnd())
            return *found;
    }
    return VOXCmdInfo();
}

bool KVR::isAck(const VOXMessage &message)
{
    return message.cmd() == ACK;
}

bool KVR::isNack(const VOXMessage &message)
{
    return getNackReply(message) != NotANack;
}

KVR::NackStatus KVR::getNackReply(const VOXMessage &message)
{
    if (message.data().size() != NackLength || message.cmd() != NACK)
        return NotANack;
    return static_cast<NackStatus>(static_cast<unsigned char>(message.data().at(StatusOffset)));
}

QString KVR::toString(Cmd cmd)
{
    return firstName({CmdMetaEnum(), MotorCmdMetaEnum(), DiagMetaEnum()}, cmd);
}

QString KVR::toString(NackStatus status)
{
    const QString prefix = QStringLiteral("NACK_");
    const QString name = firstName({NackStatusEnum(), MotorNackStatusEnum()}, status);
    if (name.isEmpty())
        return QStringLiteral("%1").arg(static_cast<int>(status), 2, 10, QLatin1Char('0'));
    return name.startsWith(prefix) ? name.mid(prefix.size()) : name;
}

QMetaEnum KVR::CmdMetaEnum()
{
    static const QMetaEnum found = metaEnum("Cmd");
    return found;
}

QMetaEnum KVR::MotorCmdMetaEnum()
{
    static const QMetaEnum found = metaEnum("MotorCmd");
    return found;
}

QMetaEnum KVR::DiagMetaEnum()
{
    static const QMetaEnum found = metaEnum("DiagCmd");
    return found;
}

QMetaEnum KVR::NackStatusEnum()
{
    static const QMetaEnum found = metaEnum("NackStatus");
    return found;
}

QMetaEnum KVR::MotorNackStatusEnum()
{
    static const QMetaEnum found = metaEnum("MotorNackStatus");
    return found;
}
