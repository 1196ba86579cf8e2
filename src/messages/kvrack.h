#ifndef KVRACK_H
#define KVRACK_H

#include "messages/voxreply.h"

/// The answer that says yes, prepared.
class VOX_EXPORT KVRAck : public VOXReply
{
public:
    KVRAck(const VOXNode &node, const VOXMessage &request);
};

#endif
