#include "messages/kvr.h"

#include "messages/kvrschema_p.h"
#include "messages/voxmessage.h"

#include <initializer_list>

using namespace VOXCmdTable;

namespace {
constexpr auto NotANack = static_cast<KVR::NackStatus>(-1);

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
    static const Table *table = build(rowsOf<KVR::Cmd>);
    return *table;
}

const QHash<unsigned char, VOXCmdInfo> &KVR::motorCmds()
{
    static const Table *table = build(rowsOf<KVR::MotorCmd>);
    return *table;
}

const QHash<unsigned char, VOXCmdInfo> &KVR::diagCmds()
{
    static const Table *table = build(rowsOf<KVR::DiagCmd>);
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
    NackStatus status = NotANack;
    if (message.cmd() == NACK && message.data().size() == VOXSchema::frameLength<NACK>)
        VOXSchema::take<NACK>(message, status);
    return status;
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
    static const QMetaEnum found = QMetaEnum::fromType<Cmd>();
    return found;
}

QMetaEnum KVR::MotorCmdMetaEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<MotorCmd>();
    return found;
}

QMetaEnum KVR::DiagMetaEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<DiagCmd>();
    return found;
}

QMetaEnum KVR::NackStatusEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<NackStatus>();
    return found;
}

QMetaEnum KVR::MotorNackStatusEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<MotorNackStatus>();
    return found;
}
