#include "messages/vox.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/kvrmotor.h"
#include "messages/voxmessage.h"

#include <QRegularExpression>

namespace {
constexpr unsigned int GroupDestination = 0x000000;
constexpr unsigned int BroadcastDestination = 0xffffff;
constexpr unsigned int TypeMask = 0xf;
constexpr int TypeShift = 24;
constexpr int AddrDigits = 6;

QString keyName(const QMetaEnum &metaEnum, int value)
{
    return QString::fromLatin1(metaEnum.valueToKey(value));
}

QString nameOrUnknown(const QString &name, int value)
{
    if (!name.isEmpty())
        return name;
    return QStringLiteral("UNKNOWN(%1)").arg(value & 0xff, 2, 16, QLatin1Char('0'));
}
}

QMetaEnum VOX::NodeTypeMetaEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<NodeType>();
    return found;
}

QMetaEnum VOX::AddrTypeMetaEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<AddrType>();
    return found;
}

QMetaEnum VOX::LockStatusMetaEnum()
{
    return QMetaEnum();
}

VOX::NodeType VOX::getType(unsigned int addr)
{
    return static_cast<NodeType>((addr >> TypeShift) & TypeMask);
}

unsigned int VOX::makeAddr(NodeType type, int addr)
{
    return ((static_cast<unsigned int>(type) & TypeMask) << TypeShift)
        | (static_cast<unsigned int>(addr) & AddrMask);
}

QString VOX::toString(NodeType type)
{
    return keyName(NodeTypeMetaEnum(), type);
}

QString VOX::toString(AddrType type)
{
    return keyName(AddrTypeMetaEnum(), type);
}

QString VOX::toString(LockStatus status)
{
    return keyName(LockStatusMetaEnum(), status);
}

QString VOX::toString(unsigned char cmd)
{
    const QString name = KVR::toString(static_cast<KVR::Cmd>(cmd));
    return name.isEmpty() ? HRMv2::toString(cmd) : name;
}

QString VOX::toString(unsigned int addr)
{
    return QString::number(addr, 16).toUpper().rightJustified(AddrDigits, QLatin1Char('0'));
}

QString VOX::toString(int addr)
{
    return toString(static_cast<unsigned int>(addr));
}

QString VOX::logText(unsigned char cmd)
{
    return nameOrUnknown(toString(cmd), cmd);
}

QString VOX::logText(NodeType type)
{
    return nameOrUnknown(toString(type), type);
}

QString VOX::logText(unsigned int addr)
{
    return QStringLiteral("%1(%2))")
        .arg(toString(getType(addr)))
        .arg(addr & AddrMask, AddrDigits, 16, QLatin1Char('0'));
}

bool VOX::readAddr(const QString &text, unsigned int *addr)
{
    static const QRegularExpression sixDigits(QStringLiteral("^[0-9A-Fa-f]{6}$"));
    if (!sixDigits.match(text).hasMatch())
        return false;
    *addr = text.toUInt(nullptr, 16);
    return true;
}

QString VOX::nodeAddrProblem(unsigned int addr)
{
    if (addr != GroupDestination && addr != BroadcastDestination && addr != (HostAddr & AddrMask))
        return QString();
    return QStringLiteral("%1 is no node's address: 000000 means a group, FFFFFF all nodes, 010000 the host")
        .arg(toString(addr));
}

bool VOX::readNodeAddr(const QString &text, unsigned int *addr, QString *problem)
{
    if (readAddr(text, addr)) {
        *problem = nodeAddrProblem(*addr);
        return problem->isEmpty();
    }
    // As a program or a drawing may have it: 0x101, 101h, 101.
    static const QRegularExpression shorter(QStringLiteral("^(?:0[xX])?([0-9A-Fa-f]{1,6})[hH]?$"));
    const QString digits = shorter.match(text).captured(1);
    *problem = QStringLiteral("'%1' is no address of six hexadecimal digits").arg(text);
    if (!digits.isEmpty())
        *problem += QStringLiteral("; did you mean %1?")
                        .arg(digits.toUpper().rightJustified(AddrDigits, QLatin1Char('0')));
    return false;
}

void VOX::htovox(unsigned short value, unsigned char *bytes)
{
    bytes[0] = static_cast<unsigned char>(value);
    bytes[1] = static_cast<unsigned char>(value >> 8);
}

void VOX::htovox(unsigned int value, unsigned char *bytes)
{
    bytes[0] = static_cast<unsigned char>(value);
    bytes[1] = static_cast<unsigned char>(value >> 8);
    bytes[2] = static_cast<unsigned char>(value >> 16);
}

void VOX::voxtoh(const unsigned char *bytes, unsigned short &value)
{
    value = static_cast<unsigned short>(bytes[0] | bytes[1] << 8);
}

void VOX::voxtoh(const unsigned char *bytes, unsigned int &value)
{
    value = static_cast<unsigned int>(bytes[0] | bytes[1] << 8 | bytes[2] << 16);
}

QString VOX::version()
{
    return QStringLiteral(VOX_VERSION);
}

namespace {
template <typename... Types>
bool registerAll()
{
    (qRegisterMetaType<Types>(), ...);
    return true;
}
}

// Enumerations are registered, too. Otherwise no operation that takes one could be called by its name, or
// from QML.
void VOX::registerMetaTypes()
{
    static const bool once = qRegisterMetaType<VOX::Addr>("VOX::Addr") != 0
        && registerAll<VOXMessage, KVRMotor::Status, VOX::NodeType, KVRMotor::AppMode, KVRMotor::MoveFunction,
                       KVRMotor::SpeedType, KVRMotor::MoveToFunction, KVRMotor::MoveOfFunction,
                       KVRMotor::NetworkLockFunction, KVRMotor::Limit, KVRMotor::LimitFunction,
                       KVRMotor::IPFunction, KVRMotor::TurnDirection, KVRMotor::SoftStartStopFunction,
                       KVRMotor::SoftStartStopRamps, KVRMotor::TorqueFunction, KVRMotor::FactoryDefFunction,
                       HRMv2::PositionFunction, HRMv2::LockFunction>();
    Q_UNUSED(once)
}
