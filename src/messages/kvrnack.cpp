#include "messages/kvrnack.h"

#include "messages/kvrschema_p.h"

KVRNack::KVRNack(const VOXNode &node, const VOXMessage &request, KVR::NackStatus status)
    : VOXReply(node, request, KVR::findCmd(KVR::NACK))
{
    finish(status);
}

KVRNack::KVRNack(const VOXNode &node, unsigned int dest, KVR::NackStatus status)
    : VOXReply(node, dest, KVR::findCmd(KVR::NACK))
{
    finish(status);
}

void KVRNack::finish(KVR::NackStatus status)
{
    VOXSchema::put<KVR::NACK>(*this, status);
    prepare();
}
