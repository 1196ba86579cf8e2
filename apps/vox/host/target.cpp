#include "vox/host/target.h"

#include "messages/vox.h"
#include "vox/words.h"

bool Target::read(const QString &text, Target *target, QString *problem)
{
    const QString groupPrefix = QStringLiteral("group:");
    if (text == QLatin1String("all")) {
        target->type = VOX::BCAST;
        return true;
    }
    if (!text.startsWith(groupPrefix)) {
        target->type = VOX::P2P;
        if (VOX::readNodeAddr(text, &target->addr, problem))
            return true;
        const QString word = text.section(QLatin1Char(':'), 0, 0);
        const QString meant = nearest(word, {QStringLiteral("all"), QStringLiteral("group")});
        if (!meant.isEmpty())
            *problem = QStringLiteral("'%1' is no target; did you mean '%2'?")
                           .arg(text, meant + text.mid(word.size()));
        return false;
    }
    target->type = VOX::GROUP;
    if (!VOX::readAddr(text.mid(groupPrefix.size()), &target->addr))
        *problem = QStringLiteral("'%1' is no group; group:00A001 is one").arg(text);
    else if (target->addr == 0 || target->addr == VOX::AddrMask)
        *problem = QStringLiteral("'%1' is no group: 000000 stands for an empty slot, FFFFFF for all nodes")
                       .arg(text);
    else
        return true;
    return false;
}
