#include "vox/address.h"

#include "messages/vox.h"
#include "transport/voxbus.h"

#include <QRegularExpression>

namespace {
constexpr unsigned int GroupDestination = 0x000000;
constexpr unsigned int BroadcastDestination = 0xffffff;
}

bool readAddr(const QString &text, unsigned int *addr)
{
    static const QRegularExpression sixDigits(QStringLiteral("^[0-9A-Fa-f]{6}$"));
    if (!sixDigits.match(text).hasMatch())
        return false;
    *addr = text.toUInt(nullptr, 16);
    return true;
}

QString nodeAddrProblem(unsigned int addr)
{
    if (addr != GroupDestination && addr != BroadcastDestination && addr != VOXBus::addr())
        return QString();
    return QStringLiteral("%1 is no node's address: 000000 means a group, FFFFFF all nodes, 010000 the host")
        .arg(VOX::toString(addr));
}

bool readNodeAddr(const QString &text, unsigned int *addr, QString *problem)
{
    *problem = readAddr(text, addr)
        ? nodeAddrProblem(*addr)
        : QStringLiteral("'%1' is no address of six hexadecimal digits").arg(text);
    return problem->isEmpty();
}
