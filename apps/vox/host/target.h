#ifndef TARGET_H
#define TARGET_H

#include "messages/vox.h"

#include <QString>

/// The target of a command: a node by its address, "group:ADDRESS", or "all".
struct Target
{
    static bool read(const QString &text, Target *target, QString *problem);

    VOX::AddrType type = VOX::P2P;
    unsigned int addr = 0;
};

#endif
