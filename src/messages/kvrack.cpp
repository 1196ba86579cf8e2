#include "messages/kvrack.h"

#include "messages/kvr.h"

KVRAck::KVRAck(const VOXNode &node, const VOXMessage &request)
    : VOXReply(node, request, KVR::ACK, MinLength)
{
    prepare();
}
