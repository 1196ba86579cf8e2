#include "vox/host/target.h"

#include "messages/vox.h"

bool Target::read(const QString &text, Target *target, QString *problem)
{
    const QString groupPrefix = QStringLiteral("group:");
    if (text == QLatin1String("all")) {
        target->type = VOX::BCAST;
        return true;
    }
    if (!text.startsWith(groupPrefix)) {
        target->type = VOX::P2P;
        return VOX::readNodeAddr(text, &target->addr, problem);
    }
    target->type = VOX::GROUP;
    if (VOX::readAddr(text.mid(groupPrefix.size()), &target->addr))
        return true;
    *problem = QStringLiteral("'%1' is no group; group:00A001 is one").arg(text);
    return false;
}
